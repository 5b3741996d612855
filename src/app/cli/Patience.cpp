#include "Patience.h"

namespace Orvane::CommandLine {

namespace {

constexpr int kSecondInMs = 1000;
constexpr int kNoticedAfterSeconds = 3;

} // namespace

Patience::Patience()
{
    m_everySecond.setInterval(kSecondInMs);
    connect(&m_everySecond, &QTimer::timeout, this, &Patience::Tick);
}

Patience::~Patience() = default;

void Patience::Begin()
{
    m_sinceLastNews.start();
    if (!m_everySecond.isActive())
        m_everySecond.start();
}

void Patience::End()
{
    m_everySecond.stop();
}

void Patience::Tick()
{
    const int seconds = static_cast<int>(m_sinceLastNews.elapsed() / kSecondInMs);
    if (seconds >= kNoticedAfterSeconds)
        Q_EMIT Tried(seconds);
}

} // namespace Orvane::CommandLine
