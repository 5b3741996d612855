#pragma once

#include <OrvaneCloudProtocol/transports/http/CurlExchange.h>
#include <OrvaneCloudProtocol/transports/http/CurlLine.h>
#include <OrvaneCloudProtocol/transports/http/HttpMessage.h>

#include <memory>
#include <mutex>
#include <vector>

namespace Orvane::Social {

class Job;

/// Sends requests and waits for their answers (RFC 9110). Follows no redirect, repeats nothing, knows no
/// credentials: that is for the caller. Thread-safe; every call blocks, and ends soon after Job::Cancel.
///
/// An answer with any status is returned. Everything else is thrown: NetworkError when there is no complete
/// answer, CloudError (Canceled) when the job is no longer wanted, and what the caller's own functions throw,
/// which are called on the caller's thread.
class HttpClient
{
public:
    explicit HttpClient(const HttpSettings& settings);
    ~HttpClient();

    HttpResponse Send(const HttpRequest& request, Job& job);

    /// The body is not kept: each piece goes to @p sink, provided that the answer is a success.
    HttpResponse Receive(const HttpRequest& request, const HttpBodySink& sink, Job& job);

    /// @p source must hand over exactly @p size bytes, unless it throws.
    HttpResponse SendBody(const HttpRequest& request, qint64 size, const HttpBodySource& source, Job& job);

private:
    class LineInUse;

    template <typename Use>
    HttpResponse Perform(const HttpRequest& request, const CurlExchange::Bodies& bodies, Job& job,
                         const Use& use);

    const HttpSettings m_settings;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<CurlLine>> m_freeLines;
};

} // namespace Orvane::Social
