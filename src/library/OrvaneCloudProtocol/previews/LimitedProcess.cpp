#include <OrvaneCloudProtocol/previews/LimitedProcess.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QDeadlineTimer>
#include <QProcess>
#include <QProcessEnvironment>

#include <algorithm>
#include <cerrno>
#include <system_error>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#ifdef Q_OS_LINUX
#include <csignal>
#include <cstdlib>
#include <pthread.h>
#include <sys/prctl.h>
#endif

namespace Orvane::Social {
namespace {

constexpr int kSliceMs = 20; // how late a cancel or a limit may be noticed
constexpr int kKeptErrorBytes = 4096;

[[noreturn]] void ThrowUnreadable(const std::filesystem::path& file, const std::string& reason)
{
    throw CloudError(FailureCode::LocalDisk,
                     Support::ToText(file) + QStringLiteral(": ") + QString::fromStdString(reason));
}

#ifdef Q_OS_UNIX

/// The input as the child's standard input: no name to take for an option or to get wrong in a conversion,
/// and the file that was checked is the file that is read.
class ChildInput
{
public:
    explicit ChildInput(const std::filesystem::path& file)
        : m_descriptor(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) // a FIFO must not block us
    {
        if (m_descriptor < 0)
            ThrowUnreadable(file, std::generic_category().message(errno));
        struct stat status = {};
        if (::fstat(m_descriptor, &status) == 0 && S_ISREG(status.st_mode))
            return;
        ::close(m_descriptor);
        ThrowUnreadable(file, "not a regular file");
    }
    ~ChildInput() { ::close(m_descriptor); }
    Q_DISABLE_COPY_MOVE(ChildInput)

    [[nodiscard]] static QString Name() { return QStringLiteral("/dev/fd/0"); }
    void InstallInChild() const noexcept { ::dup2(m_descriptor, STDIN_FILENO); }

private:
    const int m_descriptor;
};

template <typename Resource>
void LimitResource(Resource resource, rlim_t limit) noexcept
{
    rlimit current = {};
    ::getrlimit(resource, &current);
    const rlim_t allowed = std::min(limit, current.rlim_max);
    const rlimit wanted = {allowed, allowed};
    ::setrlimit(resource, &wanted);
}

void LimitThisProcess(const ProcessLimits& limits) noexcept
{
    LimitResource(RLIMIT_CORE, 0);
    LimitResource(RLIMIT_CPU, static_cast<rlim_t>(limits.cpuTime.count()));
    LimitResource(RLIMIT_AS, static_cast<rlim_t>(limits.memoryBytes));
}

#else

class ChildInput
{
public:
    explicit ChildInput(const std::filesystem::path& file)
        : m_file(std::filesystem::absolute(file))
    {
        if (!std::filesystem::is_regular_file(m_file))
            ThrowUnreadable(file, "not a regular file");
    }

    [[nodiscard]] QString Name() const { return Support::ToText(m_file); }
    void InstallInChild() const noexcept {}

private:
    const std::filesystem::path m_file;
};

void LimitThisProcess(const ProcessLimits&) noexcept {}

#endif

#ifdef Q_OS_LINUX

thread_local pid_t parentOfHelper = 0; // set while this thread starts a helper

void DieWithParent() noexcept // runs in every child that the process forks
{
    if (parentOfHelper == 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parentOfHelper)
        ::_exit(EXIT_FAILURE);
}

/// QProcess's child waits for a word of its parent before it becomes the program. One whose parent is killed
/// just then would wait for ever (Qt 5.15.8), and hold what it has inherited: the lock of the document list.
class BoundToParent
{
public:
    BoundToParent()
    {
        [[maybe_unused]] static const int registered = ::pthread_atfork(nullptr, nullptr, &DieWithParent);
        parentOfHelper = ::getpid();
    }
    ~BoundToParent() { parentOfHelper = 0; }
    Q_DISABLE_COPY_MOVE(BoundToParent)
};

#else

struct BoundToParent
{
    BoundToParent() {}
};

#endif

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

class LimitedProcess : private QProcess
{
public:
    LimitedProcess(const std::filesystem::path& input, const ProcessLimits& limits)
        : m_input(input)
        , m_limits(limits)
    {
        setProcessEnvironment(MinimalEnvironment());
    }

    ~LimitedProcess() override
    {
        if (state() == NotRunning)
            return;
        kill();
        waitForFinished();
    }

    ProcessResult Run(const QString& program, QStringList arguments, const Job& job)
    {
        const QDeadlineTimer deadline(m_limits.wallTime);
        {
            const BoundToParent starting;
            start(program, arguments.replaceInStrings(InputPlaceholder(), m_input.Name()), ReadOnly);
        }
        if (!waitForStarted())
            throw CloudError(FailureCode::Unsupported, program + QStringLiteral(": ") + errorString());
        while (state() != NotRunning) {
            waitForReadyRead(kSliceMs);
            CollectOutput();
            job.ThrowIfCanceled();
            ThrowIfExceeded(deadline);
        }
        CollectOutput();
        if (exitStatus() != NormalExit)
            throw CloudError(FailureCode::InvalidDocument,
                             QStringLiteral("crashed, or needed more processor time or memory than allowed"));
        return {exitCode() == 0, m_output, m_errorOutput};
    }

protected:
    void setupChildProcess() override // runs between fork and exec: system calls only
    {
        m_input.InstallInChild();
        LimitThisProcess(m_limits);
    }

private:
    void CollectOutput()
    {
        m_output += readAllStandardOutput();
        const QByteArray errors = readAllStandardError();
        m_errorOutput += errors.left(kKeptErrorBytes - m_errorOutput.size());
    }

    void ThrowIfExceeded(const QDeadlineTimer& deadline) const
    {
        if (deadline.hasExpired())
            throw CloudError(FailureCode::InvalidDocument,
                             QStringLiteral("not done within %1 ms").arg(m_limits.wallTime.count()));
        if (m_output.size() > m_limits.outputBytes)
            throw CloudError(FailureCode::InvalidDocument, QStringLiteral("more output than there can be"));
    }

    const ChildInput m_input;
    const ProcessLimits m_limits;
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
    return LimitedProcess(input, limits).Run(program, arguments, job);
}

} // namespace Orvane::Social
