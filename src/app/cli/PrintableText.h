#pragma once

#include <QByteArray>
#include <QString>

namespace Orvane::CommandLine {

/// The text on one line, with everything that could drive a terminal (control characters, line separators,
/// changes of writing direction) written as \n, \t or \u{…}.
[[nodiscard]] QString ToPrintable(const QString& text);

/// The same for JSON: such characters become \uXXXX, which leaves the document's meaning as it is.
[[nodiscard]] QByteArray ToPrintableJson(const QByteArray& json);

/// Bytes as the command line gave them, as text; false when they are not UTF-8.
[[nodiscard]] bool IsUtf8(const QByteArray& bytes);

/// "1.5 MiB"
[[nodiscard]] QString ToHumanSize(qint64 bytes);

} // namespace Orvane::CommandLine
