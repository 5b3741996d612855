#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Orvane::Social {

/// How many numbered names are tried for a new document.
constexpr int kMostNamesTried = 10'000;

/// The name that a new document gets when the names before it are taken: "name.pdf", "name (2).pdf",
/// "name (3).pdf" and so on. Never longer than 255 bytes: the stem is cut, between characters.
[[nodiscard]] std::string NumberedName(std::string_view documentName, int number);

/// Throws CloudError (Refused) unless the local file's name is one that a document may have.
void RequireNameOfNewDocument(const std::filesystem::path& source);

} // namespace Orvane::Social
