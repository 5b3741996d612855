#include <OrvaneCloudProtocol/transports/folder/FolderDocuments.h>

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <support/PathText.h>
#include <support/TemporaryJournal.h>

#include <QDateTime>

#include <algorithm>
#include <cerrno>
#include <chrono>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::hours kAbandonedAfter{24};

QString Iso8601(std::int64_t secondsSinceEpoch)
{
    return QDateTime::fromSecsSinceEpoch(secondsSinceEpoch, Qt::UTC).toString(Qt::ISODate);
}

std::int64_t SecondsOf(std::int64_t nanoseconds)
{
    return nanoseconds / 1'000'000'000;
}

std::int64_t CreationSecondsOf([[maybe_unused]] const fs::path& path, const Support::FileStamp& stamp)
{
#if defined(Q_OS_LINUX) && defined(STATX_BTIME)
    struct statx status = {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) == 0 &&
        (status.stx_mask & STATX_BTIME) != 0) {
        return status.stx_btime.tv_sec;
    }
#endif
    return SecondsOf(stamp.modified);
}

bool IsAbandoned(const fs::path& file)
{
    if (!Support::IsTemporaryName(file.filename().string())) {
        return false;
    }
    std::error_code error;
    const auto written = fs::last_write_time(file, error);
    return !error && fs::file_time_type::clock::now() - written > kAbandonedAfter;
}

} // namespace

FolderDocuments::FolderDocuments(const fs::path& folder)
    : m_folder(folder)
{}

FolderDocuments::Device FolderDocuments::RequireFolder() const
{
    std::error_code error;
    const auto status = fs::status(m_folder, error);
    if (status.type() == fs::file_type::directory) {
        return OnSide(FileSide::Cloud, [this] { return Support::DeviceOf(m_folder); });
    }
    if (error && FailureCodeOf(FileSide::Cloud, error) != FailureCode::NotFound) {
        ThrowFileError(FileSide::Cloud, m_folder, error);
    }
    throw CloudError(FailureCode::NotFound,
                     Support::ToText(m_folder) + QStringLiteral(": the cloud's folder is not there"));
}

std::vector<std::string> FolderDocuments::Names(Job& job) const
{
    return OnSide(FileSide::Cloud, [&] {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(m_folder)) {
            job.ThrowIfCanceled();
            auto name = entry.path().filename().string();
            if (IsDocumentName(name)) {
                names.push_back(std::move(name));
            }
        }
        return names;
    });
}

bool FolderDocuments::IsEmpty() const
{
    return OnSide(FileSide::Cloud, [&] {
        const auto isDocument = [](const fs::directory_entry& entry) {
            return IsDocumentName(entry.path().filename().string()) && StampOf(entry.path());
        };
        return std::none_of(fs::directory_iterator(m_folder), fs::directory_iterator(), isDocument);
    });
}

fs::path FolderDocuments::PathOf(const QString& id) const
{
    const auto name = DocumentNameOf(id);
    if (!name) {
        throw CloudError(FailureCode::InvalidRequest, id + QStringLiteral(": not the id of a document"));
    }
    return m_folder / *name;
}

std::optional<Support::FileStamp> FolderDocuments::StampOf(const fs::path& path)
{
    return OnSide(FileSide::Cloud, [&] { return Support::LookAt(path, Support::Links::NotFollowed); });
}

Support::FileStamp FolderDocuments::RequiredStampOf(const fs::path& path)
{
    if (const auto stamp = StampOf(path)) {
        return *stamp;
    }
    throw CloudError(FailureCode::NotFound, Support::ToText(path) + QStringLiteral(": no such document"));
}

QString FolderDocuments::VersionTagOf(const Support::FileStamp& stamp)
{
    // Without the device: a share that is mounted again gets another number.
    return QStringLiteral("%1-%2-%3-%4")
        .arg(stamp.size, 0, 16)
        .arg(stamp.modified, 0, 16)
        .arg(stamp.changed, 0, 16)
        .arg(stamp.inode, 0, 16);
}

Transport::CloudFile FolderDocuments::Describe(const fs::path& path, const Support::FileStamp& stamp,
                                               const QString& md5)
{
    const auto name = path.filename().string();
    Transport::CloudFile file;
    file.id = DocumentIdOf(name);
    file.fileName = ReadableNameOf(name);
    file.size = static_cast<qint64>(stamp.size);
    file.versionTag = VersionTagOf(stamp);
    file.md5Hash = md5;
    file.createdAt = Iso8601(CreationSecondsOf(path, stamp));
    file.modifyTime = Iso8601(SecondsOf(stamp.modified));
    return file;
}

void FolderDocuments::SweepOldTemporaries() const
{
    std::error_code error;
    for (fs::directory_iterator entry(m_folder, error), end; !error && entry != end; entry.increment(error)) {
        if (IsAbandoned(entry->path())) {
            std::error_code ignored;
            fs::remove(entry->path(), ignored);
        }
    }
}

} // namespace Orvane::Social
