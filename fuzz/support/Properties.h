#pragma once

#include "Require.h"

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>

#include <QByteArray>

#include <algorithm>

namespace Orvane::Fuzzing {

/// Such a text in a header would end it, or be cut.
inline bool HasControlCharacter(const QByteArray& text)
{
    return std::any_of(text.begin(), text.end(),
                       [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; });
}

/// RFC 9110 §8.8.3, without "W/".
inline bool IsOpaqueTag(const QByteArray& text)
{
    return text.size() >= 2 && text.startsWith('"') && text.endsWith('"') && text.count('"') == 2 &&
           !text.contains(' ') && !HasControlCharacter(text);
}

/// For everything that a version puts into headers.
inline void RequireSafeTags(const Social::DocumentVersion& version)
{
    const QByteArray strong = version.StrongEntityTag();
    Require(strong.isEmpty() || IsOpaqueTag(strong), "a tag for If-Match is an entity tag");
    const QByteArray condition = version.TagForConditions();
    const QByteArray opaque = condition.startsWith("W/") ? condition.mid(2) : condition;
    Require(condition.isEmpty() || IsOpaqueTag(opaque), "a tag for If is an entity tag");
}

/// An id becomes a part of a path and of stored lists.
inline void RequireSafeId(const QString& id)
{
    const auto isUnsafe = [](QChar character) {
        return QStringLiteral("/\\;:*?\"<>|").contains(character) ||
               character.category() == QChar::Other_Control;
    };
    Require(!id.isEmpty() && !id.startsWith(QLatin1Char('.')), "an id is a visible name");
    Require(std::none_of(id.begin(), id.end(), isUnsafe), "an id is one safe part of a path");
    Require(Social::DocumentIdOf(Social::DocumentNameOf(id).value()) == id, "an id has one spelling");
}

} // namespace Orvane::Fuzzing
