#pragma once

namespace Orvane::CommandLine {

/// Makes the process independent of what surrounds it: texts are UTF-8 whatever the locale, no display is
/// needed, a closed pipe is an error like others. To be called before anything else.
void SetUpProcess();

/// Keeps the memory of the process to itself: no core file is written, and no other program of the user may
/// read or trace it. For as long as the process runs.
void KeepMemoryPrivate();

} // namespace Orvane::CommandLine
