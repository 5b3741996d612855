#include "QuotaText.h"

#include "PrintableText.h"

#include <QJsonValue>

#include <limits>

namespace Orvane::CommandLine {

namespace {

qint64 ToBytes(int kib)
{
    return qint64{kib} * 1024;
}

/// The largest figure stands for all larger ones as well.
bool IsCapped(int kib)
{
    return kib == std::numeric_limits<int>::max();
}

QString SizeText(int kib)
{
    return (IsCapped(kib) ? QStringLiteral("at least ") : QString()) + ToHumanSize(ToBytes(kib));
}

} // namespace

QString ToText(const Quota& quota)
{
    const QString used = SizeText(quota.usedInKiB);
    if (quota.allowedInKiB <= 0)
        return QStringLiteral("%1 used, limit unknown").arg(used);
    if (IsCapped(quota.allowedInKiB))
        return QStringLiteral("%1 used of %2").arg(used, SizeText(quota.allowedInKiB));
    const qint64 percent = qint64{quota.usedInKiB} * 100 / quota.allowedInKiB;
    return QStringLiteral("%1 used of %2 (%3 %)")
        .arg(used, SizeText(quota.allowedInKiB), QString::number(percent));
}

QJsonObject ToJson(const Quota& quota)
{
    const QJsonValue allowed =
        quota.allowedInKiB > 0 ? QJsonValue(ToBytes(quota.allowedInKiB)) : QJsonValue();
    return {{QStringLiteral("usedBytes"), ToBytes(quota.usedInKiB)},
            {QStringLiteral("allowedBytes"), allowed}};
}

} // namespace Orvane::CommandLine
