#pragma once

#include <QByteArray>

namespace Orvane::Social {

/// The body of a PROPFIND that asks for named properties (RFC 4918 §14.20). Naming them spares the server
/// from looking up all it knows.
[[nodiscard]] QByteArray PropfindForDocuments();
[[nodiscard]] QByteArray PropfindForQuota();
[[nodiscard]] QByteArray PropfindForPrincipal();

/// The body of a PROPPATCH that sets our own property. The text is escaped as XML needs it.
[[nodiscard]] QByteArray ProppatchOfMd5Note(const QByteArray& note);

} // namespace Orvane::Social
