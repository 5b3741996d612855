#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace Orvane::Support {

/// A lock on a file, held by one object at a time, in this process or another. The operating system lets it
/// go when the process ends, however that ends: what the file holds, and whose it was before, does not
/// matter. The file is made when it is missing, as the user's alone, and stays. A link in its place is not
/// followed.
class FileLock
{
public:
    enum class Result
    {
        Taken,
        HeldElsewhere,
        NotWritable, ///< the file cannot be opened for writing
        Unsupported  ///< the file system, or the operating system, has no such locks
    };

    explicit FileLock(std::filesystem::path file);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    /// Waits for another holder at most for so long.
    [[nodiscard]] Result Take(std::chrono::milliseconds patience = std::chrono::milliseconds(0));

    /// Writes into the file who holds it, for people. To be called while the lock is held; does its best.
    void SignAs(const std::string& holder);

    /// What the latest holder has written; empty when nothing can be read.
    [[nodiscard]] std::string Signature() const;

    /// For a file that holds more than a signature. The rest is to be called while the lock is held, and
    /// concerns the file that is locked, whatever its path leads to by then.

    /// Whether the file still has its name.
    [[nodiscard]] bool IsInPlace() const;

    /// Adds the text to the file's end, whole or not at all; returns whether it is there. Once a part could
    /// not be taken back, nothing more is added.
    [[nodiscard]] bool Append(const std::string& text);

    /// Leaves nothing in the file; does its best.
    void Empty();

    /// All that the file holds; nothing when it cannot be read.
    [[nodiscard]] std::optional<std::string> Content() const;

private:
    [[nodiscard]] Result TryOnce();
    void Release();

    const std::filesystem::path m_file;
    int m_descriptor = -1;
    bool m_isSpoiled = false; ///< a part of a text could not be taken back
};

} // namespace Orvane::Support
