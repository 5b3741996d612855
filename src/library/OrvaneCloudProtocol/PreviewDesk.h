#pragma once

#include <OrvaneCloudProtocol/RequestQueue.h>
#include <OrvaneCloudProtocol/previews/PreviewMaker.h>
#include <OrvaneCloudProtocol/transports/Transport.h>

#include <QHash>
#include <QImage>
#include <QSize>

#include <functional>
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
    class Group;

    struct Request
    {
        std::shared_ptr<Group> group;
        std::shared_ptr<QImage> image;
    };

    /// The requests for one document. Those that come too late for the first group wait for the next.
    struct Line
    {
        std::shared_ptr<Group> first;
        std::shared_ptr<Group> next;
    };

    [[nodiscard]] std::shared_ptr<Group> Join(long long ticket, const QString& id, const QSize& box);
    void Enqueue(const std::shared_ptr<Group>& group);
    [[nodiscard]] std::function<void(Job& job)> WorkFor(const std::shared_ptr<Group>& group) const;
    void OnEnded(const Group& group, const std::optional<Failure>& failure);
    void Answer(long long ticket, const PreviewMaker::Preview& preview);
    void Drop(const std::shared_ptr<Group>& group);

    RequestQueue& m_queue;
    const std::shared_ptr<Transport> m_transport;
    const std::shared_ptr<PreviewMaker> m_maker;
    const QByteArray m_cloud;
    const OnAnswered m_onAnswered;
    std::unordered_map<long long, Request> m_requests;
    QHash<QString, Line> m_lines;
};

} // namespace Orvane::Social
