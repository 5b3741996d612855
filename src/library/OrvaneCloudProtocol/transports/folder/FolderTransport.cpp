#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <OrvaneCloudProtocol/transports/LocalTarget.h>
#include <OrvaneCloudProtocol/transports/NewDocumentName.h>
#include <OrvaneCloudProtocol/transports/SourceFile.h>
#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <support/AtomicRename.h>
#include <support/PartFile.h>
#include <support/PathText.h>

#include <QCryptographicHash>

#include <algorithm>
#include <limits>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

QString NameOfSystemUser()
{
    for (const char* variable : {"USER", "LOGNAME", "USERNAME"}) {
        QString name = qEnvironmentVariable(variable);
        if (!name.isEmpty()) {
            return name;
        }
    }
    return {};
}

qint64 Kibibytes(std::uintmax_t bytes)
{
    constexpr std::uintmax_t kLargest = std::numeric_limits<qint32>::max();
    return static_cast<qint64>(std::min(bytes / 1024, kLargest));
}

fs::file_type TypeOf(const fs::path& path)
{
    std::error_code ignored;
    return fs::symlink_status(path, ignored).type();
}

CloudError Conflict(const fs::path& path, const QString& reason)
{
    return CloudError(FailureCode::Conflict, Support::ToText(path) + QStringLiteral(": ") + reason);
}

/// Named by the address, because several clouds may share the folder.
fs::path FileOfKnownFolder(const OAuth2::AuthInfo& authInfo, const fs::path& folder,
                           const fs::path& cacheFolder)
{
    const auto address = QByteArray::fromStdString(folder.string());
    const auto digits = QCryptographicHash::hash(address, QCryptographicHash::Sha256).toHex().left(16);
    const auto dataFolder =
        authInfo.dataFolder.isEmpty() ? cacheFolder : fs::absolute(Support::ToPath(authInfo.dataFolder));
    return dataFolder / ("folder-" + digits.toStdString() + ".json");
}

void RequireExpected(const Transport::Upload& upload, const QString& md5)
{
    if (!upload.expectedMd5.isEmpty() && upload.expectedMd5.toLower() != md5) {
        throw Conflict(upload.source, QStringLiteral("is no longer what was to be uploaded"));
    }
}

/// A document that a change of ours has just made. Trouble with looking at it undoes nothing.
Support::FileStamp StampOfOwn(const fs::path& path, qint64 size)
{
    Support::FileStamp known;
    known.size = static_cast<std::uint64_t>(size);
    try {
        return FolderDocuments::StampOf(path).value_or(known);
    } catch (const CloudError&) {
        return known;
    }
}

} // namespace

FolderTransport::FolderTransport(const OAuth2::AuthInfo& authInfo, const fs::path& folder,
                                 const fs::path& cacheFolder)
    : m_userName(authInfo.userName)
    , m_documents(folder)
    , m_hashes(cacheFolder / "cloud-hashes.sqlite")
    , m_journal(cacheFolder / "temporaries")
    , m_known(FileOfKnownFolder(authInfo, folder, cacheFolder), m_journal, authInfo.isEmptiedFolderAccepted)
{}

bool FolderTransport::IsDocumentId(const QString& id) const
{
    return Social::IsDocumentId(id);
}

bool FolderTransport::IsCollection(const QString& id) const
{
    return TypeOf(m_documents.PathOf(id)) == fs::file_type::directory;
}

QUrl FolderTransport::DownloadUrl(const QString& id) const
{
    return AddressOfFile(m_documents.PathOf(id));
}

void FolderTransport::SignIn(const QString&, Job& job)
{
    RequireFolder();
    OnSide(FileSide::Cloud, [&] { fs::directory_iterator{m_documents.Folder()}; });
    job.ThrowIfCanceled();
    m_journal.Sweep();
    m_documents.SweepOldTemporaries();
}

QString FolderTransport::UserName(Job&)
{
    return m_userName.isEmpty() ? NameOfSystemUser() : m_userName;
}

QUrl FolderTransport::UserProfile(Job&)
{
    return AddressOfFile(m_documents.Folder());
}

Transport::CloudFiles FolderTransport::List(Job& job)
{
    const auto device = RequireFolder();
    CloudFiles files;
    for (const auto& name : m_documents.Names(job)) {
        if (const auto file = TryDescribe(m_documents.Folder() / name, job)) {
            files.append(*file);
        }
    }
    // A folder that went away meanwhile reads like one that was emptied.
    if (RequireFolder() != device) {
        throw CloudError(FailureCode::NotFound,
                         Support::ToText(m_documents.Folder()) +
                             QStringLiteral(": another folder has taken its place while it was listed"));
    }
    m_known.Note({device, files.isEmpty()});
    m_hashes.Flush();
    std::sort(files.begin(), files.end(),
              [](const auto& left, const auto& right) { return left.id < right.id; });
    return files;
}

FolderDocuments::Device FolderTransport::RequireFolder()
{
    const auto device = m_documents.RequireFolder();
    m_known.Require(m_documents.Folder(), device, [this] { return m_documents.IsEmpty(); });
    return device;
}

std::optional<Transport::CloudFile> FolderTransport::TryDescribe(const fs::path& path, Job& job)
{
    job.ThrowIfCanceled();
    const auto begin = m_seen.Moment();
    const auto stamp = FolderDocuments::StampOf(path);
    if (!stamp) {
        return std::nullopt;
    }
    const auto md5 = m_hashes.HashOf(path.u8string(), *stamp, [&job] { return job.IsCanceled(); });
    job.ThrowIfCanceled();
    if (md5.empty() && !FolderDocuments::StampOf(path)) {
        return std::nullopt;
    }
    // A content that cannot be read does not replace the one that was seen: the two cannot be compared.
    if (const auto seen = m_seen.Find(path); !md5.empty() || !seen || seen->md5.isEmpty()) {
        m_seen.Note(path, *stamp, QString::fromStdString(md5), begin);
    }
    return FolderDocuments::Describe(path, *stamp, QString::fromStdString(md5));
}

Transport::CloudFile FolderTransport::Info(const QString& id, Job& job)
{
    RequireFolder();
    const auto path = m_documents.PathOf(id);
    FolderDocuments::RequiredStampOf(path);
    if (const auto file = TryDescribe(path, job)) {
        return *file;
    }
    throw CloudError(FailureCode::NotFound, id + QStringLiteral(": no such document"));
}

Transport::CloudFile FolderTransport::Store(const Upload& upload, Job& job)
{
    RequireFolder();
    std::optional<SeenVersion> replaced;
    if (upload.replacedId.isEmpty()) {
        RequireNameOfNewDocument(upload.source);
    } else {
        replaced = BeginReplacement(m_documents.PathOf(upload.replacedId), upload.replacedVersion, job);
    }
    SourceFile source(upload.source, FileSide::Local);
    const auto part = OnSide(FileSide::Cloud, [&] {
        const auto mostAllowed =
            replaced ? Support::PermissionsAt(m_documents.PathOf(upload.replacedId)) : fs::perms::all;
        return std::make_unique<Support::PartFile>(m_documents.Folder(), m_journal, mostAllowed);
    });
    const QString md5 = source.CopyInto(*part, job);
    RequireExpected(upload, md5);
    const std::lock_guard lock(m_changing);
    const auto device = RequireFolder();
    const auto path = OnSide(FileSide::Cloud, [&] { return Publish(*part, upload, replaced, job); });
    const auto stamp = StampOfOwn(path, source.Size());
    m_seen.Note(path, stamp, md5, m_seen.Moment());
    m_known.Note({device, false});
    return FolderDocuments::Describe(path, stamp, md5);
}

void FolderTransport::RequireKnown(const fs::path& path, const std::optional<KnownVersion>& known, Job& job)
{
    if (!known || m_seen.Find(path)) {
        return;
    }
    const auto file = TryDescribe(path, job);
    if (file && !known->IsThatOf(*file)) {
        m_seen.Forget(path); // the caller has not seen it
        throw Conflict(path, QStringLiteral("has changed since it was listed"));
    }
}

SeenVersion FolderTransport::BeginReplacement(const fs::path& path, const std::optional<KnownVersion>& known,
                                              Job& job)
{
    RequireKnown(path, known, job);
    const auto now = FolderDocuments::RequiredStampOf(path);
    const auto seen = m_seen.Find(path);
    RequireSeen(path, now, seen, job);
    return seen.value_or(SeenVersion{now, {}, true});
}

void FolderTransport::RequireSeen(const fs::path& path, const Support::FileStamp& now,
                                  const std::optional<SeenVersion>& seen, Job& job)
{
    if (seen && !IsSeen(path, now, *seen, job)) {
        throw Conflict(path, QStringLiteral("has changed since it was last seen"));
    }
}

bool FolderTransport::IsSeen(const fs::path& path, const Support::FileStamp& now, const SeenVersion& seen,
                             Job& job)
{
    const bool isSame = Support::IsSameVersion(now, seen.stamp);
    const bool isDoubtful = !isSame || !seen.isSettled || now.changed != seen.stamp.changed;
    if (seen.md5.isEmpty()) {
        return isSame && now.changed == seen.stamp.changed;
    }
    if (!isDoubtful || now.size != seen.stamp.size) {
        return isSame;
    }
    const auto md5 = m_hashes.HashOf(path, [&job] { return job.IsCanceled(); });
    job.ThrowIfCanceled();
    return QString::fromStdString(md5) == seen.md5;
}

fs::path FolderTransport::Publish(Support::PartFile& part, const Upload& upload,
                                  const std::optional<SeenVersion>& replaced, Job& job)
{
    if (!replaced) {
        return PublishAsNew(part, upload.source.filename().string(), job);
    }
    auto target = m_documents.PathOf(upload.replacedId);
    const auto now = FolderDocuments::RequiredStampOf(target);
    // Another upload of this client may have replaced it meanwhile.
    RequireSeen(target, now, m_seen.Find(target).value_or(*replaced), job);
    job.Commit([&] {
        if (!part.ReplaceVersion(target, now)) {
            throw Conflict(target, QStringLiteral("is being changed by somebody else"));
        }
    });
    return target;
}

fs::path FolderTransport::PublishAsNew(Support::PartFile& part, const std::string& name, Job& job) const
{
    for (int number = 1; number <= kMostNamesTried; ++number) {
        auto target = m_documents.Folder() / NumberedName(name, number);
        if (TryName(part, target, job)) {
            return target;
        }
    }
    throw Conflict(m_documents.Folder() / name,
                   QStringLiteral("this name and its numbered forms are all taken"));
}

bool FolderTransport::TryName(Support::PartFile& part, const fs::path& target, Job& job)
{
    try {
        return job.Commit([&] { return part.BecomeNew(target); });
    } catch (const Support::LeftoverError& error) {
        throw LeftBehindError(
            CloudError(FailureCodeOf(FileSide::Cloud, error.code()), Support::ToText(target)),
            DocumentIdOf(target.filename().string()));
    } catch (const Support::JournalError& error) {
        throw CloudError(FailureCode::LocalDisk,
                         Support::ToText(error.path1()) +
                             QStringLiteral(": cannot be written, and without it a crash could leave an "
                                            "empty document behind"));
    }
}

fs::path FolderTransport::Fetch(const Download& download, Job& job)
{
    RequireFolder();
    const auto path = m_documents.PathOf(download.id);
    const LocalTarget target(download);
    SourceFile source(path, FileSide::Cloud);
    if (download.expectedSize != 0 && download.expectedSize != source.Size()) {
        throw Conflict(path, QStringLiteral("does not have the expected size"));
    }
    const auto remembered = m_hashes.HashOf(path, [] { return true; }); // without reading the file
    const auto part = target.BeginPart(m_journal);
    const auto begin = m_seen.Moment();
    if (remembered.empty()) {
        source.CopyUnhashedInto(*part, job);
    } else if (source.CopyInto(*part, job).toStdString() != remembered) {
        throw Conflict(path, QStringLiteral("does not hold what it held when it was listed"));
    }
    auto made = target.Publish(*part, job);
    m_seen.Note(path, source.Stamp(), QString::fromStdString(remembered), begin);
    return made;
}

void FolderTransport::Remove(const Removal& removal, Job& job)
{
    const auto device = RequireFolder();
    const auto path = m_documents.PathOf(removal.id);
    RequireKnown(path, removal.known, job);
    const std::lock_guard lock(m_changing);
    if (const auto now = FolderDocuments::StampOf(path)) {
        RequireSeen(path, *now, m_seen.Find(path), job);
        const auto remove = [&] { return Support::RemoveVersion(path, *now, m_journal); };
        if (!OnSide(FileSide::Cloud, [&] { return job.Commit(remove); })) {
            throw Conflict(path, QStringLiteral("is being changed by somebody else"));
        }
    } else if (OnSide(FileSide::Cloud, [&] { return fs::exists(fs::symlink_status(path)); })) {
        throw CloudError(FailureCode::Refused, Support::ToText(path) + QStringLiteral(": not a document"));
    } else {
        RequireFolder(); // a folder that has gone meanwhile has removed nothing
    }
    m_seen.Forget(path);
    NoteRemoval(device);
}

void FolderTransport::NoteRemoval(FolderDocuments::Device device)
{
    try {
        const bool isEmpty = m_documents.IsEmpty(); // stops at the first document
        if (m_documents.RequireFolder() == device) {
            m_known.Note({device, isEmpty});
        }
    } catch (const CloudError&) { // the document is gone all the same
        return;
    }
}

Transport::QuotaValue FolderTransport::Quota(Job&)
{
    RequireFolder();
    const auto space = OnSide(FileSide::Cloud, [&] { return fs::space(m_documents.Folder()); });
    const auto used = space.capacity - space.free;
    return {Kibibytes(used), Kibibytes(used + space.available)};
}

QString FolderTransport::VersionTag(const QString& id, Job&)
{
    RequireFolder();
    return FolderDocuments::VersionTagOf(FolderDocuments::RequiredStampOf(m_documents.PathOf(id)));
}

Transport::RenderSource FolderTransport::FetchForRendering(const QString& id, Job&)
{
    const auto path = m_documents.PathOf(id);
    FolderDocuments::RequiredStampOf(path);
    return {path, nullptr};
}

} // namespace Orvane::Social
