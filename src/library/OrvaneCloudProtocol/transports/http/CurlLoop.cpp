#include <OrvaneCloudProtocol/transports/http/CurlLoop.h>

#include <OrvaneCloudProtocol/transports/http/CurlExchange.h>

#include <QtGlobal>

#include <algorithm>
#include <cerrno>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace Orvane::Social {

namespace {

constexpr long kKeptConnections = 12;
constexpr std::chrono::milliseconds kLongestWait{1000};

#ifdef Q_OS_WIN
constexpr int kNoMoreSending = SD_SEND;

int CloseSocket(curl_socket_t socket)
{
    return ::closesocket(socket);
}
#else
constexpr int kNoMoreSending = SHUT_WR;

int CloseSocket(curl_socket_t socket)
{
    return ::close(socket);
}
#endif

/// Reads what there is. libcurl has made the socket one that does not block.
bool HasServerClosed(curl_socket_t socket)
{
    char answer[4096];
    while (true) {
        const auto count = ::recv(socket, answer, sizeof answer, 0);
        if (count <= 0) {
            return count == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
        }
    }
}

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
        curl_easy_setopt(exchange->Handle(), CURLOPT_CLOSESOCKETFUNCTION, &CurlLoop::OnCloseSocket);
        curl_easy_setopt(exchange->Handle(), CURLOPT_CLOSESOCKETDATA, this);
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
            BreakOffNow(exchange);
        }
    });
}

void CurlLoop::BreakOff(const std::shared_ptr<CurlExchange>& exchange)
{
    Post([this, exchange] {
        if (!exchange->HasEnded()) {
            BreakOffNow(exchange);
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
        Wait();
        EndLingering();
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

// A server may go on with what it got of an upload after the connection has gone, and store it later than the
// DELETE that is to take it away. So an upload ends when the server has seen its end.
void CurlLoop::BreakOffNow(const SharedExchange& exchange)
{
    const auto isSame = [&](const Lingering& lingering) { return lingering.exchange == exchange; };
    if (std::any_of(m_lingering.begin(), m_lingering.end(), isSame)) {
        return;
    }
    exchange->ClosePipes();
    m_brokenOff = exchange->IsSendingBody() ? exchange : nullptr;
    Remove(*exchange);
    m_brokenOff = nullptr;
    if (std::none_of(m_lingering.begin(), m_lingering.end(), isSame)) {
        exchange->EndWith(CURLE_ABORTED_BY_CALLBACK);
    }
}

int CurlLoop::OnCloseSocket(void* self, curl_socket_t socket)
{
    auto& loop = *static_cast<CurlLoop*>(self);
    if (loop.m_brokenOff) {
        ::shutdown(socket, kNoMoreSending);
        loop.m_lingering.push_back({socket, loop.m_brokenOff, loop.m_brokenOff->LingerUntil()});
        return 0;
    }
    return CloseSocket(socket);
}

void CurlLoop::Wait()
{
    std::vector<curl_waitfd> sockets;
    for (const auto& lingering : m_lingering) {
        sockets.push_back({lingering.socket, CURL_WAIT_POLLIN, 0});
    }
    curl_multi_poll(m_multi.get(), sockets.data(), static_cast<unsigned>(sockets.size()),
                    MillisecondsToWait(), nullptr);
}

void CurlLoop::EndLingering()
{
    const auto now = std::chrono::steady_clock::now();
    const auto isOver = [now](const Lingering& lingering) {
        if (now < lingering.deadline && !HasServerClosed(lingering.socket)) {
            return false;
        }
        CloseSocket(lingering.socket);
        lingering.exchange->EndWith(CURLE_ABORTED_BY_CALLBACK);
        return true;
    };
    m_lingering.erase(std::remove_if(m_lingering.begin(), m_lingering.end(), isOver), m_lingering.end());
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
    for (const auto& lingering : m_lingering) {
        wait = std::min(wait, std::chrono::ceil<milliseconds>(lingering.deadline - now));
    }
    return static_cast<int>(std::max(wait, milliseconds(0)).count());
}

} // namespace Orvane::Social
