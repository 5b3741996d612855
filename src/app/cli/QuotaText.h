#pragma once

#include <QJsonObject>
#include <QString>

namespace Orvane::CommandLine {

/// The space used in a cloud, in KiB as the cloud manager tells it.
struct Quota
{
    int usedInKiB = 0;
    int allowedInKiB = 0; ///< 0: the cloud does not say; the largest number: that, or more
};

/// "1.5 MiB used of 2.0 GiB (0 %)", or "1.5 MiB used, limit unknown". Where the figures end, sizes are "at
/// least 2.0 TiB".
[[nodiscard]] QString ToText(const Quota& quota);

/// { "usedBytes", "allowedBytes" (or null) }
[[nodiscard]] QJsonObject ToJson(const Quota& quota);

} // namespace Orvane::CommandLine
