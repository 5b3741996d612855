#include <OrvaneCloudProtocol/transports/webdav/PropertyRequests.h>

#include <OrvaneCloudProtocol/transports/webdav/DavNames.h>

#include <QString>

namespace Orvane::Social {

namespace {

QByteArray BytesOf(std::string_view text)
{
    return {text.data(), static_cast<int>(text.size())};
}

/// The usual prefix "D": there are servers that look for it instead of for the namespace.
QByteArray Document(const QByteArray& root, const QByteArray& content)
{
    return R"(<?xml version="1.0" encoding="utf-8"?>)"
           "\n<D:" +
           root + R"( xmlns:D=")" + BytesOf(kDavNamespace) + R"(" xmlns:oc=")" +
           BytesOf(kChecksumsNamespace) + R"(" xmlns:o=")" + BytesOf(kOurNamespace) + "\">" + content +
           "</D:" + root + ">\n";
}

QByteArray Propfind(const QByteArray& properties)
{
    return Document("propfind", "<D:prop>" + properties + "</D:prop>");
}

} // namespace

QByteArray PropfindForDocuments()
{
    return Propfind("<D:resourcetype/><D:getcontentlength/><D:getetag/><D:getlastmodified/><D:creationdate/>"
                    "<oc:checksums/><o:" +
                    BytesOf(kMd5NoteName) + "/>");
}

QByteArray PropfindForQuota()
{
    return Propfind("<D:resourcetype/><D:quota-used-bytes/><D:quota-available-bytes/>");
}

QByteArray PropfindForPrincipal()
{
    return Propfind("<D:resourcetype/><D:current-user-principal/>");
}

QByteArray ProppatchOfMd5Note(const QByteArray& note)
{
    const QByteArray property = "o:" + BytesOf(kMd5NoteName);
    const QByteArray value = QString::fromUtf8(note).toHtmlEscaped().toUtf8();
    return Document("propertyupdate",
                    "<D:set><D:prop><" + property + ">" + value + "</" + property + "></D:prop></D:set>");
}

} // namespace Orvane::Social
