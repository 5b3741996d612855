#pragma once

#include "../Confirmation.h"
#include "BatchCommand.h"

#include <QStringList>

namespace Orvane::CommandLine {

class RemoveCommand : public BatchCommand
{
public:
    explicit RemoveCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    void StartItem(const QString& key) override;
    void OnOperationFailed(const OperationFailure& failure) override;

private:
    void AddDocuments();
    void Ask();
    void OnAnswered(bool isYes);
    void OnRemoved(const QString& id);

    Confirmation m_confirmation;
    QStringList m_names;
};

} // namespace Orvane::CommandLine
