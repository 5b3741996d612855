#pragma once

namespace Orvane::Social {

/// What a server was found to keep to. By default nothing is relied on.
struct ServerTraits
{
    bool keepsOverwriteRule = false; ///< a MOVE with "Overwrite: F" replaces nothing (RFC 4918 §10.6)
    bool readsEscapes = false;       ///< "%41" in the Destination of a MOVE means "A" (RFC 3986 §2.1)
    bool honoursIfOnMove = false;    ///< a MOVE heeds the entity tag of its destination (RFC 4918 §10.4)
    bool reportsCreation = false;    ///< a MOVE to a free name is answered with 201 (RFC 4918 §9.9.4)
    bool keepsTagOnMove = false;     ///< a MOVE leaves the entity tag as it is
    bool keepsProperties = false;    ///< dead properties are stored (RFC 4918 §4)
    bool servesRanges = false;       ///< a part of a document can be fetched (RFC 9110 §14)
    bool tellsQuota = false;         ///< the space used is known (RFC 4331)
};

} // namespace Orvane::Social
