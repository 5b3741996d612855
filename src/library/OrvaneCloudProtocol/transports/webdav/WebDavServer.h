#pragma once

#include <OAuth2.h>
#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/HttpClient.h>
#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>

#include <mutex>

namespace Orvane::Social {

/// The server that a collection lies on, as its signed-in user reaches it. The rules of the network are here:
/// credentials go to the configured origin only, redirects are followed within it only (RFC 9110 §15.4), and
/// what is safe to ask twice is asked again when the trouble may pass. Thread-safe, blocking. Failures are
/// CloudErrors.
class WebDavServer
{
public:
    enum class Depth
    {
        Resource, ///< the resource alone
        Members   ///< and its direct members
    };

    /// The answer to a PROPFIND (RFC 4918 §9.1), without the properties.
    struct Answer
    {
        QByteArray path;            ///< of the resource that has answered, which a redirect may have changed
        std::optional<qint64> date; ///< the server's clock, seconds since 1970
    };

    /// Called when an answer may begin, with the path of the resource that is asked; more than once when it
    /// has to be asked again. What the sink of an answer has taken counts once that answer is complete.
    using BeginAnswer = std::function<ResourceSink(const QByteArray& path)>;

    WebDavServer(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address, const NetworkLimits& limits);
    ~WebDavServer();

    [[nodiscard]] const WebDavAddress& Address() const { return m_address; }
    [[nodiscard]] const NetworkLimits& Limits() const { return m_limits; }

    /// Keeps the token for all that follows if the server accepts it for the collection, and no later sign-in
    /// has been accepted meanwhile.
    void SignIn(const QString& token, Job& job);

    /// @param total  for the whole question, which is then not repeated; empty for the usual limits
    Answer Propfind(const QByteArray& path, Depth depth, const QByteArray& body, const BeginAnswer& begin,
                    Job& job, std::optional<std::chrono::milliseconds> total = {});

    /// Asks once (RFC 9110 §9.3.1): a broken transfer is the caller's to go on with.
    HttpResponse Get(const QByteArray& path, const std::vector<QByteArray>& headers, const HttpBodySink& sink,
                     Job& job);

    /// Asks once (RFC 9110 §9.3.4), and returns any answer.
    HttpResponse Put(const QByteArray& path, qint64 size, const HttpBodySource& source, Job& job);

    /// Asks once for a change, and returns any answer.
    HttpResponse Change(const HttpRequest& request, Job& job);

    /// Asks once for a change of whole resources (MOVE, DELETE), and returns any answer. A multi-status is
    /// read: the failure that it tells of takes the place of 207 (RFC 4918 §9.6.1, §9.9.4). 207 stays when it
    /// tells of none.
    HttpResponse ChangeResources(const HttpRequest& request, Job& job);

    /// The beginning of a request to be handed to Change.
    [[nodiscard]] HttpRequest ChangeOf(const QByteArray& method, const QByteArray& path) const;

    /// Waits before the given repetition, or returns false when there should be none.
    ///
    /// @param why     the trouble after which it is repeated
    /// @param answer  in which the server may have asked for a certain pause
    [[nodiscard]] bool WaitToRepeat(int repetitions, const CloudError& why, const HttpResponse& answer,
                                    Job& job) const;

private:
    using Attempt = std::function<HttpResponse(const HttpRequest& request)>;

    void RequireSafety() const;
    void RequireCollection(const QByteArray& authorization, Job& job);
    [[nodiscard]] QByteArray AuthorizationFor(const QString& token) const;
    [[nodiscard]] HttpRequest RequestOf(const QByteArray& method, const QByteArray& path) const;
    Answer AskForProperties(HttpRequest request, Depth depth, const QByteArray& body,
                            const BeginAnswer& begin, Job& job);
    HttpResponse Repeat(HttpRequest& request, const Attempt& attempt, Job& job) const;
    HttpResponse Follow(HttpRequest& request, const Attempt& attempt) const;
    [[nodiscard]] QByteArray TargetOf(const HttpRequest& request, const HttpResponse& redirect) const;
    [[nodiscard]] QByteArray PathOf(const QByteArray& url) const;

    const QByteArray m_userName;
    const bool m_isInsecureHttpAllowed;
    const WebDavAddress m_address;
    const NetworkLimits m_limits;
    HttpClient m_client;
    mutable std::mutex m_mutex;
    int m_signIns = 0;          ///< begun so far
    int m_acceptedSignIn = 0;   ///< the latest one that was accepted
    QByteArray m_authorization; ///< its header, shared by all requests
};

} // namespace Orvane::Social
