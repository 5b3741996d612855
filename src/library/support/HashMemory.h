#pragma once

#include <support/FileStamp.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace Orvane::Support {

/// How much a HashMemory keeps, and what it takes for the present.
struct HashMemorySettings
{
    /// Beyond this number those that nobody asked for longest are forgotten.
    std::size_t capacity = 200'000;

    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;

    /// How long the latest hash is kept when its file is too young to be remembered.
    std::chrono::milliseconds youngFileMemory{0};
};

/// MD5 hashes of local files, remembered between runs for as long as the file's stamp (device, inode, size,
/// modification and change time) stays the same, so that asking again costs one stat. A file that changed
/// during hashing, or less than 3 s before, is hashed but not remembered (but for youngFileMemory).
/// Thread-safe.
class HashMemory
{
public:
    using IsCanceled = std::function<bool()>;

    /// @param databaseFile  made when first needed. Without a usable file hashes are remembered for this run
    ///                      only; so they are when the path is empty.
    explicit HashMemory(const std::filesystem::path& databaseFile, HashMemorySettings settings = {});
    ~HashMemory();

    /// The lower-case hexadecimal MD5 of the file's content. Empty when the path names no readable regular
    /// file, when reading fails, and when @p isCanceled answers true, which is asked every few hundred KiB.
    [[nodiscard]] std::string HashOf(const std::string& utf8File, const IsCanceled& isCanceled = {});
    [[nodiscard]] std::string HashOf(const std::filesystem::path& file, const IsCanceled& isCanceled = {})
    {
        return HashOf(file.u8string(), isCanceled);
    }

    /// The same for somebody who has looked at the file just now, and handles what goes wrong with a look.
    [[nodiscard]] std::string HashOf(const std::string& utf8File, const FileStamp& stamp,
                                     const IsCanceled& isCanceled = {});

    /// Writes what is new to the database; the destructor does so too.
    void Flush();

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::Support
