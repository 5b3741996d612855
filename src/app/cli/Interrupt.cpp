#include "Interrupt.h"

#include "ExitCode.h"

#include <csignal>
#include <cstdlib>

namespace Orvane::CommandLine {

namespace {

constexpr int kPollIntervalInMs = 50;

volatile std::sig_atomic_t isInterruptRequested = 0;

extern "C" void OnInterruptSignal(int number)
{
    if (isInterruptRequested != 0)
        std::_Exit(static_cast<int>(ExitCode::Interrupted));
    isInterruptRequested = 1;
    std::signal(number, OnInterruptSignal); // some systems reset it
}

/// "nohup", and a shell for what it runs in the background, ask to be spared in this way.
bool IsIgnored([[maybe_unused]] int number)
{
#ifdef Q_OS_UNIX
    struct sigaction present = {};
    return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
#else
    return false;
#endif
}

void Catch(int number)
{
    if (!IsIgnored(number))
        std::signal(number, OnInterruptSignal);
}

} // namespace

void CatchInterrupts()
{
    Catch(SIGINT);
    Catch(SIGTERM);
#ifdef Q_OS_UNIX
    Catch(SIGHUP);
#endif
}

Interrupt::Interrupt(QObject* parent)
    : QObject(parent)
{
    connect(&m_timer, &QTimer::timeout, this, &Interrupt::Poll);
    m_timer.start(kPollIntervalInMs);
}

Interrupt::~Interrupt() = default;

void Interrupt::Poll()
{
    if (isInterruptRequested == 0)
        return;
    m_timer.stop();
    Q_EMIT Requested();
}

} // namespace Orvane::CommandLine
