#include "Interrupt.h"

#include "ExitCode.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

namespace Orvane::CommandLine {

namespace {

constexpr int kPollIntervalInMs = 50;

std::atomic<bool> isRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may use no other");

extern "C" void OnInterruptSignal(int number)
{
    if (isRequested.exchange(true))
        std::_Exit(static_cast<int>(ExitCode::Interrupted));
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

bool IsInterruptRequested()
{
    return isRequested;
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
    if (!IsInterruptRequested())
        return;
    m_timer.stop();
    Q_EMIT Requested();
}

} // namespace Orvane::CommandLine
