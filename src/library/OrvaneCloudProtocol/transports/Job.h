#pragma once

#include <OrvaneCloudProtocol/Failure.h>

#include <QElapsedTimer>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stdexcept>

namespace Orvane::Social {

/// How blocking work tells that it failed. Thrown by transports, caught once, by the client.
class CloudError : public std::runtime_error
{
public:
    explicit CloudError(Failure failure);
    CloudError(FailureCode code, const QString& detail);

    [[nodiscard]] const Failure& GetFailure() const noexcept { return m_failure; }

private:
    Failure m_failure;
};

/// The thread-safe tie between a request and the worker that carries it out: whether it is still wanted, how
/// far it has come, and the one moment after which it counts as done.
class Job
{
public:
    using OnProgress = std::function<void(int percent)>;

    /// @param onProgress  called on the worker's thread, at most ten times a second, never backwards.
    explicit Job(OnProgress onProgress = {});

    /// After this has returned, no Commit of this job begins.
    void Cancel();

    /// While it lives, a step that is run once the job is cancelled, on the thread that cancels, or at once
    /// if it already is. One at a time; the step must not block.
    class CancelHook
    {
    public:
        CancelHook(Job& job, std::function<void()> step);
        ~CancelHook();
        CancelHook(const CancelHook&) = delete;
        CancelHook& operator=(const CancelHook&) = delete;

    private:
        Job& m_job;
    };

    /// Before the cloud is asked again, since it is away or too busy at the moment.
    struct Pause
    {
        Failure why;
        std::chrono::milliseconds duration;
    };

    using OnPause = std::function<void(const Pause& pause)>;

    /// @param onPause  called on the worker's thread when a pause begins. To be set before the work begins.
    void SetOnPause(OnPause onPause) { m_onPause = std::move(onPause); }

    /// Reports the pause, and waits for its end as Sleep.
    void Wait(const Pause& pause);

    /// While it lives, the job rather waits a minute for a cloud that is away than that it fails within
    /// seconds.
    class Patience
    {
    public:
        explicit Patience(Job& job)
            : m_job(job)
        {
            m_job.m_isPatient = true;
        }
        ~Patience() { m_job.m_isPatient = false; }
        Patience(const Patience&) = delete;
        Patience& operator=(const Patience&) = delete;

    private:
        Job& m_job;
    };

    [[nodiscard]] bool IsPatient() const noexcept { return m_isPatient; }

    /// Waits; throws CloudError (Canceled) as soon as the job is no longer wanted.
    void Sleep(std::chrono::milliseconds duration);

    [[nodiscard]] bool IsCanceled() const noexcept { return m_isCanceled; }

    /// 0 while it is wanted.
    [[nodiscard]] std::chrono::milliseconds TimeSinceCancel() const;

    /// Throws CloudError (Canceled) when the job is no longer wanted. To be called between pieces of work.
    void ThrowIfCanceled() const;

    /// Never reports 100, which is for work that is done: that takes more than its last byte.
    void ReportProgress(qint64 done, qint64 total);

    /// Runs the step that makes the work visible under its final name, unless the job has been cancelled:
    /// then it throws instead. Only for short, local steps: Cancel waits for it.
    template <typename Step>
    auto Commit(Step&& finalStep)
    {
        const std::lock_guard lock(m_commitMutex);
        ThrowIfCanceled();
        return finalStep();
    }

private:
    const OnProgress m_onProgress;
    OnPause m_onPause;
    bool m_isPatient = false; // on the worker's thread only
    std::atomic<bool> m_isCanceled{false};
    std::mutex m_commitMutex;
    mutable std::mutex m_cancelMutex;
    std::chrono::steady_clock::time_point m_canceledAt;
    std::condition_variable m_canceled;
    std::function<void()> m_onCancel;
    int m_lastPercent = -1;
    QElapsedTimer m_sinceLastReport;
};

} // namespace Orvane::Social
