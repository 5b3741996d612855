#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace Orvane::Support {

/// The MD5 of everything that can be read from @p file, as 16 bytes, in constant memory. Nothing when the
/// file cannot be opened, when reading fails, and when @p isCanceled answers true, which is asked before
/// every 256 KiB.
[[nodiscard]] std::optional<std::string> Md5OfContent(const std::filesystem::path& file,
                                                      const std::function<bool()>& isCanceled);

/// Lower-case hexadecimal digits, two a byte.
[[nodiscard]] std::string ToHex(const std::string& bytes);

} // namespace Orvane::Support
