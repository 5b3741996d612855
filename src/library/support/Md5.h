#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct evp_md_ctx_st;

namespace Orvane::Support {

/// The MD5 of bytes that come piece by piece. It tells contents apart and protects nothing.
class Md5
{
public:
    Md5();

    void Add(const char* data, std::size_t size);

    /// As 16 bytes, once: afterwards nothing can be added.
    [[nodiscard]] std::string Result();

private:
    struct Free
    {
        void operator()(evp_md_ctx_st* context) const;
    };

    std::unique_ptr<evp_md_ctx_st, Free> m_context;
    bool m_isGood = false;
};

/// The MD5 of everything that can be read from @p file, as 16 bytes, in constant memory. Nothing when the
/// file cannot be opened, when reading fails, and when @p isCanceled answers true, which is asked before
/// every 64 KiB.
[[nodiscard]] std::optional<std::string> Md5OfContent(const std::filesystem::path& file,
                                                      const std::function<bool()>& isCanceled);

/// Lower-case hexadecimal digits, two a byte.
[[nodiscard]] std::string ToHex(const std::string& bytes);

} // namespace Orvane::Support
