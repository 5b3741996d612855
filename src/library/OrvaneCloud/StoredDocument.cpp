#include <OrvaneCloud/StoredDocument.h>

#include <QLocale>
#include <QStringList>
#include <QUrl>

#include <stdexcept>

namespace Orvane::PDF::Cloud::StoredDocument {
namespace {

constexpr auto kFilePath = "file_path";
constexpr auto kLocalFileHash = "local_file_hash";
constexpr auto kFileHash = "file_hash";
constexpr auto kLastSyncFileHash = "last_sync_file_hash";
constexpr auto kFileName = "file_name";
constexpr auto kIsPrivate = "is_private";
constexpr auto kDownloadUrl = "download_url";
constexpr auto kCreatedAt = "created_at";
constexpr auto kModifiedTime = "modified_time";
constexpr auto kLifetimeInSec = "lifetime_in_sec";
constexpr auto kCloudSize = "cloud_size";
constexpr auto kPreviewPath = "preview_path";

constexpr QChar kPreviewSeparator = QLatin1Char(';');

std::string Text(const ICloudInfoStorage::Record& stored, const char* key)
{
    const auto found = stored.find(key);
    return found == stored.end() ? std::string() : found->second;
}

template <typename Number>
Number ReadNumber(const std::string& text, Number (*parse)(const std::string&, std::size_t*, int))
{
    try {
        return parse(text, nullptr, 10);
    } catch (const std::logic_error&) { // not a number, or out of range
        return 0;
    }
}

// A text date names its zone only as UTC or as an offset in whole minutes. Anything finer or named goes into
// one that does, without moving the moment.
QDateTime WithWritableZone(const QDateTime& date)
{
    const bool isWholeMinutes = date.offsetFromUtc() % 60 == 0;
    switch (date.timeSpec()) {
    case Qt::TimeZone:
        return isWholeMinutes ? date.toOffsetFromUtc(date.offsetFromUtc()) : date.toUTC();
    case Qt::OffsetFromUTC:
        return isWholeMinutes ? date : date.toUTC();
    case Qt::LocalTime:
    case Qt::UTC:
        break;
    }
    return date;
}

QString ZoneText(const QDateTime& date)
{
    if (date.timeSpec() == Qt::LocalTime)
        return QString();
    if (date.timeSpec() == Qt::UTC)
        return QStringLiteral(" GMT");
    const int minutes = date.offsetFromUtc() / 60;
    return QString::asprintf(" GMT%c%02d%02d", minutes < 0 ? '-' : '+', qAbs(minutes) / 60,
                             qAbs(minutes) % 60);
}

std::string WritePreviews(const FileInfo::PreviewsSet& previews)
{
    std::string text;
    for (const auto& [size, path] : previews)
        text += path.utf8string() + static_cast<char>(kPreviewSeparator.unicode());
    return text;
}

} // namespace

FileInfo::CloudInfo ReadCloudInfo(const std::string& id, const ICloudInfoStorage::Record& stored)
{
    const auto size = ReadNumber<unsigned long long>(Text(stored, kCloudSize), std::stoull);
    const bool isPrivate = ReadNumber<int>(Text(stored, kIsPrivate), std::stoi) != 0;
    const int lifeTime = ReadNumber<int>(Text(stored, kLifetimeInSec), std::stoi);
    const QUrl downloadUrl(QString::fromStdString(Text(stored, kDownloadUrl)), QUrl::TolerantMode);
    return FileInfo::CloudInfo(id, Text(stored, kFileName), size, isPrivate, downloadUrl,
                               ReadDate(Text(stored, kCreatedAt)), ReadDate(Text(stored, kModifiedTime)),
                               lifeTime, Text(stored, kFileHash));
}

LocalCopy ReadLocalCopy(const ICloudInfoStorage::Record& stored)
{
    return {ioPath(Text(stored, kFilePath)), Text(stored, kLocalFileHash), Text(stored, kLastSyncFileHash)};
}

FileInfo::PreviewsSet ReadPreviews(const ICloudInfoStorage::Record& stored)
{
    const auto paths =
        QString::fromStdString(Text(stored, kPreviewPath)).split(kPreviewSeparator, Qt::SkipEmptyParts);
    if (paths.size() != 3)
        return {};
    return {
        {FileInfo::PreviewSize::Small, ioPath::from(paths[0])},
        {FileInfo::PreviewSize::Medium, ioPath::from(paths[1])},
        {FileInfo::PreviewSize::Large, ioPath::from(paths[2])},
    };
}

Values Write(const FileInfo& document, const FileInfo::CloudInfo& cloudInfo)
{
    Values values;
    values.reserve(12);
    if (!document.GetPath().empty()) {
        values.emplace_back(kFilePath, document.GetPath().utf8string());
        values.emplace_back(kLocalFileHash, document.GetMd5Hash());
    }
    values.emplace_back(kFileHash, cloudInfo.GetMd5Hash());
    values.emplace_back(kLastSyncFileHash, document.GetCloudHashBeforeChange());
    values.emplace_back(kFileName, cloudInfo.GetFileName());
    values.emplace_back(kIsPrivate, cloudInfo.IsPrivate() ? "1" : "0");
    values.emplace_back(kDownloadUrl, cloudInfo.GetDownloadUrl().toString().toStdString());
    values.emplace_back(kCreatedAt, WriteDate(cloudInfo.GetCreatedAt()));
    values.emplace_back(kModifiedTime, WriteDate(cloudInfo.GetModifyTime()));
    values.emplace_back(kLifetimeInSec, std::to_string(cloudInfo.GetLifeTime()));
    values.emplace_back(kCloudSize, std::to_string(cloudInfo.GetSize()));
    values.emplace_back(kPreviewPath, WritePreviews(cloudInfo.GetPreviewsSet()));
    return values;
}

std::string WriteDate(const QDateTime& date)
{
    if (!date.isValid())
        return std::string();
    const auto writable = WithWritableZone(date);
    const auto day = writable.date();
    const auto& english = QLocale::c();
    const QString text = english.dayName(day.dayOfWeek(), QLocale::ShortFormat) + QLatin1Char(' ') +
                         english.monthName(day.month(), QLocale::ShortFormat) + QLatin1Char(' ') +
                         QString::number(day.day()) + QLatin1Char(' ') +
                         writable.time().toString(QStringLiteral("HH:mm:ss")) + QLatin1Char(' ') +
                         QString::number(day.year()) + ZoneText(writable);
    return text.toStdString();
}

QDateTime ReadDate(const std::string& text)
{
    return QDateTime::fromString(QString::fromStdString(text), Qt::TextDate);
}

} // namespace Orvane::PDF::Cloud::StoredDocument
