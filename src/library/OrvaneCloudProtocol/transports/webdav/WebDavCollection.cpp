#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>

#include <set>

namespace Orvane::Social {

namespace {

using Place = HrefMeaning::Place;

QString Text(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes);
}

/// Sorts the answers to one PROPFIND of the collection into itself and its members.
class ListingReader
{
public:
    ListingReader(const WebDavServer::Properties& answer, const WebDavAddress& address)
        : m_path(answer.path)
        , m_authorities{QByteArray(), address.Authority()}
    {
        // Behind a proxy a server may know itself by another name, which its own entry tells.
        for (const auto& resource : answer.resources) {
            const auto meaning = MeaningOf(resource.href, m_path);
            if (meaning.place == Place::Collection && resource.isCollection) {
                m_self = resource;
                m_authorities.insert(meaning.authority);
            }
        }
    }

    [[nodiscard]] DavResource Self() const
    {
        if (!m_self) {
            throw CloudError(FailureCode::Protocol,
                             Text(m_path) + QStringLiteral(": the answer lacks the collection itself"));
        }
        return *m_self;
    }

    [[nodiscard]] std::vector<WebDavCollection::Member> Members(std::vector<DavResource>&& resources)
    {
        std::vector<WebDavCollection::Member> members;
        for (auto& resource : resources) {
            auto meaning = MeaningOf(resource.href, m_path);
            const bool isOurs = meaning.place == Place::Member && m_authorities.count(meaning.authority) > 0;
            if (isOurs && resource.status == 200 && m_names.insert(meaning.memberName).second) {
                members.push_back({std::move(meaning.memberName), std::move(resource)});
            }
        }
        return members;
    }

private:
    const QByteArray m_path;
    std::set<QByteArray> m_authorities;
    std::optional<DavResource> m_self;
    std::set<std::string> m_names;
};

} // namespace

WebDavCollection::WebDavCollection(WebDavServer& server)
    : m_server(server)
{}

QByteArray WebDavCollection::PathOf(const std::string& name) const
{
    return m_server.Address().PathOf(name);
}

DavResource WebDavCollection::Self(const QByteArray& propfindBody, Job& job)
{
    const auto answer = m_server.Propfind(m_server.Address().CollectionPath(), WebDavServer::Depth::Resource,
                                          propfindBody, job);
    return ListingReader(answer, m_server.Address()).Self();
}

WebDavCollection::Listing WebDavCollection::Members(Job& job)
{
    auto answer = m_server.Propfind(m_server.Address().CollectionPath(), WebDavServer::Depth::Members,
                                    PropfindForDocuments(), job);
    ListingReader reader(answer, m_server.Address());
    (void)reader.Self();
    return {reader.Members(std::move(answer.resources)), answer.date};
}

std::optional<DavResource> WebDavCollection::Find(const std::string& name, Job& job,
                                                  std::optional<std::chrono::milliseconds> total)
{
    try {
        const auto answer = m_server.Propfind(PathOf(name), WebDavServer::Depth::Resource,
                                              PropfindForDocuments(), job, total);
        for (const auto& resource : answer.resources) {
            const auto meaning = MeaningOf(resource.href, m_server.Address().CollectionPath());
            if (meaning.place == Place::Member && meaning.memberName == name) {
                return resource.status == 200 ? std::make_optional(resource) : std::nullopt;
            }
        }
        throw CloudError(FailureCode::Protocol,
                         Text(PathOf(name)) + QStringLiteral(": the answer is about something else"));
    } catch (const CloudError& error) {
        if (error.GetFailure().code == FailureCode::NotFound) {
            return std::nullopt;
        }
        throw;
    }
}

DavResource WebDavCollection::RequiredDocument(const std::string& name, Job& job)
{
    const auto found = Find(name, job);
    if (!found || found->isCollection) {
        throw CloudError(FailureCode::NotFound, Text(PathOf(name)) + QStringLiteral(": no such document"));
    }
    return *found;
}

HttpRequest WebDavCollection::MoveRequest(const std::string& from, const std::string& to,
                                          Overwrite overwrite) const
{
    HttpRequest request = m_server.ChangeOf("MOVE", PathOf(from));
    request.headers.push_back("Destination: " + m_server.Address().Origin() + PathOf(to));
    // Always said: some servers take its absence for F, though it means T.
    request.headers.push_back(overwrite == Overwrite::Yes ? "Overwrite: T" : "Overwrite: F");
    return request;
}

HttpRequest WebDavCollection::DeleteRequest(const std::string& name, const QByteArray& strongEntityTag) const
{
    HttpRequest request = m_server.ChangeOf("DELETE", PathOf(name));
    if (!strongEntityTag.isEmpty()) {
        request.headers.push_back("If-Match: " + strongEntityTag);
    }
    return request;
}

WebDavCollection::ChangeOutcome WebDavCollection::TryChange(const HttpRequest& request, Job& job)
{
    try {
        const auto answer = m_server.Change(request, job);
        const auto trouble = std::make_exception_ptr(StatusError(request, answer));
        return {answer, IsPassing(answer.status) ? trouble : nullptr};
    } catch (const NetworkError& error) {
        if (error.GetStage() == NetworkError::Stage::Hopeless) {
            throw;
        }
        return {{}, std::current_exception()};
    }
}

std::optional<DavResource> WebDavCollection::FindAfterTrouble(const std::string& name, const Job& job)
{
    // Also when the request is no longer wanted: what it has left behind depends on the answer.
    Job asking;
    const auto limit = job.IsCanceled() ? std::make_optional(m_server.Limits().afterCancel) : std::nullopt;
    return Find(name, asking, limit);
}

WebDavCollection::MoveOutcome WebDavCollection::Move(const std::string& from, const std::string& to,
                                                     Overwrite overwrite, Job& job)
{
    const auto request = MoveRequest(from, to, overwrite);
    for (int repetitions = 0;; ++repetitions) {
        const auto [answer, trouble] = TryChange(request, job);
        if (!trouble && answer.IsSuccess() && answer.status != 207) {
            return MoveOutcome::Moved;
        }
        // A move that was repeated may have found its own earlier success.
        if ((trouble || repetitions > 0) && !FindAfterTrouble(from, job)) {
            return MoveOutcome::Moved;
        }
        if (!trouble && answer.status == 412 && overwrite == Overwrite::No) {
            return MoveOutcome::NameTaken;
        }
        if (!trouble) {
            throw ErrorOf(request, answer, job);
        }
        if (!m_server.WaitToRepeat(repetitions, answer, job)) {
            std::rethrow_exception(trouble);
        }
    }
}

void WebDavCollection::Delete(const std::string& name, const QByteArray& strongEntityTag, Job& job)
{
    const auto request = DeleteRequest(name, strongEntityTag);
    for (int repetitions = 0;; ++repetitions) {
        const auto [answer, trouble] = TryChange(request, job);
        if (!trouble && answer.IsSuccess() && answer.status != 207) {
            return;
        }
        if (!trouble && FailureCodeOfStatus(answer.status) == FailureCode::NotFound) {
            (void)Self(PropfindForDocuments(), job); // a cloud that is gone has not deleted anything
            return;
        }
        if (!trouble) {
            throw ErrorOf(request, answer, job);
        }
        const auto found = FindAfterTrouble(name, job);
        if (!found) {
            return;
        }
        if (!strongEntityTag.isEmpty() && found->entityTag != strongEntityTag) {
            throw CloudError(FailureCode::Conflict,
                             Text(PathOf(name)) + QStringLiteral(": has changed meanwhile"));
        }
        if (!m_server.WaitToRepeat(repetitions, answer, job)) {
            std::rethrow_exception(trouble);
        }
    }
}

bool WebDavCollection::TakeAway(const std::string& name, const QByteArray& strongEntityTag) noexcept
{
    try {
        Job job;
        auto request = DeleteRequest(name, strongEntityTag);
        request.total = m_server.Limits().afterCancel;
        const auto answer = m_server.Change(request, job);
        return answer.IsSuccess() || FailureCodeOfStatus(answer.status) == FailureCode::NotFound;
    } catch (const std::exception&) {
        return false;
    }
}

CloudError WebDavCollection::ErrorOf(const HttpRequest& request, const HttpResponse& answer, Job& job)
{
    if (answer.status == 409) { // also said when the collection is gone (RFC 4918 §9.7.1)
        (void)Self(PropfindForDocuments(), job);
    }
    return StatusError(request, answer);
}

} // namespace Orvane::Social
