#include <OrvaneCloudProtocol/previews/HelperProcess.h>

#include <OrvaneCloudProtocol/previews/linux/Descriptor.h>
#include <OrvaneCloudProtocol/previews/linux/HelperLaunch.h>
#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QDeadlineTimer>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// Not QProcess: that forks (Qt 5), which copies the page tables of the whole application for each picture,
// and holds up all of its threads meanwhile.
namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;
using std::chrono::microseconds;

constexpr microseconds kShortestPause{50};
constexpr int kMostTakenAtOnce = 1024 * 1024; // it may write as fast as we read
constexpr int kKilledBySignal = 128;          // bubblewrap adds the signal's number, as a shell does
constexpr std::chrono::seconds kLongestDeath{5};

std::string MessageOf(int error)
{
    return std::generic_category().message(error);
}

/// The file that was checked is the file that is read, and there is no name to take for an option.
Descriptor OpenInput(const fs::path& file)
{
    const auto refuse = [&file](const std::string& reason) {
        throw CloudError(FailureCode::LocalDisk,
                         Support::ToText(file) + QStringLiteral(": ") + QString::fromStdString(reason));
    };
    Descriptor input(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)); // a FIFO must not block us
    if (!input.IsOpen())
        refuse(MessageOf(errno));
    struct stat status = {};
    if (::fstat(input.Number(), &status) != 0 || !S_ISREG(status.st_mode))
        refuse("not a regular file");
    return input;
}

struct Pipe
{
    Pipe()
    {
        std::array<int, 2> ends{-1, -1};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw CloudError(FailureCode::Unsupported, QString::fromStdString(MessageOf(errno)));
        ours = Descriptor(ends[0]);
        theirs = Descriptor(ends[1]);
        ::fcntl(ours.Number(), F_SETFL, O_NONBLOCK);
    }

    Descriptor ours;
    Descriptor theirs;
};

} // namespace

class HelperProcess::Private
{
public:
    Private(const Command& command, const fs::path& input)
        : m_isWrapped(command.limits.confinement == PreviewConfinement::Bubblewrap)
    {
        const auto file = OpenInput(input);
        ::fcntl(m_life.ours.Number(), F_SETFL, 0); // who reads it waits
        m_process = StartHelper(command, {file.Number(), output.theirs.Number(), errorOutput.theirs.Number(),
                                          m_status.theirs.Number(), m_life.ours.Number()});
        isRunning = true;
        for (Pipe* pipe : {&output, &errorOutput, &m_status})
            pipe->theirs.Close();
    }

    ~Private()
    {
        if (!isRunning)
            return;
        ::kill(-m_process, SIGKILL); // its group: bubblewrap and what runs in it
        while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
        }
        WaitForOthers();
    }

    Q_DISABLE_COPY_MOVE(Private)

    void Wait(std::chrono::milliseconds longest)
    {
        std::array<pollfd, 2> said{pollfd{output.ours.Number(), POLLIN, 0},
                                   pollfd{errorOutput.ours.Number(), POLLIN, 0}};
        if (output.ours.IsOpen() || errorOutput.ours.IsOpen()) {
            if (::poll(said.data(), said.size(), static_cast<int>(longest.count())) <= 0)
                NoteEnd();
            return;
        }
        NoteEnd();
        if (isRunning) // mostly just about to end
            std::this_thread::sleep_for(m_pause = std::min<microseconds>(2 * m_pause, longest));
    }

    QByteArray Take(Descriptor& from)
    {
        QByteArray taken;
        std::array<char, 65536> buffer;
        while (from.IsOpen() && taken.size() < kMostTakenAtOnce) {
            const auto count = ::read(from.Number(), buffer.data(), buffer.size());
            if (count > 0)
                taken.append(buffer.data(), static_cast<int>(count));
            else if (count == 0)
                from.Close();
            else if (errno != EINTR)
                break;
        }
        return taken;
    }

    [[nodiscard]] bool HasStarted()
    {
        m_said += Take(m_status.ours);
        return !m_isWrapped || m_said.contains(isRunning ? "\"child-pid\"" : "\"exit-code\"");
    }

    Pipe output;
    Pipe errorOutput;
    bool isRunning = false;
    int exitCode = 0;

private:
    void NoteEnd()
    {
        int status = 0;
        const auto ended = ::waitpid(m_process, &status, WNOHANG);
        if (ended == 0 || (ended < 0 && errno == EINTR))
            return;
        isRunning = false;
        // An application that ignores SIGCHLD is not told how it has ended: then its output has to say it.
        exitCode = ended < 0 ? 0 : WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        if (m_isWrapped && exitCode > kKilledBySignal)
            exitCode = -1;
    }

    /// What was started by the process that has been waited for dies with it, but not in the same moment.
    void WaitForOthers()
    {
        const QDeadlineTimer deadline(kLongestDeath);
        for (Pipe* pipe : {&output, &errorOutput})
            while (pipe->ours.IsOpen() && !deadline.hasExpired()) {
                pollfd said{pipe->ours.Number(), POLLIN, 0};
                ::poll(&said, 1, static_cast<int>(deadline.remainingTime()));
                Take(pipe->ours);
            }
    }

    const bool m_isWrapped;
    Pipe m_status; ///< of bubblewrap
    Pipe m_life;   ///< its guard reads ours; theirs is closed with this process
    QByteArray m_said;
    pid_t m_process = 0;
    microseconds m_pause = kShortestPause;
};

HelperProcess::HelperProcess(const Command& command, const fs::path& input)
    : d(std::make_unique<Private>(command, input))
{}

HelperProcess::~HelperProcess() = default;

QString HelperProcess::InputName(const fs::path& /*input*/)
{
    return QStringLiteral("/proc/self/fd/0");
}

void HelperProcess::Wait(std::chrono::milliseconds longest)
{
    d->Wait(longest);
}

bool HelperProcess::IsRunning() const
{
    return d->isRunning;
}

bool HelperProcess::HasStarted()
{
    return d->HasStarted();
}

QByteArray HelperProcess::TakeOutput()
{
    return d->Take(d->output.ours);
}

QByteArray HelperProcess::TakeErrorOutput()
{
    return d->Take(d->errorOutput.ours);
}

int HelperProcess::ExitCode() const
{
    return d->exitCode;
}

} // namespace Orvane::Social
