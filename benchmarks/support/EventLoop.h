#pragma once

#include "support/Stopwatch.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace Orvane::Benchmarks {

/// Runs the event loop until the condition holds.
template <typename Condition>
void RunUntil(Condition isReached)
{
    while (!isReached())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Watches for how long the event loop serves nothing else, by the gaps between the ticks of a timer of 1 ms.
class LoopWatch
{
public:
    LoopWatch()
    {
        m_ticks.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticks, &QTimer::timeout, [this] { EndGap(); });
        m_ticks.start(1);
    }

    /// Time in the present gap that is not to count.
    void Leave(double seconds) { m_leftOut += seconds; }

    [[nodiscard]] double LongestBlock()
    {
        EndGap();
        return m_longest;
    }

private:
    void EndGap()
    {
        m_longest = std::max(m_longest, m_gap.Seconds() - m_leftOut);
        m_leftOut = 0;
        m_gap = Stopwatch();
    }

    QTimer m_ticks;
    Stopwatch m_gap;
    double m_leftOut = 0;
    double m_longest = 0;
};

} // namespace Orvane::Benchmarks
