#include <OrvaneCloudProtocol/previews/RenderingSlots.h>

#include <OrvaneCloudProtocol/transports/Job.h>

#include <chrono>

namespace Orvane::Social {
namespace {

constexpr std::size_t kRenderingsAtOnce = 2;
constexpr std::chrono::milliseconds kSlice{20}; // how late a cancel may be noticed

} // namespace

RenderingSlots::Slot RenderingSlots::Wait(const QByteArray& documentVersion, const Job& job)
{
    std::unique_lock lock(m_mutex);
    while (!m_released.wait_for(lock, kSlice, [&] { return job.IsCanceled() || IsFree(documentVersion); })) {
    }
    job.ThrowIfCanceled();
    m_busy.insert(documentVersion);
    return Slot(this, [documentVersion](RenderingSlots* slots) { slots->Release(documentVersion); });
}

bool RenderingSlots::IsFree(const QByteArray& documentVersion) const
{
    return m_busy.size() < kRenderingsAtOnce && m_busy.count(documentVersion) == 0;
}

void RenderingSlots::Release(const QByteArray& documentVersion)
{
    {
        const std::lock_guard lock(m_mutex);
        m_busy.erase(documentVersion);
    }
    m_released.notify_all();
}

} // namespace Orvane::Social
