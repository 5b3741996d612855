#pragma once

#include <OrvaneCloudProtocol/Failure.h>

#include <curl/curl.h>

namespace Orvane::Social {

/// What one of libcurl's codes means.
struct CurlTrouble
{
    FailureCode code;
    bool isHopeless; ///< asking again will not help
};

[[nodiscard]] CurlTrouble CurlTroubleOf(CURLcode code);

} // namespace Orvane::Social
