#pragma once

#include <chrono>

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

template <typename Work>
[[nodiscard]] double SecondsOf(Work&& work)
{
    const Stopwatch stopwatch;
    work();
    return stopwatch.Seconds();
}

} // namespace Orvane::Benchmarks
