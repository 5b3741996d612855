#include <OrvaneCloudProtocol/transports/http/ExchangeWatch.h>

namespace Orvane::Social {

namespace {

/// A chunk of one byte, which some servers send, is six bytes long.
constexpr qint64 kMostFramesToContent = 8;

} // namespace

void ExchangeWatch::Start()
{
    m_isStarted = true;
    Restart();
}

void ExchangeWatch::Restart()
{
    if (m_isStarted) {
        const auto window = m_isLongAnswer ? std::max(m_limits.answer, m_limits.stall) : m_limits.stall;
        m_windowEnd = Clock::now() + window;
        m_movedAtWindow = m_moved;
    }
}

void ExchangeWatch::ExpectLongAnswer()
{
    m_isLongAnswer = true;
    Restart();
}

void ExchangeWatch::AddReceived(qint64 bytes)
{
    m_received += bytes;
    m_moved += bytes;
}

bool ExchangeWatch::IsLate()
{
    const auto now = Clock::now();
    if (now < NextLook()) {
        return false;
    }
    const auto least = m_limits.lowestSpeed * m_limits.stall.count() / 1000;
    if (now >= m_end || m_moved - m_movedAtWindow < least) {
        return true;
    }
    m_isLongAnswer = false; // it has begun
    Restart();
    return false;
}

bool ExchangeWatch::IsFlooded() const
{
    return m_received - m_content > m_limits.mostOverhead + kMostFramesToContent * m_content;
}

} // namespace Orvane::Social
