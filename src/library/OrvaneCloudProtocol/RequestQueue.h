#pragma once

#include <OrvaneCloudProtocol/Failure.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QThreadPool>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

namespace Orvane::Social {

class DeliveryQueue;

/// Lets blocking work wait for its turn, and runs it on threads of its own. Used on one thread, on which all
/// but the work itself is called. What waits costs no thread, and next to nothing to take back.
class RequestQueue
{
public:
    enum class Lane
    {
        Control,
        Transfers,
        Previews ///< held back while a transfer waits or runs
    };

    /// Runs on a worker. Fails by throwing, CloudError preferred.
    using Work = std::function<void(Job& job)>;

    struct Task
    {
        Lane lane = Lane::Control;
        std::shared_ptr<Job> job;
        std::function<Work()> prepare; ///< called when the turn has come, for the work
        std::function<void(const std::optional<Failure>& failure)> onEnded;
    };

    /// @param deliveries  must outlive the queue
    RequestQueue(int transfersAtOnce, DeliveryQueue& deliveries);

    /// Cancels what runs, and waits until it has ended.
    ~RequestQueue();

    /// The keys are the caller's; none may be used twice.
    void Add(long long key, Task task);

    /// Takes back what waits, cancels what runs; its onEnded is never called. Unknown keys are ignored.
    void Remove(long long key);

private:
    using Tasks = std::map<long long, Task>;

    struct LaneState
    {
        int atOnce = 2;
        int running = 0;
        Tasks waiting;
    };

    [[nodiscard]] LaneState& StateOf(Lane lane) { return m_lanes[static_cast<std::size_t>(lane)]; }
    [[nodiscard]] bool MayStart(Lane lane);
    void StartWaiting();
    void StartNext(LaneState& state);
    void Run(long long key, const std::shared_ptr<Job>& job, Work work);
    void OnWorkEnded(long long key, const std::optional<Failure>& failure);

    DeliveryQueue& m_deliveries;
    std::array<LaneState, 3> m_lanes;
    std::unordered_map<long long, Task> m_running;
    const std::shared_ptr<RequestQueue*> m_self =
        std::make_shared<RequestQueue*>(this); // known to deliveries
    QThreadPool m_workers;
};

} // namespace Orvane::Social
