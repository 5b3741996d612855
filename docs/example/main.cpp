// Stores a PDF file in a cloud that is a plain folder, and prints what the cloud then holds.
//
//   store-document CLOUD_FOLDER DATA_FOLDER FILE

#include <OrvaneCloudHost/CloudSession.h>

#include <QFileInfo>
#include <QGuiApplication>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

using namespace Orvane::PDF;
using Cloud::CloudSession;

namespace {

void Print(const AbstractFileManager& documents)
{
    QTextStream out(stdout);
    for (int row = 0; row < documents.FilesCount(); ++row)
        out << documents.GetDocumentName(row) << '\t' << documents.GetFileSize(row) << " bytes\n";
}

CloudSession::Setup SetupFor(const QStringList& arguments)
{
    CloudSession::Setup setup;
    setup.cloudAddress = QUrl::fromLocalFile(QFileInfo(arguments[1]).absoluteFilePath()).toString();
    setup.dataFolder = arguments[2];
    return setup;
}

int Run(const QStringList& arguments)
{
    CloudSession session(SetupFor(arguments));
    AbstractCloudManager& cloud = session.Cloud();

    // Each step starts when the one before it has come to its end.
    QObject::connect(&cloud, &AbstractCloudManager::AuthorizationCompleted, &session,
                     [&] { cloud.Upload(arguments[3]); });
    QObject::connect(&cloud, &AbstractCloudManager::UploadingFinished, &session,
                     [&] { cloud.RetrieveFilesList(); });
    QObject::connect(&session, &CloudSession::DocumentsRefreshed, &session, [&] {
        Print(session.Documents());
        QGuiApplication::quit();
    });
    const auto giveUp = [](const CloudSession::OperationFailure& failed) {
        if (failed.operation == Orvane::Social::Operation::Preview)
            return; // the list is complete without its pictures
        qCritical("%s: %s", qUtf8Printable(failed.subject), qUtf8Printable(failed.failure.detail));
        QGuiApplication::exit(1);
    };
    QObject::connect(&session, &CloudSession::OperationFailed, &session, giveUp);

    QTimer::singleShot(0, &session, [&] { session.SignIn(); }); // once the event loop runs
    return QGuiApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication application(argc, argv); // previews are pictures
    if (argc != 4)
        qFatal("usage: store-document CLOUD_FOLDER DATA_FOLDER FILE");
    try {
        return Run(QGuiApplication::arguments());
    } catch (const std::exception& error) {
        qCritical("%s", error.what()); // the document list cannot be opened
        return 1;
    }
}
