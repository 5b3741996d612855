#include <OrvaneCloudHost/CloudSession.h>

#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>
#include <OrvaneCloudHost/CloudAccountSettings.h>
#include <OrvaneCloudHost/DocumentListMerger.h>
#include <OrvaneCloudHost/FailureReporter.h>
#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

namespace Orvane::PDF::Cloud {
namespace {

CloudSession::Setup WithDefaults(CloudSession::Setup setup)
{
    if (setup.authInfo.cacheFolder.isEmpty())
        setup.authInfo.cacheFolder = setup.dataFolder + QStringLiteral("/cache");
    return setup;
}

} // namespace

// Destroyed from the last member to the first: the reports end, the requests are cancelled, the list is
// saved, the client goes, the storage commits.
class CloudSession::Private
{
public:
    explicit Private(const Setup& setup);

    const std::shared_ptr<SqliteCloudInfoStorage> storage;
    const std::shared_ptr<LocalFileSystem> fileSystem;
    const std::shared_ptr<Md5HashCalculator> hashCalculator;
    const std::shared_ptr<OrvaneCloudProtocolProxy> protocol;
    OrvaneCloudFilesManager documents;
    OrvaneCloudManager cloud;
    DocumentListMerger merger;
    FailureReporter reporter;

private:
    [[nodiscard]] bool IsListed(const FileInfo& document) const;
};

CloudSession::Private::Private(const Setup& setup)
    : storage(
          std::make_shared<SqliteCloudInfoStorage>(setup.dataFolder + QStringLiteral("/documents.sqlite")))
    , fileSystem(std::make_shared<LocalFileSystem>())
    , hashCalculator(std::make_shared<Md5HashCalculator>(setup.authInfo.cacheFolder +
                                                         QStringLiteral("/local-hashes.sqlite")))
    , protocol(std::make_shared<OrvaneCloudProtocolProxy>(setup.authInfo, setup.cloudAddress.toStdString()))
    , documents(storage, fileSystem, hashCalculator)
    , cloud(protocol, hashCalculator, fileSystem,
            std::make_shared<CloudAccountSettings>(setup.dataFolder + QStringLiteral("/settings.ini")))
    , merger(cloud, documents)
    , reporter(
          cloud, [this](Social::Operation operation) { return protocol->Client().LastFailure(operation); },
          [this](const FileInfo& document) { return IsListed(document); })
{}

bool CloudSession::Private::IsListed(const FileInfo& document) const
{
    return documents.GetFileInfo(QString::fromStdString(document.GetId())) != nullptr;
}

CloudSession::CloudSession(const Setup& setup, QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(WithDefaults(setup)))
{
    qRegisterMetaType<OperationFailure>();
    connect(&d->merger, &DocumentListMerger::Merged, this, &CloudSession::DocumentsRefreshed);
    connect(&d->merger, &DocumentListMerger::PreviewsSettled, this, &CloudSession::PreviewsSettled);
    connect(&d->reporter, &FailureReporter::Failed, this, &CloudSession::OperationFailed);
}

CloudSession::~CloudSession() = default;

QString CloudSession::Close()
{
    const auto storage = d->storage;
    d.reset(); // the list saves itself
    storage->Flush();
    return storage->Problem();
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

QString CloudSession::StorageNotice() const
{
    return d->storage->Notice();
}

} // namespace Orvane::PDF::Cloud
