#pragma once

#include <OrvaneCloudProtocol/transports/webdav/MultiStatus.h>

#include <QString>

namespace Orvane::Social {

/// What tells one state of a document from another, as far as its server says.
struct DocumentVersion
{
    std::optional<qint64> size; ///< bytes
    QByteArray entityTag;       ///< with its quotes, without "W/"; empty when the server has none
    bool isEntityTagWeak = false;
    QDateTime modifiedAt;
    QByteArray md5; ///< lower-case hexadecimal; empty when not known

    [[nodiscard]] static DocumentVersion Of(const DavResource& resource, const QByteArray& md5 = {})
    {
        return {resource.size, resource.entityTag, resource.isEntityTagWeak, resource.modifiedAt, md5};
    }

    [[nodiscard]] bool IsSameAs(const DocumentVersion& other) const
    {
        if (!entityTag.isEmpty() && !other.entityTag.isEmpty()) {
            return HasTagOf(other);
        }
        return size == other.size && modifiedAt == other.modifiedAt;
    }

    /// Whether both have a tag, and the same one.
    [[nodiscard]] bool HasTagOf(const DocumentVersion& other) const
    {
        return !entityTag.isEmpty() && entityTag == other.entityTag;
    }

    /// For If-Match and If-Range, which need a strong one (RFC 9110 §8.8.3.2); else empty.
    [[nodiscard]] QByteArray StrongEntityTag() const { return isEntityTagWeak ? QByteArray() : entityTag; }

    /// For If (RFC 4918 §10.4): as the server wrote it; empty when there is none.
    [[nodiscard]] QByteArray TagForConditions() const
    {
        return isEntityTagWeak && !entityTag.isEmpty() ? "W/" + entityTag : entityTag;
    }

    /// One text for all of it.
    [[nodiscard]] QString Text() const
    {
        if (!entityTag.isEmpty()) {
            return QString::fromUtf8(entityTag);
        }
        return QStringLiteral("%1-%2").arg(size.value_or(-1)).arg(modifiedAt.toSecsSinceEpoch());
    }
};

} // namespace Orvane::Social
