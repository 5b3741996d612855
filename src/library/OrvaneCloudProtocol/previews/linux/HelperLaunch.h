#pragma once

#include <OrvaneCloudProtocol/previews/HelperProcess.h>

#include <sys/types.h>

namespace Orvane::Social {

/// Those that a helper process begins with.
struct HelperDescriptors
{
    int input;
    int output;
    int errorOutput;
    int status; ///< where bubblewrap says how far it has come
    int life;   ///< an end of a pipe that nothing is written to, for the process that guards bubblewrap
};

/// Starts a helper process, which leads a group of its own, confined as the command's limits say. Throws
/// CloudError (Unsupported) when the program does not start, or cannot be confined in this way.
[[nodiscard]] pid_t StartHelper(const HelperProcess::Command& command, const HelperDescriptors& descriptors);

} // namespace Orvane::Social
