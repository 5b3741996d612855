#include "support/Properties.h"

#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavAddress.h>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <memory>

namespace {

using namespace Orvane;
using Fuzzing::Require;
using Social::HrefMeaning;
using Social::WebDavAddress;

using CurlText = std::unique_ptr<char, decltype(&curl_free)>;
using CurlAddress = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

/// Scheme, host and port that libcurl connects to; empty when it takes the text for no address.
QByteArray OriginForCurl(const QByteArray& url)
{
    const CurlAddress address(curl_url(), &curl_url_cleanup);
    if (curl_url_set(address.get(), CURLUPART_URL, url.constData(), CURLU_PATH_AS_IS) != CURLUE_OK)
        return {};
    const auto part = [&](CURLUPart which) {
        char* text = nullptr;
        (void)curl_url_get(address.get(), which, &text, CURLU_NO_DEFAULT_PORT);
        return QByteArray(CurlText(text, &curl_free).get());
    };
    Require(part(CURLUPART_USER).isEmpty() && part(CURLUPART_PASSWORD).isEmpty(), "no credentials are sent");
    const QByteArray port = part(CURLUPART_PORT);
    return part(CURLUPART_SCHEME) + "://" + part(CURLUPART_HOST) + (port.isEmpty() ? "" : ":" + port);
}

/// libcurl writes numbers the usual way, and asks a name server for all else.
bool IsLoopbackForCurl(const QByteArray& origin)
{
    const QByteArray host = origin.mid(origin.indexOf("//") + 2);
    const QByteArray name = host.startsWith('[') ? host.left(host.indexOf(']') + 1) : host.split(':').first();
    in_addr ignored{};
    const bool isNumber = name.startsWith("127.") && ::inet_pton(AF_INET, name.constData(), &ignored) == 1;
    return name == "localhost" || name == "[::1]" || isNumber;
}

void RequireMember(const WebDavAddress& address, const std::string& name)
{
    const QByteArray path = address.PathOf(name);
    const QByteArray origin = OriginForCurl(address.Origin() + path);
    Require(origin == OriginForCurl(address.Origin()), "a member is asked for at the cloud's host");
    for (const QByteArray& href : {path, address.Origin() + path}) {
        const HrefMeaning meaning = Social::MeaningOf(href, address.CollectionPath());
        Require(meaning.place == HrefMeaning::Place::Member && meaning.memberName == name,
                "the path of a member leads back to its name");
    }
}

void RequireCollection(const WebDavAddress& address, const std::string& text)
{
    const QByteArray url = address.Origin() + address.CollectionPath();
    const QByteArray origin = OriginForCurl(url);
    const QByteArray asTyped = OriginForCurl(QByteArray::fromStdString(text));
    Require(asTyped.isEmpty() || asTyped.toLower() == origin, "the host is the one that was typed");
    Require(!address.IsLoopback() || origin.isEmpty() || IsLoopbackForCurl(origin),
            "libcurl, too, takes this machine for this machine");
    const auto again = WebDavAddress::Parse(url.toStdString());
    Require(again && again->Origin() == address.Origin() &&
                again->CollectionPath() == address.CollectionPath(),
            "an address is read again as it was written");
    Require(!Fuzzing::HasControlCharacter(url) && !url.contains(' '), "an address fits into a request");
    Require(Social::MeaningOf(address.CollectionPath(), address.CollectionPath()).place ==
                HrefMeaning::Place::Collection,
            "a collection is found at its own path");
}

void RequireFolder(const std::string& text)
{
    const auto folder = Social::FolderOfAddress(text);
    if (!folder)
        return;
    Require(folder->is_absolute() && folder->string().find('\0') == std::string::npos,
            "a folder has an absolute path");
    const auto address = Social::AddressOfFile(*folder).toEncoded().toStdString();
    Require(Social::FolderOfAddress(address) == folder, "the address of a folder leads back to it");
}

} // namespace

/// Takes the first line of the input for an address, and the rest for an href or the name of a member.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto end = std::min(input.find('\n'), input.size());
    const std::string text = input.substr(0, end);
    const std::string rest = input.substr(std::min(end + 1, input.size()));
    RequireFolder(text);
    const auto meaning = Social::MeaningOf(QByteArray::fromStdString(rest), "/dav/");
    Require((meaning.place == HrefMeaning::Place::Member) != meaning.memberName.empty(),
            "a member, and nothing else, has a name");
    if (const auto address = WebDavAddress::Parse(text)) {
        RequireCollection(*address, text);
        if (Social::IsDocumentName(rest))
            RequireMember(*address, rest);
    }
    return 0;
}
