#pragma once

#include "Problem.h"

#include <QString>

#include <optional>

namespace Orvane::CommandLine {

/// What is wrong with the file of certificates to trust; nothing when there is none, or it looks usable.
[[nodiscard]] std::optional<Problem> CheckCaFile(const QString& caFile);

} // namespace Orvane::CommandLine
