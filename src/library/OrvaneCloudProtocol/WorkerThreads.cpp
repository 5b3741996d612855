#include <OrvaneCloudProtocol/WorkerThreads.h>

#include <utility>

namespace Orvane::Social {

WorkerThreads::~WorkerThreads()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        m_changed.notify_all();
    }
    for (auto& thread : m_threads) {
        thread.join();
    }
}

void WorkerThreads::Start(Work work)
{
    const std::lock_guard lock(m_mutex);
    m_handedOver.push_back(std::move(work));
    if (m_free >= m_handedOver.size()) {
        m_changed.notify_one();
        return;
    }
    try {
        m_threads.emplace_back([this] { Run(); });
    } catch (...) {
        m_handedOver.pop_back();
        throw;
    }
}

void WorkerThreads::Run()
{
    while (const auto work = WaitForWork()) {
        work();
    }
}

WorkerThreads::Work WorkerThreads::WaitForWork()
{
    std::unique_lock lock(m_mutex);
    ++m_free;
    m_changed.wait(lock, [this] { return !m_handedOver.empty() || m_isEnding; });
    --m_free;
    if (m_handedOver.empty()) {
        return {};
    }
    auto work = std::move(m_handedOver.front());
    m_handedOver.pop_front();
    return work;
}

} // namespace Orvane::Social
