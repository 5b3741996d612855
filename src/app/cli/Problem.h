#pragma once

#include "ExitCode.h"

#include <QJsonObject>
#include <QString>

namespace Orvane::CommandLine {

/// Something that went wrong, in words for people. The texts may hold names as they came from the cloud: they
/// are made printable where they are printed.
struct Problem
{
    ExitCode exitCode = ExitCode::Failed;
    QString code; ///< a fixed word for scripts, such as "not-found"
    QString what; ///< what happened
    QString why;
    QString next; ///< what to do about it
};

/// { "code", "what", "why", "next" }
[[nodiscard]] QJsonObject ToJson(const Problem& problem);

/// The command line makes no sense.
[[nodiscard]] Problem UsageProblem(const QString& why);

/// The user, or the system, ended the program.
[[nodiscard]] Problem Interruption();

} // namespace Orvane::CommandLine
