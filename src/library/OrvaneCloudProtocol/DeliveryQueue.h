#pragma once

#include <QBasicTimer>
#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

namespace Orvane::Social {

/// Brings what workers have to say to the thread that made the queue, in order. One turn of the event loop
/// carries a few milliseconds of deliveries at most. Nothing is delivered once the queue is gone; a delivery
/// may delete it, or run an event loop of its own.
class DeliveryQueue : public QObject
{
public:
    using Delivery = std::function<void()>;

    /// From any thread. Never delivers inside the call.
    void Post(Delivery delivery);

protected:
    bool event(QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void DeliverSlice();
    [[nodiscard]] Delivery TakeNext();

    std::mutex m_mutex;
    std::deque<Delivery> m_deliveries;
    bool m_isAnnounced = false;   // a slice is ahead
    std::deque<Delivery> m_taken; // what comes before them; without the mutex
    QBasicTimer m_nextSlice;
};

} // namespace Orvane::Social
