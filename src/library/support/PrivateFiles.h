#pragma once

#include <filesystem>

namespace Orvane::Support {

/// Makes the folder, with those above it, where it is missing, and sees to it that nobody but the user can
/// look into it, also when it was there before (0700 where the system has such rights). A folder of somebody
/// else's, or one that all users share, such as the system's temporary folder, stays as it is. Throws
/// std::filesystem::filesystem_error when the folder cannot be made.
void MakePrivateFolder(const std::filesystem::path& folder);

/// The same for a folder that is not indispensable: returns whether it is there.
bool TryToMakePrivateFolder(const std::filesystem::path& folder) noexcept;

/// Takes the rights of all other users to a file away, where there is one (0600). Does nothing to what is no
/// regular file, a link among them, or is somebody else's. Does its best: whoever uses the file notices what
/// is wrong with it.
void MakePrivate(const std::filesystem::path& file) noexcept;

/// The same; where there is no file it makes an empty one.
void MakePrivateFile(const std::filesystem::path& file) noexcept;

} // namespace Orvane::Support
