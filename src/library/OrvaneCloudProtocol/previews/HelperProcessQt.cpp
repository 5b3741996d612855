#include <OrvaneCloudProtocol/previews/HelperProcess.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QProcess>

// Limits are all that is here to confine it. For systems where starting a process does not copy this one, or
// where nobody has looked yet.
namespace Orvane::Social {

namespace fs = std::filesystem;

namespace {

using Command = HelperProcess::Command;

#ifdef Q_OS_UNIX
// The shell takes the limits upon itself and becomes the program. A limit that is below already stays.
Command Limited(Command command)
{
    const auto script = QStringLiteral("{ ulimit -c 0; ulimit -f 0; ulimit -t %1; ulimit -v %2; }"
                                       " 2>/dev/null; exec \"$0\" \"$@\"")
                            .arg(command.limits.cpuTime.count())
                            .arg(command.limits.memoryBytes / 1024);
    command.arguments = QStringList{QStringLiteral("-c"), script, command.program} + command.arguments;
    command.program = QStringLiteral("/bin/sh");
    return command;
}
#else
Command Limited(Command command)
{
    return command;
}
#endif

} // namespace

class HelperProcess::Private : public QProcess
{};

HelperProcess::HelperProcess(const Command& command, const fs::path& input)
    : d(std::make_unique<Private>())
{
    if (!fs::is_regular_file(input))
        throw CloudError(FailureCode::LocalDisk,
                         Support::ToText(input) + QStringLiteral(": not a regular file"));
    if (command.limits.confinement != PreviewConfinement::Limits)
        throw CloudError(FailureCode::Unsupported, ToText(command.limits.confinement));
    d->setStandardInputFile(Support::ToText(input));
    d->setProcessEnvironment(command.environment);
    const auto limited = Limited(command);
    d->start(limited.program, limited.arguments, QIODevice::ReadOnly);
    if (!d->waitForStarted())
        throw CloudError(FailureCode::Unsupported, command.program + QStringLiteral(": ") + d->errorString());
}

HelperProcess::~HelperProcess()
{
    if (!IsRunning())
        return;
    d->kill();
    d->waitForFinished();
}

QString HelperProcess::InputName(const fs::path& input)
{
    return Support::ToText(fs::absolute(input));
}

void HelperProcess::Wait(std::chrono::milliseconds longest)
{
    d->waitForReadyRead(static_cast<int>(longest.count()));
}

bool HelperProcess::IsRunning() const
{
    return d->state() != QProcess::NotRunning;
}

bool HelperProcess::HasStarted()
{
    return true;
}

QByteArray HelperProcess::TakeOutput()
{
    return d->readAllStandardOutput();
}

QByteArray HelperProcess::TakeErrorOutput()
{
    return d->readAllStandardError();
}

int HelperProcess::ExitCode() const
{
    return d->exitStatus() == QProcess::NormalExit ? d->exitCode() : -1;
}

} // namespace Orvane::Social
