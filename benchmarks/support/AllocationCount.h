#pragma once

#include <cstddef>

namespace Orvane::Benchmarks {

/// How often this thread has called malloc so far. Needs AllocationCount.cpp in the program.
[[nodiscard]] std::size_t AllocationCount();

} // namespace Orvane::Benchmarks
