#pragma once

#include "OrvaneExport.h"

#include <QString>

#include <string>

namespace Orvane {

/// A file-system path: UTF-8 text and nothing else. Copying it copies the text, comparing it compares the
/// bytes; nothing is resolved or normalized (see PDF::IFileSystem for that).
class ORVANE_INTERFACES_EXPORT ioPath
{
public:
    ioPath() = default;

    /// Takes @p utf8 as it stands, embedded NUL characters included.
    ioPath(const std::string& utf8);

    /// Takes the text up to the first NUL character; a null pointer is the empty text.
    ioPath& operator=(const char* utf8);

    /// Makes a path from a text of another library. QString is the one text supported: the path ends at its
    /// first NUL character.
    template <typename Text>
    static ioPath from(const Text& text) = delete;

    /// A copy of the text.
    [[nodiscard]] std::string utf8string() const { return m_utf8; }

    [[nodiscard]] bool empty() const noexcept { return m_utf8.empty(); }

    /// Whether a file or folder exists at the path, asked of the file system now.
    [[nodiscard]] bool exists() const;

    /// Deletes the file (or the symbolic link) at the path. A folder, a missing file and a file that cannot
    /// be deleted are left alone, without a word.
    void remove() const;

private:
    std::string m_utf8;
};

template <>
ORVANE_INTERFACES_EXPORT ioPath ioPath::from<QString>(const QString& text);
template <>
ORVANE_INTERFACES_EXPORT ioPath ioPath::from<const QString&>(const QString& text);

[[nodiscard]] inline bool operator==(const ioPath& left, const ioPath& right)
{
    return left.utf8string() == right.utf8string();
}

[[nodiscard]] inline bool operator!=(const ioPath& left, const ioPath& right)
{
    return !(left == right);
}

} // namespace Orvane
