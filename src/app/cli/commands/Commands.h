#pragma once

#include "Command.h"

#include <memory>

namespace Orvane::CommandLine {

/// The command that the options name: any but "completion", which needs no cloud.
[[nodiscard]] std::unique_ptr<Command> MakeCommand(const Surroundings& surroundings);

} // namespace Orvane::CommandLine
