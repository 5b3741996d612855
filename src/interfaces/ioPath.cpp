#include "ioPath.h"

#include <filesystem>

namespace Orvane {
namespace {

namespace fs = std::filesystem;

// An embedded NUL would cut the name on its way to the system and so name another file.
bool CanNameAFile(const std::string& utf8)
{
    return !utf8.empty() && utf8.find('\0') == std::string::npos;
}

} // namespace

ioPath::ioPath(const std::string& utf8)
    : m_utf8(utf8)
{}

ioPath& ioPath::operator=(const char* utf8)
{
    m_utf8 = utf8 ? utf8 : "";
    return *this;
}

bool ioPath::exists() const
{
    std::error_code ignored;
    return CanNameAFile(m_utf8) && fs::exists(fs::u8path(m_utf8), ignored);
}

void ioPath::remove() const
{
    if (!CanNameAFile(m_utf8))
        return;
    const auto path = fs::u8path(m_utf8);
    std::error_code ignored;
    if (!fs::is_directory(fs::symlink_status(path, ignored)))
        fs::remove(path, ignored);
}

template <>
ioPath ioPath::from<QString>(const QString& text)
{
    ioPath path;
    path = text.toUtf8().constData();
    return path;
}

template <>
ioPath ioPath::from<const QString&>(const QString& text)
{
    return from<QString>(text);
}

} // namespace Orvane
