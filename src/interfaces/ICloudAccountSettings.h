#pragma once

#include "OrvaneExport.h"

namespace Orvane::PDF::Settings {

/// The user's cloud account settings, read while a cloud manager is constructed and at no other time.
class ORVANE_INTERFACES_EXPORT ICloudAccountSettings
{
public:
    virtual ~ICloudAccountSettings() = default;

    /// Whether the list of cloud files is to be refreshed periodically.
    virtual bool IsAutoRefreshEnabled() = 0;

    /// The refresh period in milliseconds; asked for only when refreshing is enabled.
    virtual int GetAutoRefreshInterval() = 0;
};

} // namespace Orvane::PDF::Settings
