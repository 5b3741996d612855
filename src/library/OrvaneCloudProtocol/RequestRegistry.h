#pragma once

#include <Abilities.h>
#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <OrvaneCloudProtocol/Failure.h>

#include <QMap>

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

namespace Orvane::Social {

/// The requests under way and the callbacks of their makers, which never leave the client's thread. Each
/// request ends once; one that is forgotten never does. A callback may start and cancel requests, and delete
/// the client.
class RequestRegistry
{
public:
    using Finish = std::function<void(long long ticket, const std::optional<Failure>& failure)>;
    using OnProgress = std::function<void(long long ticket, int percent)>;

    /// Returns the new request's ticket.
    [[nodiscard]] long long Open(Operation operation, Finish finish, OnProgress onProgress = {});

    /// Notes why a request does not start. Returns INVALID_TICKET.
    long long Refuse(Operation operation, FailureCode code, const QString& detail);

    void Progress(long long ticket, int percent) const;
    void End(long long ticket, const std::optional<Failure>& failure);

    /// The end of one that has come to 100 per cent, which is told first.
    void Complete(long long ticket);

    /// End, from the event loop.
    void EndLater(long long ticket, const std::optional<Failure>& failure);

    /// Whether the request has neither ended nor been forgotten.
    [[nodiscard]] bool IsUnderWay(long long ticket) const;

    void Forget(long long ticket);
    void ForgetAll();

    [[nodiscard]] std::optional<Failure> LastFailure(Operation operation) const;

    /// What brings results and progress to the client's thread.
    [[nodiscard]] DeliveryQueue& Deliveries() { return m_deliveries; }

private:
    struct Request
    {
        Operation operation;
        Finish finish;
        std::shared_ptr<const OnProgress> onProgress; // none: nobody asks for it
    };

    long long m_lastTicket = 0;
    std::unordered_map<long long, Request> m_requests;
    QMap<Operation, Failure> m_lastFailures;
    DeliveryQueue m_deliveries;
};

} // namespace Orvane::Social
