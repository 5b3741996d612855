#pragma once

#include <OrvaneCloudProtocol/previews/linux/Descriptor.h>

#include <filesystem>
#include <vector>

namespace Orvane::Social {

/// Landlock rules under which a process opens nothing but @p readable (files, or folders with all below
/// them), which it may also execute, and the file that is open as @p input. Throws CloudError (Unsupported)
/// when the kernel has no Landlock.
[[nodiscard]] Descriptor MakeLandlockRuleset(const std::vector<std::filesystem::path>& readable, int input);

} // namespace Orvane::Social
