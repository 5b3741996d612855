#pragma once

#include <QString>

namespace Orvane::CommandLine {

/// One safe part of a local path, made of a name that a cloud has chosen: never empty, never "." or "..", not
/// hidden, without separators and control characters, at most 255 bytes with its suffix kept. An ordinary
/// name stays as it is.
[[nodiscard]] QString ToSafeFileName(const QString& cloudName);

} // namespace Orvane::CommandLine
