#include <OrvaneCloud/StoredDocument.h>
#include <OrvaneCloud/TextDate.h>

#include <QUrl>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace Orvane::PDF::Cloud::StoredDocument {
namespace {

const std::string kFilePath = "file_path";
const std::string kLocalFileHash = "local_file_hash";
const std::string kFileHash = "file_hash";
const std::string kLastSyncFileHash = "last_sync_file_hash";
const std::string kFileName = "file_name";
const std::string kIsPrivate = "is_private";
const std::string kDownloadUrl = "download_url";
const std::string kCreatedAt = "created_at";
const std::string kModifiedTime = "modified_time";
const std::string kLifetimeInSec = "lifetime_in_sec";
const std::string kCloudSize = "cloud_size";
const std::string kPreviewPath = "preview_path";

constexpr char kPreviewSeparator = ';';
constexpr std::array kPreviewSizes{FileInfo::PreviewSize::Small, FileInfo::PreviewSize::Medium,
                                   FileInfo::PreviewSize::Large};

const std::string& Text(const ICloudInfoStorage::Record& stored, const std::string& key)
{
    static const std::string kNone;
    const auto found = stored.find(key);
    return found == stored.end() ? kNone : found->second;
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

// A path that came by way of a QString, which changes nothing in ASCII and is dear.
ioPath ToPath(const std::string& utf8)
{
    const bool isAscii =
        std::all_of(utf8.begin(), utf8.end(), [](char byte) { return byte != 0 && (byte & 0x80) == 0; });
    return isAscii ? ioPath(utf8) : ioPath::from(QString::fromStdString(utf8));
}

std::string WritePreviews(const FileInfo::PreviewsSet& previews)
{
    std::string text;
    for (const auto& [size, path] : previews)
        text += path.utf8string() + kPreviewSeparator;
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
                               ReadTextDate(Text(stored, kCreatedAt)),
                               ReadTextDate(Text(stored, kModifiedTime)), lifeTime, Text(stored, kFileHash));
}

LocalCopy ReadLocalCopy(const ICloudInfoStorage::Record& stored)
{
    return {ioPath(Text(stored, kFilePath)), Text(stored, kLocalFileHash), Text(stored, kLastSyncFileHash)};
}

FileInfo::PreviewsSet ReadPreviews(const ICloudInfoStorage::Record& stored)
{
    const auto& text = Text(stored, kPreviewPath);
    FileInfo::PreviewsSet previews;
    std::size_t count = 0;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
        end = std::min(text.find(kPreviewSeparator, begin), text.size());
        if (begin == end)
            continue;
        auto path = ToPath(text.substr(begin, end - begin));
        if (count == kPreviewSizes.size() || path.empty()) // a NUL character ends it
            return {};
        previews.emplace(kPreviewSizes[count++], std::move(path));
    }
    return count == kPreviewSizes.size() ? previews : FileInfo::PreviewsSet();
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
    values.emplace_back(kCreatedAt, WriteTextDate(cloudInfo.GetCreatedAt()));
    values.emplace_back(kModifiedTime, WriteTextDate(cloudInfo.GetModifyTime()));
    values.emplace_back(kLifetimeInSec, std::to_string(cloudInfo.GetLifeTime()));
    values.emplace_back(kCloudSize, std::to_string(cloudInfo.GetSize()));
    values.emplace_back(kPreviewPath, WritePreviews(cloudInfo.GetPreviewsSet()));
    return values;
}

} // namespace Orvane::PDF::Cloud::StoredDocument
