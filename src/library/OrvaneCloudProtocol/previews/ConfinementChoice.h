#pragma once

#include <OrvaneCloudProtocol/PreviewConfinement.h>

#include <chrono>

namespace Orvane::Social {

class Job;

/// Tries the kinds of confinement out, the strongest first, and returns the first that works: a program runs
/// under it, reads its input, and finds nothing that it is to be kept from. Blocks.
///
/// Throws CloudError (Canceled).
///
/// @param patience  for each kind; one that takes longer does not work
[[nodiscard]] PreviewConfinement StrongestConfinement(const Job& job, std::chrono::milliseconds patience);

/// The same, found out once for the whole process. Thread-safe.
[[nodiscard]] PreviewConfinement UsedPreviewConfinement(const Job& job);

} // namespace Orvane::Social
