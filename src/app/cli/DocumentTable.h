#pragma once

#include "DocumentRow.h"

#include <QStringList>

namespace Orvane::CommandLine {

enum class TableHeader
{
    Shown,
    Hidden
};

/// One line a document: name, size, modified (local time), state, id, in columns. No lines without documents.
[[nodiscard]] QStringList RenderTable(const QVector<DocumentRow>& rows, TableHeader header);

} // namespace Orvane::CommandLine
