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
    QStringList options{QStringLiteral("--unshare-pid"),        QStringLiteral("--unshare-net"),
                        QStringLiteral("--unshare-ipc"),        QStringLiteral("--unshare-uts"),
                        QStringLiteral("--unshare-cgroup-try"), QStringLiteral("--die-with-parent")};
    if (::geteuid() != 0)
        return options << QStringLiteral("--unshare-user");
    // In a user namespace root could not open a document that belongs to somebody else.
    return options << QStringLiteral("--cap-drop") << QStringLiteral("ALL") << QStringLiteral("--cap-add")
                   << QStringLiteral("CAP_DAC_READ_SEARCH");
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
    return line << QStringLiteral("--proc") << QStringLiteral("/proc") << QStringLiteral("--remount-ro")
                << QStringLiteral("/") << QStringLiteral("--chdir") << QStringLiteral("/")
                << QStringLiteral("--seccomp") << QString::number(kBubblewrapFilter)
                << QStringLiteral("--json-status-fd") << QString::number(kBubblewrapStatus)
                << QStringLiteral("--") << command;
}

} // namespace Orvane::Social
