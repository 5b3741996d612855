#include <OrvaneCloudProtocol/previews/HelperProcess.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
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

std::string MessageOf(int error)
{
    return std::generic_category().message(error);
}

class Descriptor
{
public:
    explicit Descriptor(int number = -1)
        : m_number(number)
    {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept
        : m_number(std::exchange(other.m_number, -1))
    {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_number, other.m_number);
        return *this;
    }

    [[nodiscard]] int Number() const { return m_number; }
    [[nodiscard]] bool IsOpen() const { return m_number >= 0; }
    void Close()
    {
        if (IsOpen())
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number;
};

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

class Texts
{
public:
    explicit Texts(const QStringList& texts)
    {
        for (const auto& text : texts)
            m_bytes.push_back(QFile::encodeName(text));
        for (auto& bytes : m_bytes)
            m_pointers.push_back(bytes.data());
        m_pointers.push_back(nullptr);
    }

    [[nodiscard]] char** Pointers() { return m_pointers.data(); }

private:
    std::vector<QByteArray> m_bytes;
    std::vector<char*> m_pointers;
};

/// What is to be different in the new process.
class SpawnSettings
{
public:
    SpawnSettings(int input, int output, int errorOutput)
    {
        ::posix_spawn_file_actions_init(&m_files);
        ::posix_spawn_file_actions_adddup2(&m_files, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_files, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&m_files, errorOutput, STDERR_FILENO);
        ::posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        ::sigfillset(&signals);
        ::posix_spawnattr_setsigdefault(&m_attributes, &signals);
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&m_attributes, &signals);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnSettings()
    {
        ::posix_spawnattr_destroy(&m_attributes);
        ::posix_spawn_file_actions_destroy(&m_files);
    }
    Q_DISABLE_COPY_MOVE(SpawnSettings)

    [[nodiscard]] const posix_spawn_file_actions_t* Files() const { return &m_files; }
    [[nodiscard]] const posix_spawnattr_t* Attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_files;
    posix_spawnattr_t m_attributes;
};

} // namespace

class HelperProcess::Private
{
public:
    Private(const Command& command, const fs::path& input)
    {
        const auto file = OpenInput(input);
        Start(command, SpawnSettings(file.Number(), output.theirs.Number(), errorOutput.theirs.Number()));
        output.theirs.Close();
        errorOutput.theirs.Close();
    }

    ~Private()
    {
        if (!isRunning)
            return;
        ::kill(process, SIGKILL);
        while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
        }
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
            std::this_thread::sleep_for(pause = std::min<microseconds>(2 * pause, longest));
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

    Pipe output;
    Pipe errorOutput;
    bool isRunning = false;
    int exitCode = 0;

private:
    void Start(const Command& command, const SpawnSettings& settings)
    {
        Texts arguments(QStringList(command.program) + command.arguments);
        Texts environment(command.environment.toStringList());
        const int error = ::posix_spawn(&process, arguments.Pointers()[0], settings.Files(),
                                        settings.Attributes(), arguments.Pointers(), environment.Pointers());
        if (error != 0)
            throw CloudError(FailureCode::Unsupported, command.program + QStringLiteral(": ") +
                                                           QString::fromStdString(MessageOf(error)));
        isRunning = true;
    }

    void NoteEnd()
    {
        int status = 0;
        const auto ended = ::waitpid(process, &status, WNOHANG);
        if (ended == 0 || (ended < 0 && errno == EINTR))
            return;
        isRunning = false;
        // An application that ignores SIGCHLD is not told how it has ended: then its output has to say it.
        exitCode = ended < 0 ? 0 : WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t process = 0;
    microseconds pause = kShortestPause;
};

HelperProcess::HelperProcess(const Command& command, const fs::path& input)
    : d(std::make_unique<Private>(command, input))
{}

HelperProcess::~HelperProcess() = default;

QString HelperProcess::InputName(const fs::path& /*input*/)
{
    return QStringLiteral("/dev/fd/0");
}

void HelperProcess::Wait(std::chrono::milliseconds longest)
{
    d->Wait(longest);
}

bool HelperProcess::IsRunning() const
{
    return d->isRunning;
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
