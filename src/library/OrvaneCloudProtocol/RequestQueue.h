#pragma once

#include <OrvaneCloudProtocol/Failure.h>
#include <OrvaneCloudProtocol/WorkerThreads.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace Orvane::Social {

class DeliveryQueue;

/// Lets blocking work wait for its turn, and runs it on threads of its own. A worker that has ended a task
/// goes on to the next by itself; the first ones start from the event loop. Used on one thread, on which all
/// but the work itself is called. What waits costs no thread, and next to nothing to take back. Where the
/// system makes no more threads, those that are there do all; without any, tasks end with OutOfResources.
class RequestQueue
{
public:
    enum class Lane
    {
        Control,
        Transfers,
        Previews ///< held back while a transfer waits or runs
    };

    struct Task
    {
        /// @param taskKey  the caller's; none may be used twice
        Task(long long taskKey, Lane taskLane, Job::OnProgress onProgress = {})
            : key(taskKey)
            , lane(taskLane)
            , job(std::move(onProgress))
        {}

        const long long key;
        const Lane lane;
        Job job;

        /// Runs on a worker, and goes there with all that it holds. Fails by throwing, CloudError preferred.
        std::function<void(Job& job)> work;

        /// Neither called nor destroyed on a worker.
        std::function<void(const std::optional<Failure>& failure)> onEnded;
    };

    /// @param deliveries  must outlive the queue
    RequestQueue(int transfersAtOnce, DeliveryQueue& deliveries);

    /// Cancels what runs, and waits until it has ended.
    ~RequestQueue();

    /// In each lane the task with the lowest key has its turn first.
    void Add(std::shared_ptr<Task> task);

    /// Takes back what waits, cancels what runs; its onEnded is never called. Unknown keys are ignored.
    void Remove(long long key);

    /// Lets a task end as cancelled, unless it just has ended otherwise. Unknown keys are ignored.
    void Cancel(long long key);

private:
    using SharedTask = std::shared_ptr<Task>;

    struct LaneState
    {
        int atOnce = 2;
        int running = 0;
        std::map<long long, SharedTask> waiting;
    };

    [[nodiscard]] LaneState& StateOf(Lane lane) { return m_lanes[static_cast<std::size_t>(lane)]; }
    [[nodiscard]] bool TakeBack(const Task& task);
    void StartLater();
    void Start();
    void OnWorkEnded(long long key, const std::optional<Failure>& failure);

    // With the mutex held.
    [[nodiscard]] bool MayStart(Lane lane);
    [[nodiscard]] SharedTask TakeNext();
    void StartWorkers();
    [[nodiscard]] bool IsStarted(const SharedTask& task);
    [[nodiscard]] bool IsAnyWorkerBusy() const;

    // On a worker.
    void RunFrom(SharedTask task);
    void Run(Task& task);
    void PostEnd(long long key, std::optional<Failure> failure);
    [[nodiscard]] SharedTask TakeNextAfter(const Task& ended);

    DeliveryQueue& m_deliveries;
    std::unordered_map<long long, SharedTask> m_tasks; // those that wait or run
    bool m_isStartAhead = false;
    std::mutex m_mutex; // guards the lanes
    std::array<LaneState, 3> m_lanes;
    const std::shared_ptr<RequestQueue*> m_self =
        std::make_shared<RequestQueue*>(this); // known to deliveries
    WorkerThreads m_workers;                   // gone first: what they run uses all of the above
};

} // namespace Orvane::Social
