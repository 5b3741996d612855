#pragma once

#include <cstdio>
#include <cstdlib>

namespace Orvane::Fuzzing {

/// Ends the process when the property does not hold. libFuzzer then keeps the input.
inline void Require(bool holds, const char* property)
{
    if (!holds) {
        std::fprintf(stderr, "This does not hold: %s\n", property);
        std::abort();
    }
}

} // namespace Orvane::Fuzzing
