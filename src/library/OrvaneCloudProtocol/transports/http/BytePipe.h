#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace Orvane::Social {

/// Bytes on their way between the network's thread, which may never wait, and a worker, which may. Holds
/// about a megabyte at most. Thread-safe, for one of each.
class BytePipe
{
public:
    /// @param onReady  called on the worker's thread when what the network's thread was denied would now be
    ///                 granted
    explicit BytePipe(std::function<void()> onReady);

    /// For the network's thread. False when there is no room now.
    [[nodiscard]] bool TryWrite(const char* data, std::size_t size);

    /// For the network's thread: how many bytes it has got; 0 at the end, nothing when there are none now.
    [[nodiscard]] std::optional<std::size_t> TryRead(char* buffer, std::size_t size);

    /// For the worker: waits for room. False when nobody reads any more.
    [[nodiscard]] bool Write(const char* data, std::size_t size);

    /// For the worker: waits for the next piece; an empty one at the end.
    [[nodiscard]] std::vector<char> Read();

    /// For either side: nothing more is written.
    void End();

    /// For the network's thread: it has gone. What it has written stays to be read.
    void Close();

private:
    void Push(const char* data, std::size_t size);
    void TellIfDenied(std::unique_lock<std::mutex> lock);

    const std::function<void()> m_onReady;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::vector<char>> m_pieces;
    std::size_t m_readOfFirst = 0; ///< bytes of the first piece that are gone already
    std::size_t m_bytes = 0;
    bool m_isEnded = false;
    bool m_isClosed = false;
    bool m_isDenied = false;
};

} // namespace Orvane::Social
