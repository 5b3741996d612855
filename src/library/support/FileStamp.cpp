#include "FileStamp.h"

#include <QtGlobal>

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_UNIX
#include <support/PosixStamp.h>
#include <sys/stat.h>
#else
#include <QDateTime>
#include <QFileInfo>
#endif

namespace Orvane::Support {
namespace {

constexpr std::chrono::seconds kSettlingTime{3};

#ifdef Q_OS_UNIX
// An embedded NUL would cut the name on its way to the system and so name another file.
bool CanNameAFile(const std::string& utf8)
{
    return utf8.find('\0') == std::string::npos;
}

std::int64_t Nanoseconds(const timespec& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}
#else
std::int64_t Nanoseconds(const QDateTime& time)
{
    return time.isValid() ? time.toMSecsSinceEpoch() * 1'000'000 : 0;
}
#endif

} // namespace

#ifdef Q_OS_UNIX
namespace {

[[noreturn]] void ThrowCannotLook(const std::filesystem::path& path)
{
    throw std::filesystem::filesystem_error("cannot look at", path,
                                            std::error_code(errno, std::generic_category()));
}

} // namespace

std::optional<FileStamp> StampIn(const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
#ifdef Q_OS_DARWIN
    const auto &modified = status.st_mtimespec, &changed = status.st_ctimespec;
#else
    const auto &modified = status.st_mtim, &changed = status.st_ctim;
#endif
    return FileStamp{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                     Nanoseconds(modified), Nanoseconds(changed)};
}

std::optional<FileStamp> StampOf(const std::string& utf8File)
{
    struct stat status = {};
    const bool isThere = CanNameAFile(utf8File) && ::stat(utf8File.c_str(), &status) == 0;
    return isThere ? StampIn(status) : std::nullopt;
}

std::optional<FileStamp> LookAt(const std::filesystem::path& file, Links links)
{
    struct stat status = {};
    const auto look = links == Links::Followed ? &::stat : &::lstat;
    if (look(file.c_str(), &status) == 0)
        return StampIn(status);
    if (errno == ENOENT || errno == ENOTDIR)
        return std::nullopt;
    ThrowCannotLook(file);
}

std::uint64_t DeviceOf(const std::filesystem::path& path)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        ThrowCannotLook(path);
    return status.st_dev;
}

FileKind KindOf(const std::string& utf8Path)
{
    struct stat status = {};
    if (::lstat(utf8Path.c_str(), &status) != 0)
        return FileKind::Neither;
    if (S_ISLNK(status.st_mode))
        return FileKind::Link;
    return S_ISREG(status.st_mode) ? FileKind::RegularFile : FileKind::Neither;
}
#else
std::optional<FileStamp> StampOf(const std::string& utf8File)
{
    const QFileInfo info(QString::fromStdString(utf8File));
    if (!info.isFile())
        return std::nullopt;
    return FileStamp{0, 0, static_cast<std::uint64_t>(info.size()), Nanoseconds(info.lastModified()),
                     Nanoseconds(info.metadataChangeTime())};
}

std::optional<FileStamp> LookAt(const std::filesystem::path& file, Links links)
{
    const bool isLink = std::filesystem::is_symlink(std::filesystem::symlink_status(file));
    const bool isFile = std::filesystem::is_regular_file(std::filesystem::status(file));
    return isFile && !(isLink && links == Links::NotFollowed) ? StampOf(file) : std::nullopt;
}

FileKind KindOf(const std::string& utf8Path)
{
    std::error_code ignored;
    const auto status = std::filesystem::symlink_status(std::filesystem::u8path(utf8Path), ignored);
    if (std::filesystem::is_symlink(status))
        return FileKind::Link;
    return std::filesystem::is_regular_file(status) ? FileKind::RegularFile : FileKind::Neither;
}

std::uint64_t DeviceOf(const std::filesystem::path&)
{
    return 0;
}
#endif

bool IsSettled(const FileStamp& stamp, std::chrono::system_clock::time_point now)
{
    const std::chrono::nanoseconds lastChange{std::max(stamp.modified, stamp.changed)};
    return lastChange + kSettlingTime <= now.time_since_epoch();
}

} // namespace Orvane::Support
