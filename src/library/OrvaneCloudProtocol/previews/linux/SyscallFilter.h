#pragma once

#include <OrvaneCloudProtocol/previews/linux/Descriptor.h>

#include <vector>

#include <linux/filter.h>

namespace Orvane::Social {

/// The system calls that a helper process may not make: whatever opens a connection, starts or touches a
/// process, or changes a file. Made once. Throws CloudError (Unsupported) when it cannot be made.
[[nodiscard]] const std::vector<sock_filter>& HelperSyscallFilter();

/// The same in a file in memory, positioned at its start.
[[nodiscard]] Descriptor HelperSyscallFilterFile();

} // namespace Orvane::Social
