#pragma once

#include <filesystem>
#include <vector>

namespace Orvane::Social {

/// The files and folders, as far as they exist, that a program needs in order to run and to find the system's
/// fonts. Some are links, as /lib is on many systems.
///
/// @param program  absolute, without links
[[nodiscard]] std::vector<std::filesystem::path> FilesToRun(const std::filesystem::path& program);

} // namespace Orvane::Social
