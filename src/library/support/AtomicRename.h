#pragma once

#include <filesystem>

namespace Orvane::Support {

/// What became of a rename that only some file systems can do.
enum class RenameResult
{
    Done,
    Taken,      ///< something is already there; nothing was changed
    Unsupported ///< this system or this file system cannot do it; nothing was changed
};

/// Renames a file to a name that nothing has. Of several callers that try at once, one succeeds. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] RenameResult RenameToFree(const std::filesystem::path& from, const std::filesystem::path& to);

/// Lets two existing files change names in one step. Returns Done or Unsupported; throws
/// std::filesystem::filesystem_error.
[[nodiscard]] RenameResult ExchangeNames(const std::filesystem::path& one,
                                         const std::filesystem::path& other);

} // namespace Orvane::Support
