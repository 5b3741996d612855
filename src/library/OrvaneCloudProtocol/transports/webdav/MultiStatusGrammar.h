#pragma once

#include <QString>

namespace Orvane::Social {

/// Where one stands in a multi-status: the elements that we read.
enum class MultiStatusPlace
{
    Document, ///< outside of all elements
    Unknown,  ///< in an element that we do not read, or anywhere below it
    MultiStatus,
    Response,
    Href,
    ResponseStatus,
    PropStat,
    PropStatStatus,
    Prop,
    ResourceType,
    Checksums,
    CurrentUserPrincipal,

    Collection, ///< the first of those that hold the value of a property; see IsProperty
    ContentLength,
    EntityTag,
    LastModified,
    CreationDate,
    QuotaUsed,
    QuotaAvailable,
    Checksum,
    Md5Note,
    PrincipalHref
};

[[nodiscard]] constexpr bool IsProperty(MultiStatusPlace place)
{
    return place >= MultiStatusPlace::Collection;
}

/// Where the element leads from there.
[[nodiscard]] MultiStatusPlace PlaceOf(MultiStatusPlace parent, const QStringRef& elementNamespace,
                                       const QStringRef& elementName);

} // namespace Orvane::Social
