#pragma once

namespace Orvane::CommandLine {

/// Makes the process independent of what surrounds it: texts are UTF-8 whatever the locale, no display is
/// needed, a closed pipe is an error like others. To be called before anything else.
void SetUpProcess();

} // namespace Orvane::CommandLine
