#pragma once

#include <QString>

#include <filesystem>

namespace Orvane::Support {

/// Between Qt's texts and the system's paths, by way of UTF-8 and independent of the user's locale (QFile
/// encodes names in the locale's charset and loses what that cannot say).
[[nodiscard]] inline std::filesystem::path ToPath(const QString& text)
{
    return std::filesystem::u8path(text.toStdString());
}

[[nodiscard]] inline QString ToText(const std::filesystem::path& path)
{
    return QString::fromStdString(path.u8string());
}

} // namespace Orvane::Support
