#include "Problem.h"

namespace Orvane::CommandLine {

QJsonObject ToJson(const Problem& problem)
{
    return {{QStringLiteral("code"), problem.code},
            {QStringLiteral("what"), problem.what},
            {QStringLiteral("why"), problem.why},
            {QStringLiteral("next"), problem.next}};
}

Problem UsageProblem(const QString& why)
{
    return {ExitCode::Usage, QStringLiteral("usage"), QStringLiteral("The command line is not understood"),
            why, QStringLiteral("See: orvane-cloud --help")};
}

Problem Interruption()
{
    return {ExitCode::Interrupted, QStringLiteral("interrupted"), QStringLiteral("Interrupted"),
            QStringLiteral("what was still running has been cancelled, and nothing half-written is left"),
            QStringLiteral("Run the command again when you want to go on.")};
}

} // namespace Orvane::CommandLine
