#pragma once

#include <OrvaneCloudProtocol/RequestQueue.h>
#include <OrvaneCloudProtocol/previews/PreviewMaker.h>
#include <OrvaneCloudProtocol/transports/Transport.h>

#include <QHash>
#include <QImage>
#include <QSize>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

namespace Orvane::Social {

/// Takes preview requests for the same document together, while they wait, so that it is fetched and rendered
/// once for all of them; a document is never worked on twice at a time. Used on the client's thread.
class PreviewDesk
{
public:
    /// Called once for each request that was not cancelled. May not delete the desk.
    using OnAnswered = std::function<void(long long ticket, const std::optional<Failure>& failure)>;

    /// @param cloud  tells documents of one cloud, as one user sees it, from those of another
    PreviewDesk(RequestQueue& queue, std::shared_ptr<Transport> transport,
                std::shared_ptr<PreviewMaker> maker, const QByteArray& cloud, OnAnswered onAnswered);

    /// @param image  filled before the answer, when there is no failure
    void Add(long long ticket, const QString& id, const QSize& box, std::shared_ptr<QImage> image);

    /// Returns false when the ticket is none of the desk's.
    bool Cancel(long long ticket);

private:
    struct Wish
    {
        QSize box;
        std::shared_ptr<QImage> image;
    };

    /// The requests for one document, by ticket.
    struct Group
    {
        std::map<long long, Wish> wishes;
        std::shared_ptr<Job> job;
        long long queueKey = 0;
    };

    /// What a worker made of one group.
    struct Answers
    {
        std::vector<long long> tickets;
        std::vector<PreviewMaker::Preview> previews;
    };

    using Groups = QHash<QString, Group>;

    void Enqueue(const QString& id);
    [[nodiscard]] RequestQueue::Work Begin(const QString& id, const std::shared_ptr<Answers>& answers);
    void OnEnded(const QString& id, const Answers& answers, const std::optional<Failure>& failure);
    void Answer(Group& group, long long ticket, const PreviewMaker::Preview& preview);
    bool CancelWaiting(const QString& id, long long ticket);
    void CancelRunning(const QString& id, long long ticket);

    RequestQueue& m_queue;
    const std::shared_ptr<Transport> m_transport;
    const std::shared_ptr<PreviewMaker> m_maker;
    const QByteArray m_cloud;
    const OnAnswered m_onAnswered;
    std::unordered_map<long long, QString> m_idOfTicket;
    Groups m_waiting;
    Groups m_running;
};

} // namespace Orvane::Social
