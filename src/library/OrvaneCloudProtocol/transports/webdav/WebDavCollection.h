#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavServer.h>

#include <exception>
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

    struct Listing
    {
        std::vector<Member> members;
        std::optional<qint64> date; ///< the server's clock, seconds since 1970
    };

    enum class Overwrite
    {
        No,
        Yes
    };

    enum class MoveOutcome
    {
        Moved,
        NameTaken
    };

    enum class Removal
    {
        Removed,
        NotThere,
        Failed ///< it may still be there
    };

    explicit WebDavCollection(WebDavServer& server);

    [[nodiscard]] WebDavServer& Server() { return m_server; }
    [[nodiscard]] QByteArray PathOf(const std::string& name) const;

    /// What the server says of the collection itself. Throws (NotFound) when it is not there.
    [[nodiscard]] DavResource Self(const QByteArray& propfindBody, Job& job);

    /// All direct members, once each. Throws unless the listing is complete and holds the collection itself.
    [[nodiscard]] Listing Members(Job& job);

    /// What the server says of one member; nothing when there is none.
    ///
    /// @param total  for the whole question; empty for the usual limits
    [[nodiscard]] std::optional<DavResource> Find(const std::string& name, Job& job,
                                                  std::optional<std::chrono::milliseconds> total = {});

    /// What was found, provided that it is a document. Throws (NotFound) when it is not.
    [[nodiscard]] DavResource RequiredDocument(const std::string& name,
                                               const std::optional<DavResource>& found) const;

    /// Moves a member (RFC 4918 §9.9). When the answer is lost, asks what has become of it.
    [[nodiscard]] MoveOutcome Move(const std::string& from, const std::string& to, Overwrite overwrite,
                                   Job& job);

    /// Deletes a document (RFC 4918 §9.6) in the version that it was found in; one that is gone already
    /// counts as deleted.
    void Delete(const std::string& name, const DocumentVersion& version, Job& job);

    /// Deletes a member of our own making, also when @p job is no longer wanted.
    Removal TakeAway(const std::string& name, const QByteArray& strongEntityTag, const Job& job) noexcept;

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

    [[nodiscard]] HttpRequest MoveRequest(const std::string& from, const std::string& to,
                                          Overwrite overwrite) const;
    [[nodiscard]] HttpRequest DeleteRequest(const std::string& name, const QByteArray& strongEntityTag) const;
    [[nodiscard]] std::optional<Removal> TryTakingAway(const HttpRequest& request, Job& job);
    [[nodiscard]] ChangeOutcome TryChange(const HttpRequest& request, Job& job);
    [[nodiscard]] HttpResponse ChangeOnceUnlocked(const HttpRequest& request, Job& job);
    [[nodiscard]] std::chrono::milliseconds TimeForCleaning(const Job& job) const;
    void RequireSame(const std::string& name, const DocumentVersion& version, const DavResource& found) const;

    WebDavServer& m_server;
};

} // namespace Orvane::Social
