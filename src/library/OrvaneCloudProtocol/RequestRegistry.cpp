#include <OrvaneCloudProtocol/RequestRegistry.h>

#include <QPointer>

#include <utility>

namespace Orvane::Social {

long long RequestRegistry::Open(Operation operation, Finish finish, OnProgress onProgress)
{
    Request request{operation, std::move(finish), nullptr};
    if (onProgress) {
        request.onProgress = std::make_shared<const OnProgress>(std::move(onProgress));
    }
    m_requests.emplace(++m_lastTicket, std::move(request));
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
    if (const auto onProgress = request->second.onProgress) {
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

void RequestRegistry::Complete(long long ticket)
{
    const QPointer<DeliveryQueue> self(&m_deliveries); // goes with this
    Progress(ticket, 100);
    if (self) {
        End(ticket, std::nullopt);
    }
}

void RequestRegistry::EndLater(long long ticket, const std::optional<Failure>& failure)
{
    m_deliveries.Post([this, ticket, failure] { End(ticket, failure); });
}

bool RequestRegistry::IsUnderWay(long long ticket) const
{
    return m_requests.count(ticket) > 0;
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
