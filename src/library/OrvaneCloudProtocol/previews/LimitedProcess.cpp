#include <OrvaneCloudProtocol/previews/LimitedProcess.h>

#include <OrvaneCloudProtocol/previews/HelperProcess.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QDeadlineTimer>

namespace Orvane::Social {
namespace {

using Command = HelperProcess::Command;

constexpr std::chrono::milliseconds kSlice{20}; // how late a cancel or a limit may be noticed
constexpr int kKeptErrorBytes = 4096;

// What a shell says of a program that it cannot start (POSIX, 2.8.2).
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;

QProcessEnvironment MinimalEnvironment()
{
    // Without HOME the font library cannot keep its cache, and would build it anew for every page.
    static const char* const kPassedOn[] = {
        "PATH",      "HOME", "TMPDIR", "TEMP", "XDG_CACHE_HOME", "FONTCONFIG_FILE", "FONTCONFIG_PATH",
        "SystemRoot"};
    QProcessEnvironment environment;
    for (const char* name : kPassedOn)
        if (qEnvironmentVariableIsSet(name))
            environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    return environment;
}

#ifdef Q_OS_UNIX
// The shell takes the limits upon itself and becomes the program. A limit that is below already stays.
Command Limited(const Command& command, const ProcessLimits& limits)
{
    const auto script = QStringLiteral("{ ulimit -c 0; ulimit -t %1; ulimit -v %2; } 2>/dev/null;"
                                       " exec \"$0\" \"$@\"")
                            .arg(limits.cpuTime.count())
                            .arg(limits.memoryBytes / 1024);
    return {QStringLiteral("/bin/sh"),
            QStringList{QStringLiteral("-c"), script, command.program} + command.arguments,
            command.environment};
}
#else
Command Limited(const Command& command, const ProcessLimits&)
{
    return command;
}
#endif

class LimitedProcess
{
public:
    LimitedProcess(const Command& command, const std::filesystem::path& input, const ProcessLimits& limits)
        : m_limits(limits)
        , m_deadline(limits.wallTime)
        , m_process(Limited(command, limits), input)
    {}

    [[nodiscard]] ProcessResult Run(const Job& job)
    {
        while (m_process.IsRunning()) {
            m_process.Wait(kSlice);
            CollectOutput();
            job.ThrowIfCanceled();
            ThrowIfExceeded();
        }
        CollectOutput();
        ThrowIfFailed();
        return {m_process.ExitCode() == 0, m_output, m_errorOutput};
    }

private:
    void CollectOutput()
    {
        m_output += m_process.TakeOutput();
        m_errorOutput += m_process.TakeErrorOutput().left(kKeptErrorBytes - m_errorOutput.size());
    }

    void ThrowIfExceeded() const
    {
        if (m_deadline.hasExpired())
            throw CloudError(FailureCode::InvalidDocument,
                             QStringLiteral("not done within %1 ms").arg(m_limits.wallTime.count()));
        if (m_output.size() > m_limits.outputBytes)
            throw CloudError(FailureCode::InvalidDocument, QStringLiteral("more output than there can be"));
    }

    void ThrowIfFailed() const
    {
        const int code = m_process.ExitCode();
        if (code == kNotExecutable || code == kNotFound)
            throw CloudError(FailureCode::Unsupported, QString::fromLocal8Bit(m_errorOutput).trimmed());
        if (code < 0)
            throw CloudError(FailureCode::InvalidDocument,
                             QStringLiteral("crashed, or needed more processor time or memory than allowed"));
    }

    const ProcessLimits m_limits;
    const QDeadlineTimer m_deadline;
    HelperProcess m_process;
    QByteArray m_output;
    QByteArray m_errorOutput;
};

} // namespace

QString InputPlaceholder()
{
    return QStringLiteral("{input}");
}

ProcessResult RunLimited(const QString& program, const QStringList& arguments,
                         const std::filesystem::path& input, const ProcessLimits& limits, const Job& job)
{
    job.ThrowIfCanceled();
    auto filled = arguments;
    filled.replaceInStrings(InputPlaceholder(), HelperProcess::InputName(input));
    return LimitedProcess({program, filled, MinimalEnvironment()}, input, limits).Run(job);
}

} // namespace Orvane::Social
