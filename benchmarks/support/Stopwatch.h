#pragma once

#include <chrono>
#include <ctime>

namespace Orvane::Benchmarks {

class Stopwatch
{
public:
    [[nodiscard]] double Seconds() const
    {
        return std::chrono::duration<double>(Clock::now() - m_start).count();
    }

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point m_start = Clock::now();
};

/// What this thread has used of the processor so far.
[[nodiscard]] inline double ThreadProcessorSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

template <typename Work>
[[nodiscard]] double SecondsOf(Work&& work)
{
    const Stopwatch stopwatch;
    work();
    return stopwatch.Seconds();
}

} // namespace Orvane::Benchmarks
