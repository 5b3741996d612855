#include "BatchCommand.h"

#include "../Console.h"

#include <QJsonArray>
#include <QTimer>

#include <algorithm>

namespace Orvane::CommandLine {

namespace {

// The protocol client has its own queue. More than this would only make the bar's figures jump, and hash all
// files before the first one is on its way.
constexpr int kAtOnce = 6;

} // namespace

BatchCommand::BatchCommand(const Surroundings& surroundings)
    : Command(surroundings)
    , m_bar(surroundings.console)
{}

void BatchCommand::AddItem(const QString& key, const QString& label)
{
    if (m_indexByKey.contains(key))
        return;
    m_indexByKey.insert(key, m_items.size());
    m_items.append({label, 0, false, {}});
    m_waiting.enqueue(key);
}

void BatchCommand::AddFailedItem(const QString& label, const Problem& problem)
{
    m_items.append({label, 0, false, {}});
    NoteFailure(m_items.back(), problem);
}

QString BatchCommand::LabelOf(const QString& key) const
{
    const auto index = m_indexByKey.constFind(key);
    return index == m_indexByKey.constEnd() ? key : m_items[*index].label;
}

void BatchCommand::Run()
{
    if (m_endedCount == m_items.size()) {
        const auto problem = m_problems.isEmpty() ? std::nullopt : std::optional(m_problems.front());
        Finish(Outcome(), problem);
        return;
    }
    StartNext();
}

void BatchCommand::StartNext()
{
    if (m_waiting.isEmpty() || m_runningCount >= kAtOnce)
        return;
    ++m_runningCount;
    StartItem(m_waiting.dequeue());
    Await();
    QTimer::singleShot(0, this, &BatchCommand::StartNext);
}

BatchCommand::Item* BatchCommand::Running(const QString& key)
{
    const auto index = m_indexByKey.constFind(key);
    if (index == m_indexByKey.constEnd() || m_items[*index].isEnded)
        return nullptr;
    return &m_items[*index];
}

void BatchCommand::SetProgress(const QString& key, int percent)
{
    Item* item = Running(key);
    if (!item)
        return;
    m_percentSum += percent - item->percent;
    item->percent = percent;
    Await();
    DrawBar(item->label);
}

void BatchCommand::DrawBar(const QString& text)
{
    m_bar.Draw({m_percentSum / m_items.size(), m_endedCount, m_items.size(), text});
}

void BatchCommand::ShowWaiting(int seconds)
{
    if (m_runningCount > 0)
        DrawBar(QStringLiteral("waiting for the cloud (%1 s)").arg(seconds));
    else
        Command::ShowWaiting(seconds);
}

void BatchCommand::SetDone(const QString& key, const QJsonObject& result)
{
    Item* item = Running(key);
    if (!item)
        return;
    item->result = result;
    item->result.insert(QStringLiteral("ok"), true);
    --m_runningCount;
    Await();
    End(*item);
    QTimer::singleShot(0, this, &BatchCommand::Run);
}

void BatchCommand::SetFailed(const QString& key, const Problem& problem)
{
    Item* item = Running(key);
    if (!item)
        return;
    --m_runningCount;
    Await();
    NoteFailure(*item, problem);
    QTimer::singleShot(0, this, &BatchCommand::Run);
}

void BatchCommand::NoteFailure(Item& item, const Problem& problem)
{
    item.result = {{QStringLiteral("ok"), false}, {QStringLiteral("error"), ToJson(problem)}};
    End(item);
    m_problems.append(problem);
    Report(problem);
}

void BatchCommand::End(Item& item)
{
    item.result.insert(QStringLiteral("argument"), item.label);
    item.isEnded = true;
    m_percentSum += 100 - item.percent;
    item.percent = 100;
    ++m_endedCount;
}

ExitCode BatchCommand::Outcome() const
{
    if (m_problems.isEmpty())
        return ExitCode::Done;
    const ExitCode first = m_problems.front().exitCode;
    const bool areAlike = std::all_of(m_problems.begin(), m_problems.end(),
                                      [=](const Problem& problem) { return problem.exitCode == first; });
    return areAlike ? first : ExitCode::Failed;
}

QJsonObject BatchCommand::Results() const
{
    QJsonArray results;
    for (const Item& item : m_items) {
        if (item.isEnded)
            results.append(item.result);
    }
    return {{QStringLiteral("results"), results}};
}

} // namespace Orvane::CommandLine
