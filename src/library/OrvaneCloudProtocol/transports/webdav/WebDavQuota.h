#pragma once

#include <OrvaneCloudProtocol/transports/Transport.h>
#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>

namespace Orvane::Social {

/// What the server says of the space (RFC 4331), in KiB. One that does not say how much is used: the sum of
/// the members' sizes. One that does not say how much is left, or that there is no limit: allowed 0. A server
/// that is known to say nothing is not asked.
[[nodiscard]] Transport::QuotaValue QuotaOf(WebDavCollection& collection, const KnownTraits& traits,
                                            Job& job);

/// The two figures within what the receiver keeps. The figures are bytes; some servers send negative ones for
/// "unknown" and "unlimited".
[[nodiscard]] Transport::QuotaValue QuotaFrom(qint64 used, std::optional<qint64> available);

} // namespace Orvane::Social
