#pragma once

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string_view>

/// Names and sizes of the cases. A case is called "<row>/<variant>", where the variant is "ours", "floor"
/// (what the row is compared with) or another word, and "<row>/<variant>/<documents>" where cost is watched
/// as work grows; Google Benchmark appends its own marks ("/iterations:1", "/manual_time"). What is not a
/// plain time comes as a counter.
namespace Orvane::Benchmarks {

/// The environment variable ORVANE_BENCHMARK_SIZE=quick asks for toy sizes; all else means the full ones.
[[nodiscard]] inline bool IsQuick()
{
    const char* size = std::getenv("ORVANE_BENCHMARK_SIZE");
    return size != nullptr && std::string_view(size) == "quick";
}

[[nodiscard]] inline int DocumentCount()
{
    return IsQuick() ? 100 : 10'000;
}

/// One run of a case that prepares much and measures it with its own stopwatch; repetitions do the rest.
inline void OnceByOwnClock(benchmark::internal::Benchmark* registered)
{
    registered->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
}

/// The same with growing work.
inline void Growing(benchmark::internal::Benchmark* registered)
{
    OnceByOwnClock(registered);
    for (const int count : {100, 1'000, 10'000, 100'000})
        if (!IsQuick() || count <= 1'000)
            registered->Arg(count);
}

} // namespace Orvane::Benchmarks
