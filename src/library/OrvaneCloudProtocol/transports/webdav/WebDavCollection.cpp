#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>

#include <algorithm>
#include <deque>
#include <set>
#include <utility>

namespace Orvane::Social {

namespace {

using Place = HrefMeaning::Place;

constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::milliseconds kShortestPause{1};

QString Text(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes);
}

/// Of a member's path.
QByteArray FolderOf(const QByteArray& path)
{
    return path.left(path.lastIndexOf('/') + 1);
}

bool IsGone(const DavResource& resource)
{
    return resource.status == 404 || resource.status == 410;
}

// A member that cannot be looked at now is not one that is no longer there.
void RequireReadable(const DavResource& resource)
{
    if (resource.status != 200) {
        throw CloudError(FailureCode::Unavailable,
                         QStringLiteral("%1: the server has status %2 for it")
                             .arg(Text(resource.href), QString::number(resource.status)));
    }
}

/// A name that was free is taken.
class NameOvertaken : public std::exception
{};

/// What the answer to a DELETE means for a member of our own making; nothing when another may follow.
std::optional<WebDavCollection::Removal> RemovalOf(int status)
{
    using Removal = WebDavCollection::Removal;
    if (status >= 200 && status < 207) {
        return Removal::Removed;
    }
    if (FailureCodeOfStatus(status) == FailureCode::NotFound) {
        return Removal::NotThere;
    }
    const bool isTransient = IsPassing(status) || status == 207 || status == 409 || status == 423;
    return isTransient ? std::nullopt : std::make_optional(Removal::Failed);
}

/// Sorts the answers to one PROPFIND of the collection into itself and its members.
class ListingReader
{
public:
    using Member = WebDavCollection::Member;
    using MemberSink = WebDavCollection::MemberSink;

    ListingReader(const QByteArray& path, const WebDavAddress& address, MemberSink sink)
        : m_path(path)
        , m_sink(std::move(sink))
        , m_authorities{QByteArray(), address.Authority()}
    {}

    void Add(DavResource&& resource)
    {
        auto meaning = MeaningOf(resource.href, m_path);
        if (meaning.place == Place::Collection && resource.isCollection && resource.status == 200) {
            // Behind a proxy a server may know itself by another name, which its own entry tells.
            m_authorities.insert(meaning.authority);
            m_self = std::move(resource);
        } else if (meaning.place == Place::Member && m_sink && !IsGone(resource)) {
            m_waiting.push_back(
                {std::move(meaning.authority), {std::move(meaning.memberName), std::move(resource)}});
        }
        HandOver();
    }

    /// Throws when the answer lacks the collection itself.
    [[nodiscard]] DavResource Self() const
    {
        if (!m_self) {
            throw CloudError(FailureCode::Protocol,
                             Text(m_path) + QStringLiteral(": the answer lacks the collection itself"));
        }
        return *m_self;
    }

private:
    // A member at an authority that is not known yet waits for the collection's own entry, which mostly comes
    // first.
    void HandOver()
    {
        const auto isKnown = [this] { return m_authorities.count(m_waiting.front().authority) > 0; };
        while (!m_waiting.empty() && (isKnown() || m_self)) {
            if (isKnown()) {
                RequireReadable(m_waiting.front().member.resource);
                m_sink(std::move(m_waiting.front().member));
            }
            m_waiting.pop_front();
        }
    }

    struct Waiting
    {
        QByteArray authority;
        Member member;
    };

    const QByteArray m_path;
    const MemberSink m_sink;
    std::set<QByteArray> m_authorities;
    std::optional<DavResource> m_self;
    std::deque<Waiting> m_waiting;
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
    return ReadCollection(WebDavServer::Depth::Resource, propfindBody, {}, job).self;
}

std::optional<qint64> WebDavCollection::List(const BeginListing& begin, Job& job)
{
    return ReadCollection(WebDavServer::Depth::Members, PropfindForDocuments(), begin, job).date;
}

WebDavCollection::CollectionAnswer WebDavCollection::ReadCollection(WebDavServer::Depth depth,
                                                                    const QByteArray& propfindBody,
                                                                    const BeginListing& begin, Job& job)
{
    std::optional<ListingReader> reader;
    const auto beginAnswer = [&](const QByteArray& path) {
        reader.emplace(path, m_server.Address(), begin ? begin() : MemberSink());
        return [&reader](DavResource&& resource) { reader->Add(std::move(resource)); };
    };
    const auto answer =
        m_server.Propfind(m_server.Address().CollectionPath(), depth, propfindBody, beginAnswer, job);
    return {reader->Self(), answer.date};
}

std::optional<DavResource> WebDavCollection::Find(const std::string& name, Job& job,
                                                  std::optional<std::chrono::milliseconds> total)
{
    try {
        std::optional<DavResource> found;
        const auto begin = [&](const QByteArray& path) {
            found.reset();
            return [&found, &name, folder = FolderOf(path)](DavResource&& resource) {
                const auto meaning = MeaningOf(resource.href, folder);
                if (!found && meaning.place == Place::Member && meaning.memberName == name) {
                    found = std::move(resource);
                }
            };
        };
        m_server.Propfind(PathOf(name), WebDavServer::Depth::Resource, PropfindForDocuments(), begin, job,
                          total);
        if (!found) {
            throw CloudError(FailureCode::Protocol,
                             Text(PathOf(name)) + QStringLiteral(": the answer is about something else"));
        }
        if (IsGone(*found)) {
            return std::nullopt;
        }
        RequireReadable(*found);
        return found;
    } catch (const CloudError& error) {
        if (error.GetFailure().code == FailureCode::NotFound) {
            return std::nullopt;
        }
        throw;
    }
}

DavResource WebDavCollection::RequiredDocument(const std::string& name,
                                               const std::optional<DavResource>& found) const
{
    if (!found || found->isCollection) {
        throw CloudError(FailureCode::NotFound, Text(PathOf(name)) + QStringLiteral(": no such document"));
    }
    return *found;
}

QByteArray WebDavCollection::FullyEscaped(const std::string& name)
{
    return '%' + QByteArray::fromStdString(name).toHex('%').toUpper();
}

HttpRequest WebDavCollection::MoveRequest(const std::string& from, const Destination& to) const
{
    HttpRequest request = m_server.ChangeOf("MOVE", PathOf(from));
    const auto path =
        to.isEscaped ? m_server.Address().CollectionPath() + FullyEscaped(to.name) : PathOf(to.name);
    const QByteArray destination = m_server.Address().Origin() + path;
    request.headers.push_back("Destination: " + destination);
    // Always said: some servers take its absence for F, though it means T.
    request.headers.push_back(to.overwrite == Overwrite::Yes ? "Overwrite: T" : "Overwrite: F");
    if (!to.requiredTag.isEmpty()) {
        request.headers.push_back("If: <" + destination + "> ([" + to.requiredTag + "])");
    }
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

WebDavCollection::ChangeOutcome WebDavCollection::TryChange(const HttpRequest& request,
                                                            const Precondition& precondition, Job& job)
{
    try {
        const auto answer = ChangeOnceUnlocked(request, precondition, job);
        const auto trouble = std::make_exception_ptr(StatusError(request, answer));
        const bool isUnclear = answer.status == 207;
        return {answer, isUnclear || IsPassing(answer.status) ? trouble : nullptr, isUnclear};
    } catch (const NetworkError& error) {
        const bool isTimeOut = error.GetFailure().code == FailureCode::TimedOut; // long enough for anybody
        return {{}, std::current_exception(), isTimeOut || error.IsHopeless()};
    }
}

// Some servers lock what they move, and refuse whoever comes meanwhile. A lock that is meant to last is
// Refused.
HttpResponse WebDavCollection::ChangeOnceUnlocked(const HttpRequest& request,
                                                  const Precondition& precondition, Job& job)
{
    auto answer = m_server.ChangeResources(request, job);
    const auto firstRetry = m_server.Limits().firstRetry;
    for (auto pause = firstRetry / 8; answer.status == 423 && pause <= firstRetry * 4;
         pause = std::max(pause * 2, kShortestPause)) {
        job.Sleep(pause);
        precondition();
        answer = m_server.ChangeResources(request, job);
    }
    return answer;
}

std::chrono::milliseconds WebDavCollection::TimeForCleaning(const Job& job) const
{
    constexpr std::chrono::milliseconds kAtLeast{200};
    const auto limit = m_server.Limits().afterCancel;
    return std::max(limit - job.TimeSinceCancel(), std::min(limit, kAtLeast));
}

std::optional<DavResource> WebDavCollection::FindAnyway(const std::string& name, Job& job)
{
    if (!job.IsCanceled()) {
        try {
            return Find(name, job);
        } catch (const CloudError&) {
            if (!job.IsCanceled()) {
                throw;
            }
        }
    }
    return FindWhileCleaning(name, job);
}

std::optional<DavResource> WebDavCollection::FindWhileCleaning(const std::string& name, const Job& job)
{
    Job asking;
    return Find(name, asking, TimeForCleaning(job));
}

std::optional<DavResource> WebDavCollection::FindAgain(const std::string& name, Job& job)
{
    auto found = Find(name, job);
    if (!found) {
        job.Sleep(m_server.Limits().firstRetry);
        found = Find(name, job);
    }
    return found;
}

void WebDavCollection::RequireAsExpected(const Destination& to, Job& job)
{
    const auto found = Find(to.name, job);
    if (to.overwrite == Overwrite::No && found) {
        throw NameOvertaken();
    }
    if (to.overwrite == Overwrite::Yes && to.replaced) {
        RequireSame(to.name, *to.replaced, found.value_or(DavResource()));
    }
}

WebDavCollection::MoveOutcome WebDavCollection::Move(const std::string& from, const Destination& to, Job& job)
try {
    const auto request = MoveRequest(from, to);
    const auto precondition = [&] { RequireAsExpected(to, job); };
    for (int repetitions = 0;; ++repetitions) {
        const auto [answer, trouble, isHopeless] = TryChange(request, precondition, job);
        if (!trouble && answer.IsSuccess()) {
            return answer.status == 204 ? MoveOutcome::Replaced : MoveOutcome::Created;
        }
        const bool isRefused = !trouble && answer.status == 412;
        // A move that was repeated may have found its own earlier success, and one that a server reports as
        // failed may have been made all the same.
        if ((!isRefused || repetitions > 0) && !FindAnyway(from, job)) {
            return MoveOutcome::Created;
        }
        if (isRefused) {
            return MoveOutcome::Refused;
        }
        if (!trouble) {
            throw ErrorOf(request, answer, job);
        }
        if (isHopeless || !m_server.WaitToRepeat(repetitions, CloudErrorIn(trouble), answer, job)) {
            job.ThrowIfCanceled(); // which is why it may have timed out
            std::rethrow_exception(trouble);
        }
        precondition();
    }
} catch (const NameOvertaken&) {
    return FindAnyway(from, job) ? MoveOutcome::Overtaken : MoveOutcome::Created;
}

void WebDavCollection::Delete(const std::string& name, const DocumentVersion& version, Job& job)
{
    auto request = DeleteRequest(name, version.StrongEntityTag());
    bool isConditional = !version.StrongEntityTag().isEmpty();
    const auto precondition = [&] {
        if (const auto found = Find(name, job)) {
            RequireSame(name, version, *found);
        }
    };
    for (int repetitions = 0;; ++repetitions) {
        const auto [answer, trouble, isHopeless] = TryChange(request, precondition, job);
        if (!trouble && answer.IsSuccess()) {
            return;
        }
        const bool isRefused = !trouble && answer.status == 412;
        const bool isNotThere = !trouble && FailureCodeOfStatus(answer.status) == FailureCode::NotFound;
        if (!trouble && !isRefused && !isNotThere) {
            throw ErrorOf(request, answer, job);
        }
        const auto found = FindAnyway(name, job);
        if (!found) {
            (void)Self(PropfindForDocuments(), job); // a cloud that is gone has not deleted anything
            return;
        }
        RequireSame(name, version, *found);
        if (isRefused && isConditional) { // Subversion does not know its own entity tag when it holds "&"
            request = DeleteRequest(name, {});
            isConditional = false;
            continue;
        }
        const auto error = trouble ? trouble : std::make_exception_ptr(StatusError(request, answer));
        if (isRefused || isHopeless ||
            !m_server.WaitToRepeat(repetitions, CloudErrorIn(error), answer, job)) {
            job.ThrowIfCanceled();
            std::rethrow_exception(error);
        }
        precondition();
    }
}

void WebDavCollection::RequireSame(const std::string& name, const DocumentVersion& version,
                                   const DavResource& found) const
{
    if (found.isCollection || !version.IsSameAs(DocumentVersion::Of(found))) {
        throw CloudError(FailureCode::Conflict,
                         Text(PathOf(name)) + QStringLiteral(": has changed meanwhile"));
    }
}

HttpResponse WebDavCollection::SetMd5Note(const std::string& name, const QByteArray& note, Job& job)
{
    auto request = m_server.ChangeOf("PROPPATCH", PathOf(name));
    request.headers.push_back("Content-Type: text/xml; charset=utf-8");
    request.body = ProppatchOfMd5Note(note);
    return m_server.Change(request, job);
}

WebDavCollection::Removal WebDavCollection::DeleteOwn(const std::string& name, const IsOurs& isOurs,
                                                      const Job& job) noexcept
{
    try {
        Job cleaning;
        const auto deadline = std::chrono::steady_clock::now() + TimeForCleaning(job);
        for (auto pause = kFirstPause;; pause *= 2) {
            const auto left = deadline - std::chrono::steady_clock::now();
            const auto limit = std::chrono::ceil<std::chrono::milliseconds>(left);
            const auto outcome = TryDeletingOwn(name, isOurs, limit, cleaning);
            if (outcome || left <= pause) {
                return outcome.value_or(Removal::Failed);
            }
            cleaning.Sleep(pause);
        }
    } catch (const std::exception&) {
        return Removal::Failed;
    }
}

// Nothing when it may go better a moment later: an upload that was broken off may still hold it.
std::optional<WebDavCollection::Removal> WebDavCollection::TryDeletingOwn(const std::string& name,
                                                                          const IsOurs& isOurs,
                                                                          std::chrono::milliseconds limit,
                                                                          Job& job)
{
    try {
        HttpResponse answer;
        bool isConditional = true;
        do {
            const auto found = Find(name, job, limit);
            if (!found || found->isCollection || !isOurs(*found)) {
                return Removal::NotThere;
            }
            const auto tag = isConditional ? DocumentVersion::Of(*found).StrongEntityTag() : QByteArray();
            isConditional = !tag.isEmpty();
            auto request = DeleteRequest(name, tag);
            request.total = limit;
            answer = m_server.ChangeResources(request, job);
        } while (answer.status == 412 && std::exchange(isConditional, false)); // as in Delete
        return RemovalOf(answer.status);
    } catch (const NetworkError& error) {
        return error.IsHopeless() ? std::make_optional(Removal::Failed) : std::nullopt;
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
