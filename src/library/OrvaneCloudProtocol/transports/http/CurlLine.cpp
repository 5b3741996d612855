#include <OrvaneCloudProtocol/transports/http/CurlLine.h>

#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace Orvane::Social {

namespace {

constexpr long kKeptConnections = 1;
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
    if (multi) {
        curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kKeptConnections);
    }
    return multi;
}

} // namespace

CurlLine::CurlLine()
    : m_multi(NewMulti())
    , m_handle(curl_easy_init())
{
    if (!m_multi || !m_handle) {
        throw std::bad_alloc();
    }
    SetUpSockets();
}

CurlLine::~CurlLine() = default;

// A connection keeps the setting that it was opened with.
void CurlLine::SetUpSockets()
{
    curl_easy_setopt(m_handle.get(), CURLOPT_CLOSESOCKETFUNCTION, &CurlLine::OnCloseSocket);
    curl_easy_setopt(m_handle.get(), CURLOPT_CLOSESOCKETDATA, this);
}

bool CurlLine::Begin()
{
    return curl_multi_add_handle(m_multi.get(), m_handle.get()) == CURLM_OK;
}

std::optional<CURLcode> CurlLine::Perform()
{
    int running = 0;
    int left = 0;
    curl_multi_perform(m_multi.get(), &running);
    const CURLMsg* message = curl_multi_info_read(m_multi.get(), &left);
    return message && message->msg == CURLMSG_DONE ? std::make_optional(message->data.result) : std::nullopt;
}

void CurlLine::Wait(std::chrono::milliseconds longest)
{
    const auto wait = std::clamp(longest, std::chrono::milliseconds(0), kLongestWait);
    curl_multi_poll(m_multi.get(), nullptr, 0, static_cast<int>(wait.count()), nullptr);
}

void CurlLine::WakeUp()
{
    curl_multi_wakeup(m_multi.get());
}

void CurlLine::End()
{
    curl_multi_remove_handle(m_multi.get(), m_handle.get());
    // A handle that is used again keeps a pointer to the last header that it has freed, and libcurl 7.88
    // follows it when the next answer begins with the continuation of a line (curl/curl#11101).
    m_handle.reset(curl_easy_init());
    SetUpSockets();
}

void CurlLine::EndOnceServerHas(Clock::time_point deadline)
{
    m_isSocketKept = true;
    End();
    m_isSocketKept = false;
    const auto socket = std::exchange(m_keptSocket, std::nullopt);
    if (!socket) {
        return;
    }
    for (auto now = Clock::now(); now < deadline && !HasServerClosed(*socket); now = Clock::now()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
        curl_waitfd waited{*socket, CURL_WAIT_POLLIN, 0};
        curl_multi_poll(m_multi.get(), &waited, 1, static_cast<int>(left.count()), nullptr);
    }
    CloseSocket(*socket);
}

int CurlLine::OnCloseSocket(void* self, curl_socket_t socket)
{
    auto& line = *static_cast<CurlLine*>(self);
    if (!line.m_isSocketKept || line.m_keptSocket) {
        return CloseSocket(socket);
    }
    ::shutdown(socket, kNoMoreSending);
    line.m_keptSocket = socket;
    return 0;
}

} // namespace Orvane::Social
