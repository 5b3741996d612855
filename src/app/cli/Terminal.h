#pragma once

#include <cstdio>

namespace Orvane::CommandLine {

/// Whether the stream is a terminal that understands the usual control sequences.
[[nodiscard]] bool IsTerminal(std::FILE* stream);

/// Columns of the terminal behind the stream; 80 when it does not say.
[[nodiscard]] int TerminalWidth(std::FILE* stream);

} // namespace Orvane::CommandLine
