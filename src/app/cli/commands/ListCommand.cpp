#include "ListCommand.h"

#include "../Console.h"
#include "../DocumentTable.h"
#include "../Options.h"

#include <QJsonArray>

namespace Orvane::CommandLine {

void ListCommand::Start()
{
    if (GetOptions().isOffline)
        Show();
    else
        SignInThen([this] { RefreshThen([this] { Show(); }); });
}

void ListCommand::Show()
{
    m_rows = ReadRows(Session().Documents());
    const auto header = GetConsole().IsQuiet() ? TableHeader::Hidden : TableHeader::Shown;
    for (const QString& line : RenderTable(*m_rows, header))
        GetConsole().Print(line);
    if (m_rows->isEmpty())
        GetConsole().Tell(QStringLiteral("No documents. Put one there with: orvane-cloud upload FILE.pdf"));
    Finish(ExitCode::Done);
}

QJsonObject ListCommand::Results() const
{
    if (!m_rows)
        return {};
    QJsonArray documents;
    for (const DocumentRow& row : *m_rows)
        documents.append(ToJson(row));
    return {{QStringLiteral("documents"), documents}};
}

} // namespace Orvane::CommandLine
