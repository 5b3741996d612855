#include <OrvaneCloudProtocol/transports/webdav/PropertyValues.h>

#include <OrvaneCloudProtocol/transports/http/EntityTag.h>
#include <OrvaneCloudProtocol/transports/webdav/Md5Note.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavDate.h>

#include <QList>

namespace Orvane::Social {

namespace {

std::optional<qint64> NumberIn(const QByteArray& text)
{
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    return isNumber ? std::make_optional(number) : std::nullopt;
}

std::optional<qint64> SizeIn(const QByteArray& text)
{
    const auto number = NumberIn(text);
    return number.value_or(-1) < 0 ? std::nullopt : number;
}

void SetEntityTag(DavResource& resource, const QByteArray& text)
{
    if (!IsEntityTag(text)) {
        return;
    }
    resource.isEntityTagWeak = text.startsWith("W/");
    resource.entityTag = resource.isEntityTagWeak ? text.mid(2) : text;
}

/// @param text  "SHA1:... MD5:... ADLER32:..."
QByteArray Md5InChecksums(const QByteArray& text)
{
    for (const QByteArray& checksum : text.simplified().split(' ')) {
        const QByteArray md5 = NormalizedMd5(checksum.mid(4));
        if (!md5.isEmpty() && checksum.left(4).toUpper() == "MD5:") {
            return md5;
        }
    }
    return {};
}

} // namespace

void SetProperty(DavResource& resource, MultiStatusPlace property, const QByteArray& value)
{
    switch (property) {
    case MultiStatusPlace::ResourceType:
        resource.isTypeKnown = true;
        break;
    case MultiStatusPlace::Collection:
        resource.isCollection = true;
        break;
    case MultiStatusPlace::ContentLength:
        resource.size = SizeIn(value);
        break;
    case MultiStatusPlace::EntityTag:
        SetEntityTag(resource, value);
        break;
    case MultiStatusPlace::LastModified:
        resource.modifiedAt = WebDavDateOf(value);
        break;
    case MultiStatusPlace::CreationDate:
        resource.createdAt = WebDavDateOf(value);
        break;
    case MultiStatusPlace::QuotaUsed:
        resource.quotaUsed = NumberIn(value);
        break;
    case MultiStatusPlace::QuotaAvailable:
        resource.quotaAvailable = NumberIn(value);
        break;
    case MultiStatusPlace::Checksum:
        resource.serverMd5 = resource.serverMd5.isEmpty() ? Md5InChecksums(value) : resource.serverMd5;
        break;
    case MultiStatusPlace::Md5Note:
        resource.md5Note = value;
        break;
    case MultiStatusPlace::PrincipalHref:
        resource.principal = value;
        break;
    default:
        break;
    }
}

int StatusIn(const QByteArray& statusLine)
{
    const int space = statusLine.indexOf(' ');
    const QByteArray code = statusLine.mid(space + 1, 3);
    bool isNumber = false;
    const int status = code.toInt(&isNumber);
    const bool isStatus = isNumber && space > 0 && status >= 100;
    return isStatus && statusLine.startsWith("HTTP/") ? status : 0;
}

} // namespace Orvane::Social
