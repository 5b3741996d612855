#include "TargetObstacle.h"

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;

std::optional<TargetObstacle> FindObstacle(const filesystem::path& target, bool isOverwritingAllowed)
{
    constexpr auto kElsewhere = "Choose another place with --to.";
    std::error_code error;
    const bool isTaken = filesystem::exists(filesystem::symlink_status(target, error));
    const filesystem::file_status status = filesystem::status(target, error);
    if (!isTaken || (filesystem::is_regular_file(status) && isOverwritingAllowed))
        return std::nullopt;
    if (filesystem::is_regular_file(status))
        return TargetObstacle{"a file of that name is already there",
                              "Replace it with --overwrite, or choose another place with --to."};
    if (filesystem::is_directory(status))
        return TargetObstacle{"a folder of that name is already there", kElsewhere};
    return TargetObstacle{"what is already there is no ordinary file", kElsewhere};
}

} // namespace Orvane::CommandLine
