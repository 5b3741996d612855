#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <optional>

namespace Orvane::Social {

/// A line to the cloud, for one exchange at a time. It keeps its connection open for the next.
class CurlLine
{
public:
    using Clock = std::chrono::steady_clock;

    CurlLine();
    ~CurlLine();
    CurlLine(const CurlLine&) = delete;
    CurlLine& operator=(const CurlLine&) = delete;

    /// For the next exchange, with nothing set but what concerns the line itself. Null when there is no
    /// memory, which libcurl puts up with until Begin.
    [[nodiscard]] CURL* Handle() const { return m_handle.get(); }

    /// Begins the exchange that the handle has been set up for. False when there is no memory for it.
    [[nodiscard]] bool Begin();

    /// Goes on as far as that is possible now. Tells the outcome once there is one.
    [[nodiscard]] std::optional<CURLcode> Perform();

    /// Waits until it is possible to go on, somebody calls WakeUp, or the time is over.
    void Wait(std::chrono::milliseconds longest);

    /// From any thread.
    void WakeUp();

    /// Ends the exchange, and its connection unless its outcome was told.
    void End();

    /// Ends the exchange. Nothing more is sent, and what the server has to say is read to its end, which
    /// comes when it has done with what it got (RFC 9112 §9.6).
    void EndOnceServerHas(Clock::time_point deadline);

private:
    struct Cleanup
    {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    struct EasyCleanup
    {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };

    static int OnCloseSocket(void* self, curl_socket_t socket);
    void SetUpSockets();

    bool m_isSocketKept = false; ///< whether the next socket that libcurl gives up is to be kept
    std::optional<curl_socket_t> m_keptSocket;
    std::unique_ptr<CURLM, Cleanup> m_multi;
    std::unique_ptr<CURL, EasyCleanup> m_handle;
};

} // namespace Orvane::Social
