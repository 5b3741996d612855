#pragma once

#include <ICloudAccountSettings.h>

#include <OrvaneExport.h>

#include <QSettings>
#include <QString>

namespace Orvane::PDF::Cloud {

/// The account settings in an INI file, group [Refresh]: "Automatic" (true or false) and
/// "IntervalInMilliseconds". What is missing or makes no sense reads as the default: no refreshing, 5
/// minutes. Intervals are held to 5 seconds up to 24 hours, when read and when set alike.
class ORVANE_HOST_EXPORT CloudAccountSettings : public Settings::ICloudAccountSettings
{
public:
    /// The file need not exist; it is made, with its folder, by the first setter.
    explicit CloudAccountSettings(const QString& iniFile);

    bool IsAutoRefreshEnabled() override;
    int GetAutoRefreshInterval() override;

    /// The setters write at once and answer whether that worked. A manager that exists does not notice.
    bool SetAutoRefreshEnabled(bool isEnabled);
    bool SetAutoRefreshInterval(int milliseconds);

private:
    bool Write(const QString& key, const QVariant& value);

    QSettings m_settings;
};

} // namespace Orvane::PDF::Cloud
