#include <OrvaneCloudProtocol/PreviewDesk.h>

#include <utility>

namespace Orvane::Social {

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
    const bool isFirst = !m_waiting.contains(id);
    m_idOfTicket.emplace(ticket, id);
    m_waiting[id].wishes.emplace(ticket, Wish{box, std::move(image)});
    if (isFirst && !m_running.contains(id)) {
        Enqueue(id);
    }
}

void PreviewDesk::Enqueue(const QString& id)
{
    Group& group = m_waiting[id];
    group.queueKey = group.wishes.begin()->first;
    group.job = std::make_shared<Job>();
    const auto answers = std::make_shared<Answers>();
    RequestQueue::Task task;
    task.lane = RequestQueue::Lane::Previews;
    task.job = group.job;
    task.prepare = [this, id, answers] { return Begin(id, answers); };
    task.onEnded = [this, id, answers](const auto& failure) { OnEnded(id, *answers, failure); };
    m_queue.Add(group.queueKey, std::move(task));
}

RequestQueue::Work PreviewDesk::Begin(const QString& id, const std::shared_ptr<Answers>& answers)
{
    const Group group = m_waiting.take(id);
    m_running.insert(id, group);
    std::vector<QSize> boxes;
    for (const auto& [ticket, wish] : group.wishes) {
        answers->tickets.push_back(ticket);
        boxes.push_back(wish.box);
    }
    return [transport = m_transport, maker = m_maker, cloud = m_cloud, id, boxes, answers](Job& job) {
        const QByteArray version =
            cloud + '\0' + id.toUtf8() + '\0' + transport->VersionTag(id, job).toUtf8();
        Transport::RenderSource source;
        const auto fetch = [&] {
            source = transport->FetchForRendering(id, job);
            return source.file;
        };
        answers->previews = maker->Make(version, boxes, fetch, job);
    };
}

void PreviewDesk::OnEnded(const QString& id, const Answers& answers, const std::optional<Failure>& failure)
{
    Group group = m_running.take(id);
    if (m_waiting.contains(id)) {
        Enqueue(id);
    }
    for (std::size_t index = 0; index < answers.tickets.size(); ++index) {
        Answer(group, answers.tickets[index],
               failure ? PreviewMaker::Preview(*failure) : answers.previews.at(index));
    }
}

void PreviewDesk::Answer(Group& group, long long ticket, const PreviewMaker::Preview& preview)
{
    const auto wish = group.wishes.extract(ticket);
    if (!wish) {
        return;
    }
    m_idOfTicket.erase(ticket);
    if (const auto* failure = std::get_if<Failure>(&preview)) {
        m_onAnswered(ticket, *failure);
        return;
    }
    *wish.mapped().image = std::get<QImage>(preview);
    m_onAnswered(ticket, std::nullopt);
}

bool PreviewDesk::Cancel(long long ticket)
{
    const auto id = m_idOfTicket.extract(ticket);
    if (!id) {
        return false;
    }
    if (!CancelWaiting(id.mapped(), ticket)) {
        CancelRunning(id.mapped(), ticket);
    }
    return true;
}

bool PreviewDesk::CancelWaiting(const QString& id, long long ticket)
{
    const auto group = m_waiting.find(id);
    if (group == m_waiting.end() || group->wishes.erase(ticket) == 0) {
        return false;
    }
    if (group->wishes.empty()) {
        const auto queueKey = group->queueKey;
        m_waiting.erase(group);
        m_queue.Remove(queueKey);
    }
    return true;
}

void PreviewDesk::CancelRunning(const QString& id, long long ticket)
{
    // The group stays until its worker has ended, so that the document's next one does not overtake it.
    Group& group = m_running[id];
    group.wishes.erase(ticket);
    if (group.wishes.empty()) {
        group.job->Cancel();
    }
}

} // namespace Orvane::Social
