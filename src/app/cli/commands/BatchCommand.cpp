#include "BatchCommand.h"

#include "../Console.h"
#include "../Options.h"
#include "../PrintableText.h"

#include <QJsonArray>
#include <QTimer>

#include <algorithm>

namespace Orvane::CommandLine {

namespace {

// The protocol client has its own queue. More than this would only make the bar's figures jump, and hash all
// files before the first one is on its way.
constexpr int kAtOnce = 6;

constexpr int kMostNamesTold = 5;

Problem NotDone(const QString& label, bool isStarted, const Problem& cause)
{
    const QString what =
        isStarted ? QStringLiteral("\" was still under way") : QStringLiteral("\" was not tried");
    return {cause.exitCode, cause.code, QLatin1Char('"') + label + what, cause.why, cause.next};
}

} // namespace

BatchCommand::BatchCommand(const Surroundings& surroundings)
    : Command(surroundings)
    , m_bar(surroundings.console)
{}

bool BatchCommand::AddItem(const QString& key, const QString& label, const QString& argument)
{
    const bool isNew = !m_indexByKey.contains(key);
    if (isNew) {
        m_indexByKey.insert(key, m_items.size());
        m_items.append({label, 0, false, false, {}});
        m_waiting.enqueue(key);
    }
    m_arguments.append({argument, m_indexByKey.value(key)});
    return isNew;
}

void BatchCommand::AddFailedItem(const QString& label, const Problem& problem)
{
    m_arguments.append({label, m_items.size()});
    m_items.append({label, 0, false, false, {}});
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
    const QString key = m_waiting.dequeue();
    m_items[m_indexByKey.value(key)].isStarted = true;
    StartItem(key);
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
    item.isEnded = true;
    m_percentSum += 100 - item.percent;
    item.percent = 100;
    ++m_endedCount;
}

void BatchCommand::OnEnding(const Problem& problem)
{
    if (m_items.isEmpty())
        AddUnnamedArguments();
    QStringList unfinished;
    for (Item& item : m_items) {
        if (item.isEnded)
            continue;
        unfinished.append(item.label);
        const Problem notDone = NotDone(item.label, item.isStarted, problem);
        item.result = {{QStringLiteral("ok"), false}, {QStringLiteral("error"), ToJson(notDone)}};
        End(item);
    }
    TellUnfinished(unfinished);
}

/// What the command line names, when the command ends before it could look for that.
void BatchCommand::AddUnnamedArguments()
{
    for (const QByteArray& file : GetOptions().files)
        AddItem(QString::fromUtf8(file), QString::fromUtf8(file), QString::fromUtf8(file));
    for (const QString& document : GetOptions().documents)
        AddItem(document, document, document);
}

void BatchCommand::TellUnfinished(const QStringList& labels) const
{
    if (labels.isEmpty() || m_items.size() == 1)
        return;
    const QString names = labels.size() > kMostNamesTold
                              ? QString()
                              : QStringLiteral(": ") + ToPrintable(labels.join(QStringLiteral(", ")));
    GetConsole().Warn(QStringLiteral("The command has ended before %1 of %2 arguments were done%3.")
                          .arg(QString::number(labels.size()), QString::number(m_items.size()), names));
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
    for (const Argument& argument : m_arguments) {
        QJsonObject result = m_items[argument.item].result;
        result.insert(QStringLiteral("argument"), argument.text);
        results.append(result);
    }
    return {{QStringLiteral("results"), results}};
}

} // namespace Orvane::CommandLine
