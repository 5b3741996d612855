#pragma once

#include "../DocumentRow.h"
#include "../LastProblem.h"
#include "../QuotaText.h"
#include "Command.h"

namespace Orvane::CommandLine {

/// Tells what it can find out, also when the cloud cannot be used.
class StatusCommand : public Command
{
public:
    explicit StatusCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    [[nodiscard]] QJsonObject Results() const override;
    void OnOperationFailed(const OperationFailure& failure) override;
    void OnPreparationFailed(const Problem& problem) override;

private:
    void Conclude();
    void Show() const;
    void ShowLine(const char* title, const QString& text) const;
    [[nodiscard]] QString SignInText() const;
    [[nodiscard]] QString DocumentsText() const;
    [[nodiscard]] QString QuotaText() const;
    [[nodiscard]] QString LastProblemText() const;

    bool m_isSignedIn = false;
    std::optional<Quota> m_quota;
    std::optional<Problem> m_problem; ///< the first one of this run
    std::optional<RememberedProblem> m_lastProblem;
    QVector<DocumentRow> m_rows;
};

} // namespace Orvane::CommandLine
