#include <OrvaneCloudProtocol/transports/http/HttpClient.h>

#include <OrvaneCloudProtocol/transports/Job.h>

namespace Orvane::Social {

namespace {

/// The server has answered, or is gone, before it had the whole body.
struct BodyNotWanted
{};

} // namespace

/// A line of the client's, the last one that was used if any is free: its connection lives most likely.
class HttpClient::LineInUse
{
public:
    explicit LineInUse(HttpClient& client)
        : m_client(client)
    {
        {
            const std::lock_guard lock(m_client.m_mutex);
            if (!m_client.m_freeLines.empty()) {
                m_line = std::move(m_client.m_freeLines.back());
                m_client.m_freeLines.pop_back();
            }
        }
        if (!m_line) {
            m_line = std::make_unique<CurlLine>();
        }
    }

    ~LineInUse()
    {
        const std::lock_guard lock(m_client.m_mutex);
        m_client.m_freeLines.push_back(std::move(m_line));
    }

    LineInUse(const LineInUse&) = delete;
    LineInUse& operator=(const LineInUse&) = delete;

    [[nodiscard]] CurlLine& operator*() const { return *m_line; }
    [[nodiscard]] CurlLine* operator->() const { return m_line.get(); }

private:
    HttpClient& m_client;
    std::unique_ptr<CurlLine> m_line;
};

HttpClient::HttpClient(const HttpSettings& settings)
    : m_settings(settings)
{}

HttpClient::~HttpClient() = default;

template <typename Use>
HttpResponse HttpClient::Perform(const HttpRequest& request, const CurlExchange::Bodies& bodies, Job& job,
                                 const Use& use)
{
    job.ThrowIfCanceled();
    const LineInUse line(*this);
    CurlExchange exchange(*line, request, m_settings, bodies, job);
    const Job::CancelHook hook(job, [&line] { line->WakeUp(); });
    try {
        use(exchange);
        return exchange.Finish();
    } catch (...) {
        exchange.BreakOff();
        // A change's outcome is told even when it is no longer wanted.
        if (!request.isChange) {
            job.ThrowIfCanceled();
        }
        throw;
    }
}

HttpResponse HttpClient::Send(const HttpRequest& request, Job& job)
{
    return Perform(request, {}, job, [](CurlExchange&) {});
}

HttpResponse HttpClient::Receive(const HttpRequest& request, const HttpBodySink& sink, Job& job)
{
    return Perform(request, {{}, sink}, job, [](CurlExchange&) {});
}

HttpResponse HttpClient::SendBody(const HttpRequest& request, qint64 size, const HttpBodySource& source,
                                  Job& job)
{
    return Perform(request, {size, {}}, job, [&](CurlExchange& exchange) {
        try {
            source([&exchange](const char* data, std::size_t count) {
                if (!exchange.Send(data, count)) {
                    throw BodyNotWanted();
                }
            });
        } catch (const BodyNotWanted&) {
            return;
        }
    });
}

} // namespace Orvane::Social
