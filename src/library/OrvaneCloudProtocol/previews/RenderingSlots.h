#pragma once

#include <QByteArray>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

namespace Orvane::Social {

class Job;

/// Lets two renderings run at once, and never two of the same document version. Thread-safe; must outlive
/// the slots it gave away.
class RenderingSlots
{
public:
    /// Held while rendering; gives the place back when it goes.
    using Slot = std::shared_ptr<void>;

    /// Waits for a place. Throws CloudError (Canceled) when the job is cancelled meanwhile.
    [[nodiscard]] Slot Wait(const QByteArray& documentVersion, const Job& job);

private:
    [[nodiscard]] bool IsFree(const QByteArray& documentVersion) const;
    void Release(const QByteArray& documentVersion);

    std::mutex m_mutex;
    std::condition_variable m_released;
    std::set<QByteArray> m_busy;
};

} // namespace Orvane::Social
