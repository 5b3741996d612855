#include "FileInfo.h"

#include <filesystem>
#include <tuple>
#include <utility>

namespace Orvane::PDF {

FileInfo::CloudInfo::CloudInfo(const std::string& id, const std::string& fileName, unsigned long long size,
                               bool isPrivate, const QUrl& downloadUrl, const QDateTime& createdAt,
                               const QDateTime& modifyTime, int lifeTime, const std::string& md5Hash)
    : m_id(id)
    , m_fileName(fileName)
    , m_size(size)
    , m_isPrivate(isPrivate)
    , m_downloadUrl(downloadUrl)
    , m_createdAt(createdAt)
    , m_modifyTime(modifyTime)
    , m_lifeTime(lifeTime)
    , m_md5Hash(md5Hash)
{}

bool operator==(const FileInfo::CloudInfo& left, const FileInfo::CloudInfo& right)
{
    const auto fields = [](const FileInfo::CloudInfo& info) {
        return std::tie(info.m_id, info.m_fileName, info.m_size, info.m_isPrivate, info.m_downloadUrl,
                        info.m_createdAt, info.m_modifyTime, info.m_lifeTime, info.m_md5Hash,
                        info.m_previews);
    };
    return fields(left) == fields(right);
}

FileInfo::FileInfo(const CloudInfo& cloudInfo)
    : m_id(cloudInfo.GetId())
    , m_cloudInfo(cloudInfo)
{}

void FileInfo::SetPath(const ioPath& path, const std::string& hash)
{
    m_path = path;
    m_md5Hash = hash;
    NoteSynchronisation();
}

void FileInfo::SetPath(const ioPath& path, const std::string& hash, const std::string& cloudHashBeforeChange)
{
    m_path = path;
    m_md5Hash = hash;
    m_cloudHashBeforeChange = cloudHashBeforeChange;
}

unsigned long long FileInfo::GetSize() const
{
    if (m_path.empty() || m_path.utf8string().find('\0') != std::string::npos)
        return 0;
    std::error_code error;
    const auto size = std::filesystem::file_size(std::filesystem::u8path(m_path.utf8string()), error);
    return error ? 0 : size;
}

std::optional<const FileInfo::CloudInfo> FileInfo::GetCloudInfo() const
{
    if (!m_cloudInfo)
        return std::nullopt;
    return *m_cloudInfo;
}

std::optional<FileInfo::CloudInfo>& FileInfo::GetRedactableCloudInfo() noexcept
{
    return m_cloudInfo;
}

bool FileInfo::UpdateCloudInfo(const CloudInfo& cloudInfo)
{
    CloudInfo updated = cloudInfo;
    if (updated.m_previews.empty())
        updated.m_previews = GetPreviewsSet();
    const bool isChanged = !m_cloudInfo || !(*m_cloudInfo == updated);
    if (isChanged)
        m_cloudInfo = std::move(updated);
    NoteSynchronisation();
    return isChanged;
}

FileInfo::CloudStatus FileInfo::GetCloudStatus() const
{
    if (!m_cloudInfo)
        return CloudStatus::NotUploaded;
    if (m_isSyncingInProgress)
        return CloudStatus::Syncing;
    if (m_path.empty() || m_md5Hash.empty()) // a path where no file can be read
        return CloudStatus::CloudOnly;

    const auto& cloudHash = m_cloudInfo->m_md5Hash;
    if (cloudHash.empty())
        return CloudStatus::Undefined;
    if (m_md5Hash == cloudHash)
        return CloudStatus::Synchronized;
    if (m_cloudHashBeforeChange == cloudHash)
        return CloudStatus::LocalChanged;
    if (!m_cloudHashBeforeChange.empty() && m_cloudHashBeforeChange == m_md5Hash)
        return CloudStatus::CloudChanged;
    return CloudStatus::Conflict;
}

FileInfo::PreviewsSet FileInfo::GetPreviewsSet() const
{
    return m_cloudInfo ? m_cloudInfo->m_previews : m_ownPreviews;
}

void FileInfo::SetPreviewsSet(const PreviewsSet& previews)
{
    (m_cloudInfo ? m_cloudInfo->m_previews : m_ownPreviews) = previews;
}

std::string FileInfo::previewSizetoString(PreviewSize size)
{
    switch (size) {
    case PreviewSize::Small:
        return "Small";
    case PreviewSize::Medium:
        return "Medium";
    case PreviewSize::Large:
        return "Large";
    }
    return "Size" + std::to_string(static_cast<int>(size));
}

// The last moment when both sides were known to hold the same content.
void FileInfo::NoteSynchronisation()
{
    if (m_cloudInfo && !m_md5Hash.empty() && m_md5Hash == m_cloudInfo->m_md5Hash)
        m_cloudHashBeforeChange = m_md5Hash;
}

} // namespace Orvane::PDF
