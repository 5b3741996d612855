#pragma once

namespace Orvane::Social {

/// What a cloud was found to protect when several programs change it within the same few milliseconds. Where
/// it does not, the client looks just before and just after each change, which leaves a gap between the two.
struct CloudGuarantees
{
    /// A new document never takes the place of another one of the same name.
    bool areNewNamesProtected = false;

    /// A document is replaced only in the version that this client has seen.
    bool areReplacementsProtected = false;
};

} // namespace Orvane::Social
