#include <OrvaneCloudProtocol/previews/LimitedProcess.h>

#include <OrvaneCloudProtocol/previews/HelperProcess.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QDeadlineTimer>

namespace Orvane::Social {
namespace {

constexpr std::chrono::milliseconds kSlice{20}; // how late a cancel or a limit may be noticed
constexpr int kKeptErrorBytes = 4096;

// What a shell says of a program that it cannot start (POSIX, 2.8.2), and the loader of one that lacks a
// library.
constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;

QProcessEnvironment MinimalEnvironment()
{
    QProcessEnvironment environment;
#ifdef Q_OS_WIN
    for (const char* name : {"PATH", "SystemRoot", "TEMP"})
        environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
#else
    environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
    environment.insert(QStringLiteral("HOME"), QStringLiteral("/nonexistent"));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("C"));
#endif
    return environment;
}

class LimitedProcess
{
public:
    LimitedProcess(const HelperProcess::Command& command, const std::filesystem::path& input)
        : m_limits(command.limits)
        , m_deadline(m_limits.wallTime)
        , m_process(command, input)
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

    void ThrowIfExceeded()
    {
        if (m_deadline.hasExpired() && !m_process.HasStarted())
            throw CloudError(FailureCode::Unsupported,
                             QStringLiteral("not started within %1 ms").arg(m_limits.wallTime.count()));
        if (m_deadline.hasExpired())
            throw CloudError(FailureCode::InvalidDocument,
                             QStringLiteral("not done within %1 ms").arg(m_limits.wallTime.count()));
        if (m_output.size() > m_limits.outputBytes)
            throw CloudError(FailureCode::InvalidDocument, QStringLiteral("more output than there can be"));
    }

    void ThrowIfFailed()
    {
        const int code = m_process.ExitCode();
        if (!m_process.HasStarted() || code == kNotExecutable || code == kNotFound)
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
    return LimitedProcess({program, filled, MinimalEnvironment(), limits}, input).Run(job);
}

} // namespace Orvane::Social
