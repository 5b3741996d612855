#pragma once

#include "../QuotaText.h"
#include "Command.h"

namespace Orvane::CommandLine {

class QuotaCommand : public Command
{
public:
    explicit QuotaCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    [[nodiscard]] QJsonObject Results() const override;
    void OnOperationFailed(const OperationFailure& failure) override;

private:
    void Show(const Quota& quota);

    std::optional<Quota> m_quota;
};

} // namespace Orvane::CommandLine
