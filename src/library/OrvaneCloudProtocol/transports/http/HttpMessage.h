#pragma once

#include <QByteArray>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

namespace Orvane::Social {

/// One request, as it goes over the wire.
struct HttpRequest
{
    QByteArray method;
    QByteArray url;                  ///< absolute, encoded
    std::vector<QByteArray> headers; ///< "Name: value"; may hold credentials
    QByteArray body;                 ///< empty for none; large ones are streamed instead

    /// A change whose outcome matters, unlike that of an upload under a temporary name: the answer may take
    /// long (NetworkLimits::answer), and a cancel does not break the exchange off but lets it end within
    /// NetworkLimits::afterCancel, so that its outcome is known.
    bool isChange = false;

    /// Whether the content of a document is sent or asked for, which may take as long as it gets on.
    bool carriesDocument = false;

    /// For the whole exchange, whatever happens in it, unless it carries a document; empty:
    /// NetworkLimits::withoutDocument.
    std::optional<std::chrono::milliseconds> total;
};

/// One answer, with the headers that matter here. Texts are as the server wrote them.
struct HttpResponse
{
    int status = 0;
    QByteArray reason;    ///< the words that follow the status; empty when there are none
    QByteArray entityTag; ///< empty when there is none, or the server has written something else there
    QByteArray location;
    QByteArray contentRange;
    std::optional<qint64> contentLength; ///< bytes
    std::optional<std::chrono::seconds> retryAfter;
    std::optional<qint64> date; ///< the server's clock, seconds since 1970

    [[nodiscard]] bool IsSuccess() const { return status >= 200 && status < 300; }
};

/// Takes pieces of the body of a successful answer, whose head is known by then.
using HttpBodySink = std::function<void(const HttpResponse& head, const char* data, std::size_t size)>;

/// Hands over a request's body piece by piece, by calling @p write; when it returns, the body is complete.
using HttpBodyWriter = std::function<void(const char* data, std::size_t size)>;
using HttpBodySource = std::function<void(const HttpBodyWriter& write)>;

} // namespace Orvane::Social
