#pragma once

#include "ExitCode.h"

namespace Orvane::CommandLine {

/// The whole program.
[[nodiscard]] ExitCode RunProgram(int argc, char** argv);

} // namespace Orvane::CommandLine
