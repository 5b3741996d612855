#pragma once

#include "DocumentRow.h"
#include "Problem.h"

#include <variant>

namespace Orvane::CommandLine {

/// The document that a person means by @p text: the one with this id, else the only one with this file name,
/// else the one whose id, or the only one whose file name, is printed in this way.
[[nodiscard]] std::variant<DocumentRow, Problem> FindDocument(const QVector<DocumentRow>& rows,
                                                              const QString& text);

} // namespace Orvane::CommandLine
