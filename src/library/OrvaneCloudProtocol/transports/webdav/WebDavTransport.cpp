#include <OrvaneCloudProtocol/transports/webdav/WebDavTransport.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <OrvaneCloudProtocol/transports/LocalTarget.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentReceiver.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>
#include <OrvaneCloudProtocol/transports/webdav/RemoteTemporaries.h>
#include <OrvaneCloudProtocol/transports/webdav/SeenVersions.h>
#include <OrvaneCloudProtocol/transports/webdav/TransferredHashes.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavQuota.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavUpload.h>
#include <support/PartFile.h>
#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <algorithm>
#include <limits>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

constexpr qint64 kLargestRendered = qint64{256} * 1024 * 1024;

/// One address may show every user another cloud.
QByteArray CloudOf(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address)
{
    return authInfo.userName.toUtf8() + '\0' + address.Origin() + address.CollectionPath();
}

std::string RequiredName(const QString& id)
{
    const auto name = DocumentNameOf(id);
    if (!name) {
        throw CloudError(FailureCode::InvalidRequest, id + QStringLiteral(": not the id of a document"));
    }
    return *name;
}

QString Iso8601(const QDateTime& moment)
{
    return moment.isValid() ? moment.toString(Qt::ISODate) : QString();
}

/// The text, in the memory of the other one if they are equal: a long listing holds many.
QString Shared(const QString& text, const QString& other)
{
    return text == other ? other : text;
}

CloudError Error(FailureCode code, const QString& id, const QString& reason)
{
    return CloudError(code, id + QStringLiteral(": ") + reason);
}

Transport::CloudFile Describe(const std::string& name, const DavResource& resource, const QByteArray& md5)
{
    Transport::CloudFile file;
    file.id = DocumentIdOf(name);
    file.fileName = Shared(ReadableNameOf(name), file.id);
    file.size = resource.size.value_or(0);
    file.versionTag = DocumentVersion::Of(resource).Text();
    file.md5Hash = QString::fromLatin1(md5);
    file.modifyTime = Iso8601(resource.modifiedAt);
    const auto created = resource.createdAt.isValid() ? resource.createdAt : resource.modifiedAt;
    file.createdAt = created == resource.modifiedAt ? file.modifyTime : Iso8601(created);
    return file;
}

bool IsDocument(const WebDavCollection::Member& member)
{
    return !member.resource.isCollection && IsDocumentName(member.name);
}

} // namespace

class WebDavTransport::Private
{
public:
    Private(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address, const fs::path& cache,
            const NetworkLimits& limits)
        : userName(authInfo.userName)
        , cacheFolder(cache)
        , server(authInfo, address, limits)
        , collection(server)
        , temporaries(collection, CloudOf(authInfo, address), cache)
        , localTemporaries(cache / "temporaries")
        , hashes(cache / "transferred-hashes.sqlite", CloudOf(authInfo, address))
        , traits(CloudOf(authInfo, address), cache)
        , uploads{collection, temporaries, seen, traits}
    {}

    [[nodiscard]] DocumentVersion VersionOf(const std::string& name, const DavResource& resource);

    /// Asks the server, twice where it should be there.
    [[nodiscard]] std::optional<DavResource> FindNow(const std::string& name, Job& job);
    [[nodiscard]] DavResource RequiredResource(const std::string& name, Job& job);

    /// Throws Conflict when this client has not seen the document and it is not in the version that its
    /// caller knows.
    void RequireKnown(const std::string& name, const DavResource& now,
                      const std::optional<KnownVersion>& known);

    /// Asks the server, and keeps in mind what it says.
    DocumentVersion Look(const std::string& name, Job& job);

    /// What the document should be, from memory where this client has seen it.
    [[nodiscard]] DocumentVersion Expected(const std::string& name, Job& job);

    /// How much may be received.
    struct Bounds
    {
        qint64 most;         ///< bytes
        qint64 expected = 0; ///< bytes; 0 when the caller expects no certain size
    };

    /// Receives the document's content, and makes sure that it is whole.
    DocumentReceiver::Received Receive(const std::string& name, Support::PartFile& part, const Bounds& bounds,
                                       Job& job);
    DocumentReceiver::Received ReceiveOnce(const std::string& name, Support::PartFile& part,
                                           const Bounds& bounds, Job& job);

    /// The version that is to be received. Throws when its size is not within the bounds.
    [[nodiscard]] DocumentVersion Receivable(const std::string& name, const Bounds& bounds, Job& job);
    static void RequireSame(const std::string& name, const DocumentReceiver::Received& received,
                            const DocumentVersion& expected);

    const QString userName;
    const fs::path cacheFolder;
    WebDavServer server;
    WebDavCollection collection;
    RemoteTemporaries temporaries;
    Support::TemporaryJournal localTemporaries;
    TransferredHashes hashes;
    SeenVersions seen;
    KnownTraits traits;
    UploadContext uploads;
};

DocumentVersion WebDavTransport::Private::VersionOf(const std::string& name, const DavResource& resource)
{
    auto md5 = resource.serverMd5;
    if (md5.isEmpty() && resource.size) {
        md5 = Md5InNote(resource.md5Note, *resource.size, resource.entityTag);
    }
    if (md5.isEmpty() && resource.size) {
        md5 = hashes.Find(name, *resource.size, resource.entityTag);
    }
    return DocumentVersion::Of(resource, md5);
}

void WebDavTransport::Private::RequireKnown(const std::string& name, const DavResource& now,
                                            const std::optional<KnownVersion>& known)
{
    const bool isUnseen = known && !seen.Find(name);
    if (isUnseen && !known->IsThatOf(Describe(name, now, VersionOf(name, now).md5))) {
        throw Error(FailureCode::Conflict, DocumentIdOf(name),
                    QStringLiteral("has changed since it was listed"));
    }
}

DocumentVersion WebDavTransport::Private::Look(const std::string& name, Job& job)
{
    auto version = VersionOf(name, RequiredResource(name, job));
    seen.Note(name, version);
    return version;
}

DavResource WebDavTransport::Private::RequiredResource(const std::string& name, Job& job)
{
    return collection.RequiredDocument(name, FindNow(name, job));
}

std::optional<DavResource> WebDavTransport::Private::FindNow(const std::string& name, Job& job)
{
    return seen.Find(name) ? collection.FindAgain(name, job) : collection.Find(name, job);
}

DocumentVersion WebDavTransport::Private::Expected(const std::string& name, Job& job)
{
    const auto known = seen.Find(name);
    return known ? *known : Look(name, job);
}

DocumentReceiver::Received WebDavTransport::Private::Receive(const std::string& name, Support::PartFile& part,
                                                             const Bounds& bounds, Job& job)
{
    const auto known = seen.Find(name);
    try {
        return ReceiveOnce(name, part, bounds, job);
    } catch (const DocumentReceiver::UnlistedBytes&) {
        const auto listed = known ? known : seen.Find(name);
        if (!listed || Look(name, job).IsSameAs(*listed)) {
            throw;
        }
    } catch (const CloudError& error) {
        if (error.GetFailure().code != FailureCode::NotFound || !seen.Find(name)) {
            throw;
        }
        (void)Look(name, job);
    }
    OnSide(FileSide::Local, [&] { part.Clear(); });
    return ReceiveOnce(name, part, bounds, job);
}

DocumentVersion WebDavTransport::Private::Receivable(const std::string& name, const Bounds& bounds, Job& job)
{
    const auto isOther = [&bounds](const DocumentVersion& version) {
        return bounds.expected != 0 && version.size.value_or(bounds.expected) != bounds.expected;
    };
    auto version = Expected(name, job);
    if (isOther(version)) {
        version = Look(name, job);
    }
    if (isOther(version)) {
        throw Error(FailureCode::Conflict, DocumentIdOf(name),
                    QStringLiteral("does not have the expected size"));
    }
    if (version.size.value_or(0) > bounds.most) {
        throw Error(FailureCode::InvalidDocument, DocumentIdOf(name), QStringLiteral("is too large to show"));
    }
    return version;
}

DocumentReceiver::Received WebDavTransport::Private::ReceiveOnce(const std::string& name,
                                                                 Support::PartFile& part,
                                                                 const Bounds& bounds, Job& job)
{
    const auto expected = Receivable(name, bounds, job);
    DocumentReceiver receiver(server, traits, collection.PathOf(name), part, {expected.size, bounds.most});
    auto received = receiver.Run(job);
    const bool isExpected = received.isSizeProven && expected.HasTagOf(received.version);
    // Another version than expected, or the server says too little: it has to be asked.
    const auto version = isExpected ? expected : Look(name, job);
    const bool isSettled = version.IsSameAs(expected) || received.version.entityTag.isEmpty() ||
                           version.HasTagOf(received.version);
    if (!isSettled) {
        throw Error(FailureCode::Conflict, DocumentIdOf(name), QStringLiteral("changes while it is read"));
    }
    RequireSame(name, received, version);
    received.version = version;
    return received;
}

void WebDavTransport::Private::RequireSame(const std::string& name,
                                           const DocumentReceiver::Received& received,
                                           const DocumentVersion& expected)
{
    if (expected.size.value_or(received.size) != received.size) {
        throw Error(FailureCode::Protocol, DocumentIdOf(name),
                    QStringLiteral("%1 of %2 bytes have arrived").arg(received.size).arg(*expected.size));
    }
    if (!expected.md5.isEmpty() && expected.md5 != received.md5) {
        throw Error(FailureCode::Protocol, DocumentIdOf(name),
                    QStringLiteral("other bytes have arrived than were stored"));
    }
}

WebDavTransport::WebDavTransport(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address,
                                 const fs::path& cacheFolder, const NetworkLimits& limits)
    : d(std::make_unique<Private>(authInfo, address, cacheFolder, limits))
{}

WebDavTransport::~WebDavTransport() = default;

bool WebDavTransport::IsDocumentId(const QString& id) const
{
    return Social::IsDocumentId(id);
}

std::optional<CloudGuarantees> WebDavTransport::Guarantees() const
{
    const auto known = d->traits.Find();
    if (!known) {
        return std::nullopt;
    }
    return CloudGuarantees{known->keepsOverwriteRule, known->honoursIfOnMove};
}

QUrl WebDavTransport::DownloadUrl(const QString& id) const
{
    const auto path = d->server.Address().PathOf(RequiredName(id));
    return QUrl::fromEncoded(d->server.Address().Origin() + path, QUrl::StrictMode);
}

void WebDavTransport::SignIn(const QString& token, Job& job)
{
    d->server.SignIn(token, job);
    d->localTemporaries.Sweep();
    d->temporaries.SweepOwn(job);
}

QString WebDavTransport::UserName(Job& job)
{
    if (!d->userName.isEmpty()) {
        return d->userName;
    }
    auto principal = d->collection.Self(PropfindForPrincipal(), job).principal;
    while (principal.endsWith('/')) {
        principal.chop(1);
    }
    const auto name = QByteArray::fromPercentEncoding(principal.mid(principal.lastIndexOf('/') + 1));
    if (name.isEmpty()) {
        throw CloudError(FailureCode::Unsupported,
                         QStringLiteral("this server does not say who is signed in"));
    }
    return QString::fromUtf8(name);
}

QUrl WebDavTransport::UserProfile(Job&)
{
    const auto& address = d->server.Address();
    return QUrl::fromEncoded(address.Origin() + address.CollectionPath(), QUrl::StrictMode);
}

Transport::CloudFiles WebDavTransport::List(Job& job)
{
    const auto asked = d->seen.BeginListing();
    CloudFiles files;
    auto versions = asked;
    std::vector<WebDavCollection::Member> temporaries;
    const auto begin = [&]() -> WebDavCollection::MemberSink {
        files.clear();
        temporaries.clear();
        versions = asked;
        return [&](WebDavCollection::Member&& member) {
            if (IsDocument(member)) {
                auto version = d->VersionOf(member.name, member.resource);
                auto file = Describe(member.name, member.resource, version.md5);
                if (versions.Add(member.name, std::move(version))) {
                    files.append(std::move(file));
                }
            } else if (RemoteTemporaries::IsTemporary(member)) {
                temporaries.push_back(std::move(member));
            }
        };
    };
    const auto now = d->collection.List(begin, job);
    d->seen.NoteListing(std::move(versions));
    std::sort(files.begin(), files.end(),
              [](const auto& left, const auto& right) { return left.id < right.id; });
    d->temporaries.SweepAbandoned(temporaries, now, job);
    return files;
}

Transport::CloudFile WebDavTransport::Info(const QString& id, Job& job)
{
    const auto name = RequiredName(id);
    const auto resource = d->RequiredResource(name, job);
    const auto version = d->VersionOf(name, resource);
    d->seen.Note(name, version);
    return Describe(name, resource, version.md5);
}

Transport::CloudFile WebDavTransport::Store(const Upload& upload, Job& job)
{
    const Job::Patience patience(job);
    const auto replaced = upload.replacedId.isEmpty() ? std::string() : RequiredName(upload.replacedId);
    if (!replaced.empty() && upload.replacedVersion && !d->seen.Find(replaced)) {
        const auto now = d->RequiredResource(replaced, job);
        d->RequireKnown(replaced, now, upload.replacedVersion);
        d->seen.Note(replaced, d->VersionOf(replaced, now));
    }
    const auto stored = WebDavUpload(d->uploads, upload, replaced).Run(job);
    const auto& resource = stored.resource;
    if (resource.size) {
        d->hashes.Remember(stored.name, *resource.size, resource.entityTag, stored.md5);
    }
    return Describe(stored.name, resource, stored.md5);
}

fs::path WebDavTransport::Fetch(const Download& download, Job& job)
{
    const Job::Patience patience(job);
    const auto name = RequiredName(download.id);
    const LocalTarget target(download);
    const auto part = target.BeginPart(d->localTemporaries);
    const auto received =
        d->Receive(name, *part, {std::numeric_limits<qint64>::max(), download.expectedSize}, job);
    if (download.expectedSize != 0 && download.expectedSize != received.size) {
        throw Error(FailureCode::Conflict, download.id, QStringLiteral("does not have the expected size"));
    }
    OnSide(FileSide::Local, [&] { part->Finish(); });
    auto made = target.Publish(*part, job);
    d->hashes.Remember(name, received.size, received.version.entityTag, received.md5);
    return made;
}

void WebDavTransport::Remove(const Removal& removal, Job& job)
{
    const auto& id = removal.id;
    const auto name = RequiredName(id);
    const auto found = d->FindNow(name, job);
    if (!found) {
        (void)d->collection.Self(PropfindForDocuments(), job); // a cloud that is gone has deleted nothing
        d->seen.Forget(name);
        return;
    }
    if (found->isCollection) {
        throw Error(FailureCode::Refused, id, QStringLiteral("not a document"));
    }
    d->RequireKnown(name, *found, removal.known);
    const auto version = DocumentVersion::Of(*found);
    const auto known = d->seen.Find(name);
    if (known && !known->IsSameAs(version)) {
        throw Error(FailureCode::Conflict, id, QStringLiteral("has changed since it was last seen"));
    }
    job.ThrowIfCanceled();
    d->collection.Delete(name, version, job);
    d->seen.Forget(name);
}

Transport::QuotaValue WebDavTransport::Quota(Job& job)
{
    return QuotaOf(d->collection, d->traits, job);
}

QString WebDavTransport::VersionTag(const QString& id, Job& job)
{
    const auto name = RequiredName(id);
    if (const auto listed = d->seen.TakeListed(name)) {
        return listed->Text();
    }
    return d->Look(name, job).Text();
}

Transport::RenderSource WebDavTransport::FetchForRendering(const QString& id, Job& job)
{
    const auto part = OnSide(FileSide::Local, [&] {
        Support::MakePrivateFolder(d->cacheFolder);
        return std::make_shared<Support::PartFile>(d->cacheFolder, d->localTemporaries,
                                                   fs::perms::owner_read | fs::perms::owner_write);
    });
    (void)d->Receive(RequiredName(id), *part, {kLargestRendered}, job);
    OnSide(FileSide::Local, [&] { part->Finish(); });
    return {part->TemporaryPath(), part};
}

} // namespace Orvane::Social
