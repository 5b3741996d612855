#include <OrvaneCloudProtocol/DeliveryQueue.h>

#include <support/TsanMarks.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QPointer>

#include <memory>

namespace Orvane::Social {

namespace {

constexpr int kSliceMilliseconds = 3;

QEvent::Type AnnouncementType()
{
    static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

} // namespace

void DeliveryQueue::Post(Delivery delivery)
{
    const std::lock_guard lock(m_mutex);
    m_deliveries.push_back(std::move(delivery));
    if (!m_isAnnounced) {
        m_isAnnounced = true;
        auto announcement = std::make_unique<QEvent>(AnnouncementType());
        Support::TsanRelease(announcement.get());
        QCoreApplication::postEvent(this, announcement.release());
    }
}

bool DeliveryQueue::event(QEvent* event)
{
    Support::TsanAcquire(event);
    if (event->type() != AnnouncementType()) {
        return QObject::event(event);
    }
    DeliverSlice();
    return true;
}

void DeliveryQueue::timerEvent(QTimerEvent*)
{
    DeliverSlice();
}

void DeliveryQueue::DeliverSlice()
{
    // A timer, because events posted meanwhile would be handled before the event loop turns. It runs during
    // the deliveries already: one of them may wait in an event loop of its own for the next.
    m_nextSlice.start(0, this);
    const QPointer<DeliveryQueue> self(this);
    QElapsedTimer elapsed;
    elapsed.start();
    do {
        const auto delivery = TakeNext();
        if (!delivery) {
            m_nextSlice.stop();
            return;
        }
        delivery();
    } while (self && elapsed.elapsed() < kSliceMilliseconds);
}

DeliveryQueue::Delivery DeliveryQueue::TakeNext()
{
    if (m_taken.empty()) {
        const std::lock_guard lock(m_mutex);
        m_taken.swap(m_deliveries);
        m_isAnnounced = !m_taken.empty();
    }
    if (m_taken.empty()) {
        return {};
    }
    auto delivery = std::move(m_taken.front());
    m_taken.pop_front();
    return delivery;
}

} // namespace Orvane::Social
