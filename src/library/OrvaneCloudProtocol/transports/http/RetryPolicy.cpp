#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr std::chrono::seconds kLongestWait{60};
constexpr int kMostDoublings = 10;

} // namespace

bool IsPassing(int status)
{
    return status == 429 || status == 500 || status == 502 || status == 503 || status == 504;
}

std::optional<std::chrono::milliseconds> RetryDelay(const NetworkLimits& limits, int most, int repetitions,
                                                    std::optional<std::chrono::seconds> retryAfter,
                                                    double jitter)
{
    if (repetitions >= most || retryAfter.value_or(std::chrono::seconds(0)) > kLongestWait) {
        return std::nullopt;
    }
    const auto doubled = limits.firstRetry * (1 << std::min(repetitions, kMostDoublings));
    const auto spread = std::chrono::duration<double, std::milli>(doubled) * (0.5 + jitter);
    const auto delay = std::chrono::duration_cast<std::chrono::milliseconds>(spread);
    const std::chrono::milliseconds wanted = retryAfter.value_or(std::chrono::seconds(0));
    return std::min<std::chrono::milliseconds>(std::max(delay, wanted), kLongestWait);
}

} // namespace Orvane::Social
