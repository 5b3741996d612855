#include <OrvaneCloudProtocol/RequestQueue.h>

#include <OrvaneCloudProtocol/DeliveryQueue.h>

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

namespace Orvane::Social {

namespace {

using Lane = RequestQueue::Lane;

constexpr auto kLanes = {Lane::Control, Lane::Transfers, Lane::Previews}; // in the order of their turns

std::optional<Failure> FailureOf(RequestQueue::Task& task)
{
    try {
        task.job.ThrowIfCanceled();
        task.work(task.job);
        return std::nullopt;
    } catch (const CloudError& error) {
        return error.GetFailure();
    } catch (const std::bad_alloc& error) {
        return Failure{FailureCode::OutOfResources, QString::fromLocal8Bit(error.what())};
    } catch (const std::exception& error) {
        return Failure{FailureCode::Protocol, QString::fromLocal8Bit(error.what())};
    }
}

} // namespace

RequestQueue::RequestQueue(int transfersAtOnce, DeliveryQueue& deliveries)
    : m_deliveries(deliveries)
{
    StateOf(Lane::Transfers).atOnce = transfersAtOnce;
}

RequestQueue::~RequestQueue()
{
    for (const auto lane : kLanes) {
        const std::lock_guard lock(m_mutex);
        StateOf(lane).waiting.clear();
    }
    for (const auto& [key, task] : m_tasks) {
        task->job.Cancel();
    }
}

void RequestQueue::Add(SharedTask task)
{
    m_tasks.emplace(task->key, task);
    {
        const std::lock_guard lock(m_mutex);
        auto& waiting = StateOf(task->lane).waiting;
        waiting.emplace_hint(waiting.end(), task->key, std::move(task));
    }
    StartLater();
}

void RequestQueue::Remove(long long key)
{
    const auto found = m_tasks.extract(key);
    if (!found) {
        return;
    }
    Task& task = *found.mapped();
    task.onEnded = nullptr; // here, because a worker may be the last to hold the task
    if (TakeBack(task)) {
        StartLater(); // it may have been the transfer that held previews back
    } else {
        task.job.Cancel();
    }
}

void RequestQueue::Cancel(long long key)
{
    const auto task = m_tasks.find(key);
    if (task != m_tasks.end()) {
        task->second->job.Cancel();
    }
}

bool RequestQueue::TakeBack(const Task& task)
{
    const std::lock_guard lock(m_mutex);
    return StateOf(task.lane).waiting.erase(task.key) > 0;
}

void RequestQueue::StartLater()
{
    if (std::exchange(m_isStartAhead, true)) {
        return;
    }
    m_deliveries.Post([self = std::weak_ptr(m_self)] {
        if (const auto queue = self.lock()) {
            (*queue)->Start();
        }
    });
}

void RequestQueue::Start()
{
    m_isStartAhead = false;
    const std::lock_guard lock(m_mutex);
    StartWorkers();
}

bool RequestQueue::MayStart(Lane lane)
{
    const auto& state = StateOf(lane);
    const auto& transfers = StateOf(Lane::Transfers);
    const bool isHeldBack = lane == Lane::Previews && (transfers.running > 0 || !transfers.waiting.empty());
    return !state.waiting.empty() && state.running < state.atOnce && !isHeldBack;
}

RequestQueue::SharedTask RequestQueue::TakeNext()
{
    for (const auto lane : kLanes) {
        if (MayStart(lane)) {
            auto& state = StateOf(lane);
            ++state.running;
            return std::move(state.waiting.extract(state.waiting.begin()).mapped());
        }
    }
    return nullptr;
}

void RequestQueue::StartWorkers()
{
    for (auto task = TakeNext(); task && IsStarted(task); task = TakeNext()) {
    }
}

/// Returns false when the task has to wait for a worker that is busy.
bool RequestQueue::IsStarted(const SharedTask& task)
{
    try {
        m_workers.Start([this, task] { RunFrom(task); });
        return true;
    } catch (const std::exception& error) { // no thread, or no memory for one
        auto& state = StateOf(task->lane);
        --state.running;
        if (IsAnyWorkerBusy()) {
            state.waiting.emplace(task->key, task);
            return false;
        }
        PostEnd(task->key, Failure{FailureCode::OutOfResources, QString::fromLocal8Bit(error.what())});
        return true;
    }
}

bool RequestQueue::IsAnyWorkerBusy() const
{
    return std::any_of(m_lanes.begin(), m_lanes.end(), [](const auto& state) { return state.running > 0; });
}

void RequestQueue::RunFrom(SharedTask task)
{
    while (task) {
        Run(*task);
        task = TakeNextAfter(*task);
    }
}

void RequestQueue::Run(Task& task)
{
    auto failure = FailureOf(task);
    task.work = nullptr;
    PostEnd(task.key, std::move(failure));
}

void RequestQueue::PostEnd(long long key, std::optional<Failure> failure)
{
    m_deliveries.Post([self = std::weak_ptr(m_self), key, failure = std::move(failure)] {
        if (const auto queue = self.lock()) {
            (*queue)->OnWorkEnded(key, failure);
        }
    });
}

RequestQueue::SharedTask RequestQueue::TakeNextAfter(const Task& ended)
{
    const std::lock_guard lock(m_mutex);
    --StateOf(ended.lane).running;
    auto next = TakeNext();
    StartWorkers();
    return next;
}

void RequestQueue::OnWorkEnded(long long key, const std::optional<Failure>& failure)
{
    if (const auto ended = m_tasks.extract(key)) {
        // Called last, because it may be the end of this queue.
        const auto onEnded = std::move(ended.mapped()->onEnded);
        onEnded(failure);
    }
}

} // namespace Orvane::Social
