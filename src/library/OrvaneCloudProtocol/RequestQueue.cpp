#include <OrvaneCloudProtocol/RequestQueue.h>

#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <support/HandOver.h>

#include <exception>

namespace Orvane::Social {

namespace {

std::optional<Failure> FailureOf(const RequestQueue::Work& work, Job& job)
{
    try {
        job.ThrowIfCanceled();
        work(job);
        job.ReportCompletion();
        return std::nullopt;
    } catch (const CloudError& error) {
        return error.GetFailure();
    } catch (const std::exception& error) {
        return Failure{FailureCode::Protocol, QString::fromLocal8Bit(error.what())};
    }
}

} // namespace

RequestQueue::RequestQueue(int transfersAtOnce, DeliveryQueue& deliveries)
    : m_deliveries(deliveries)
{
    StateOf(Lane::Transfers).atOnce = transfersAtOnce;
    int workers = 0;
    for (const auto& state : m_lanes) {
        workers += state.atOnce;
    }
    m_workers.setMaxThreadCount(workers);
}

RequestQueue::~RequestQueue()
{
    for (const auto& [key, task] : m_running) {
        task.job->Cancel();
    }
    m_workers.waitForDone();
}

void RequestQueue::Add(long long key, Task task)
{
    StateOf(task.lane).waiting.emplace(key, std::move(task));
    StartWaiting();
}

void RequestQueue::Remove(long long key)
{
    const auto running = m_running.find(key);
    if (running != m_running.end()) {
        running->second.onEnded = nullptr;
        running->second.job->Cancel();
        return;
    }
    for (auto& state : m_lanes) {
        if (const auto task = state.waiting.extract(key)) {
            StartWaiting(); // it may have been the transfer that held previews back
            return;
        }
    }
}

bool RequestQueue::MayStart(Lane lane)
{
    const auto& state = StateOf(lane);
    const auto& transfers = StateOf(Lane::Transfers);
    const bool isHeldBack = lane == Lane::Previews && (transfers.running > 0 || !transfers.waiting.empty());
    return !state.waiting.empty() && state.running < state.atOnce && !isHeldBack;
}

void RequestQueue::StartWaiting()
{
    for (const auto lane : {Lane::Control, Lane::Transfers, Lane::Previews}) {
        while (MayStart(lane)) {
            StartNext(StateOf(lane));
        }
    }
}

void RequestQueue::StartNext(LaneState& state)
{
    auto next = state.waiting.extract(state.waiting.begin());
    ++state.running;
    Work work = next.mapped().prepare();
    const auto job = next.mapped().job;
    m_running.emplace(next.key(), std::move(next.mapped()));
    Run(next.key(), job, std::move(work));
}

void RequestQueue::Run(long long key, const std::shared_ptr<Job>& job, Work work)
{
    std::function<void()> run = [this, key, job, work = std::move(work)] {
        Support::TakeOver();
        const auto deliver = [self = std::weak_ptr(m_self), key, failure = FailureOf(work, *job)] {
            if (const auto queue = self.lock()) {
                (*queue)->OnWorkEnded(key, failure);
            }
        };
        m_deliveries.Post(deliver);
    };
    Support::HandOver();
    m_workers.start(std::move(run));
}

void RequestQueue::OnWorkEnded(long long key, const std::optional<Failure>& failure)
{
    const auto ended = m_running.extract(key);
    --StateOf(ended.mapped().lane).running;
    StartWaiting();
    // Last, because it may be the end of this queue.
    if (ended.mapped().onEnded) {
        ended.mapped().onEnded(failure);
    }
}

} // namespace Orvane::Social
