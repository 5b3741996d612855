#include <OrvaneCloudProtocol/transports/webdav/MultiStatusGrammar.h>

#include <OrvaneCloudProtocol/transports/webdav/DavNames.h>

#include <algorithm>
#include <iterator>

namespace Orvane::Social {

namespace {

struct Step
{
    MultiStatusPlace parent;
    std::string_view elementNamespace;
    std::string_view elementName;
    MultiStatusPlace place;
};

using Place = MultiStatusPlace;

constexpr Step kSteps[] = {
    {Place::Document, kDavNamespace, "multistatus", Place::MultiStatus},
    {Place::MultiStatus, kDavNamespace, "response", Place::Response},
    {Place::Response, kDavNamespace, "href", Place::Href},
    {Place::Response, kDavNamespace, "propstat", Place::PropStat},
    {Place::Response, kDavNamespace, "status", Place::ResponseStatus},
    {Place::PropStat, kDavNamespace, "prop", Place::Prop},
    {Place::PropStat, kDavNamespace, "status", Place::PropStatStatus},
    {Place::Prop, kDavNamespace, "resourcetype", Place::ResourceType},
    {Place::Prop, kDavNamespace, "getcontentlength", Place::ContentLength},
    {Place::Prop, kDavNamespace, "getetag", Place::EntityTag},
    {Place::Prop, kDavNamespace, "getlastmodified", Place::LastModified},
    {Place::Prop, kDavNamespace, "creationdate", Place::CreationDate},
    {Place::Prop, kDavNamespace, "quota-used-bytes", Place::QuotaUsed},
    {Place::Prop, kDavNamespace, "quota-available-bytes", Place::QuotaAvailable},
    {Place::Prop, kDavNamespace, "current-user-principal", Place::CurrentUserPrincipal},
    {Place::Prop, kChecksumsNamespace, "checksums", Place::Checksums},
    {Place::Prop, kOurNamespace, kMd5NoteName, Place::Md5Note},
    {Place::ResourceType, kDavNamespace, "collection", Place::Collection},
    {Place::Checksums, kChecksumsNamespace, "checksum", Place::Checksum},
    {Place::CurrentUserPrincipal, kDavNamespace, "href", Place::PrincipalHref},
};

bool AreEqual(const QStringRef& text, std::string_view constant)
{
    return text == QLatin1String(constant.data(), static_cast<int>(constant.size()));
}

} // namespace

MultiStatusPlace PlaceOf(MultiStatusPlace parent, const QStringRef& elementNamespace,
                         const QStringRef& elementName)
{
    const auto* const step = std::find_if(std::begin(kSteps), std::end(kSteps), [&](const Step& candidate) {
        return candidate.parent == parent && AreEqual(elementName, candidate.elementName) &&
               AreEqual(elementNamespace, candidate.elementNamespace);
    });
    return step == std::end(kSteps) ? Place::Unknown : step->place;
}

} // namespace Orvane::Social
