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

} // namespace

void CatchInterrupts()
{
    std::signal(SIGINT, OnInterruptSignal);
    std::signal(SIGTERM, OnInterruptSignal);
#ifdef Q_OS_UNIX
    if (std::signal(SIGHUP, OnInterruptSignal) == SIG_IGN)
        std::signal(SIGHUP, SIG_IGN); // "nohup" asks to be spared in this way
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
