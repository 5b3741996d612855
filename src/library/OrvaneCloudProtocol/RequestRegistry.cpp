#include <OrvaneCloudProtocol/RequestRegistry.h>

#include <utility>

namespace Orvane::Social {

long long RequestRegistry::Open(Operation operation, Finish finish, OnProgress onProgress)
{
    auto sharedProgress = std::make_shared<const OnProgress>(std::move(onProgress));
    m_requests.emplace(++m_lastTicket, Request{operation, std::move(finish), std::move(sharedProgress)});
    return m_lastTicket;
}

long long RequestRegistry::Refuse(Operation operation, FailureCode code, const QString& detail)
{
    m_lastFailures[operation] = Failure{code, detail};
    return INVALID_TICKET;
}

void RequestRegistry::Progress(long long ticket, int percent) const
{
    const auto request = m_requests.find(ticket);
    if (request == m_requests.end()) {
        return;
    }
    // Held, because the callback may cancel its own request.
    const auto onProgress = request->second.onProgress;
    if (*onProgress) {
        (*onProgress)(ticket, percent);
    }
}

void RequestRegistry::End(long long ticket, const std::optional<Failure>& failure)
{
    const auto request = m_requests.extract(ticket);
    if (!request) {
        return;
    }
    if (failure) {
        m_lastFailures[request.mapped().operation] = *failure;
    }
    request.mapped().finish(ticket, failure);
}

void RequestRegistry::EndLater(long long ticket, const std::optional<Failure>& failure)
{
    m_deliveries.Post([this, ticket, failure] { End(ticket, failure); });
}

void RequestRegistry::Forget(long long ticket)
{
    const auto request =
        m_requests.extract(ticket); // its callbacks go last: they may bring anything with them
}

void RequestRegistry::ForgetAll()
{
    const auto requests = std::exchange(m_requests, {});
}

std::optional<Failure> RequestRegistry::LastFailure(Operation operation) const
{
    const auto failure = m_lastFailures.find(operation);
    return failure == m_lastFailures.end() ? std::nullopt : std::make_optional(*failure);
}

} // namespace Orvane::Social
