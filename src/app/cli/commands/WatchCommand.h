#pragma once

#include "../DocumentChanges.h"
#include "Command.h"

#include <QTimer>

namespace Orvane::CommandLine {

/// Goes on through failures, which may pass, but not through the end of the sign-in.
class WatchCommand : public Command
{
public:
    explicit WatchCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    void OnPreparationFailed(const Problem& problem) override;

private:
    void CountPreviews();
    void Refresh();
    void ShowChanges();
    void ShowChange(const DocumentChange& change);
    void ShowStart();
    void ShowTrouble(const Problem& problem);

    QTimer m_next;
    QVector<DocumentRow> m_rows;
    QString m_lastTrouble;
    bool m_isWatching = false;
    bool m_isStartShown = false;
    int m_previewsOnTheWay = 0;
};

} // namespace Orvane::CommandLine
