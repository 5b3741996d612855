#pragma once

#include <curl/curl.h>

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
    using Exchanges = std::vector<std::shared_ptr<CurlExchange>>;

    struct Cleanup
    {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    void Post(std::function<void()> step);
    void Run();
    void RunPosted();
    void EndCompleted();
    void EndOverdue();
    void Remove(CurlExchange& exchange);
    [[nodiscard]] int MillisecondsToWait() const;

    std::unique_ptr<CURLM, Cleanup> m_multi;
    Exchanges m_exchanges; ///< on the network's thread only
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_posted;
    bool m_isStopping = false;
    std::thread m_thread;
};

} // namespace Orvane::Social
