#pragma once

#include <QByteArray>
#include <QDateTime>

namespace Orvane::Social {

/// The moment that a server writes as an HTTP date in any of its forms (RFC 9110 §5.6.7) or in ISO 8601, in
/// UTC and whatever the locale. Without a zone it is taken for UTC. Invalid when the text is none of these.
[[nodiscard]] QDateTime WebDavDateOf(const QByteArray& text);

} // namespace Orvane::Social
