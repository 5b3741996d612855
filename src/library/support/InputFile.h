#pragma once

#include <support/FileStamp.h>

#include <filesystem>
#include <optional>
#include <string>

namespace Orvane::Support {

/// A file that is open to be read, from its beginning. Helper processes do not inherit it, and opening what
/// turns out to be a pipe does not wait for anybody. Failures are std::filesystem::filesystem_error.
class InputFile
{
public:
    /// @param links  not followed: a link with this name is an error
    explicit InputFile(std::filesystem::path path, Links links = Links::Followed);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /// The stamp of the file that is open; nothing when it is not a regular one.
    [[nodiscard]] std::optional<FileStamp> Stamp() const;

    /// Returns how many bytes were read: fewer than asked for only at the end of the file.
    [[nodiscard]] std::size_t Read(char* buffer, std::size_t size);

private:
    const std::filesystem::path m_path;
    [[maybe_unused]] int m_descriptor = -1;
    [[maybe_unused]] void* m_file = nullptr; ///< where there are no descriptors
};

/// What a file holds, up to so many bytes. Throws std::filesystem::filesystem_error.
[[nodiscard]] std::string ContentOf(const std::filesystem::path& path, std::size_t mostBytes);

} // namespace Orvane::Support
