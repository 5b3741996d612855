#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr int kMd5Length = 32;

bool IsLowerHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

} // namespace

QByteArray Md5NoteOf(const QByteArray& md5Hex, qint64 size, const QByteArray& entityTag)
{
    const QByteArray md5 = NormalizedMd5(md5Hex);
    if (md5.isEmpty() || entityTag.isEmpty()) {
        return {};
    }
    return md5 + ' ' + QByteArray::number(size) + ' ' + entityTag.toPercentEncoding();
}

QByteArray Md5InNote(const QByteArray& note, qint64 size, const QByteArray& entityTag)
{
    const QByteArray trimmed = note.trimmed();
    const QByteArray md5 = trimmed.left(kMd5Length);
    const QByteArray expected = Md5NoteOf(md5, size, entityTag);
    return !expected.isEmpty() && trimmed == expected ? md5 : QByteArray();
}

QByteArray NormalizedMd5(const QByteArray& md5Hex)
{
    const QByteArray lower = md5Hex.toLower();
    const bool isMd5 = lower.size() == kMd5Length && std::all_of(lower.begin(), lower.end(), IsLowerHexDigit);
    return isMd5 ? lower : QByteArray();
}

} // namespace Orvane::Social
