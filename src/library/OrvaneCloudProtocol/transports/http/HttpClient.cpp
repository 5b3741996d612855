#include <OrvaneCloudProtocol/transports/http/HttpClient.h>

#include <OrvaneCloudProtocol/transports/Job.h>

namespace Orvane::Social {

namespace {

/// The server has answered, or is gone, before it had the whole body.
struct BodyNotWanted
{};

} // namespace

HttpClient::HttpClient(const HttpSettings& settings)
    : m_settings(settings)
{}

template <typename Pump>
HttpResponse HttpClient::Perform(const HttpRequest& request, const CurlExchange::Bodies& bodies, Job& job,
                                 const Pump& pump)
{
    job.ThrowIfCanceled();
    const auto self = std::make_shared<std::weak_ptr<CurlExchange>>();
    const auto exchange =
        std::make_shared<CurlExchange>(request, m_settings, bodies, [this, self] { m_loop.Resume(*self); });
    *self = exchange;
    m_loop.Start(exchange);
    const Job::CancelHook hook(job, [this, exchange] { m_loop.Cancel(exchange); });
    try {
        pump(*exchange);
        return exchange->WaitForResponse();
    } catch (...) {
        m_loop.BreakOff(exchange);
        exchange->WaitForEnd();
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
    CurlExchange::Bodies bodies;
    bodies.isStreamedIn = true;
    return Perform(request, bodies, job, [&](CurlExchange& exchange) {
        for (auto piece = exchange.Incoming().Read(); !piece.empty(); piece = exchange.Incoming().Read()) {
            job.ThrowIfCanceled();
            sink(exchange.Head(), piece.data(), piece.size());
        }
    });
}

HttpResponse HttpClient::SendBody(const HttpRequest& request, qint64 size, const HttpBodySource& source,
                                  Job& job)
{
    CurlExchange::Bodies bodies;
    bodies.outgoingSize = size;
    return Perform(request, bodies, job, [&](CurlExchange& exchange) {
        try {
            source([&exchange](const char* data, std::size_t count) {
                if (!exchange.Outgoing().Write(data, count)) {
                    throw BodyNotWanted();
                }
            });
            exchange.Outgoing().End();
        } catch (const BodyNotWanted&) {
            return;
        }
    });
}

} // namespace Orvane::Social
