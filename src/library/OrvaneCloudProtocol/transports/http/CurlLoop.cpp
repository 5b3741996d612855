#include <OrvaneCloudProtocol/transports/http/CurlLoop.h>

#include <OrvaneCloudProtocol/transports/http/CurlExchange.h>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr long kKeptConnections = 12;
constexpr std::chrono::milliseconds kLongestWait{1000};

CURLM* NewMulti()
{
    [[maybe_unused]] static const CURLcode isInitialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    CURLM* multi = curl_multi_init();
    if (!multi) {
        throw std::bad_alloc();
    }
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kKeptConnections);
    return multi;
}

} // namespace

CurlLoop::CurlLoop()
    : m_multi(NewMulti())
    , m_thread([this] { Run(); })
{}

CurlLoop::~CurlLoop()
{
    Post([this] { m_isStopping = true; });
    m_thread.join();
}

void CurlLoop::Start(const std::shared_ptr<CurlExchange>& exchange)
{
    Post([this, exchange] {
        m_exchanges.push_back(exchange);
        if (curl_multi_add_handle(m_multi.get(), exchange->Handle()) != CURLM_OK) {
            exchange->EndWith(CURLE_OUT_OF_MEMORY);
            Remove(*exchange);
        }
    });
}

void CurlLoop::Resume(const std::weak_ptr<CurlExchange>& exchange)
{
    Post([exchange] {
        if (const auto paused = exchange.lock()) {
            paused->Resume();
        }
    });
}

void CurlLoop::Cancel(const std::shared_ptr<CurlExchange>& exchange)
{
    Post([this, exchange] {
        if (!exchange->HasEnded() && exchange->OnCanceled()) {
            exchange->EndWith(CURLE_ABORTED_BY_CALLBACK);
            Remove(*exchange);
        }
    });
}

void CurlLoop::BreakOff(const std::shared_ptr<CurlExchange>& exchange)
{
    Post([this, exchange] {
        if (!exchange->HasEnded()) {
            exchange->EndWith(CURLE_ABORTED_BY_CALLBACK);
            Remove(*exchange);
        }
    });
}

void CurlLoop::Post(std::function<void()> step)
{
    {
        const std::lock_guard lock(m_mutex);
        m_posted.push_back(std::move(step));
    }
    curl_multi_wakeup(m_multi.get());
}

void CurlLoop::Run()
{
    while (true) {
        RunPosted();
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        EndCompleted();
        EndOverdue();
        if (m_isStopping) {
            return;
        }
        curl_multi_poll(m_multi.get(), nullptr, 0, MillisecondsToWait(), nullptr);
    }
}

void CurlLoop::RunPosted()
{
    std::vector<std::function<void()>> posted;
    {
        const std::lock_guard lock(m_mutex);
        posted.swap(m_posted);
    }
    for (const auto& step : posted) {
        step();
    }
}

void CurlLoop::EndCompleted()
{
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        char* exchange = nullptr;
        const CURLcode code = message->data.result;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &exchange);
        auto& ended = *reinterpret_cast<CurlExchange*>(exchange);
        ended.EndWith(code);
        Remove(ended);
    }
}

void CurlLoop::EndOverdue()
{
    const auto now = CurlExchange::Clock::now();
    const auto running = m_exchanges;
    for (const auto& exchange : running) {
        if (exchange->IsOverdue(now)) {
            exchange->EndOverdue();
            Remove(*exchange);
        }
    }
}

void CurlLoop::Remove(CurlExchange& exchange)
{
    curl_multi_remove_handle(m_multi.get(), exchange.Handle());
    const auto isIt = [&](const auto& other) { return other.get() == &exchange; };
    m_exchanges.erase(std::remove_if(m_exchanges.begin(), m_exchanges.end(), isIt), m_exchanges.end());
}

int CurlLoop::MillisecondsToWait() const
{
    using std::chrono::milliseconds;
    const auto now = CurlExchange::Clock::now();
    auto wait = kLongestWait;
    for (const auto& exchange : m_exchanges) {
        if (const auto deadline = exchange->Deadline()) {
            wait = std::min(wait, std::chrono::ceil<milliseconds>(*deadline - now));
        }
    }
    return static_cast<int>(std::max(wait, milliseconds(0)).count());
}

} // namespace Orvane::Social
