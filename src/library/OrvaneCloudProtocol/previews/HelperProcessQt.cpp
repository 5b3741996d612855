#include <OrvaneCloudProtocol/previews/HelperProcess.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <support/PathText.h>

#include <QProcess>

// For systems where starting a process does not copy this one, or where nobody has looked yet.
namespace Orvane::Social {

namespace fs = std::filesystem;

class HelperProcess::Private : public QProcess
{};

HelperProcess::HelperProcess(const Command& command, const fs::path& input)
    : d(std::make_unique<Private>())
{
    if (!fs::is_regular_file(input))
        throw CloudError(FailureCode::LocalDisk,
                         Support::ToText(input) + QStringLiteral(": not a regular file"));
    d->setStandardInputFile(Support::ToText(input));
    d->setProcessEnvironment(command.environment);
    d->start(command.program, command.arguments, QIODevice::ReadOnly);
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
