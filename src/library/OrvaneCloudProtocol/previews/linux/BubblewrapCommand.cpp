#include <OrvaneCloudProtocol/previews/linux/BubblewrapCommand.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QStandardPaths>

#include <unistd.h>

namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;

QString FindBubblewrap()
{
    const auto program = QStandardPaths::findExecutable(QStringLiteral("bwrap"));
    if (program.isEmpty())
        throw CloudError(FailureCode::Unsupported, QStringLiteral("bubblewrap is not installed"));
    return program;
}

/// No session of its own: it stays in the process group of bubblewrap, which is killed as one.
QStringList Namespaces()
{
    QStringList options{QStringLiteral("--unshare-pid"), QStringLiteral("--unshare-net"),
                        QStringLiteral("--unshare-ipc"), QStringLiteral("--unshare-uts"),
                        QStringLiteral("--unshare-cgroup-try")};
    if (::geteuid() != 0)
        return options << QStringLiteral("--unshare-user");
    // In a user namespace root could not open a document that belongs to somebody else.
    return options << QStringLiteral("--cap-drop") << QStringLiteral("ALL") << QStringLiteral("--cap-add")
                   << QStringLiteral("CAP_DAC_READ_SEARCH");
}

/// A shell that becomes bubblewrap, and leaves a process that kills their group when the application is gone.
/// Bubblewrap's own option for that does not hold while it starts: a process of it then waits for ever.
QStringList Guarded(const QStringList& command)
{
    const auto script = QStringLiteral("{ read -r never; kill -9 0; } <&%1 >&- 2>&- %2<&- %3>&- %1<&- & "
                                       "exec %1<&-; exec \"$0\" \"$@\"")
                            .arg(kBubblewrapLife)
                            .arg(kBubblewrapFilter)
                            .arg(kBubblewrapStatus);
    return QStringList{QStringLiteral("/bin/sh"), QStringLiteral("-c"), script} + command;
}

QStringList Mounted(const fs::path& path)
{
    std::error_code ignored;
    const auto name = Support::ToText(path);
    if (path.parent_path() == "/" && fs::is_symlink(path, ignored)) // into /usr
        return {QStringLiteral("--symlink"), Support::ToText(fs::read_symlink(path, ignored)), name};
    return {QStringLiteral("--ro-bind"), name, name};
}

} // namespace

QStringList BubblewrapCommand(const QStringList& command, const std::vector<fs::path>& readable)
{
    auto line = QStringList(FindBubblewrap()) + Namespaces();
    for (const auto& path : readable)
        line += Mounted(path);
    line << QStringLiteral("--proc") << QStringLiteral("/proc") << QStringLiteral("--remount-ro")
         << QStringLiteral("/") << QStringLiteral("--chdir") << QStringLiteral("/")
         << QStringLiteral("--seccomp") << QString::number(kBubblewrapFilter)
         << QStringLiteral("--json-status-fd") << QString::number(kBubblewrapStatus) << QStringLiteral("--")
         << command;
    return Guarded(line);
}

} // namespace Orvane::Social
