#pragma once

#include <string>
#include <string_view>

namespace Orvane::Support {

/// How many numbered names are tried for one file.
constexpr int kMostNamesTried = 10'000;

/// The name that a file gets when the names before it are taken: "name.pdf", "name (2).pdf", "name (3).pdf"
/// and so on. Never longer than 255 bytes: the stem is cut, between UTF-8 characters.
[[nodiscard]] std::string NumberedName(std::string_view fileName, int number);

} // namespace Orvane::Support
