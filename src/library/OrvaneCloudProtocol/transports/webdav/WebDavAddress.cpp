#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>

#include <QList>

#include <algorithm>

namespace Orvane::Social {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kSchemeEnd = "://";

bool ConsistsOf(std::string_view characters, std::string_view text)
{
    return text.find_first_not_of(characters) == std::string_view::npos;
}

QByteArray BytesOf(std::string_view text)
{
    return {text.data(), static_cast<int>(text.size())};
}

std::string_view TextOf(const QByteArray& bytes)
{
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

int HexValue(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const int letter = character | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

bool IsEscapeAt(std::string_view text, std::size_t at)
{
    return at + 2 < text.size() && text[at] == '%' && HexValue(text[at + 1]) >= 0 &&
           HexValue(text[at + 2]) >= 0;
}

/// A "%" that begins no escape stands for itself: some servers leave it bare.
std::string Decoded(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (IsEscapeAt(text, at)) {
            decoded += static_cast<char>(HexValue(text[at + 1]) * 16 + HexValue(text[at + 2]));
            at += 2;
        } else {
            decoded += text[at];
        }
    }
    return decoded;
}

/// Removes the next part of a path from its beginning. Empty at the end: empty parts are passed over, as
/// servers are known to double a "/".
std::string_view TakePart(std::string_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const auto part = path.substr(0, path.find('/'));
    path.remove_prefix(part.size());
    return part;
}

/// Removes "https://" or "http://" from the beginning; gives the scheme, empty when there is none of these.
QByteArray TakeScheme(std::string_view& address)
{
    const auto length = address.find(kSchemeEnd);
    const QByteArray scheme = BytesOf(address.substr(0, std::min<std::size_t>(length, 8))).toLower();
    if (length == std::string_view::npos || (scheme != "https" && scheme != "http")) {
        return {};
    }
    address.remove_prefix(length + kSchemeEnd.size());
    return scheme;
}

/// Removes all up to the path.
std::string_view TakeAuthority(std::string_view& address)
{
    const auto authority = address.substr(0, address.find('/'));
    address.remove_prefix(authority.size());
    return authority;
}

struct HostAndPort
{
    QByteArray host;
    QByteArray port; ///< empty when it is the scheme's usual one
};

/// Host and port as they stand there, valid or not.
HostAndPort Split(std::string_view authority, const QByteArray& scheme)
{
    const auto end = authority.find(':', authority.front() == '[' ? authority.find(']') : 0);
    const auto host = authority.substr(0, end);
    auto port = authority.substr(std::min(host.size() + 1, authority.size()));
    while (port.size() > 1 && port.front() == '0') {
        port.remove_prefix(1);
    }
    const bool isUsual = port == (scheme == "https" ? "443" : "80");
    return {BytesOf(host).toLower(), isUsual ? QByteArray() : BytesOf(port)};
}

QByteArray Joined(const HostAndPort& address)
{
    return address.port.isEmpty() ? address.host : address.host + ':' + address.port;
}

bool IsHost(std::string_view host)
{
    constexpr std::string_view kNameCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-_.";
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        return ConsistsOf("0123456789abcdef:.", host.substr(1, host.size() - 2));
    }
    return !host.empty() && host.front() != '.' && ConsistsOf(kNameCharacters, host) &&
           host.find("..") == std::string_view::npos;
}

bool IsPort(std::string_view port)
{
    const bool isNumber = ConsistsOf(kDigits, port) && port.size() <= 5 && port != "0";
    return port.empty() || (isNumber && std::stoi(std::string(port)) <= 65535);
}

/// Whether nothing but a scheme, a host, a port and a path can be in it. Bytes beyond ASCII are no part of a
/// valid address, but people do type them.
bool HasAddressCharactersOnly(std::string_view address)
{
    constexpr std::string_view kForbidden = "\"<>\\^`{|}?#\x7F";
    return std::none_of(address.begin(), address.end(), [&](char character) {
        const bool isControl = static_cast<unsigned char>(character) <= ' ';
        return isControl || kForbidden.find(character) != std::string_view::npos;
    });
}

bool IsWellEncoded(std::string_view text)
{
    for (auto at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 1)) {
        if (!IsEscapeAt(text, at)) {
            return false;
        }
    }
    return true;
}

/// Looks at the decoded path as a whole, as a server may do: "%2E%2E%2F" climbs, too.
bool StaysInPlace(std::string_view path)
{
    const std::string decoded = Decoded(path);
    std::string_view rest(decoded);
    for (auto part = TakePart(rest); !part.empty(); part = TakePart(rest)) {
        if (part == "." || part == ".." || part.find('\0') != std::string_view::npos) {
            return false;
        }
    }
    return true;
}

QByteArray WithBytesBeyondAsciiEncoded(std::string_view text)
{
    QByteArray encoded;
    for (const char character : text) {
        const bool isAscii = static_cast<unsigned char>(character) < 0x80;
        encoded += isAscii ? QByteArray(1, character) : QByteArray(1, character).toPercentEncoding();
    }
    return encoded;
}

QByteArray FromSlashToSlash(std::string_view path)
{
    QByteArray result("/");
    for (auto part = TakePart(path); !part.empty(); part = TakePart(path)) {
        result += WithBytesBeyondAsciiEncoded(part) + '/';
    }
    return result;
}

/// Numbers written the usual way only: libcurl reads a leading "0" as octal, and where that makes no sense it
/// asks a name server for the host.
bool IsLoopbackV4(const QByteArray& host)
{
    const QList<QByteArray> numbers = host.split('.');
    return numbers.size() == 4 && numbers.front() == "127" &&
           std::all_of(numbers.begin(), numbers.end(), [](const QByteArray& number) {
               const int value = number.toInt();
               return value >= 0 && value <= 255 && number == QByteArray::number(value);
           });
}

} // namespace

std::optional<WebDavAddress> WebDavAddress::Parse(const std::string& address)
{
    std::string_view rest(address);
    const QByteArray scheme = TakeScheme(rest);
    const std::string_view authority = TakeAuthority(rest);
    if (!HasAddressCharactersOnly(address) || scheme.isEmpty() || authority.empty()) {
        return std::nullopt;
    }
    const HostAndPort server = Split(authority, scheme);
    if (!IsHost(TextOf(server.host)) || !IsPort(TextOf(server.port)) || !IsWellEncoded(rest) ||
        !StaysInPlace(rest)) {
        return std::nullopt;
    }
    WebDavAddress result;
    result.m_origin = scheme + BytesOf(kSchemeEnd) + Joined(server);
    result.m_path = FromSlashToSlash(rest);
    return result;
}

bool WebDavAddress::IsEncrypted() const
{
    return m_origin.startsWith("https:");
}

bool WebDavAddress::IsLoopback() const
{
    const QByteArray authority = Authority();
    const QByteArray host = Split(TextOf(authority), {}).host;
    return host == "localhost" || host == "[::1]" || IsLoopbackV4(host);
}

QByteArray WebDavAddress::Authority() const
{
    return m_origin.mid(m_origin.indexOf("//") + 2);
}

QByteArray WebDavAddress::PathOf(std::string_view memberName) const
{
    return m_path + BytesOf(memberName).toPercentEncoding();
}

HrefMeaning MeaningOf(const QByteArray& href, const QByteArray& collectionPath)
{
    HrefMeaning meaning;
    std::string_view rest = TextOf(href);
    const QByteArray scheme = TakeScheme(rest);
    if (!scheme.isEmpty()) {
        std::string_view authority = TakeAuthority(rest);
        authority.remove_prefix(authority.rfind('@') + 1); // npos + 1 is 0
        meaning.authority = authority.empty() ? QByteArray() : Joined(Split(authority, scheme));
    } else if (rest.empty() || rest.front() != '/') {
        return meaning;
    }
    std::string_view collection = TextOf(collectionPath);
    for (auto part = TakePart(collection); !part.empty(); part = TakePart(collection)) {
        if (Decoded(TakePart(rest)) != Decoded(part)) {
            return meaning;
        }
    }
    const std::string_view name = TakePart(rest);
    if (name.empty()) {
        meaning.place = HrefMeaning::Place::Collection;
    } else if (TakePart(rest).empty()) {
        meaning.place = HrefMeaning::Place::Member;
        meaning.memberName = Decoded(name);
    }
    return meaning;
}

} // namespace Orvane::Social
