#pragma once

#include "../DocumentRow.h"
#include "Command.h"

namespace Orvane::CommandLine {

class ListCommand : public Command
{
public:
    using Command::Command;

    void Start() override;

protected:
    [[nodiscard]] QJsonObject Results() const override;

private:
    void Show();

    std::optional<QVector<DocumentRow>> m_rows; ///< once they are known
};

} // namespace Orvane::CommandLine
