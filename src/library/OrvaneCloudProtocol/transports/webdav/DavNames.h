#pragma once

#include <string_view>

namespace Orvane::Social {

/// The namespaces of the properties that we ask servers for.
inline constexpr std::string_view kDavNamespace = "DAV:";
inline constexpr std::string_view kChecksumsNamespace = "http://owncloud.org/ns";
inline constexpr std::string_view kOurNamespace = "https://orvane.example/ns/cloud";

/// The property in our namespace that holds what Md5NoteOf gives.
inline constexpr std::string_view kMd5NoteName = "content-md5";

} // namespace Orvane::Social
