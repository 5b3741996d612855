#include <OrvaneCloudProtocol/transports/http/CurlTrouble.h>

namespace Orvane::Social {

CurlTrouble CurlTroubleOf(CURLcode code)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return {FailureCode::TimedOut, false};
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SEND_ERROR:
    case CURLE_SEND_FAIL_REWIND:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_ABORTED_BY_CALLBACK: // a cancel, or our own refusal to send a change twice
        return {FailureCode::Network, false};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
        return {FailureCode::Untrusted, true};
    default:
        return {FailureCode::Protocol, true};
    }
}

} // namespace Orvane::Social
