#include "CloudAccountSettings.h"

#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <chrono>

namespace Orvane::PDF::Cloud {
namespace {

using std::chrono::milliseconds;

constexpr qint64 kShortestInterval = milliseconds(std::chrono::seconds(5)).count();
constexpr qint64 kLongestInterval = milliseconds(std::chrono::hours(24)).count();
constexpr int kDefaultInterval = milliseconds(std::chrono::minutes(5)).count();

QString AutomaticKey()
{
    return QStringLiteral("Refresh/Automatic");
}

QString IntervalKey()
{
    return QStringLiteral("Refresh/IntervalInMilliseconds");
}

int HeldToLimits(qint64 interval)
{
    return static_cast<int>(std::clamp(interval, kShortestInterval, kLongestInterval));
}

} // namespace

CloudAccountSettings::CloudAccountSettings(const QString& iniFile)
    : m_settings(iniFile, QSettings::IniFormat)
{}

// QVariant takes every text but "false" and "0" for true, "off" and "no" included.
bool CloudAccountSettings::IsAutoRefreshEnabled()
{
    static const QStringList yes{QStringLiteral("true"), QStringLiteral("1"), QStringLiteral("yes"),
                                 QStringLiteral("on")};
    return yes.contains(m_settings.value(AutomaticKey()).toString().trimmed(), Qt::CaseInsensitive);
}

int CloudAccountSettings::GetAutoRefreshInterval()
{
    bool isNumber = false;
    const auto interval = m_settings.value(IntervalKey()).toString().trimmed().toLongLong(&isNumber);
    return isNumber ? HeldToLimits(interval) : kDefaultInterval;
}

bool CloudAccountSettings::SetAutoRefreshEnabled(bool isEnabled)
{
    return Write(AutomaticKey(), isEnabled);
}

bool CloudAccountSettings::SetAutoRefreshInterval(int milliseconds)
{
    return Write(IntervalKey(), HeldToLimits(milliseconds));
}

bool CloudAccountSettings::Write(const QString& key, const QVariant& value)
{
    m_settings.setValue(key, value);
    m_settings.sync();
    return m_settings.status() == QSettings::NoError;
}

} // namespace Orvane::PDF::Cloud
