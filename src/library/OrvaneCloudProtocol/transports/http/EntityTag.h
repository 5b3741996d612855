#pragma once

#include <QByteArray>

#include <algorithm>

namespace Orvane::Social {

/// Whether the text is an entity-tag (RFC 9110 §8.8.3): "..." or W/"..." of visible characters. Nothing else
/// may be taken for one, since tags go back into headers: a line break, which an XML text can hold, would
/// start another header there.
[[nodiscard]] inline bool IsEntityTag(const QByteArray& text)
{
    const QByteArray opaque = text.startsWith("W/") ? text.mid(2) : text;
    const bool isQuoted = opaque.size() >= 2 && opaque.startsWith('"') && opaque.endsWith('"');
    const auto isTagCharacter = [](unsigned char byte) { return byte > 0x20 && byte != '"' && byte != 0x7f; };
    return isQuoted && std::all_of(opaque.begin() + 1, opaque.end() - 1, isTagCharacter);
}

} // namespace Orvane::Social
