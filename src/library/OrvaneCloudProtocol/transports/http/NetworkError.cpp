#include <OrvaneCloudProtocol/transports/http/NetworkError.h>

#include <QList>

namespace Orvane::Social {

namespace {

constexpr int kMostQuoted = 200;

QString DetailOf(const HttpRequest& request, const HttpResponse& response)
{
    QString detail =
        QStringLiteral("%1 %2: %3 %4")
            .arg(QString::fromLatin1(request.method), QString::fromUtf8(request.url),
                 QString::number(response.status), QString::fromUtf8(response.reason.left(kMostQuoted)))
            .trimmed();
    if (!response.location.isEmpty()) {
        // Without the query, which may hold what is nobody's business.
        detail += QStringLiteral(" to %1").arg(
            QString::fromUtf8(response.location.split('?').first().left(kMostQuoted)));
    }
    return detail;
}

} // namespace

CloudError CloudErrorIn(const std::exception_ptr& caught)
{
    try {
        std::rethrow_exception(caught);
    } catch (const CloudError& error) {
        return error;
    }
}

FailureCode FailureCodeOfStatus(int status)
{
    switch (status) {
    case 401:
        return FailureCode::SignInNeeded;
    case 402: // payment required: the account's plan does not cover it
    case 403:
    case 405:
    case 413:
    case 414:
    case 423:
    case 451:
        return FailureCode::Refused;
    case 404:
    case 410:
        return FailureCode::NotFound;
    case 407: // the proxy between wants a sign-in of its own
        return FailureCode::Network;
    case 409:
    case 412:
    case 424:
        return FailureCode::Conflict;
    case 408:
    case 504:
        return FailureCode::TimedOut;
    case 429:
    case 500:
    case 502:
    case 503:
        return FailureCode::Unavailable;
    case 507:
        return FailureCode::QuotaExceeded;
    default:
        return FailureCode::Protocol;
    }
}

StatusError::StatusError(const HttpRequest& request, const HttpResponse& response)
    : CloudError(FailureCodeOfStatus(response.status), DetailOf(request, response))
    , m_status(response.status)
{}

} // namespace Orvane::Social
