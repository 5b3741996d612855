#include "DocumentTable.h"

#include "PrintableText.h"

#include <array>

namespace Orvane::CommandLine {

namespace {

constexpr std::size_t kColumns = 5;
constexpr std::size_t kSizeColumn = 1;
using Cells = std::array<QString, kColumns>;

Cells ToCells(const DocumentRow& row)
{
    return {ToPrintable(row.name), ToHumanSize(row.size), DateText(row.modified), StateText(row.state),
            ToPrintable(row.id)};
}

QString RenderLine(const Cells& cells, const std::array<int, kColumns>& widths)
{
    QStringList parts;
    for (std::size_t column = 0; column < kColumns - 1; ++column)
        parts.append(column == kSizeColumn ? cells[column].rightJustified(widths[column])
                                           : cells[column].leftJustified(widths[column]));
    parts.append(cells[kColumns - 1]);
    return parts.join(QStringLiteral("  "));
}

} // namespace

QStringList RenderTable(const QVector<DocumentRow>& rows, TableHeader header)
{
    if (rows.isEmpty())
        return {};
    QVector<Cells> table;
    if (header == TableHeader::Shown)
        table.append({QStringLiteral("NAME"), QStringLiteral("SIZE"), QStringLiteral("MODIFIED"),
                      QStringLiteral("STATE"), QStringLiteral("ID")});
    for (const DocumentRow& row : rows)
        table.append(ToCells(row));

    std::array<int, kColumns> widths{};
    for (const Cells& cells : table) {
        for (std::size_t column = 0; column < kColumns; ++column)
            widths[column] = qMax(widths[column], cells[column].size());
    }
    QStringList lines;
    for (const Cells& cells : table)
        lines.append(RenderLine(cells, widths));
    return lines;
}

} // namespace Orvane::CommandLine
