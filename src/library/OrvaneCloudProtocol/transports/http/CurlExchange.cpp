#include <OrvaneCloudProtocol/transports/http/CurlExchange.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/http/CurlTrouble.h>
#include <OrvaneCloudProtocol/transports/http/EntityTag.h>
#include <OrvaneCloudProtocol/transports/http/NetworkError.h>
#include <support/Wiping.h>

#include <QList>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Orvane::Social {

namespace {

constexpr qint64 kMostDroppedBytes = 4 * 1024 * 1024;
constexpr long kBufferBytes = 256L * 1024;

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

CurlExchange::CurlExchange(CurlLine& line, const HttpRequest& request, const HttpSettings& settings,
                           const Bodies& bodies, const Job& job)
    : m_line(line)
    , m_request(request)
    , m_limits(settings.limits)
    , m_bodies(bodies)
    , m_job(job)
    , m_watch(settings.limits)
{
    SetUp(settings);
    SetUpCallbacks();
    SetUpBody();
    SetHeaders();
    if (!request.carriesDocument) {
        m_watch.EndAt(CurlLine::Clock::now() + request.total.value_or(m_limits.withoutDocument));
    }
    if (!m_line.Begin()) {
        m_outcome = CURLE_OUT_OF_MEMORY;
    }
}

CurlExchange::~CurlExchange()
{
    m_line.End();
}

template <typename Value>
void CurlExchange::Set(CURLoption option, Value value)
{
    curl_easy_setopt(m_line.Handle(), option, value);
}

void CurlExchange::SetUp(const HttpSettings& settings)
{
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
    if (!settings.caFile.isEmpty()) {
        Set(CURLOPT_CAINFO, settings.caFile.constData());
        Set(CURLOPT_CAPATH, nullptr);
    }
    if (!settings.isProxyAllowed) {
        Set(CURLOPT_PROXY, "");
    }
}

void CurlExchange::SetUpCallbacks()
{
    Set(CURLOPT_HEADERFUNCTION, &CurlExchange::OnHeader);
    Set(CURLOPT_HEADERDATA, this);
    Set(CURLOPT_WRITEFUNCTION, &CurlExchange::OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_PREREQFUNCTION, &CurlExchange::OnBeforeSending);
    Set(CURLOPT_PREREQDATA, this);
    Set(CURLOPT_NOPROGRESS, 0L);
    Set(CURLOPT_XFERINFOFUNCTION, &CurlExchange::OnTurn);
    Set(CURLOPT_XFERINFODATA, this);
    Set(CURLOPT_VERBOSE, 1L); // nothing else tells of all that is received
    Set(CURLOPT_DEBUGFUNCTION, &CurlExchange::OnTraffic);
    Set(CURLOPT_DEBUGDATA, this);
}

void CurlExchange::SetUpBody()
{
    if (m_bodies.sink) {
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

void CurlExchange::Cleanup::operator()(curl_slist* list) const
{
    for (const auto* header = list; header != nullptr; header = header->next) {
        Support::Wipe(header->data, std::strlen(header->data));
    }
    curl_slist_free_all(list);
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

bool CurlExchange::Send(const char* data, std::size_t size)
{
    m_piece = {data, size};
    Resume();
    // What is beyond the size that was said is the source's to notice.
    const auto isTaken = [this] { return m_piece.empty() || m_isAllSent; };
    RunUntil(isTaken);
    return isTaken();
}

HttpResponse CurlExchange::Finish()
{
    m_isBodyComplete = true;
    Resume();
    RunUntil([] { return false; });
    RequireAnswer();
    curl_off_t seconds = 0;
    curl_easy_getinfo(m_line.Handle(), CURLINFO_RETRY_AFTER, &seconds);
    if (seconds > 0) {
        m_response.retryAfter = std::chrono::seconds(seconds);
    }
    return m_response;
}

void CurlExchange::BreakOff()
{
    if (!m_outcome && IsSendingBody()) {
        m_line.EndOnceServerHas(CurlLine::Clock::now() + m_limits.afterCancel);
    }
}

bool CurlExchange::IsSendingBody() const
{
    return m_bodies.outgoingSize && m_timesSent > 0 && !m_isHeadComplete;
}

template <typename Condition>
void CurlExchange::RunUntil(const Condition& isEnough)
{
    while (!m_outcome) {
        m_outcome = m_line.Perform();
        if (m_outcome || isEnough()) {
            return;
        }
        HeedCancel();
        HeedDeadline();
        const auto left = m_watch.NextLook() - CurlLine::Clock::now();
        m_line.Wait(std::chrono::ceil<std::chrono::milliseconds>(left));
    }
}

// A change gets a last, short respite; anything else is broken off.
void CurlExchange::HeedCancel()
{
    if (m_isCancelHeeded || !m_job.IsCanceled()) {
        return;
    }
    m_isCancelHeeded = true;
    if (!m_request.isChange || m_timesSent == 0) {
        throw ErrorOf(CURLE_ABORTED_BY_CALLBACK);
    }
    m_watch.EndAt(CurlLine::Clock::now() + m_limits.afterCancel);
}

void CurlExchange::HeedDeadline()
{
    if (!m_watch.IsLate()) {
        return;
    }
    m_outcome = CURLE_OPERATION_TIMEDOUT; // its end was waited for long enough
    throw Error(FailureCode::TimedOut, QStringLiteral("no answer, or none that gets on"));
}

void CurlExchange::Resume()
{
    m_watch.Restart();
    if (std::exchange(m_isPaused, false) && !m_outcome) {
        curl_easy_pause(m_line.Handle(), CURLPAUSE_CONT);
    }
}

/// libcurl is C: no exception may pass through it.
template <typename Step>
std::size_t CurlExchange::Guarded(const Step& step)
{
    try {
        return step();
    } catch (...) {
        m_failure = std::current_exception();
        return 0; // ends the exchange
    }
}

std::size_t CurlExchange::OnHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    return exchange.Guarded([&] {
        exchange.ReadHeader(QByteArray(data, static_cast<int>(size * count)));
        return size * count;
    });
}

void CurlExchange::ReadHeader(const QByteArray& line)
{
    RequireEnd();
    if (m_isHeadComplete) { // a trailer
        return;
    }
    const QByteArray text = line.trimmed();
    if (text.isEmpty()) {
        m_isHeadComplete = m_response.status >= 200;
        return;
    }
    const int colon = text.indexOf(':');
    if (text.startsWith("HTTP/") && (colon < 0 || colon > text.indexOf(' '))) {
        long status = 0;
        curl_easy_getinfo(m_line.Handle(), CURLINFO_RESPONSE_CODE, &status);
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
        m_response.entityTag = IsEntityTag(value) ? value : QByteArray();
    } else if (name == "location") {
        m_response.location = value;
    } else if (name == "content-range") {
        m_response.contentRange = value;
    } else if (name == "content-length") {
        KeepContentLength(value);
    } else if (name == "date") {
        m_response.date = DateIn(value);
    }
}

// Two lengths that differ tell of two messages in one (RFC 9112 §6.3): neither can be believed.
void CurlExchange::KeepContentLength(const QByteArray& value)
{
    for (const QByteArray& text : value.split(',')) {
        const auto length = NumberIn(text.trimmed());
        if (m_response.contentLength && m_response.contentLength != length) {
            throw Error(FailureCode::Protocol, QStringLiteral("the answer has two different lengths"));
        }
        m_response.contentLength = length;
    }
}

std::size_t CurlExchange::OnBody(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    return exchange.Guarded([&] { return exchange.TakeBody(data, size * count); });
}

std::size_t CurlExchange::TakeBody(const char* data, std::size_t size)
{
    m_watch.AddContent(static_cast<qint64>(size));
    if (m_bodies.sink && m_response.IsSuccess()) {
        if (!m_request.isChange) { // whose outcome is wanted even then
            m_job.ThrowIfCanceled();
        }
        m_bodies.sink(m_response, data, size);
        return size;
    }
    m_bytesDropped += static_cast<qint64>(size);
    return m_bytesDropped > kMostDroppedBytes ? 0 : size; // 0: an error
}

std::size_t CurlExchange::OnSend(char* buffer, std::size_t size, std::size_t count, void* self)
{
    return static_cast<CurlExchange*>(self)->GiveBody(buffer, size * count);
}

std::size_t CurlExchange::GiveBody(char* buffer, std::size_t room)
{
    const auto count = m_piece.copy(buffer, room);
    if (count == 0 && !m_isBodyComplete) {
        m_isPaused = true;
        return CURL_READFUNC_PAUSE;
    }
    m_piece.remove_prefix(count);
    m_bytesHandedOver += static_cast<qint64>(count);
    if (m_bytesHandedOver == *m_bodies.outgoingSize) {
        m_isAllSent = true;
        m_watch.ExpectLongAnswer();
    }
    return count;
}

int CurlExchange::OnBeforeSending(void* self, char*, char*, int, int)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    const bool mayRepeat = !exchange.m_request.isChange && !exchange.m_bodies.outgoingSize;
    if (++exchange.m_timesSent > 1 && !mayRepeat) {
        // The kept-alive connection has died without an answer, and libcurl would send it all again.
        return CURL_PREREQFUNC_ABORT;
    }
    exchange.m_isAllSent = exchange.m_bodies.outgoingSize.value_or(0) == 0;
    exchange.m_watch.Start();
    if (exchange.m_isAllSent && !mayRepeat) {
        exchange.m_watch.ExpectLongAnswer();
    }
    return CURL_PREREQFUNC_OK;
}

int CurlExchange::OnTraffic(CURL*, curl_infotype kind, char*, std::size_t size, void* self)
{
    auto& watch = static_cast<CurlExchange*>(self)->m_watch;
    if (kind == CURLINFO_HEADER_IN || kind == CURLINFO_DATA_IN) { // the latter before chunks are taken apart
        watch.AddReceived(static_cast<qint64>(size));
    } else if (kind == CURLINFO_DATA_OUT) {
        watch.AddSent(static_cast<qint64>(size));
    }
    return 0;
}

int CurlExchange::OnTurn(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    auto& exchange = *static_cast<CurlExchange*>(self);
    const auto step = [&exchange]() -> std::size_t {
        exchange.RequireEnd();
        return 1;
    };
    return exchange.Guarded(step) == 1 ? 0 : 1; // other than 0 ends the exchange
}

void CurlExchange::RequireEnd() const
{
    if (m_watch.IsFlooded()) {
        throw Error(FailureCode::Protocol, QStringLiteral("the server sends headers without end"));
    }
}

void CurlExchange::RequireAnswer() const
{
    if (m_failure) {
        std::rethrow_exception(m_failure);
    }
    // A connection that closes within the head is success to libcurl.
    const bool isCut = *m_outcome == CURLE_OK && !m_isHeadComplete;
    if (isCut || *m_outcome != CURLE_OK) {
        throw ErrorOf(isCut ? CURLE_GOT_NOTHING : *m_outcome);
    }
}

NetworkError CurlExchange::ErrorOf(CURLcode code) const
{
    const auto trouble = CurlTroubleOf(code);
    const auto outlook =
        trouble.isHopeless ? NetworkError::Outlook::Hopeless : NetworkError::Outlook::Passing;
    const char* text = m_errorText.front() != '\0' ? m_errorText.data() : curl_easy_strerror(code);
    return NetworkError(trouble.code, Detail(QString::fromUtf8(text)), outlook);
}

NetworkError CurlExchange::Error(FailureCode code, const QString& what) const
{
    const auto outlook =
        code == FailureCode::Protocol ? NetworkError::Outlook::Hopeless : NetworkError::Outlook::Passing;
    return NetworkError(code, Detail(what), outlook);
}

QString CurlExchange::Detail(const QString& what) const
{
    return QStringLiteral("%1 %2: %3")
        .arg(QString::fromLatin1(m_request.method), QString::fromUtf8(m_request.url), what);
}

} // namespace Orvane::Social
