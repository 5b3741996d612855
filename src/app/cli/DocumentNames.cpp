#include "DocumentNames.h"

#include <QStringList>

#include <algorithm>

namespace Orvane::CommandLine {

namespace {

Problem NoSuchDocument(const QString& text)
{
    return {ExitCode::NotFound, QStringLiteral("not-found"),
            QStringLiteral("There is no document \"") + text + QLatin1Char('"'),
            QStringLiteral("no document in the cloud has this id or this file name"),
            QStringLiteral("See what is there with: orvane-cloud list")};
}

Problem AmbiguousName(const QString& text, const QStringList& ids)
{
    return {ExitCode::Usage, QStringLiteral("ambiguous"),
            QLatin1Char('"') + text + QStringLiteral("\" does not say which document"),
            QStringLiteral("several documents have this file name"),
            QStringLiteral("Name it by its id, one of: ") + ids.join(QStringLiteral(", "))};
}

} // namespace

std::variant<DocumentRow, Problem> FindDocument(const QVector<DocumentRow>& rows, const QString& text)
{
    const auto byId =
        std::find_if(rows.begin(), rows.end(), [&](const DocumentRow& row) { return row.id == text; });
    if (byId != rows.end())
        return *byId;

    QVector<DocumentRow> named;
    QStringList ids;
    for (const DocumentRow& row : rows) {
        if (row.name == text) {
            named.append(row);
            ids.append(row.id);
        }
    }
    if (named.isEmpty())
        return NoSuchDocument(text);
    if (named.size() > 1)
        return AmbiguousName(text, ids);
    return named.front();
}

} // namespace Orvane::CommandLine
