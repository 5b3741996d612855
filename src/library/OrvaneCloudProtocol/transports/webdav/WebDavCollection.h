#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavServer.h>

#include <exception>
#include <functional>
#include <string>
#include <vector>

namespace Orvane::Social {

/// The collection that is the cloud, as a set of named members. Nothing outside it is ever asked for, and
/// nothing in it that is itself a collection is ever changed. Thread-safe, blocking. Failures are
/// CloudErrors.
class WebDavCollection
{
public:
    struct Member
    {
        std::string name; ///< decoded, any bytes
        DavResource resource;
    };

    /// Takes the members of a listing one by one, as they come.
    using MemberSink = std::function<void(Member&& member)>;

    /// Called when a listing may begin, more than once when it has to be asked for again. What the sink has
    /// taken counts once the listing is complete.
    using BeginListing = std::function<MemberSink()>;

    enum class Overwrite
    {
        No,
        Yes
    };

    /// Where a member is moved to, and what it may replace there.
    struct Destination
    {
        std::string name;
        Overwrite overwrite = Overwrite::No;
        QByteArray requiredTag = {}; ///< to be sent, of the version that it may replace; empty for none
        std::optional<DocumentVersion> replaced = {}; ///< the version that it may replace, for our own looks
        bool isEscaped = false; ///< whether the name is written with more escapes than it needs
    };

    enum class MoveOutcome
    {
        Created,  ///< it has the new name, which was free as far as the server says
        Replaced, ///< it has the new name, and the server says that something has gone for it
        Refused,  ///< 412: the name is taken, or by another version than the required one
        Overtaken ///< the free name was taken while the request waited, by a rival or by the request itself
    };

    enum class Removal
    {
        Removed,
        NotThere, ///< nothing of ours is there
        Failed    ///< it may still be there
    };

    /// Whether what was found under a name of our own making is what we have made.
    using IsOurs = std::function<bool(const DavResource& found)>;

    explicit WebDavCollection(WebDavServer& server);

    [[nodiscard]] WebDavServer& Server() { return m_server; }
    [[nodiscard]] QByteArray PathOf(const std::string& name) const;

    /// The name with every byte escaped (RFC 3986 §2.1).
    [[nodiscard]] static QByteArray FullyEscaped(const std::string& name);

    /// What the server says of the collection itself. Throws (NotFound) when it is not there.
    [[nodiscard]] DavResource Self(const QByteArray& propfindBody, Job& job);

    /// Hands over all direct members, those once more that the server lists twice. Throws unless the listing
    /// is complete and holds the collection itself. Returns the server's clock, in seconds since 1970, if it
    /// tells it.
    std::optional<qint64> List(const BeginListing& begin, Job& job);

    /// What the server says of one member; nothing when there is none.
    ///
    /// @param total  for the whole question; empty for the usual limits
    [[nodiscard]] std::optional<DavResource> Find(const std::string& name, Job& job,
                                                  std::optional<std::chrono::milliseconds> total = {});

    /// What was found, provided that it is a document. Throws (NotFound) when it is not.
    [[nodiscard]] DavResource RequiredDocument(const std::string& name,
                                               const std::optional<DavResource>& found) const;

    /// Moves a member (RFC 4918 §9.9). When the answer is lost, asks what has become of it.
    [[nodiscard]] MoveOutcome Move(const std::string& from, const Destination& to, Job& job);

    /// Deletes a document (RFC 4918 §9.6) in the version that it was found in; one that is gone already
    /// counts as deleted.
    void Delete(const std::string& name, const DocumentVersion& version, Job& job);

    /// Stores our own property with a member (RFC 4918 §9.2), and returns any answer.
    HttpResponse SetMd5Note(const std::string& name, const QByteArray& note, Job& job);

    /// Deletes a member of our own making, also when @p job is no longer wanted. Asks first what is there: a
    /// server may have mapped the name to something else, and deletes a whole collection without a word.
    Removal DeleteOwn(const std::string& name, const IsOurs& isOurs, const Job& job) noexcept;

    /// As Find, within the time that is left for cleaning up after @p job, wanted or not.
    [[nodiscard]] std::optional<DavResource> FindWhileCleaning(const std::string& name, const Job& job);

    /// As Find, when nothing but the end of the job may keep it from asking: a job that is no longer wanted
    /// has a short while to know what it leaves behind.
    [[nodiscard]] std::optional<DavResource> FindAnyway(const std::string& name, Job& job);

    /// As Find, of a member that was there a moment ago: while a document takes another's place, some servers
    /// have none under its name.
    [[nodiscard]] std::optional<DavResource> FindAgain(const std::string& name, Job& job);

    /// The error that the answer stands for; tells a collection that is gone from other trouble.
    [[nodiscard]] CloudError ErrorOf(const HttpRequest& request, const HttpResponse& answer, Job& job);

private:
    /// What has come of asking for a change: an answer, or trouble that leaves open whether it was made.
    struct ChangeOutcome
    {
        HttpResponse answer;
        std::exception_ptr trouble;
        bool isHopeless = false; ///< it should not be asked for again
    };

    struct CollectionAnswer
    {
        DavResource self;
        std::optional<qint64> date; ///< the server's clock, seconds since 1970
    };

    [[nodiscard]] CollectionAnswer ReadCollection(WebDavServer::Depth depth, const QByteArray& propfindBody,
                                                  const BeginListing& begin, Job& job);
    [[nodiscard]] HttpRequest MoveRequest(const std::string& from, const Destination& to) const;
    [[nodiscard]] HttpRequest DeleteRequest(const std::string& name, const QByteArray& strongEntityTag) const;
    [[nodiscard]] std::optional<Removal> TryDeletingOwn(const std::string& name, const IsOurs& isOurs,
                                                        std::chrono::milliseconds limit, Job& job);
    /// Throws Conflict when what a change starts from is no longer so. It is called after each pause: others
    /// do not wait.
    using Precondition = std::function<void()>;

    [[nodiscard]] ChangeOutcome TryChange(const HttpRequest& request, const Precondition& precondition,
                                          Job& job);
    [[nodiscard]] HttpResponse ChangeOnceUnlocked(const HttpRequest& request,
                                                  const Precondition& precondition, Job& job);
    void RequireAsExpected(const Destination& to, Job& job);
    [[nodiscard]] std::chrono::milliseconds TimeForCleaning(const Job& job) const;
    void RequireSame(const std::string& name, const DocumentVersion& version, const DavResource& found) const;

    WebDavServer& m_server;
};

} // namespace Orvane::Social
