#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace Orvane::Support {

/// A lock on a file, held by one object at a time, in this process or another. The operating system lets it
/// go when the process ends, however that ends: what the file holds, and whose it was before, does not
/// matter. The file is made when it is missing, and stays.
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

private:
    [[nodiscard]] Result TryOnce();
    void Release();

    const std::filesystem::path m_file;
    int m_descriptor = -1;
};

} // namespace Orvane::Support
