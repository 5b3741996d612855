#include <OrvaneCloudHost/CloudSession.h>

#include <OrvaneCloudHost/CloudAccountSettings.h>
#include <OrvaneCloudHost/DepartedCopies.h>
#include <OrvaneCloudHost/DocumentListMerger.h>
#include <OrvaneCloudHost/FailureReporter.h>
#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>
#include <OrvaneCloudHost/PictureCleaner.h>
#include <OrvaneCloudHost/PictureFolder.h>
#include <OrvaneCloudHost/RunningTransfers.h>
#include <OrvaneCloudHost/SessionCloudManager.h>
#include <OrvaneCloudHost/SessionProtocol.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>
#include <OrvaneCloudHost/SyncingMarker.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>
#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QCryptographicHash>

namespace Orvane::PDF::Cloud {
namespace {

QString Absolute(const QString& folder)
{
    return folder.isEmpty() ? folder : Support::ToText(std::filesystem::absolute(Support::ToPath(folder)));
}

CloudSession::Setup WithDefaults(CloudSession::Setup setup)
{
    setup.dataFolder = Absolute(setup.dataFolder);
    auto& client = setup.authInfo;
    client.dataFolder = client.dataFolder.isEmpty() ? setup.dataFolder : Absolute(client.dataFolder);
    client.cacheFolder = client.cacheFolder.isEmpty() ? setup.dataFolder + QStringLiteral("/cache")
                                                      : Absolute(client.cacheFolder);
    return setup;
}

// Also those of an earlier version, which others could look into. What cannot be made is reported by whoever
// needs it.
const CloudSession::Setup& WithPrivateFolders(const CloudSession::Setup& setup)
{
    for (const auto& folder : {setup.dataFolder, setup.authInfo.cacheFolder})
        (void)Support::TryToMakePrivateFolder(Support::ToPath(folder));
    Support::MakePrivate(Support::ToPath(setup.dataFolder) / "settings.ini");
    return setup;
}

// One for each list: several lists, also of one cloud, may share a cache.
std::filesystem::path PicturesOf(const CloudSession::Setup& setup)
{
    QCryptographicHash identity(QCryptographicHash::Sha256);
    for (const auto& part : {setup.authInfo.userName, setup.cloudAddress, setup.dataFolder})
        identity.addData(part.toUtf8().append('\0'));
    return Support::ToPath(setup.authInfo.cacheFolder) / "pictures" /
           identity.result().toHex().left(16).toStdString();
}

} // namespace

// Destroyed from the last member to the first: the reports end, the requests are cancelled, the list is
// saved, the client goes, the storage commits, the departed copies that came back are forgotten. Signals
// reach the members in the order in which they stand.
class CloudSession::Private
{
public:
    explicit Private(const Setup& setup);

    const std::shared_ptr<SqliteCloudInfoStorage> storage;
    DepartedCopies departedCopies;
    const std::shared_ptr<LocalFileSystem> fileSystem;
    const std::shared_ptr<Md5HashCalculator> hashCalculator;
    const PictureFolder pictures;
    RunningTransfers transfers;
    const std::shared_ptr<SessionProtocol> protocol;
    OrvaneCloudFilesManager documents;
    SessionCloudManager cloud;
    SyncingMarker syncing;
    DocumentListMerger merger;
    FailureReporter reporter;
    PictureCleaner pictureCleaner;
};

CloudSession::Private::Private(const Setup& setup)
    : storage(
          std::make_shared<SqliteCloudInfoStorage>(setup.dataFolder + QStringLiteral("/documents.sqlite")))
    , departedCopies(setup.dataFolder + QStringLiteral("/departed.sqlite"),
                     [this] { return storage->Flush(); })
    , fileSystem(std::make_shared<LocalFileSystem>())
    , hashCalculator(std::make_shared<Md5HashCalculator>(
          setup.authInfo.cacheFolder + QStringLiteral("/local-hashes.sqlite"), setup.isInterrupted))
    , pictures(PicturesOf(setup))
    , protocol(std::make_shared<SessionProtocol>(setup.authInfo, setup.cloudAddress.toStdString(), transfers))
    , documents(storage, fileSystem, hashCalculator)
    , cloud({protocol, hashCalculator, fileSystem,
             std::make_shared<CloudAccountSettings>(setup.dataFolder + QStringLiteral("/settings.ini"))},
            pictures)
    , syncing(cloud, documents, transfers, *fileSystem)
    , merger(cloud, documents, transfers, departedCopies)
    , reporter(
          cloud, [this](Social::Operation operation) { return protocol->Client().LastFailure(operation); },
          [this](const std::shared_ptr<const FileInfo>& document) { return cloud.IsCleanUp(document); })
    , pictureCleaner(documents, pictures)
{}

CloudSession::CloudSession(const Setup& setup, QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(WithPrivateFolders(WithDefaults(setup))))
{
    qRegisterMetaType<OperationFailure>();
    connect(&d->merger, &DocumentListMerger::Merged, this, &CloudSession::DocumentsRefreshed);
    connect(&d->merger, &DocumentListMerger::PreviewsSettled, this, &CloudSession::PreviewsSettled);
    connect(&d->reporter, &FailureReporter::Failed, this, &CloudSession::OperationFailed);
    connect(&d->protocol->Client(), &Social::OrvaneCloudProtocol::Waiting, this,
            [this](long long ticket, const Social::Failure& why, int milliseconds) {
                Q_EMIT Waiting(QString::fromStdString(d->transfers.SubjectOf(ticket)), why, milliseconds);
            });
}

CloudSession::~CloudSession() = default;

QString CloudSession::Close()
{
    const auto storage = d->storage;
    const auto copiesProblem = d->departedCopies.Problem();
    d.reset(); // the list saves itself
    return storage->Flush() ? copiesProblem : storage->Problem();
}

OrvaneCloudManager& CloudSession::Cloud()
{
    return d->cloud;
}

OrvaneCloudFilesManager& CloudSession::Documents()
{
    return d->documents;
}

bool CloudSession::IsTokenNeeded() const
{
    return d->protocol->Client().IsTokenNeeded();
}

std::optional<Social::CloudGuarantees> CloudSession::Guarantees() const
{
    return d->protocol->Client().Guarantees();
}

void CloudSession::SignIn(const QString& token)
{
    // A sign-in without any token never reaches the client.
    const bool isTokenMissing = token.isEmpty() && !IsTokenNeeded();
    d->cloud.Authorization(isTokenMissing ? QStringLiteral("none needed") : token);
}

void CloudSession::Download(const std::shared_ptr<FileInfo>& document, const DownloadTarget& target)
{
    d->cloud.Download(document, target);
}

void CloudSession::Download(const QString& documentId, const DownloadTarget& target)
{
    if (const auto document = d->documents.GetFileInfo(documentId))
        return Download(document, target);
    const Social::Failure failure{Social::FailureCode::NotFound,
                                  QStringLiteral("the list holds no such document")};
    Q_EMIT OperationFailed({Social::Operation::Download, documentId, failure});
}

void CloudSession::CancelDownload(const QString& documentId)
{
    if (const auto document = d->transfers.DownloadOf(documentId.toStdString()))
        d->cloud.CancelDownloading(document);
}

QString CloudSession::StorageNotice() const
{
    return d->storage->Notice();
}

} // namespace Orvane::PDF::Cloud
