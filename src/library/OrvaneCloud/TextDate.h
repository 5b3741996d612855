#pragma once

#include <QDateTime>

#include <string>

namespace Orvane::PDF::Cloud {

/// The English text date (as Qt writes it in the C locale) to the second, which reads back to the same date
/// in every locale. Qt's own text dates follow the user's locale, and most do not read back.
[[nodiscard]] std::string WriteTextDate(const QDateTime& date);
[[nodiscard]] QDateTime ReadTextDate(const std::string& text);

} // namespace Orvane::PDF::Cloud
