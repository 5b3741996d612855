#pragma once

#include <OrvaneCloudProtocol/transports/http/BytePipe.h>
#include <OrvaneCloudProtocol/transports/http/HttpMessage.h>
#include <OrvaneCloudProtocol/transports/http/NetworkLimits.h>

#include <curl/curl.h>

#include <array>
#include <exception>
#include <memory>

namespace Orvane::Social {

/// What all exchanges of a client have in common.
struct HttpSettings
{
    QByteArray caFile; ///< path of a PEM file; empty for the system's authorities
    bool isProxyAllowed = true;
    NetworkLimits limits;
};

/// One request and its answer, on libcurl. The worker that wants it waits, and the network's thread carries
/// it out; between the two there are the pipes, and the result once it has ended.
class CurlExchange
{
public:
    using Clock = std::chrono::steady_clock;

    /// How the bodies go.
    struct Bodies
    {
        std::optional<qint64> outgoingSize; ///< bytes that will come through Outgoing(); empty: request.body
        bool isStreamedIn = false;          ///< successful answers go to Incoming()
    };

    /// @param resume  has Resume called on the network's thread
    CurlExchange(const HttpRequest& request, const HttpSettings& settings, const Bodies& bodies,
                 const std::function<void()>& resume);
    ~CurlExchange();
    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;

    // For the worker.
    [[nodiscard]] BytePipe& Outgoing() { return m_outgoing; }
    [[nodiscard]] BytePipe& Incoming() { return m_incoming; }

    /// The answer without its body. To be read once a first piece of the body has come in.
    [[nodiscard]] const HttpResponse& Head() const { return m_head; }

    /// Waits for the end. Throws NetworkError when there is no complete answer.
    [[nodiscard]] HttpResponse WaitForResponse();

    /// Waits for the end, whatever it is.
    void WaitForEnd();

    // For the network's thread.
    [[nodiscard]] CURL* Handle() const { return m_handle.get(); }
    [[nodiscard]] bool HasEnded() const { return m_hasEnded; }

    /// Goes on where a pipe had no room or no bytes.
    void Resume();

    /// A change gets a last, short respite; returns whether anything else is to be broken off now.
    [[nodiscard]] bool OnCanceled();

    /// When to look again whether it takes too long; nothing while it waits for the worker.
    [[nodiscard]] std::optional<Clock::time_point> Deadline() const;

    /// Whether it has taken too long. Begins a new span when enough has passed in the last one.
    [[nodiscard]] bool IsOverdue(Clock::time_point now);

    /// Whether a body, or a part of it, has gone to the server and no answer has come.
    [[nodiscard]] bool IsSendingBody() const;

    /// How long the server may take to notice that it was broken off.
    [[nodiscard]] Clock::time_point LingerUntil() const { return Clock::now() + m_limits.afterCancel; }

    /// The worker need not wait for the pipes any more.
    void ClosePipes();

    void EndOverdue();
    void EndWith(CURLcode code);

private:
    struct Cleanup
    {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    void SetUp(const HttpSettings& settings);
    void SetUpBody();
    void SetHeaders();
    template <typename Value>
    void Set(CURLoption option, Value value);

    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnSend(char* buffer, std::size_t size, std::size_t count, void* self);
    static int OnBeforeSending(void* self, char*, char*, int, int);
    static int OnBytesMoved(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

    void ReadHeader(const QByteArray& line);
    void KeepHeader(const QByteArray& name, const QByteArray& value);
    [[nodiscard]] std::size_t TakeBody(const char* data, std::size_t size);
    void BeginSpan();
    [[nodiscard]] Clock::duration SpanLimit() const;
    [[nodiscard]] std::exception_ptr ErrorOf(CURLcode code) const;
    void End(std::exception_ptr error);

    const HttpRequest m_request;
    const NetworkLimits m_limits;
    const Bodies m_bodies;
    BytePipe m_outgoing;
    BytePipe m_incoming;

    // On the network's thread only, until the end is announced.
    std::unique_ptr<CURL, Cleanup> m_handle;
    std::unique_ptr<curl_slist, Cleanup> m_headers;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};
    HttpResponse m_response;
    HttpResponse m_head; ///< for the worker; not touched any more once there is a body
    bool m_isHeadComplete = false;
    int m_timesSent = 0;
    qint64 m_bytesHandedOver = 0; ///< of the outgoing body, to libcurl
    qint64 m_bytesDropped = 0;    ///< of an incoming body that nobody wants
    bool m_isAllSent = false;
    bool m_isPaused = false;
    qint64 m_bytesMoved = 0;
    qint64 m_bytesAtSpan = 0;
    Clock::time_point m_spanBegin;
    std::optional<Clock::time_point> m_lastMoment;

    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_hasEnded = false;
    std::exception_ptr m_error;
};

} // namespace Orvane::Social
