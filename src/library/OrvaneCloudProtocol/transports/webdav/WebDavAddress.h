#pragma once

#include <QByteArray>

#include <optional>
#include <string>
#include <string_view>

namespace Orvane::Social {

/// Where a WebDAV collection lies: "https://host/collection/".
class WebDavAddress
{
public:
    /// Nothing when the address is none of ours: another scheme, no host, a user name or password in it, a
    /// query, a fragment, "." or ".." as a part of the path, characters that no address may have. The "/" at
    /// the end may be missing.
    [[nodiscard]] static std::optional<WebDavAddress> Parse(const std::string& address);

    [[nodiscard]] bool IsEncrypted() const;

    /// Whether the host is this machine: "localhost", 127.0.0.0/8 or [::1].
    [[nodiscard]] bool IsLoopback() const;

    /// Scheme and authority in lower case, without the scheme's usual port: "https://host:8443".
    [[nodiscard]] const QByteArray& Origin() const { return m_origin; }

    /// The host, with its port unless that is the usual one: "host:8443".
    [[nodiscard]] QByteArray Authority() const;

    /// The path of the collection, encoded, from "/" to "/".
    [[nodiscard]] const QByteArray& CollectionPath() const { return m_path; }

    /// The path of the member with this name (any bytes), encoded.
    [[nodiscard]] QByteArray PathOf(std::string_view memberName) const;

private:
    QByteArray m_origin;
    QByteArray m_path;
};

/// What a server's href stands for, seen from the collection that it was asked about.
struct HrefMeaning
{
    enum class Place
    {
        Collection, ///< the collection itself, with or without the "/" at its end
        Member,     ///< a direct member, collections included
        Elsewhere
    };

    Place place = Place::Elsewhere;
    std::string memberName; ///< decoded once, any bytes; of a member only
    QByteArray authority;   ///< host and port in lower case when the href is a full URL; else empty
};

/// Understands an href as a path or as a full URL (RFC 4918 §8.3), in upper- or lower-case escapes. Some
/// servers leave "#" and "?" in names unescaped: all that follows the authority is taken for the path. The
/// path is split before it is decoded, and compared by its decoded bytes.
///
/// @param collectionPath  as WebDavAddress::CollectionPath
[[nodiscard]] HrefMeaning MeaningOf(const QByteArray& href, const QByteArray& collectionPath);

} // namespace Orvane::Social
