#pragma once

#include "Problem.h"

#include <QDateTime>

#include <filesystem>
#include <optional>

namespace Orvane::CommandLine {

/// What went wrong last with one cloud, remembered between runs for `status` to tell.
struct RememberedProblem
{
    QDateTime when;
    QString command;
    Problem problem;
};

/// Does its best: a problem must not be hidden by another one.
void RememberProblem(const std::filesystem::path& sessionFolder, const RememberedProblem& problem);

[[nodiscard]] std::optional<RememberedProblem> RecallProblem(const std::filesystem::path& sessionFolder);

} // namespace Orvane::CommandLine
