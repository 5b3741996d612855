#include "QuotaText.h"

#include "PrintableText.h"

#include <QJsonValue>

namespace Orvane::CommandLine {

namespace {

qint64 ToBytes(int kib)
{
    return qint64{kib} * 1024;
}

} // namespace

QString ToText(const Quota& quota)
{
    const QString used = ToHumanSize(ToBytes(quota.usedInKiB));
    if (quota.allowedInKiB <= 0)
        return QStringLiteral("%1 used, limit unknown").arg(used);
    const qint64 percent = qint64{quota.usedInKiB} * 100 / quota.allowedInKiB;
    return QStringLiteral("%1 used of %2 (%3 %)")
        .arg(used, ToHumanSize(ToBytes(quota.allowedInKiB)), QString::number(percent));
}

QJsonObject ToJson(const Quota& quota)
{
    const QJsonValue allowed =
        quota.allowedInKiB > 0 ? QJsonValue(ToBytes(quota.allowedInKiB)) : QJsonValue();
    return {{QStringLiteral("usedBytes"), ToBytes(quota.usedInKiB)},
            {QStringLiteral("allowedBytes"), allowed}};
}

} // namespace Orvane::CommandLine
