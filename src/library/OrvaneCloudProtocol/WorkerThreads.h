#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Orvane::Social {

/// Threads that carry out work. Each is made when no other is free, and stays until the end. Thread-safe.
class WorkerThreads
{
public:
    using Work = std::function<void()>;

    WorkerThreads() = default;

    /// Waits until all work is done.
    ~WorkerThreads();
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /// Hands the work, which must not throw, to a thread at once. Throws std::system_error or std::bad_alloc
    /// when none is free and the system does not make another; the work is then not done.
    void Start(Work work);

private:
    void Run();
    [[nodiscard]] Work WaitForWork();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Work> m_handedOver;
    std::size_t m_free = 0; ///< threads that wait; some may just have been woken for what is handed over
    bool m_isEnding = false;
    std::vector<std::thread> m_threads;
};

} // namespace Orvane::Social
