#include "BackgroundMd5.h"

#include <system_error>

namespace Orvane::Support {
namespace {

constexpr std::uint64_t kWorthAThread = std::uint64_t{1024} * 1024;
constexpr std::size_t kWorthWaking = std::size_t{256} * 1024;

} // namespace

BackgroundMd5::~BackgroundMd5()
{
    End();
}

void BackgroundMd5::Add(const char* data, std::size_t size)
{
    m_size += size;
    if (m_size <= kWorthAThread) {
        m_md5.Add(data, size);
        return;
    }
    m_collected.insert(m_collected.end(), data, data + size);
    if (m_collected.size() >= kWorthWaking)
        HandOver();
}

std::string BackgroundMd5::Result()
{
    End();
    m_md5.Add(m_collected.data(), m_collected.size());
    return m_md5.Result();
}

void BackgroundMd5::HandOver()
{
    if (!HasThread()) {
        m_md5.Add(m_collected.data(), m_collected.size());
        m_collected.clear();
        return;
    }
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_handedOver.empty(); });
    m_handedOver.swap(m_collected);
    m_changed.notify_one();
}

bool BackgroundMd5::HasThread()
{
    try {
        if (!m_thread.joinable())
            m_thread = std::thread([this] { Run(); });
    } catch (const std::system_error&) { // the system makes no more of them
        return false;
    }
    return true;
}

void BackgroundMd5::Run()
{
    Bytes bytes;
    while (Take(bytes)) {
        m_md5.Add(bytes.data(), bytes.size());
        bytes.clear();
    }
}

// Leaves the empty buffer in exchange, so that three are enough for any amount.
bool BackgroundMd5::Take(Bytes& bytes)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_handedOver.empty() || m_isEnded; });
    m_handedOver.swap(bytes);
    m_changed.notify_one();
    return !bytes.empty();
}

void BackgroundMd5::End()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnded = true;
        m_changed.notify_one();
    }
    m_thread.join();
}

} // namespace Orvane::Support
