#pragma once

#include "OrvaneExport.h"

namespace Orvane::Social {

/// A cloud protocol: the sum of its abilities, in the order given.
template <typename... Abilities>
class ORVANE_INTERFACES_EXPORT Protocol : public Abilities...
{
public:
    ~Protocol() override = default;
};

} // namespace Orvane::Social
