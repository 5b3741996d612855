#include "CaFile.h"

#include <QFile>

namespace Orvane::CommandLine {

namespace {

constexpr qint64 kLargestCaFile = 16 * 1024 * 1024;

Problem UnusableFile(const QString& why)
{
    return {
        ExitCode::Usage, QStringLiteral("unusable-ca-file"),
        QStringLiteral("The file of certificates to trust cannot be used"), why,
        QStringLiteral("Give --ca-file (or ORVANE_CLOUD_CA_FILE) a PEM file of the certificates to trust; "
                       "without it those of the system are trusted.")};
}

} // namespace

std::optional<Problem> CheckCaFile(const QString& caFile)
{
    if (caFile.isEmpty())
        return std::nullopt;
    QFile file(caFile);
    if (!file.open(QIODevice::ReadOnly))
        return UnusableFile(caFile + QStringLiteral(": ") + file.errorString());
    if (!file.read(kLargestCaFile).contains("CERTIFICATE-----"))
        return UnusableFile(caFile + QStringLiteral(": it holds no certificate in PEM form"));
    return std::nullopt;
}

} // namespace Orvane::CommandLine
