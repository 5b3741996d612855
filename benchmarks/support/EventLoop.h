#pragma once

#include "support/Stopwatch.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace Orvane::Benchmarks {

/// Runs the event loop until the condition holds.
template <typename Condition>
void RunUntil(Condition isReached)
{
    while (!isReached())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// For how long the event loop has served nothing else. The two differ while it waits for the disk, and when
/// other processes take its turn.
struct Block
{
    double seconds = 0;
    double processorSeconds = 0;
};

class BlockWatch
{
public:
    [[nodiscard]] Block Length() const { return {m_watch.Seconds(), ThreadProcessorSeconds() - m_processor}; }

private:
    Stopwatch m_watch;
    double m_processor = ThreadProcessorSeconds();
};

/// Looks for the longest block, in the gaps between the ticks of a timer of 1 ms.
class LoopWatch
{
public:
    LoopWatch()
    {
        m_ticks.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticks, &QTimer::timeout, [this] { EndGap(); });
        m_ticks.start(1);
    }

    /// A part of the present gap that is not to count.
    void Leave(const Block& part) { m_leftOut = part; }

    /// The longest so far, by either clock.
    [[nodiscard]] Block Longest()
    {
        EndGap();
        return m_longest;
    }

private:
    void EndGap()
    {
        const auto gap = m_gap.Length();
        m_longest.seconds = std::max(m_longest.seconds, gap.seconds - m_leftOut.seconds);
        m_longest.processorSeconds =
            std::max(m_longest.processorSeconds, gap.processorSeconds - m_leftOut.processorSeconds);
        m_leftOut = {};
        m_gap = BlockWatch();
    }

    QTimer m_ticks;
    BlockWatch m_gap;
    Block m_leftOut;
    Block m_longest;
};

inline void ReportLongest(benchmark::State& state, const Block& block)
{
    state.counters["longest_block_ms"] = block.seconds * 1000;
    state.counters["longest_block_cpu_ms"] = block.processorSeconds * 1000;
}

} // namespace Orvane::Benchmarks
