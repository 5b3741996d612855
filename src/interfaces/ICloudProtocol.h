#pragma once

#include "Abilities.h"
#include "OAuth2.h"
#include "Protocol.h"
#include "RequestResult.h"

namespace Orvane::PDF::Cloud {

/// The remote document cloud as the cloud manager sees it. Shared as std::shared_ptr; every call is made on
/// one thread, that of the event loop. What each operation promises stands with its ability.
class ORVANE_INTERFACES_EXPORT ICloudProtocol
    : public Social::Protocol<Social::Ability::Auth, Social::Ability::File<Social::OrvaneCloudSharingResult>,
                              Social::Ability::Quota, Social::Ability::Preview>
{
public:
    ~ICloudProtocol() override = default;
};

} // namespace Orvane::PDF::Cloud
