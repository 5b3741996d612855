#include "DocumentNames.h"

#include "PrintableText.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

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

using TextOf = QString (*)(const DocumentRow& row);

/// What a text may be, from the most to the least exact: the printed form can be typed where the exact one
/// cannot.
constexpr TextOf kMeanings[] = {
    [](const DocumentRow& row) { return row.id; },
    [](const DocumentRow& row) { return row.name; },
    [](const DocumentRow& row) { return ToPrintable(row.id); },
    [](const DocumentRow& row) { return ToPrintable(row.name); },
};

QStringList IdsOf(const QVector<DocumentRow>& rows)
{
    QStringList ids;
    for (const DocumentRow& row : rows)
        ids.append(row.id);
    return ids;
}

} // namespace

std::variant<DocumentRow, Problem> FindDocument(const QVector<DocumentRow>& rows, const QString& text)
{
    for (const TextOf textOf : kMeanings) {
        QVector<DocumentRow> meant;
        std::copy_if(rows.begin(), rows.end(), std::back_inserter(meant),
                     [&](const DocumentRow& row) { return textOf(row) == text; });
        if (meant.size() == 1)
            return meant.front();
        if (!meant.isEmpty())
            return AmbiguousName(text, IdsOf(meant));
    }
    return NoSuchDocument(text);
}

} // namespace Orvane::CommandLine
