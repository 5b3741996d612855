#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace Orvane::Social {

class CurlExchange;

/// The network's thread: carries out any number of exchanges at once, and never waits for anything else.
class CurlLoop
{
public:
    CurlLoop();

    /// Every exchange must have ended.
    ~CurlLoop();

    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    // From any thread. What is said of an exchange that has ended is ignored.
    void Start(const std::shared_ptr<CurlExchange>& exchange);
    void Resume(const std::weak_ptr<CurlExchange>& exchange);
    void Cancel(const std::shared_ptr<CurlExchange>& exchange);
    void BreakOff(const std::shared_ptr<CurlExchange>& exchange);

private:
    using SharedExchange = std::shared_ptr<CurlExchange>;
    using Exchanges = std::vector<SharedExchange>;

    /// The connection of an upload that was broken off: nothing more is sent, and what the server has to say
    /// is read to its end, which comes when it has done with what it got (RFC 9112 §9.6).
    struct Lingering
    {
        curl_socket_t socket;
        SharedExchange exchange;
        std::chrono::steady_clock::time_point deadline;
    };

    struct Cleanup
    {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    void Post(std::function<void()> step);
    void Run();
    void RunPosted();
    void EndCompleted();
    void EndOverdue();
    void BreakOffNow(const SharedExchange& exchange);
    static int OnCloseSocket(void* self, curl_socket_t socket);
    void Wait();
    void EndLingering();
    void Remove(CurlExchange& exchange);
    [[nodiscard]] int MillisecondsToWait() const;

    std::unique_ptr<CURLM, Cleanup> m_multi;

    // On the network's thread only.
    Exchanges m_exchanges;
    SharedExchange m_brokenOff; ///< the upload whose connection is being closed
    std::vector<Lingering> m_lingering;

    std::mutex m_mutex;
    std::vector<std::function<void()>> m_posted;
    bool m_isStopping = false;
    std::thread m_thread;
};

} // namespace Orvane::Social
