#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/HttpMessage.h>

#include <exception>

namespace Orvane::Social {

/// No complete answer has come.
class NetworkError : public CloudError
{
public:
    enum class Outlook
    {
        Passing, ///< it may get better; what the server has made of the request is not known
        Hopeless ///< asking again will not help: a certificate, nonsense instead of HTTP
    };

    NetworkError(FailureCode code, const QString& detail, Outlook outlook)
        : CloudError(code, detail)
        , m_outlook(outlook)
    {}

    [[nodiscard]] bool IsHopeless() const noexcept { return m_outlook == Outlook::Hopeless; }

private:
    Outlook m_outlook;
};

/// The error that was caught. Throws it on when it is something else.
[[nodiscard]] CloudError CloudErrorIn(const std::exception_ptr& caught);

/// What an answer's status means to whoever asked, when it is not the one that was hoped for.
[[nodiscard]] FailureCode FailureCodeOfStatus(int status);

/// An answer that is not the one that was hoped for. The detail names the method, the address and the status.
class StatusError : public CloudError
{
public:
    StatusError(const HttpRequest& request, const HttpResponse& response);

    [[nodiscard]] int GetStatus() const noexcept { return m_status; }

private:
    int m_status;
};

} // namespace Orvane::Social
