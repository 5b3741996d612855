#pragma once

#include <cstdint>

namespace Orvane::Social {

/// How a remote request ended.
enum class RequestResult : std::int32_t
{
    Success = 0,
    Error = 1,
    Canceled = 2
};

/// Returned instead of a ticket by a request that did not start. Only this value means that: 0 and other
/// negative numbers are tickets like any other.
inline constexpr long long INVALID_TICKET = -1;

} // namespace Orvane::Social
