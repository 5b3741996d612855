#pragma once

#include <OrvaneCloudProtocol/transports/http/NetworkLimits.h>

#include <optional>

namespace Orvane::Social {

/// Whether an answer with this status says that the same request may be granted a little later.
[[nodiscard]] bool IsPassing(int status);

/// How long to wait before the same thing is tried again; nothing when it should not be.
///
/// @param most         how many repetitions there may be
/// @param repetitions  how many times it has been repeated already
/// @param retryAfter   what the server asked for (RFC 9110 §10.2.3); more than a minute is too long to wait
/// @param jitter       0 to 1, at random, so that many clients do not come back all at once
[[nodiscard]] std::optional<std::chrono::milliseconds>
RetryDelay(const NetworkLimits& limits, int most, int repetitions,
           std::optional<std::chrono::seconds> retryAfter, double jitter);

} // namespace Orvane::Social
