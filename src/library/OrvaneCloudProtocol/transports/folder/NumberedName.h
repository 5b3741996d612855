#pragma once

#include <string>
#include <string_view>

namespace Orvane::Social {

/// The name that a new document gets when the names before it are taken: "name.pdf", "name (2).pdf",
/// "name (3).pdf" and so on. Never longer than 255 bytes: the stem is cut, between characters.
[[nodiscard]] std::string NumberedName(std::string_view documentName, int number);

} // namespace Orvane::Social
