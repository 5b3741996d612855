#pragma once

#include <support/Md5.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Orvane::Support {

/// As Md5, for whoever reads, writes, sends or receives the bytes meanwhile: what comes after the first
/// megabyte is computed on a thread of its own, which ends with the object; on the caller's, when the system
/// makes no more threads. Copies of less than a megabyte wait for it.
class BackgroundMd5
{
public:
    BackgroundMd5() = default;
    ~BackgroundMd5();
    BackgroundMd5(const BackgroundMd5&) = delete;
    BackgroundMd5& operator=(const BackgroundMd5&) = delete;

    /// Waits while the computation is too far behind.
    void Add(const char* data, std::size_t size);

    /// As 16 bytes, once: afterwards nothing can be added.
    [[nodiscard]] std::string Result();

private:
    using Bytes = std::vector<char>;

    void HandOver();
    [[nodiscard]] bool HasThread();
    void Run();
    [[nodiscard]] bool Take(Bytes& bytes);
    void End();

    Md5 m_md5; ///< the thread's, while there is one
    std::uint64_t m_size = 0;
    Bytes m_collected;
    std::thread m_thread;

    std::mutex m_mutex; ///< for what follows
    std::condition_variable m_changed;
    Bytes m_handedOver;
    bool m_isEnded = false;
};

} // namespace Orvane::Support
