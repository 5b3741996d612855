#pragma once

#include <filesystem>
#include <functional>

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

/// Gives a file a second name, which nothing may have yet: on file systems without the above, the first half
/// of such a rename. Fails with Unsupported, whatever the reason.
[[nodiscard]] RenameResult LinkToFree(const std::filesystem::path& from, const std::filesystem::path& to);

/// An empty file stands under the final name and could not be removed again.
class LeftoverError : public std::filesystem::filesystem_error
{
public:
    using filesystem_error::filesystem_error;
};

/// RenameToFree as file systems do it that have none of the above: for a moment @p to is an empty file, for
/// which @p whenReserved is called. A filesystem_error that it throws gives the name up again. Returns false
/// when the name is taken; throws LeftoverError when the empty file has to stay.
[[nodiscard]] bool RenameToReserved(
    const std::filesystem::path& from, const std::filesystem::path& to,
    const std::function<void()>& whenReserved = [] {});

/// Lets two existing files change names in one step. Returns Done or Unsupported; throws
/// std::filesystem::filesystem_error.
[[nodiscard]] RenameResult ExchangeNames(const std::filesystem::path& one,
                                         const std::filesystem::path& other);

} // namespace Orvane::Support
