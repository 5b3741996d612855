#include <OrvaneCloudProtocol/PreviewDesk.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

namespace Orvane::Social {

/// The requests for one document that are worked on together: those that have joined, and not left, when the
/// worker takes them.
class PreviewDesk::Group
{
public:
    struct Wish
    {
        long long ticket;
        QSize box; ///< none: has left
    };

    Group(const QString& documentId, long long firstTicket, const QSize& box)
        : id(documentId)
        , queueKey(firstTicket)
        , m_wishes{{firstTicket, box}}
    {}

    /// Returns false when it is too late. Tickets come in ascending order.
    [[nodiscard]] bool Join(long long ticket, const QSize& box)
    {
        const std::lock_guard lock(m_mutex);
        if (!m_isTaken) {
            m_wishes.push_back({ticket, box});
            ++m_staying;
        }
        return !m_isTaken;
    }

    /// Returns whether others stay.
    [[nodiscard]] bool Leave(long long ticket)
    {
        const std::lock_guard lock(m_mutex);
        const auto wish =
            std::lower_bound(m_wishes.begin(), m_wishes.end(), ticket,
                             [](const Wish& each, long long sought) { return each.ticket < sought; });
        wish->box = QSize();
        return --m_staying > 0;
    }

    /// Those that stay.
    [[nodiscard]] std::vector<Wish> Take()
    {
        const std::lock_guard lock(m_mutex);
        m_isTaken = m_staying > 0;
        std::vector<Wish> staying;
        std::copy_if(m_wishes.begin(), m_wishes.end(), std::back_inserter(staying),
                     [](const Wish& wish) { return wish.box.isValid(); });
        return staying;
    }

    [[nodiscard]] bool IsTaken() const
    {
        const std::lock_guard lock(m_mutex);
        return m_isTaken;
    }

    const QString id;
    const long long queueKey;
    std::vector<long long> tickets;              ///< the worker's, until it has ended
    std::vector<PreviewMaker::Preview> previews; ///< the same; one for each ticket

private:
    mutable std::mutex m_mutex;
    std::vector<Wish> m_wishes; // by ticket
    int m_staying = 1;
    bool m_isTaken = false;
};

PreviewDesk::PreviewDesk(RequestQueue& queue, std::shared_ptr<Transport> transport,
                         std::shared_ptr<PreviewMaker> maker, const QByteArray& cloud, OnAnswered onAnswered)
    : m_queue(queue)
    , m_transport(std::move(transport))
    , m_maker(std::move(maker))
    , m_cloud(cloud)
    , m_onAnswered(std::move(onAnswered))
{}

void PreviewDesk::Add(long long ticket, const QString& id, const QSize& box, std::shared_ptr<QImage> image)
{
    m_requests.emplace(ticket, Request{Join(ticket, id, box), std::move(image)});
}

std::shared_ptr<PreviewDesk::Group> PreviewDesk::Join(long long ticket, const QString& id, const QSize& box)
{
    Line& line = m_lines[id];
    for (auto* group : {&line.first, &line.next}) {
        if (*group && (*group)->Join(ticket, box)) {
            return *group;
        }
    }
    auto group = std::make_shared<Group>(id, ticket, box);
    if (line.first) {
        line.next = group;
    } else {
        line.first = group;
        Enqueue(group);
    }
    return group;
}

void PreviewDesk::Enqueue(const std::shared_ptr<Group>& group)
{
    auto task = std::make_shared<RequestQueue::Task>(group->queueKey, RequestQueue::Lane::Previews);
    task->work = WorkFor(group);
    task->onEnded = [this, group](const auto& failure) { OnEnded(*group, failure); };
    m_queue.Add(std::move(task));
}

std::function<void(Job&)> PreviewDesk::WorkFor(const std::shared_ptr<Group>& group) const
{
    return [transport = m_transport, maker = m_maker, cloud = m_cloud, group](Job& job) {
        std::vector<QSize> boxes;
        for (const auto& wish : group->Take()) {
            group->tickets.push_back(wish.ticket);
            boxes.push_back(wish.box);
        }
        if (boxes.empty()) {
            return;
        }
        const QString& id = group->id;
        const QByteArray version =
            cloud + '\0' + id.toUtf8() + '\0' + transport->VersionTag(id, job).toUtf8();
        Transport::RenderSource source;
        const auto fetch = [&] {
            source = transport->FetchForRendering(id, job);
            return source.file;
        };
        group->previews = maker->Make(version, boxes, fetch, job);
    };
}

void PreviewDesk::OnEnded(const Group& group, const std::optional<Failure>& failure)
{
    Line& line = m_lines[group.id];
    line.first = std::exchange(line.next, nullptr);
    if (line.first) {
        Enqueue(line.first);
    } else {
        m_lines.remove(group.id);
    }
    for (std::size_t index = 0; index < group.tickets.size(); ++index) {
        Answer(group.tickets[index], failure ? PreviewMaker::Preview(*failure) : group.previews.at(index));
    }
}

void PreviewDesk::Answer(long long ticket, const PreviewMaker::Preview& preview)
{
    const auto request = m_requests.extract(ticket);
    if (!request) {
        return;
    }
    if (const auto* failure = std::get_if<Failure>(&preview)) {
        m_onAnswered(ticket, *failure);
        return;
    }
    *request.mapped().image = std::get<QImage>(preview);
    m_onAnswered(ticket, std::nullopt);
}

bool PreviewDesk::Cancel(long long ticket)
{
    const auto request = m_requests.extract(ticket);
    if (request && !request.mapped().group->Leave(ticket)) {
        Drop(request.mapped().group);
    }
    return !request.empty();
}

void PreviewDesk::Drop(const std::shared_ptr<Group>& group)
{
    Line& line = m_lines[group->id];
    if (group == line.next) {
        line.next = nullptr;
    } else if (group->IsTaken()) {
        // It stays until its worker has ended, so that the document's next group does not overtake it.
        m_queue.Cancel(group->queueKey);
    } else {
        m_queue.Remove(group->queueKey);
        m_lines.remove(group->id);
    }
}

} // namespace Orvane::Social
