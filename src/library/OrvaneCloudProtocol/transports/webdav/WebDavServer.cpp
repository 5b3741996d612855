#include <OrvaneCloudProtocol/transports/webdav/WebDavServer.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>
#include <support/Wiping.h>

#include <glog/logging.h>

#include <QFile>
#include <QRandomGenerator>
#include <QUrl>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr int kMostRedirects = 5;
constexpr qint64 kLargestListing = qint64{1024} * 1024 * 1024;
constexpr qint64 kLargestAnswer = qint64{4} * 1024 * 1024; // to a question about one resource
constexpr int kLargestChangeAnswer = 64 * 1024;

HttpSettings SettingsOf(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address,
                        const NetworkLimits& limits)
{
    // A proxy would take what is meant for this machine elsewhere.
    return {QFile::encodeName(authInfo.caFile), !address.IsLoopback(), limits};
}

bool IsRedirect(int status)
{
    return status == 301 || status == 302 || status == 307 || status == 308;
}

bool HasControlCharacter(const QByteArray& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; });
}

/// The failure that a multi-status tells of, its cause before what merely depended on it (424). 207 when it
/// tells of none or cannot be read: then it has to be asked what has become of the change.
int StatusInside(const QByteArray& multiStatus)
{
    constexpr int kFailedDependency = 424;
    const auto rank = [](int status) { return status < 300 ? 0 : status == kFailedDependency ? 1 : 2; };
    try {
        MultiStatusReader reader;
        reader.Add(multiStatus.constData(), static_cast<std::size_t>(multiStatus.size()));
        const auto resources = reader.Finish();
        const auto decisive =
            std::max_element(resources.begin(), resources.end(), [&](const auto& left, const auto& right) {
                return rank(left.status) < rank(right.status);
            });
        const bool isFailure = decisive != resources.end() && rank(decisive->status) > 0;
        return isFailure ? decisive->status : 207;
    } catch (const CloudError&) {
        return 207;
    }
}

double Jitter()
{
    return QRandomGenerator::global()->generateDouble();
}

} // namespace

WebDavServer::WebDavServer(const OAuth2::AuthInfo& authInfo, const WebDavAddress& address,
                           const NetworkLimits& limits)
    : m_userName(authInfo.userName.toUtf8())
    , m_isInsecureHttpAllowed(authInfo.isInsecureHttpAllowed)
    , m_address(address)
    , m_limits(limits)
    , m_client(SettingsOf(authInfo, address, limits))
{}

WebDavServer::~WebDavServer()
{
    Support::Wipe(m_authorization);
}

void WebDavServer::RequireSafety() const
{
    if (!m_address.IsEncrypted() && !m_address.IsLoopback() && !m_isInsecureHttpAllowed) {
        throw CloudError(FailureCode::Refused,
                         QStringLiteral("plain http would show the token to anyone on the way to %1")
                             .arg(QString::fromUtf8(m_address.Authority())));
    }
}

QByteArray WebDavServer::AuthorizationFor(const QString& token) const
{
    QByteArray secret = token.toUtf8();
    const Support::WipedAtEnd wipedSecret(secret);
    if (HasControlCharacter(secret) || HasControlCharacter(m_userName) || m_userName.contains(':')) {
        throw CloudError(FailureCode::SignInNeeded,
                         QStringLiteral("the user name or the token holds characters that cannot be sent"));
    }
    if (m_userName.isEmpty()) {
        return "Authorization: Bearer " + secret; // RFC 6750 §2.1
    }
    QByteArray credentials = m_userName + ':' + secret;
    const Support::WipedAtEnd wipedCredentials(credentials);
    QByteArray encoded = credentials.toBase64();
    const Support::WipedAtEnd wipedEncoded(encoded);
    return "Authorization: Basic " + encoded; // RFC 7617 §2
}

void WebDavServer::SignIn(const QString& token, Job& job)
{
    RequireSafety();
    QByteArray authorization = AuthorizationFor(token);
    const Support::WipedAtEnd wiped(authorization); // unless it is kept
    std::unique_lock lock(m_mutex);
    const int signIn = ++m_signIns;
    lock.unlock();
    try {
        RequireCollection(authorization, job);
    } catch (const StatusError& error) {
        const auto& detail = error.GetFailure().detail;
        if (error.GetStatus() == 403) { // some servers say that to a token that they do not accept
            throw CloudError(FailureCode::SignInNeeded, detail);
        }
        if (error.GetStatus() == 405) { // a web server, but not for documents
            throw CloudError(FailureCode::Protocol, detail);
        }
        throw;
    }
    lock.lock();
    if (signIn > m_acceptedSignIn) {
        m_acceptedSignIn = signIn;
        m_authorization.swap(authorization);
    }
}

void WebDavServer::RequireCollection(const QByteArray& authorization, Job& job)
{
    HttpRequest request;
    request.method = "PROPFIND";
    request.url = m_address.Origin() + m_address.CollectionPath();
    request.headers = {authorization};
    bool isCollection = false;
    const auto begin = [&isCollection](const QByteArray& path) {
        isCollection = false;
        return [&isCollection, path](const DavResource& resource) {
            const bool isSelf = MeaningOf(resource.href, path).place == HrefMeaning::Place::Collection;
            isCollection = isCollection || (resource.isCollection && isSelf);
        };
    };
    const auto answer = AskForProperties(request, Depth::Resource, PropfindForDocuments(), begin, job);
    if (answer.path != m_address.CollectionPath()) { // uploads would not follow
        throw CloudError(FailureCode::NotFound,
                         QStringLiteral("the cloud has moved to %1")
                             .arg(QString::fromUtf8(m_address.Origin() + answer.path)));
    }
    if (!isCollection) {
        throw CloudError(FailureCode::Protocol,
                         QString::fromUtf8(request.url) + QStringLiteral(": not a WebDAV collection"));
    }
}

HttpRequest WebDavServer::RequestOf(const QByteArray& method, const QByteArray& path) const
{
    HttpRequest request;
    request.method = method;
    request.url = m_address.Origin() + path;
    const std::lock_guard lock(m_mutex);
    if (!m_authorization.isEmpty()) {
        request.headers.push_back(m_authorization);
    }
    return request;
}

HttpRequest WebDavServer::ChangeOf(const QByteArray& method, const QByteArray& path) const
{
    HttpRequest request = RequestOf(method, path);
    request.isChange = true;
    return request;
}

WebDavServer::Answer WebDavServer::Propfind(const QByteArray& path, Depth depth, const QByteArray& body,
                                            const BeginAnswer& begin, Job& job,
                                            std::optional<std::chrono::milliseconds> total)
{
    HttpRequest request = RequestOf("PROPFIND", path);
    request.total = total;
    return AskForProperties(request, depth, body, begin, job);
}

WebDavServer::Answer WebDavServer::AskForProperties(HttpRequest request, Depth depth, const QByteArray& body,
                                                    const BeginAnswer& begin, Job& job)
{
    request.body = body;
    request.headers.push_back(depth == Depth::Resource ? "Depth: 0" : "Depth: 1");
    request.headers.push_back("Content-Type: text/xml; charset=utf-8"); // lighttpd insists on it
    const auto most = depth == Depth::Members ? kLargestListing : kLargestAnswer;
    const auto ask = [&](const HttpRequest& asked) {
        MultiStatusReader reader(begin(PathOf(asked.url)));
        qint64 received = 0;
        const auto read = [&](const HttpResponse& head, const char* data, std::size_t size) {
            received += static_cast<qint64>(size);
            if (head.status != 207) {
                throw StatusError(asked, head);
            }
            if (received > most) {
                throw CloudError(FailureCode::Protocol,
                                 QString::fromUtf8(asked.url) + QStringLiteral(": the answer has no end"));
            }
            reader.Add(data, size);
        };
        auto answered = m_client.Receive(asked, read, job);
        if (answered.status == 207) {
            (void)reader.Finish();
        }
        return answered;
    };
    const auto answer = Repeat(request, ask, job);
    if (answer.status != 207) {
        throw StatusError(request, answer);
    }
    return {PathOf(request.url), answer.date};
}

HttpResponse WebDavServer::Get(const QByteArray& path, const std::vector<QByteArray>& headers,
                               const HttpBodySink& sink, Job& job)
{
    HttpRequest request = RequestOf("GET", path);
    request.carriesDocument = true;
    request.headers.insert(request.headers.end(), headers.begin(), headers.end());
    return Follow(request, [&](const HttpRequest& asked) { return m_client.Receive(asked, sink, job); });
}

HttpResponse WebDavServer::Put(const QByteArray& path, qint64 size, const HttpBodySource& source, Job& job)
{
    HttpRequest request = RequestOf("PUT", path);
    request.carriesDocument = true;
    request.headers.push_back("Content-Type: application/pdf");
    return m_client.SendBody(request, size, source, job);
}

HttpResponse WebDavServer::Change(const HttpRequest& request, Job& job)
{
    return m_client.Send(request, job);
}

HttpResponse WebDavServer::ChangeResources(const HttpRequest& request, Job& job)
{
    QByteArray body;
    const auto keep = [&](const HttpResponse&, const char* data, std::size_t size) {
        if (size > static_cast<std::size_t>(kLargestChangeAnswer - body.size())) {
            throw NetworkError(FailureCode::Protocol,
                               QString::fromUtf8(request.method + ' ' + request.url) +
                                   QStringLiteral(": the answer has no end"),
                               NetworkError::Outlook::Hopeless);
        }
        body.append(data, static_cast<int>(size));
    };
    auto answer = m_client.Receive(request, keep, job);
    if (answer.status == 207) {
        answer.status = StatusInside(body);
    }
    return answer;
}

bool WebDavServer::WaitToRepeat(int repetitions, const CloudError& why, const HttpResponse& answer,
                                Job& job) const
{
    const int most = job.IsPatient() ? m_limits.transferRetries : m_limits.retries;
    const auto delay = RetryDelay(m_limits, most, repetitions, answer.retryAfter, Jitter());
    if (delay) {
        LOG(INFO) << "Trying again in " << delay->count() << " ms: " << why.what();
        job.Wait({why.GetFailure(), *delay});
    }
    return delay.has_value();
}

HttpResponse WebDavServer::Repeat(HttpRequest& request, const Attempt& attempt, Job& job) const
{
    for (int repetitions = 0;; ++repetitions) {
        HttpResponse answer;
        try {
            answer = Follow(request, attempt);
            if (request.total || !IsPassing(answer.status) ||
                !WaitToRepeat(repetitions, StatusError(request, answer), answer, job)) {
                return answer;
            }
        } catch (const NetworkError& error) {
            // After a time-out somebody has waited long enough.
            const bool isWorthIt =
                !request.total && !error.IsHopeless() && error.GetFailure().code != FailureCode::TimedOut;
            if (!isWorthIt || !WaitToRepeat(repetitions, error, {}, job)) {
                throw;
            }
        }
    }
}

HttpResponse WebDavServer::Follow(HttpRequest& request, const Attempt& attempt) const
{
    for (int redirects = 0;; ++redirects) {
        auto answer = attempt(request);
        if (!IsRedirect(answer.status) || redirects == kMostRedirects) {
            return answer;
        }
        const QByteArray target = TargetOf(request, answer);
        if (target.isEmpty()) {
            return answer;
        }
        request.url = target;
    }
}

QByteArray WebDavServer::TargetOf(const HttpRequest& request, const HttpResponse& redirect) const
{
    const QUrl url = QUrl::fromEncoded(request.url).resolved(QUrl::fromEncoded(redirect.location));
    const QByteArray target = url.toEncoded(QUrl::RemoveFragment);
    const bool isInOrigin = target.startsWith(m_address.Origin() + '/');
    // A document that has become a collection redirects to its own name with a "/".
    const bool isCollectionNow = request.method == "GET" && target == request.url + '/';
    return isInOrigin && !isCollectionNow && url.userInfo().isEmpty() ? target : QByteArray();
}

QByteArray WebDavServer::PathOf(const QByteArray& url) const
{
    return url.mid(m_address.Origin().size());
}

} // namespace Orvane::Social
