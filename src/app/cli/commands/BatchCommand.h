#pragma once

#include "../ProgressBar.h"
#include "Command.h"

#include <QHash>
#include <QJsonObject>
#include <QQueue>
#include <QVector>

namespace Orvane::CommandLine {

/// A command that does the same to several things, each on its own: when one fails, the others go on. A few
/// are under way at a time; the next is started from the event loop.
class BatchCommand : public Command
{
public:
    explicit BatchCommand(const Surroundings& surroundings);

protected:
    /// What the command line names and what can be done with it so far.
    ///
    /// @param key       what the session calls it: a path, or a document id. It is done once, and every
    ///                  argument that names it has its result.
    /// @param label     what messages call it
    /// @param argument  what the command line calls it
    /// @return          whether no argument has named it before
    bool AddItem(const QString& key, const QString& label, const QString& argument);
    void AddFailedItem(const QString& label, const Problem& problem);

    [[nodiscard]] bool IsAnythingToDo() const { return !m_waiting.isEmpty(); }
    [[nodiscard]] QString LabelOf(const QString& key) const;

    /// Does everything added, then ends the command.
    void Run();

    /// Starts one; it ends in SetDone or SetFailed, at once or later.
    virtual void StartItem(const QString& key) = 0;

    void SetProgress(const QString& key, int percent);
    void SetDone(const QString& key, const QJsonObject& result);
    void SetFailed(const QString& key, const Problem& problem);

    [[nodiscard]] QJsonObject Results() const override;

    /// Gives every argument that has no result yet one that says why, and tells how many there are.
    void OnEnding(const Problem& problem) override;
    void ShowWaiting(int seconds) override;

private:
    struct Item
    {
        QString label;
        int percent = 0;
        bool isStarted = false;
        bool isEnded = false;
        QJsonObject result;
    };

    struct Argument
    {
        QString text;
        int item; ///< its index
    };

    void StartNext();
    void DrawBar(const QString& text);
    void AddUnnamedArguments();
    void TellUnfinished(const QStringList& labels) const;
    void End(Item& item);
    void NoteFailure(Item& item, const Problem& problem);
    [[nodiscard]] Item* Running(const QString& key);
    [[nodiscard]] ExitCode Outcome() const;

    ProgressBar m_bar;
    QVector<Argument> m_arguments; ///< as the command line has them
    QVector<Item> m_items;         ///< each once
    QHash<QString, int> m_indexByKey;
    QQueue<QString> m_waiting;
    int m_runningCount = 0;
    int m_endedCount = 0;
    int m_percentSum = 0;
    QVector<Problem> m_problems;
};

} // namespace Orvane::CommandLine
