#pragma once

#include <OrvaneCloudProtocol/transports/Job.h>
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

    /// As Find, of a member that is a document. Throws (NotFound) when it is not.
    [[nodiscard]] DavResource RequiredDocument(const std::string& name, Job& job);

    /// Moves a member (RFC 4918 §9.9). When the answer is lost, asks what has become of it.
    [[nodiscard]] MoveOutcome Move(const std::string& from, const std::string& to, Overwrite overwrite,
                                   Job& job);

    /// Deletes a member that is no collection (RFC 4918 §9.6); one that is gone already counts as deleted.
    /// With an entity tag only that version goes.
    void Delete(const std::string& name, const QByteArray& strongEntityTag, Job& job);

    /// Deletes a member without further questions, within NetworkLimits::afterCancel. False when it may still
    /// be there.
    bool TakeAway(const std::string& name, const QByteArray& strongEntityTag = {}) noexcept;

    /// The error that the answer stands for; tells a collection that is gone from other trouble.
    [[nodiscard]] CloudError ErrorOf(const HttpRequest& request, const HttpResponse& answer, Job& job);

private:
    /// What has come of asking for a change: an answer, or trouble that leaves open whether it was made.
    struct ChangeOutcome
    {
        HttpResponse answer;
        std::exception_ptr trouble;
    };

    [[nodiscard]] HttpRequest MoveRequest(const std::string& from, const std::string& to,
                                          Overwrite overwrite) const;
    [[nodiscard]] HttpRequest DeleteRequest(const std::string& name, const QByteArray& strongEntityTag) const;
    [[nodiscard]] ChangeOutcome TryChange(const HttpRequest& request, Job& job);
    [[nodiscard]] std::optional<DavResource> FindAfterTrouble(const std::string& name, const Job& job);

    WebDavServer& m_server;
};

} // namespace Orvane::Social
