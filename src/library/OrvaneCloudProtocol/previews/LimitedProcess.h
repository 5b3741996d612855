#pragma once

#include <OrvaneCloudProtocol/previews/ProcessLimits.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <filesystem>

namespace Orvane::Social {

class Job;

/// How a helper process ended by itself.
struct ProcessResult
{
    bool hasSucceeded; ///< exit code 0
    QByteArray output;
    QByteArray errorOutput; ///< the first few KiB
};

/// Stands in the arguments for the name under which the process opens its input.
[[nodiscard]] QString InputPlaceholder();

/// Runs a program that reads one file, and waits for its end. The calling thread needs no event loop. The
/// process is gone when this returns or throws; it gets nothing of our environment.
///
/// Throws CloudError: Canceled; LocalDisk when @p input is no regular file that can be read; Unsupported when
/// the program does not start, or cannot be confined; InvalidDocument when it crashes or exceeds a limit.
[[nodiscard]] ProcessResult RunLimited(const QString& program, const QStringList& arguments,
                                       const std::filesystem::path& input, const ProcessLimits& limits,
                                       const Job& job);

} // namespace Orvane::Social
