#pragma once

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

/// Programs that stand in for those that render pages.
namespace Orvane::Tests {

/// A shell script that is found as a program of this name while it lives. It may run confined, where it can
/// write nothing: so it takes a line from one pipe whenever it starts, and keeps another open while it runs.
class ProgramStandIn
{
public:
    ProgramStandIn(const QString& name, const QByteArray& script, const QByteArray& interpreter = "/bin/sh")
        : m_program(m_folder.filePath(name))
        , m_turns(MakePipe(".turns", O_RDWR))
        , m_life(MakePipe(".life", O_RDONLY))
    {
        const int readEnd = m_life;
        m_life = ::open(Beside(".life").constData(), O_WRONLY | O_CLOEXEC);
        ::close(readEnd);
        QFile file(m_program);
        file.open(QIODevice::WriteOnly);
        file.write("#!" + interpreter + "\nread -r turn < \"$0.turns\"; exec 9< \"$0.life\"\n" + script +
                   '\n');
        ::fchmod(file.handle(), 0755);
        ::chmod(m_folder.path().toUtf8().constData(), 0755); // for every user
        const std::string turns(kTurns, '\n');
        [[maybe_unused]] const auto filled = ::write(m_turns, turns.data(), turns.size());
        qputenv("PATH", m_folder.path().toUtf8() + ':' + m_formerPath);
    }
    ~ProgramStandIn()
    {
        qputenv("PATH", m_formerPath);
        ::close(m_turns);
        ::close(m_life);
    }
    Q_DISABLE_COPY_MOVE(ProgramStandIn)

    /// For the rest of its life no program is found at all.
    static void Uninstall() { qputenv("PATH", "/nowhere"); }

    /// How often it has been started.
    [[nodiscard]] int Runs() const
    {
        int left = 0;
        ::ioctl(m_turns, FIONREAD, &left);
        return kTurns - left;
    }

    /// Whether a process of it is there, or one of those that it has become or started.
    [[nodiscard]] bool IsRunning() const
    {
        pollfd life{m_life, POLLOUT, 0};
        return ::poll(&life, 1, 0) == 1 && (life.revents & POLLERR) == 0;
    }

    /// The name of a file that the script knows as "$0" and @p suffix.
    [[nodiscard]] QByteArray Beside(const QByteArray& suffix) const { return m_program.toUtf8() + suffix; }

private:
    static constexpr int kTurns = 4096;

    int MakePipe(const QByteArray& suffix, int mode) const
    {
        const QByteArray name = Beside(suffix);
        ::mkfifo(name.constData(), 0644);
        ::chmod(name.constData(), 0644);
        return ::open(name.constData(), mode | O_NONBLOCK | O_CLOEXEC);
    }

    const QTemporaryDir m_folder;
    const QString m_program;
    const QByteArray m_formerPath = qgetenv("PATH");
    const int m_turns;
    int m_life;
};

/// The shell command that waits for ever.
constexpr const char* kHang = "read -r never <&9";

/// Stands in for the program that renders pages.
struct HelperStandIn : ProgramStandIn
{
    explicit HelperStandIn(const QByteArray& script, const QByteArray& interpreter = "/bin/sh")
        : ProgramStandIn(QStringLiteral("pdftoppm"), script, interpreter)
    {}
};

/// The real one, with its runs counted.
struct CountedHelper : HelperStandIn
{
    CountedHelper()
        : HelperStandIn("exec " + QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).toUtf8() +
                        " \"$@\"")
    {}
};

} // namespace Orvane::Tests
