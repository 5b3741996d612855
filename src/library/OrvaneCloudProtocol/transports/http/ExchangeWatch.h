#pragma once

#include <OrvaneCloudProtocol/transports/http/NetworkLimits.h>

#include <algorithm>

namespace Orvane::Social {

/// Knows how far an exchange has got, and when it has taken too long or sent too much.
class ExchangeWatch
{
public:
    using Clock = std::chrono::steady_clock;

    /// @param limits  must outlive the object
    explicit ExchangeWatch(const NetworkLimits& limits)
        : m_limits(limits)
    {}

    /// Ends the exchange at this moment, if not earlier, whatever happens in it.
    void EndAt(Clock::time_point moment) { m_end = std::min(moment, m_end); }

    /// The request is being sent. Until then the time for connecting is libcurl's to watch.
    void Start();

    /// Measures the speed from now on: until now nothing could move.
    void Restart();

    /// The server has all of the request, and may need a while to carry it out.
    void ExpectLongAnswer();

    void AddSent(qint64 bytes) { m_moved += bytes; }

    /// Of whatever the server has sent, whether it is content or not.
    void AddReceived(qint64 bytes);

    /// Of what it has sent: the part that is content.
    void AddContent(qint64 bytes) { m_content += bytes; }

    /// When IsLate should be asked again.
    [[nodiscard]] Clock::time_point NextLook() const { return std::min(m_end, m_windowEnd); }

    /// Whether the exchange has taken too long, or is too slow.
    [[nodiscard]] bool IsLate();

    /// Whether the server sends more than belongs to its content.
    [[nodiscard]] bool IsFlooded() const;

private:
    const NetworkLimits& m_limits;
    Clock::time_point m_end = Clock::time_point::max();
    Clock::time_point m_windowEnd = Clock::time_point::max();
    bool m_isStarted = false;
    bool m_isLongAnswer = false;
    qint64 m_moved = 0;
    qint64 m_movedAtWindow = 0;
    qint64 m_received = 0;
    qint64 m_content = 0;
};

} // namespace Orvane::Social
