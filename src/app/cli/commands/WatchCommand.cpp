#include "WatchCommand.h"

#include "../Console.h"
#include "../Options.h"
#include "../PrintableText.h"

#include <chrono>
#include <utility>

namespace Orvane::CommandLine {

using PDF::Cloud::OrvaneCloudManager;

namespace {

// Every listing asks for all pictures anew. Where making them takes longer than the interval, requests would
// pile up.
constexpr int kMostPreviewsOnTheWay = 1000;

QString KindText(DocumentChange::Kind kind)
{
    switch (kind) {
    case DocumentChange::Kind::Added:
        return QStringLiteral("added");
    case DocumentChange::Kind::Changed:
        return QStringLiteral("changed");
    case DocumentChange::Kind::Removed:
        break;
    }
    return QStringLiteral("removed");
}

} // namespace

WatchCommand::WatchCommand(const Surroundings& surroundings)
    : Command(surroundings)
{
    m_next.setSingleShot(true);
    m_next.setInterval(std::chrono::seconds(surroundings.options.intervalInSeconds));
    connect(&m_next, &QTimer::timeout, this, &WatchCommand::Refresh);
    CountPreviews();
}

void WatchCommand::CountPreviews()
{
    const OrvaneCloudManager& cloud = Session().Cloud();
    const auto endOne = [this] { --m_previewsOnTheWay; };
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewStarted, this, [this] { ++m_previewsOnTheWay; });
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewFinished, this, endOne);
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewCanceled, this, endOne);
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewError, this, endOne);
}

void WatchCommand::Start()
{
    m_rows = ReadRows(Session().Documents());
    SignInThen([this] { Refresh(); });
}

void WatchCommand::Refresh()
{
    if (m_previewsOnTheWay > kMostPreviewsOnTheWay) {
        m_next.start();
        return;
    }
    m_isWatching = true;
    RefreshThen([this] {
        m_next.start();
        m_lastTrouble.clear();
        ShowChanges();
        ShowStart();
    });
}

void WatchCommand::ShowChanges()
{
    const QVector<DocumentRow> rows = ReadRows(Session().Documents());
    for (const DocumentChange& change : CompareRows(m_rows, rows))
        ShowChange(change);
    m_rows = rows;
}

void WatchCommand::ShowChange(const DocumentChange& change)
{
    const QString kind = KindText(change.kind);
    const DocumentRow& row = change.document;
    GetConsole().Print(
        QJsonObject{{QStringLiteral("event"), kind}, {QStringLiteral("document"), ToJson(row)}});
    GetConsole().Print(QStringLiteral("%1  %2  (%3, %4, id %5)")
                           .arg(kind.leftJustified(7), ToPrintable(row.name), ToHumanSize(row.size),
                                StateText(row.state), ToPrintable(row.id)));
}

void WatchCommand::ShowStart()
{
    if (std::exchange(m_isStartShown, true))
        return;
    GetConsole().Tell(
        QStringLiteral("Watching the cloud (%1 listed now) every %2 s. Ctrl-C ends it.")
            .arg(QString::number(m_rows.size()), QString::number(GetOptions().intervalInSeconds)));
}

void WatchCommand::OnPreparationFailed(const Problem& problem)
{
    if (!m_isWatching || problem.exitCode == ExitCode::SignInNeeded) {
        Fail(problem);
        return;
    }
    ShowTrouble(problem);
    m_next.start();
}

void WatchCommand::ShowTrouble(const Problem& problem)
{
    const QString trouble = problem.code + problem.why;
    if (trouble == m_lastTrouble) // said once until it passes or changes
        return;
    m_lastTrouble = trouble;
    Report(problem);
    GetConsole().Print(QJsonObject{{QStringLiteral("event"), QStringLiteral("problem")},
                                   {QStringLiteral("error"), ToJson(problem)}});
}

} // namespace Orvane::CommandLine
