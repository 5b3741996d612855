#pragma once

#include <OrvaneCloudProtocol/previews/ProcessLimits.h>

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>
#include <filesystem>
#include <memory>

namespace Orvane::Social {

/// A program that runs as a process of its own, confined, with a file as its standard input. Used on one
/// thread, which needs no event loop. Starting it takes no longer when much memory is in use.
class HelperProcess
{
public:
    struct Command
    {
        QString program; ///< absolute
        QStringList arguments;
        QProcessEnvironment environment;
        ProcessLimits limits; ///< those on time and output are the caller's business
    };

    /// Starts it. Throws CloudError: LocalDisk when @p input is no regular file that can be read, Unsupported
    /// when the program does not start, or cannot be confined in this way.
    HelperProcess(const Command& command, const std::filesystem::path& input);

    /// Kills it if it is still running, with all processes that it may have started.
    ~HelperProcess();

    /// The name under which it can open its input.
    [[nodiscard]] static QString InputName(const std::filesystem::path& input);

    /// Until it has said something, or has ended, or the time is over.
    void Wait(std::chrono::milliseconds longest);

    [[nodiscard]] bool IsRunning() const;

    /// False as long as something that was to start the program has not done so.
    [[nodiscard]] bool HasStarted();

    /// What it has written since it was last asked.
    [[nodiscard]] QByteArray TakeOutput();
    [[nodiscard]] QByteArray TakeErrorOutput();

    /// Of one that has ended; negative when something has ended it.
    [[nodiscard]] int ExitCode() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::Social
