#pragma once

#include <QByteArray>

namespace Orvane::Social {

/// A server's property stays with a document whose content has been replaced. So the MD5 that an upload
/// leaves there stands in one note with the size and the ETag that it belongs to, and counts only while both
/// still hold.

/// The note, in ASCII without characters that XML treats specially. Empty when the MD5 is none or there is
/// no tag to vouch for it.
///
/// @param entityTag  without "W/", which comes and goes while the content stays
[[nodiscard]] QByteArray Md5NoteOf(const QByteArray& md5Hex, qint64 size, const QByteArray& entityTag);

/// The MD5 in the note, in lower case; empty when it was not made for this size and this tag.
[[nodiscard]] QByteArray Md5InNote(const QByteArray& note, qint64 size, const QByteArray& entityTag);

/// The MD5 in lower case; empty when the text is not 32 hexadecimal digits.
[[nodiscard]] QByteArray NormalizedMd5(const QByteArray& md5Hex);

} // namespace Orvane::Social
