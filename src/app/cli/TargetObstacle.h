#pragma once

#include <filesystem>
#include <optional>

namespace Orvane::CommandLine {

/// Why a file may not be written at a path, and what the user can do.
struct TargetObstacle
{
    const char* why;
    const char* next;
};

/// What stands in the way at @p target; nothing when the path is free, or holds an ordinary file, or a link
/// to one, that may be replaced. Anything else (a folder, a device, a pipe, a broken link) is never replaced.
[[nodiscard]] std::optional<TargetObstacle> FindObstacle(const std::filesystem::path& target,
                                                         bool isOverwritingAllowed);

} // namespace Orvane::CommandLine
