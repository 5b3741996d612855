#pragma once

#include <support/Folder.h>

#include <filesystem>
#include <functional>

namespace Orvane::Support {

/// An empty file stands under the final name and could not be removed again.
class LeftoverError : public std::filesystem::filesystem_error
{
public:
    using filesystem_error::filesystem_error;
};

/// Folder::RenameToFree as file systems do it that can neither do that nor link: for a moment @p to is an
/// empty file, for which @p whenReserved is called. A filesystem_error that it throws gives the name up
/// again. Returns false when the name is taken; throws LeftoverError when the empty file has to stay.
[[nodiscard]] bool RenameToReserved(
    const Folder& folder, const Folder::Name& from, const Folder::Name& to,
    const std::function<void()>& whenReserved = [] {});

} // namespace Orvane::Support
