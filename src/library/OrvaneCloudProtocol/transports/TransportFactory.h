#pragma once

#include <OAuth2.h>
#include <OrvaneCloudProtocol/transports/Transport.h>

#include <filesystem>
#include <memory>
#include <string>

namespace Orvane::Social {

/// The transport for the address; null when no transport understands it. Touches neither the disk nor the
/// network.
///
/// @param cacheFolder  where the transport remembers things between runs
[[nodiscard]] std::shared_ptr<Transport> MakeTransport(const OAuth2::AuthInfo& authInfo,
                                                       const std::string& address,
                                                       const std::filesystem::path& cacheFolder);

} // namespace Orvane::Social
