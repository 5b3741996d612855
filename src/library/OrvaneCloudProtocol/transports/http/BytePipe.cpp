#include <OrvaneCloudProtocol/transports/http/BytePipe.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace Orvane::Social {

namespace {

constexpr std::size_t kRoom = std::size_t{1024} * 1024;

// Waking somebody for less costs more than the bytes do.
constexpr std::size_t kWorthWaking = std::size_t{64} * 1024;

} // namespace

BytePipe::BytePipe(std::function<void()> onReady)
    : m_onReady(std::move(onReady))
{}

bool BytePipe::TryWrite(const char* data, std::size_t size)
{
    const std::lock_guard lock(m_mutex);
    m_isDenied = m_bytes > 0 && m_bytes + size > kRoom;
    if (m_isDenied) {
        return false;
    }
    Push(data, size);
    if (m_bytes >= kWorthWaking) {
        m_changed.notify_one();
    }
    return true;
}

std::optional<std::size_t> BytePipe::TryRead(char* buffer, std::size_t size)
{
    const std::lock_guard lock(m_mutex);
    m_isDenied = m_pieces.empty() && !m_isEnded;
    if (m_isDenied) {
        return std::nullopt;
    }
    if (m_pieces.empty()) {
        return 0;
    }
    const auto& first = m_pieces.front();
    const auto count = std::min(size, first.size() - m_readOfFirst);
    std::memcpy(buffer, first.data() + m_readOfFirst, count);
    m_readOfFirst += count;
    m_bytes -= count;
    if (m_readOfFirst == first.size()) {
        m_pieces.pop_front();
        m_readOfFirst = 0;
    }
    m_changed.notify_one();
    return count;
}

bool BytePipe::Write(const char* data, std::size_t size)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_isClosed || m_bytes == 0 || m_bytes + size <= kRoom; });
    if (m_isClosed) {
        return false;
    }
    Push(data, size);
    TellIfDenied(std::move(lock));
    return true;
}

std::vector<char> BytePipe::Read()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return m_bytes >= kWorthWaking || m_isEnded || m_isClosed; });
    if (m_pieces.empty()) {
        return {};
    }
    auto piece = std::move(m_pieces.front());
    m_pieces.pop_front();
    m_bytes -= piece.size();
    if (m_bytes <= kRoom / 2) { // not for every piece: waking the other side costs more than a piece does
        TellIfDenied(std::move(lock));
    }
    return piece;
}

void BytePipe::End()
{
    std::unique_lock lock(m_mutex);
    m_isEnded = true;
    m_changed.notify_one();
    TellIfDenied(std::move(lock));
}

void BytePipe::Close()
{
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_changed.notify_one();
}

void BytePipe::Push(const char* data, std::size_t size)
{
    if (m_pieces.empty() || m_pieces.back().size() + size > kWorthWaking) {
        m_pieces.emplace_back().reserve(std::max(size, kWorthWaking));
    }
    auto& last = m_pieces.back();
    last.insert(last.end(), data, data + size);
    m_bytes += size;
}

void BytePipe::TellIfDenied(std::unique_lock<std::mutex> lock)
{
    const bool isToBeTold = std::exchange(m_isDenied, false);
    lock.unlock();
    if (isToBeTold) {
        m_onReady();
    }
}

} // namespace Orvane::Social
