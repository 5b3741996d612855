#pragma once

#include <OrvaneCloudProtocol/Failure.h>

#include <filesystem>

namespace Orvane::Social {

/// Whose file it is that gives trouble.
enum class FileSide
{
    Local,
    Cloud
};

/// What a file system's error means to whoever asked for the work.
[[nodiscard]] FailureCode FailureCodeOf(FileSide side, const std::error_code& error);

[[noreturn]] void ThrowFileError(FileSide side, const std::filesystem::filesystem_error& error);
[[noreturn]] void ThrowFileError(FileSide side, const std::filesystem::path& path,
                                 const std::error_code& error);

/// Runs the step, and makes a CloudError of what the file system throws in it.
template <typename Step>
auto OnSide(FileSide side, Step&& step)
{
    try {
        return step();
    } catch (const std::filesystem::filesystem_error& error) {
        ThrowFileError(side, error);
    }
}

} // namespace Orvane::Social
