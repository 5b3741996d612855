#pragma once

#include <filesystem>
#include <memory>

namespace Orvane::CommandLine {

/// Sends log lines to <data>/logs/orvane-cloud.log, and Qt's own messages with them; nothing reaches the user
/// unless asked for. One object a process. A log that cannot be written is done without.
class Logging
{
public:
    enum class Echo
    {
        None,
        ToStderr
    };

    Logging(const std::filesystem::path& dataFolder, Echo echo);
    ~Logging();

private:
    class FileSink;
    std::unique_ptr<FileSink> m_sink;
};

} // namespace Orvane::CommandLine
