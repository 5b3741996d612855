#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace Orvane::Support {

/// What tells, without reading a file, that its content is still the same. Times are nanoseconds since 1970.
/// Where a system has no device, inode or change time, these are 0.
struct FileStamp
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::int64_t changed = 0; ///< unlike the modification time it cannot be set back

    friend bool operator==(const FileStamp& left, const FileStamp& right)
    {
        return left.device == right.device && left.inode == right.inode && left.size == right.size &&
               left.modified == right.modified && left.changed == right.changed;
    }
    friend bool operator!=(const FileStamp& left, const FileStamp& right) { return !(left == right); }
};

/// The stamp of the regular file at @p file, links followed; nothing when there is none. As UTF-8 it spares
/// the making of a path, which takes as long as half a look at the file.
[[nodiscard]] std::optional<FileStamp> StampOf(const std::string& utf8File);
[[nodiscard]] inline std::optional<FileStamp> StampOf(const std::filesystem::path& file)
{
    return StampOf(file.u8string());
}

/// Whether both are of one file with one content. Unlike ==, this outlasts a rename, which changes the change
/// time, and a share that is mounted again, which gets another device number.
[[nodiscard]] inline bool IsSameVersion(const FileStamp& left, const FileStamp& right)
{
    return left.inode == right.inode && left.size == right.size && left.modified == right.modified;
}

enum class Links
{
    Followed,
    NotFollowed
};

/// The stamp of the regular file at @p file; nothing when nothing is there, or something else. Unlike StampOf
/// it throws std::filesystem::filesystem_error when the system cannot tell.
[[nodiscard]] std::optional<FileStamp> LookAt(const std::filesystem::path& file, Links links);

/// The number of the device that the file or folder lies on; 0 where a system has none. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] std::uint64_t DeviceOf(const std::filesystem::path& path);

/// What stands at a path of UTF-8 text without a NUL character, links not followed.
enum class FileKind
{
    RegularFile,
    Link,
    Neither, ///< a folder, or nothing at all
};
[[nodiscard]] FileKind KindOf(const std::string& utf8Path);

/// Whether the file was left alone for so long (3 s) before @p now that a further change must give it another
/// stamp, also on a file system that counts in whole seconds.
[[nodiscard]] bool IsSettled(const FileStamp& stamp, std::chrono::system_clock::time_point now);

} // namespace Orvane::Support
