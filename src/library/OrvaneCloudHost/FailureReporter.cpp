#include <OrvaneCloudHost/FailureReporter.h>

#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

using Social::Failure;
using Social::FailureCode;
using Social::Operation;

QString IdOf(const FileInfo& document)
{
    return QString::fromStdString(document.GetId());
}

} // namespace

FailureReporter::FailureReporter(const OrvaneCloudManager& cloud, Reason lastReason, IsCleanUp isCleanUp)
    : m_lastReason(std::move(lastReason))
    , m_isCleanUp(std::move(isCleanUp))
{
    using Cloud = OrvaneCloudManager;
    using ConstDocument = std::shared_ptr<const FileInfo>;
    connect(&cloud, &Cloud::AuthorizationFailed, this, [this] { Report(Operation::SignIn, QString()); });
    connect(&cloud, &Cloud::RetrievingFilesListErrorRequested, this,
            [this] { Report(Operation::FileList, QString()); });
    connect(&cloud, &Cloud::RetrievingUserQuotaErrorRequested, this,
            [this] { Report(Operation::Quota, QString()); });
    connect(&cloud, &Cloud::UploadingFileRequestError, this,
            [this](const QString& path) { ReportUpload(path); });
    connect(&cloud, &Cloud::DownloadingFileRequestError, this,
            [this](const ConstDocument& document) { ReportDownload(*document); });
    connect(&cloud, &Cloud::RemovingFileError, this,
            [this](const ConstDocument& document) { ReportRemoval(document); });
    connect(&cloud, &Cloud::RetrieveFilePreviewError, this,
            [this](const ConstDocument& document, FileInfo::PreviewSize, const QString& message) {
                ReportPreview(*document, message);
            });
}

void FailureReporter::Report(Operation operation, const QString& subject)
{
    const Failure unexplained{FailureCode::InvalidRequest, QString()};
    Report(operation, subject, m_lastReason(operation).value_or(unexplained));
}

void FailureReporter::Report(Operation operation, const QString& subject, const Failure& failure)
{
    Q_EMIT Failed({operation, subject, failure});
}

// The client knows nothing of what the manager does not hand on: no document, one without a cloud side.
void FailureReporter::ReportUpload(const QString& path)
{
    if (path.isEmpty())
        Report(Operation::Upload, path, {FailureCode::InvalidRequest, QStringLiteral("there is no file")});
    else
        Report(Operation::Upload, path);
}

void FailureReporter::ReportDownload(const FileInfo& document)
{
    const Failure unknown{FailureCode::InvalidRequest, QStringLiteral("the document is not in the cloud")};
    if (document.GetCloudInfo())
        Report(Operation::Download, IdOf(document));
    else
        Report(Operation::Download, IdOf(document), unknown);
}

// The manager itself removes what a failed upload may have left, which is no business of the user's.
void FailureReporter::ReportRemoval(const std::shared_ptr<const FileInfo>& document)
{
    if (!m_isCleanUp(document))
        Report(Operation::Remove, IdOf(*document));
}

// The client knows nothing of what fails before or after its own work.
void FailureReporter::ReportPreview(const FileInfo& document, const QString& message)
{
    if (message.startsWith(QLatin1String("Cannot save preview")))
        Report(Operation::Preview, IdOf(document), {FailureCode::LocalDisk, message});
    else if (document.GetCloudStatus() == FileInfo::CloudStatus::NotUploaded)
        Report(Operation::Preview, IdOf(document), {FailureCode::InvalidRequest, message});
    else
        Report(Operation::Preview, IdOf(document));
}

} // namespace Orvane::PDF::Cloud
