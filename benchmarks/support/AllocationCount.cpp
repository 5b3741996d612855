#include "support/AllocationCount.h"

namespace {

thread_local std::size_t allocationCount = 0;

} // namespace

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* malloc(std::size_t size) noexcept
{
    ++allocationCount;
    return __libc_malloc(size);
}

std::size_t Orvane::Benchmarks::AllocationCount()
{
    return allocationCount;
}
