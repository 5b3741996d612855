#pragma once

#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>
#include <OrvaneCloudProtocol/transports/webdav/MultiStatusGrammar.h>

namespace Orvane::Social {

/// Enters what a server says of one property. Nonsense leaves it unknown.
void SetProperty(DavResource& resource, MultiStatusPlace property, const QByteArray& value);

/// The code in a status line, "HTTP/1.1 200 OK"; 0 when it is none.
[[nodiscard]] int StatusIn(const QByteArray& statusLine);

} // namespace Orvane::Social
