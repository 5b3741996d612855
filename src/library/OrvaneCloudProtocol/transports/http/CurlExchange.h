#pragma once

#include <OrvaneCloudProtocol/Failure.h>
#include <OrvaneCloudProtocol/transports/http/CurlLine.h>
#include <OrvaneCloudProtocol/transports/http/ExchangeWatch.h>
#include <OrvaneCloudProtocol/transports/http/HttpMessage.h>
#include <OrvaneCloudProtocol/transports/http/NetworkLimits.h>

#include <array>
#include <exception>
#include <string_view>

namespace Orvane::Social {

class Job;
class NetworkError;

/// What all exchanges of a client have in common.
struct HttpSettings
{
    QByteArray caFile; ///< path of a PEM file; empty for the system's authorities
    bool isProxyAllowed = true;
    NetworkLimits limits;
};

/// One request and its answer, on libcurl. The thread that wants it carries it out, in Send and Finish: what
/// they throw is NetworkError, or what the sink has thrown.
class CurlExchange
{
public:
    /// How the bodies go.
    struct Bodies
    {
        std::optional<qint64> outgoingSize; ///< bytes that will come through Send; empty: request.body
        HttpBodySink sink;                  ///< for those of successful answers; empty: nobody wants them
    };

    /// All that it is given must outlive it. A cancel of the job hastens its end.
    CurlExchange(CurlLine& line, const HttpRequest& request, const HttpSettings& settings,
                 const Bodies& bodies, const Job& job);
    ~CurlExchange();
    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;

    /// Sends a piece of the outgoing body. False when nobody reads any more: there is an answer already, or
    /// trouble.
    [[nodiscard]] bool Send(const char* data, std::size_t size);

    /// Says that the body is complete, if there is one, and waits for the answer.
    [[nodiscard]] HttpResponse Finish();

    /// To be called when either has thrown, or is not going to be called any more. A server may go on with
    /// what it got of an upload after the connection has gone, and store it later than the DELETE that is to
    /// take it away. So this waits until the server has seen the upload's end, but not for long.
    void BreakOff();

private:
    struct Cleanup
    {
        void operator()(curl_slist* list) const; ///< wipes the texts, one of which may be a secret
    };

    void SetUp(const HttpSettings& settings);
    void SetUpCallbacks();
    void SetUpBody();
    void SetHeaders();
    template <typename Value>
    void Set(CURLoption option, Value value);

    template <typename Step>
    std::size_t Guarded(const Step& step);
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnSend(char* buffer, std::size_t size, std::size_t count, void* self);
    static int OnBeforeSending(void* self, char*, char*, int, int);
    static int OnTraffic(CURL*, curl_infotype kind, char*, std::size_t size, void* self);
    static int OnTurn(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    void ReadHeader(const QByteArray& line);
    void KeepHeader(const QByteArray& name, const QByteArray& value);
    void KeepContentLength(const QByteArray& value);
    [[nodiscard]] std::size_t TakeBody(const char* data, std::size_t size);
    [[nodiscard]] std::size_t GiveBody(char* buffer, std::size_t room);

    template <typename Condition>
    void RunUntil(const Condition& isEnough);
    void HeedCancel();
    void HeedDeadline();
    void Resume();
    [[nodiscard]] bool IsSendingBody() const;
    void RequireEnd() const;
    void RequireAnswer() const;
    [[nodiscard]] NetworkError ErrorOf(CURLcode code) const;
    [[nodiscard]] NetworkError Error(FailureCode code, const QString& what) const;
    [[nodiscard]] QString Detail(const QString& what) const;

    CurlLine& m_line;
    const HttpRequest& m_request;
    const NetworkLimits& m_limits;
    const Bodies& m_bodies;
    const Job& m_job;
    std::unique_ptr<curl_slist, Cleanup> m_headers;
    std::array<char, CURL_ERROR_SIZE> m_errorText{};

    HttpResponse m_response;
    bool m_isHeadComplete = false;
    std::optional<CURLcode> m_outcome;
    std::exception_ptr m_failure; ///< of our own functions, which libcurl must not see

    int m_timesSent = 0;
    std::string_view m_piece; ///< of the outgoing body: what is left of it
    bool m_isBodyComplete = false;
    bool m_isPaused = false;
    qint64 m_bytesHandedOver = 0; ///< of the outgoing body, to libcurl
    qint64 m_bytesDropped = 0;    ///< of an incoming body that nobody wants
    bool m_isAllSent = false;

    bool m_isCancelHeeded = false;
    ExchangeWatch m_watch;
};

} // namespace Orvane::Social
