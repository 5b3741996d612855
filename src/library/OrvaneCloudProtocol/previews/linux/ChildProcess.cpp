#include <OrvaneCloudProtocol/previews/linux/ChildProcess.h>

#include <OrvaneCloudProtocol/previews/linux/Descriptor.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <linux/close_range.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Orvane::Social {
namespace {

constexpr int kAboveTheChilds = 16; // numbers that ours keep, while the child's take their places
constexpr auto kReadAnyFile = std::uint32_t(1) << CAP_DAC_READ_SEARCH;

[[noreturn]] void Refuse(const char* program, const char* step, int error)
{
    throw CloudError(FailureCode::Unsupported,
                     QFile::decodeName(program) + QStringLiteral(": ") + QString::fromLatin1(step) +
                         QString::fromStdString(std::generic_category().message(error)));
}

/// Of a number that the child will not need.
Descriptor CopyAbove(int number)
{
    Descriptor copy(::fcntl(number, F_DUPFD_CLOEXEC, kAboveTheChilds));
    if (!copy.IsOpen())
        throw std::system_error(errno, std::generic_category());
    return copy;
}

sock_fprog ProgramOf(const std::vector<sock_filter>* filter)
{
    if (!filter)
        return {0, nullptr};
    return {static_cast<unsigned short>(filter->size()), const_cast<sock_filter*>(filter->data())};
}

/// What has kept the child from becoming the program.
struct Obstacle
{
    const char* step; ///< both processes know the texts by the same addresses
    int error;
};

/// The new process until it is the program. It uses the memory of the application, whose other threads go on
/// running: so it only makes calls that are safe in a signal handler.
class Child
{
public:
    Child(const ChildPlan& plan, const std::vector<Descriptor>& descriptors, int ruleset, int report)
        : m_plan(plan)
        , m_descriptors(descriptors)
        , m_ruleset(ruleset)
        , m_report(report)
        , m_filter(ProgramOf(plan.syscallFilter))
    {
        for (const auto& [resource, most] : plan.limits) {
            rlimit now = {};
            ::getrlimit(static_cast<__rlimit_resource>(resource), &now);
            m_limits.emplace_back(resource, std::min(now.rlim_max, most));
        }
    }

    [[noreturn]] void Run() const
    {
        const Obstacle obstacle{Prepare(), errno};
        (void)!::write(m_report, &obstacle, sizeof obstacle);
        ::_exit(EXIT_FAILURE);
    }

private:
    /// Returns the step that has failed.
    [[nodiscard]] const char* Prepare() const
    {
        TakeDefaultSignals();
        if (!TakeDescriptors())
            return "its descriptors: ";
        if (!TakeLimits())
            return "its limits: ";
        if (::setsid() < 0 || ::chdir("/") != 0 ||
            (!m_plan.outlivesThread && ::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0))
            return "its session: ";
        if (!m_plan.keepsRights && !GiveUpRights())
            return "its rights: ";
        if (m_ruleset >= 0 && ::syscall(SYS_landlock_restrict_self, m_ruleset, 0) != 0)
            return "landlock: ";
        if (m_filter.filter && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &m_filter) != 0)
            return "seccomp: ";
        ::execve(m_plan.arguments[0], m_plan.arguments, m_plan.environment);
        return "";
    }

    /// No handler of the application runs here, also once no signal is blocked.
    static void TakeDefaultSignals()
    {
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        for (int signal = 1; signal < NSIG; ++signal)
            ::sigaction(signal, &action, nullptr);
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
    }

    [[nodiscard]] bool TakeDescriptors() const
    {
        const int count = static_cast<int>(m_descriptors.size());
        for (int number = 0; number < count; ++number)
            if (::dup2(m_descriptors[static_cast<std::size_t>(number)].Number(), number) < 0)
                return false;
        return ::close_range(static_cast<unsigned>(count), ~0U, CLOSE_RANGE_CLOEXEC) == 0 ||
               CloseOnExecFrom(count);
    }

    /// For kernels before 5.11. opendir allocates, so this reads the folder itself.
    [[nodiscard]] static bool CloseOnExecFrom(int first)
    {
        const int folder = ::open("/proc/self/fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        alignas(dirent64) std::array<char, 4096> entries;
        long count = 0;
        while ((count = ::syscall(SYS_getdents64, folder, entries.data(), entries.size())) > 0)
            for (long at = 0; at < count;) {
                const auto* entry = reinterpret_cast<const dirent64*>(entries.data() + at);
                const int number = std::atoi(entry->d_name);
                if (number >= first)
                    ::fcntl(number, F_SETFD, FD_CLOEXEC);
                at += entry->d_reclen;
            }
        return count == 0;
    }

    [[nodiscard]] bool TakeLimits() const
    {
        return std::all_of(m_limits.begin(), m_limits.end(), [](const auto& limit) {
            const rlimit both{limit.second, limit.second};
            return ::setrlimit(static_cast<__rlimit_resource>(limit.first), &both) == 0;
        });
    }

    /// Root reads documents that belong to others; nothing more.
    [[nodiscard]] static bool GiveUpRights()
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> rights = {};
        if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            ::syscall(SYS_capget, &header, rights.data()) != 0)
            return false;
        const auto kept = rights[0].permitted & kReadAnyFile;
        rights = {__user_cap_data_struct{kept, kept, 0}};
        return ::syscall(SYS_capset, &header, rights.data()) == 0;
    }

    const ChildPlan& m_plan;
    const std::vector<Descriptor>& m_descriptors;
    const int m_ruleset;
    const int m_report;
    const sock_fprog m_filter;
    std::vector<std::pair<int, rlim_t>> m_limits;
};

/// While it lives, no signal handler runs on this thread.
class BlockedSignals
{
public:
    BlockedSignals()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_former);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &m_former, nullptr); }
    Q_DISABLE_COPY_MOVE(BlockedSignals)

private:
    sigset_t m_former;
};

pid_t Start(const Child& child)
{
    const BlockedSignals noHandler;
    const pid_t process = ::vfork(); // fork would copy the page tables of the whole application
    if (process == 0)
        child.Run();
    if (process < 0)
        throw std::system_error(errno, std::generic_category());
    return process;
}

/// Both ends of a pipe; the second has a number that the child will not need.
std::pair<Descriptor, Descriptor> ReportPipe()
{
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category());
    const Descriptor theirs(ends[1]);
    return {Descriptor(ends[0]), CopyAbove(theirs.Number())};
}

pid_t StartReporting(const ChildPlan& plan)
{
    std::vector<Descriptor> descriptors;
    for (const int number : plan.descriptors)
        descriptors.push_back(CopyAbove(number));
    const auto ruleset = plan.landlockRuleset < 0 ? Descriptor() : CopyAbove(plan.landlockRuleset);
    auto [ours, theirs] = ReportPipe();

    const pid_t process = Start(Child(plan, descriptors, ruleset.Number(), theirs.Number()));
    theirs.Close();
    Obstacle obstacle = {};
    if (::read(ours.Number(), &obstacle, sizeof obstacle) != sizeof obstacle)
        return process; // it has become the program, which closed the pipe
    while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    Refuse(plan.arguments[0], obstacle.step, obstacle.error);
}

} // namespace

pid_t StartChild(const ChildPlan& plan)
{
    try {
        return StartReporting(plan);
    } catch (const std::system_error& error) {
        Refuse(plan.arguments[0], "", error.code().value());
    }
}

} // namespace Orvane::Social
