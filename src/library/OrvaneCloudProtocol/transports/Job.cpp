#include <OrvaneCloudProtocol/transports/Job.h>

#include <algorithm>
#include <utility>

namespace Orvane::Social {

namespace {

constexpr qint64 kReportEveryMilliseconds = 100;
constexpr qint64 kRepeatEveryMilliseconds = 1000; // a sign of life, where one per cent takes long

int PercentOf(qint64 done, qint64 total)
{
    if (total <= 0) {
        return 0;
    }
    return static_cast<int>(
        std::clamp(100.0 * static_cast<double>(done) / static_cast<double>(total), 0.0, 99.0));
}

} // namespace

CloudError::CloudError(Failure failure)
    : std::runtime_error(failure.detail.toStdString())
    , m_failure(std::move(failure))
{}

CloudError::CloudError(FailureCode code, const QString& detail)
    : CloudError(Failure{code, detail})
{}

Job::Job(OnProgress onProgress)
    : m_onProgress(std::move(onProgress))
{}

void Job::Cancel()
{
    {
        const std::scoped_lock lock(m_commitMutex, m_cancelMutex);
        if (!m_isCanceled) {
            m_canceledAt = std::chrono::steady_clock::now();
        }
        m_isCanceled = true;
    }
    const std::lock_guard lock(m_cancelMutex);
    m_canceled.notify_all();
    if (const auto step = std::exchange(m_onCancel, nullptr)) {
        step();
    }
}

Job::CancelHook::CancelHook(Job& job, std::function<void()> step)
    : m_job(job)
{
    const std::lock_guard lock(m_job.m_cancelMutex);
    if (m_job.m_isCanceled) {
        step();
    } else {
        m_job.m_onCancel = std::move(step);
    }
}

Job::CancelHook::~CancelHook()
{
    const std::lock_guard lock(m_job.m_cancelMutex);
    m_job.m_onCancel = nullptr;
}

void Job::Sleep(std::chrono::milliseconds duration)
{
    std::unique_lock lock(m_cancelMutex);
    m_canceled.wait_for(lock, duration, [this] { return m_isCanceled.load(); });
    ThrowIfCanceled();
}

void Job::Wait(const Pause& pause)
{
    if (m_onPause) {
        m_onPause(pause);
    }
    Sleep(pause.duration);
}

std::chrono::milliseconds Job::TimeSinceCancel() const
{
    using std::chrono::milliseconds;
    const std::lock_guard lock(m_cancelMutex);
    return m_isCanceled
               ? std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - m_canceledAt)
               : milliseconds(0);
}

void Job::ThrowIfCanceled() const
{
    if (m_isCanceled) {
        throw CloudError(FailureCode::Canceled, QStringLiteral("no longer wanted"));
    }
}

void Job::ReportProgress(qint64 done, qint64 total)
{
    const int percent = PercentOf(done, total);
    const auto pause = percent > m_lastPercent ? kReportEveryMilliseconds : kRepeatEveryMilliseconds;
    const bool isTooEarly = m_lastPercent >= 0 && m_sinceLastReport.elapsed() < pause;
    if (percent < m_lastPercent || isTooEarly) {
        return;
    }
    m_lastPercent = percent;
    m_sinceLastReport.start();
    if (m_onProgress) {
        m_onProgress(percent);
    }
}

} // namespace Orvane::Social
