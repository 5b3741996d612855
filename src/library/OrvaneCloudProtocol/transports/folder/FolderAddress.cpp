#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>

#include <QByteArray>

#include <string_view>

namespace Orvane::Social {

namespace {

bool IsHexDigit(char character)
{
    return std::string_view("0123456789abcdefABCDEF").find(character) != std::string_view::npos;
}

bool IsWellEncoded(const QByteArray& text)
{
    for (int at = text.indexOf('%'); at >= 0; at = text.indexOf('%', at + 1)) {
        if (at + 2 >= text.size() || !IsHexDigit(text[at + 1]) || !IsHexDigit(text[at + 2])) {
            return false;
        }
    }
    return true;
}

/// What follows the host; empty when the address is none of ours.
QByteArray EncodedPathOf(const QByteArray& address)
{
    for (const char* beginning : {"file://localhost/", "file:///"}) {
        if (address.toLower().startsWith(beginning)) {
            return address.mid(static_cast<int>(qstrlen(beginning)) - 1);
        }
    }
    return {};
}

} // namespace

std::optional<std::filesystem::path> FolderOfAddress(const std::string& address)
{
    const QByteArray encoded = EncodedPathOf(QByteArray::fromStdString(address));
    const QByteArray decoded = QByteArray::fromPercentEncoding(encoded);
    if (encoded.isEmpty() || !IsWellEncoded(encoded) || decoded.contains('\0')) {
        return std::nullopt;
    }
    const std::filesystem::path folder(decoded.toStdString());
    return folder.has_filename() ? folder : folder.parent_path(); // without "/" at the end
}

QUrl AddressOfFile(const std::filesystem::path& file)
{
    const QByteArray path = QByteArray::fromStdString(file.generic_string()).toPercentEncoding("/");
    return QUrl::fromEncoded("file://" + path, QUrl::StrictMode);
}

} // namespace Orvane::Social
