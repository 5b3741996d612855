#include <OrvaneCloudProtocol/transports/http/CurlExchange.h>

#include <OrvaneCloudProtocol/transports/http/NetworkError.h>

#include <algorithm>
#include <utility>

namespace Orvane::Social {

namespace {

constexpr qint64 kLeastBytesInSpan = 1024;
constexpr qint64 kMostDroppedBytes = 4 * 1024 * 1024;
constexpr long kBufferBytes = 256L * 1024;

/// What one of libcurl's codes means.
struct Trouble
{
    FailureCode code;
    bool isHopeless;
};

Trouble TroubleOf(CURLcode code)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return {FailureCode::TimedOut, false};
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SEND_ERROR:
    case CURLE_SEND_FAIL_REWIND:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_ABORTED_BY_CALLBACK: // our own refusal to send a change twice
        return {FailureCode::Network, false};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
        return {FailureCode::Untrusted, true};
    default:
        return {FailureCode::Protocol, true};
    }
}

/// libcurl is C: no exception may pass through it. What cannot be taken in ends the exchange.
template <typename Step>
std::size_t Guarded(const Step& step)
{
    try {
        return step();
    } catch (const std::exception&) {
        return 0;
    }
}

/// From a header's value; empty where it is no plain number.
std::optional<qint64> NumberIn(const QByteArray& value)
{
    bool isNumber = false;
    const qint64 number = value.toLongLong(&isNumber);
    return isNumber && number >= 0 ? std::make_optional(number) : std::nullopt;
}

std::optional<qint64> DateIn(const QByteArray& value)
{
    const auto seconds = curl_getdate(value.constData(), nullptr);
    return seconds < 0 ? std::nullopt : std::make_optional<qint64>(seconds);
}

} // namespace

CurlExchange::CurlExchange(const HttpRequest& request, const HttpSettings& settings, const Bodies& bodies,
                           const std::function<void()>& resume)
    : m_request(request)
    , m_limits(settings.limits)
    , m_bodies(bodies)
    , m_outgoing(resume)
    , m_incoming(resume)
    , m_handle(curl_easy_init())
{
    if (!m_handle) {
        throw std::bad_alloc();
    }
    SetUp(settings);
    SetUpBody();
    SetHeaders();
    BeginSpan();
    if (request.total) {
        m_lastMoment = m_spanBegin + *request.total;
    }
}

CurlExchange::~CurlExchange() = default;

template <typename Value>
void CurlExchange::Set(CURLoption option, Value value)
{
    curl_easy_setopt(m_handle.get(), option, value);
}

void CurlExchange::SetUp(const HttpSettings& settings)
{
    Set(CURLOPT_PRIVATE, this);
    Set(CURLOPT_URL, m_request.url.constData());
    Set(CURLOPT_PATH_AS_IS, 1L);
    Set(CURLOPT_CUSTOMREQUEST, m_request.method.constData());
    Set(CURLOPT_PROTOCOLS_STR, "http,https");
    Set(CURLOPT_HTTP_VERSION,
        static_cast<long>(CURL_HTTP_VERSION_1_1)); // a break then ends one exchange only
    Set(CURLOPT_FOLLOWLOCATION, 0L);
    Set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_QUICK_EXIT, 1L); // else it waits for a name server that does not answer
    Set(CURLOPT_TCP_KEEPALIVE, 1L);
    Set(CURLOPT_USERAGENT, "OrvaneCloud/1");
    Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(m_limits.connect.count()));
    Set(CURLOPT_ERRORBUFFER, m_errorText.data());
    Set(CURLOPT_HEADERFUNCTION, &CurlExchange::OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &CurlExchange::OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_PREREQFUNCTION, &CurlExchange::OnBeforeSending);
    Set(CURLOPT_PREREQDATA, this);
    Set(CURLOPT_NOPROGRESS, 0L);
    Set(CURLOPT_XFERINFOFUNCTION, &CurlExchange::OnBytesMoved);
    Set(CURLOPT_XFERINFODATA, this);
    if (!settings.caFile.isEmpty()) {
        Set(CURLOPT_CAINFO, settings.caFile.constData());
        Set(CURLOPT_CAPATH, nullptr);
    }
    if (!settings.isProxyAllowed) {
        Set(CURLOPT_PROXY, "");
    }
}

void CurlExchange::SetUpBody()
{
    if (m_bodies.isStreamedIn) {
        Set(CURLOPT_BUFFERSIZE, kBufferBytes);
    }
    if (m_bodies.outgoingSize) {
        Set(CURLOPT_UPLOAD, 1L);
        Set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(*m_bodies.outgoingSize));
        Set(CURLOPT_UPLOAD_BUFFERSIZE, kBufferBytes);
        Set(CURLOPT_READFUNCTION, &CurlExchange::OnSend);
        Set(CURLOPT_READDATA, this);
    } else if (!m_request.body.isEmpty()) {
        Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body.size()));
        Set(CURLOPT_POSTFIELDS, m_request.body.constData());
    }
}

void CurlExchange::SetHeaders()
{
    curl_slist* list = curl_slist_append(nullptr, "Expect:");
    for (const auto& header : m_request.headers) {
        list = curl_slist_append(list, header.constData());
    }
    m_headers.reset(list);
    Set(CURLOPT_HTTPHEADER, list);
}

HttpResponse CurlExchange::WaitForResponse()
{
    std::unique_lock lock(m_mutex);
    m_ended.wait(lock, [this] { return m_hasEnded; });
    if (m_error) {
        std::rethrow_exception(m_error);
    }
    return m_response;
}

void CurlExchange::WaitForEnd()
{
    std::unique_lock lock(m_mutex);
    m_ended.wait(lock, [this] { return m_hasEnded; });
}

bool CurlExchange::IsSendingBody() const
{
    return m_bodies.outgoingSize && m_timesSent > 0 && !m_isHeadComplete;
}

void CurlExchange::ClosePipes()
{
    m_incoming.Close();
    m_outgoing.Close();
}

void CurlExchange::Resume()
{
    if (!m_hasEnded) {
        m_isPaused = false;
        BeginSpan();
        curl_easy_pause(m_handle.get(), CURLPAUSE_CONT);
    }
}

bool CurlExchange::OnCanceled()
{
    if (m_request.isChange && m_timesSent > 0) {
        const auto soon = Clock::now() + m_limits.afterCancel;
        m_lastMoment = m_lastMoment ? std::min(*m_lastMoment, soon) : soon;
        return false;
    }
    return true;
}

void CurlExchange::BeginSpan()
{
    m_spanBegin = Clock::now();
    m_bytesAtSpan = m_bytesMoved;
}

CurlExchange::Clock::duration CurlExchange::SpanLimit() const
{
    const bool isLongAnswer = m_isAllSent && (m_request.isChange || m_bodies.outgoingSize);
    return isLongAnswer ? std::max(m_limits.answer, m_limits.stall) : m_limits.stall;
}

std::optional<CurlExchange::Clock::time_point> CurlExchange::Deadline() const
{
    // Until it is connected, the limit is libcurl's.
    const bool hasSpan = m_timesSent > 0 && !m_isPaused;
    const auto endOfSpan = m_spanBegin + SpanLimit();
    if (!hasSpan) {
        return m_lastMoment;
    }
    return m_lastMoment ? std::min(*m_lastMoment, endOfSpan) : endOfSpan;
}

bool CurlExchange::IsOverdue(Clock::time_point now)
{
    const auto deadline = Deadline();
    if (!deadline || now < *deadline) {
        return false;
    }
    const bool isMoving = m_bytesMoved - m_bytesAtSpan >= kLeastBytesInSpan;
    if (isMoving && (!m_lastMoment || now < *m_lastMoment)) {
        BeginSpan();
        return false;
    }
    return true;
}

std::size_t CurlExchange::OnHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    return Guarded([&] {
        static_cast<CurlExchange*>(self)->ReadHeader(QByteArray(data, static_cast<int>(size * count)));
        return size * count;
    });
}

void CurlExchange::ReadHeader(const QByteArray& line)
{
    if (m_isHeadComplete) { // a trailer
        return;
    }
    const QByteArray text = line.trimmed();
    if (text.isEmpty()) {
        m_isHeadComplete = m_response.status >= 200;
        m_head = m_response;
        return;
    }
    const int colon = text.indexOf(':');
    if (text.startsWith("HTTP/") && (colon < 0 || colon > text.indexOf(' '))) {
        long status = 0;
        curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &status);
        m_response = {};
        m_response.status = static_cast<int>(status);
        m_response.reason = text.mid(text.indexOf(' ') + 1).mid(3).trimmed();
        return;
    }
    KeepHeader(text.left(colon).trimmed().toLower(), text.mid(colon + 1).trimmed());
}

void CurlExchange::KeepHeader(const QByteArray& name, const QByteArray& value)
{
    if (name == "etag") {
        m_response.entityTag = value;
    } else if (name == "location") {
        m_response.location = value;
    } else if (name == "content-range") {
        m_response.contentRange = value;
    } else if (name == "content-length") {
        m_response.contentLength = NumberIn(value);
    } else if (name == "date") {
        m_response.date = DateIn(value);
    }
}

std::size_t CurlExchange::OnBody(char* data, std::size_t size, std::size_t count, void* self)
{
    return Guarded([&] { return static_cast<CurlExchange*>(self)->TakeBody(data, size * count); });
}

std::size_t CurlExchange::TakeBody(const char* data, std::size_t size)
{
    if (m_bodies.isStreamedIn && m_response.IsSuccess()) {
        if (m_incoming.TryWrite(data, size)) {
            return size;
        }
        m_isPaused = true;
        return CURL_WRITEFUNC_PAUSE;
    }
    m_bytesDropped += static_cast<qint64>(size);
    return m_bytesDropped > kMostDroppedBytes ? 0 : size; // 0: an error
}

std::size_t CurlExchange::OnSend(char* buffer, std::size_t size, std::size_t count, void* self)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    const auto sent = exchange.m_outgoing.TryRead(buffer, size * count);
    if (!sent) {
        exchange.m_isPaused = true;
        return CURL_READFUNC_PAUSE;
    }
    exchange.m_bytesHandedOver += static_cast<qint64>(*sent);
    if (exchange.m_bytesHandedOver == *exchange.m_bodies.outgoingSize) {
        exchange.m_isAllSent = true;
        exchange.BeginSpan();
    }
    return *sent;
}

int CurlExchange::OnBeforeSending(void* self, char*, char*, int, int)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    const bool mayRepeat = !exchange.m_request.isChange && !exchange.m_bodies.outgoingSize;
    if (++exchange.m_timesSent > 1 && !mayRepeat) {
        // The kept-alive connection has died without an answer, and libcurl would send it all again.
        return CURL_PREREQFUNC_ABORT;
    }
    exchange.m_isAllSent = !exchange.m_bodies.outgoingSize || *exchange.m_bodies.outgoingSize == 0;
    exchange.BeginSpan();
    return CURL_PREREQFUNC_OK;
}

int CurlExchange::OnBytesMoved(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent)
{
    static_cast<CurlExchange*>(self)->m_bytesMoved = received + sent;
    return 0;
}

void CurlExchange::EndOverdue()
{
    const QString detail = QStringLiteral("%1 %2: no answer, or none that gets on")
                               .arg(QString::fromLatin1(m_request.method), QString::fromUtf8(m_request.url));
    End(std::make_exception_ptr(NetworkError(FailureCode::TimedOut, detail, NetworkError::Outlook::Passing)));
}

void CurlExchange::EndWith(CURLcode code)
{
    // A connection that closes within the head is success to libcurl.
    const auto isCut = code == CURLE_OK && !m_isHeadComplete;
    if (code != CURLE_OK || isCut) {
        End(ErrorOf(isCut ? CURLE_GOT_NOTHING : code));
        return;
    }
    curl_off_t seconds = 0;
    curl_easy_getinfo(m_handle.get(), CURLINFO_RETRY_AFTER, &seconds);
    if (seconds > 0) {
        m_response.retryAfter = std::chrono::seconds(seconds);
    }
    End(nullptr);
}

std::exception_ptr CurlExchange::ErrorOf(CURLcode code) const
{
    const auto trouble = TroubleOf(code);
    const auto outlook =
        trouble.isHopeless ? NetworkError::Outlook::Hopeless : NetworkError::Outlook::Passing;
    const char* text = m_errorText.front() != '\0' ? m_errorText.data() : curl_easy_strerror(code);
    const QString detail = QStringLiteral("%1 %2: %3")
                               .arg(QString::fromLatin1(m_request.method), QString::fromUtf8(m_request.url),
                                    QString::fromUtf8(text));
    return std::make_exception_ptr(NetworkError(trouble.code, detail, outlook));
}

void CurlExchange::End(std::exception_ptr error)
{
    if (!error) {
        m_incoming.End();
    }
    {
        const std::lock_guard lock(m_mutex);
        m_error = std::move(error);
        m_hasEnded = true;
    }
    ClosePipes();
    m_ended.notify_all();
}

} // namespace Orvane::Social
