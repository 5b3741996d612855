#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

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

/// The stamp of the regular file at @p file, links followed; nothing when there is none.
[[nodiscard]] std::optional<FileStamp> StampOf(const std::filesystem::path& file);

/// Whether the file was left alone for so long (3 s) before @p now that a further change must give it another
/// stamp, also on a file system that counts in whole seconds.
[[nodiscard]] bool IsSettled(const FileStamp& stamp, std::chrono::system_clock::time_point now);

} // namespace Orvane::Support
