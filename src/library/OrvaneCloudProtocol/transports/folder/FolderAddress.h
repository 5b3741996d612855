#pragma once

#include <QUrl>

#include <filesystem>
#include <optional>
#include <string>

namespace Orvane::Social {

/// The folder that "file:///folder" or "file://localhost/folder" names: what follows the host is decoded
/// once, and is then the path to the byte ("#" and "?" included). Nothing for any other address.
[[nodiscard]] std::optional<std::filesystem::path> FolderOfAddress(const std::string& address);

/// The address of a folder or a file, with everything encoded that has to be.
[[nodiscard]] QUrl AddressOfFile(const std::filesystem::path& file);

} // namespace Orvane::Social
