#pragma once

#include "OrvaneExport.h"
#include "ioPath.h"

#include <QDateTime>
#include <QUrl>

#include <map>
#include <optional>
#include <string>

namespace Orvane::PDF {

/// One cloud document: its id, its cloud side, and its local copy. Shared as std::shared_ptr and changed in
/// place by whoever holds it, on the thread of the event loop. Texts are UTF-8. A record can be copied but
/// not assigned to, because its id never changes. The getters return copies.
class ORVANE_INTERFACES_EXPORT FileInfo
{
public:
    enum class PreviewSize : int
    {
        Small = 0,
        Medium = 1,
        Large = 2
    };

    /// How the local copy and the cloud's stand to each other. The hash of the last synchronisation tells
    /// which side has moved since.
    enum class CloudStatus : int
    {
        Synchronized = 0, ///< both sides have the same content
        CloudOnly = 1,    ///< no local copy
        LocalChanged = 2, ///< only the local copy has changed
        CloudChanged = 3, ///< only the cloud's has changed
        Undefined = 4,    ///< the cloud does not say what it holds
        NotUploaded = 5,  ///< no cloud side
        Syncing = 6,      ///< a transfer is under way
        Conflict = 7      ///< both have changed, or nothing is known of the last synchronisation
    };

    /// At most one image file for each size, in ascending order of size.
    using PreviewsSet = std::map<PreviewSize, ioPath>;

    /// The cloud side of a document: a value.
    class ORVANE_INTERFACES_EXPORT CloudInfo
    {
    public:
        /// @param size      bytes
        /// @param lifeTime  seconds that the cloud keeps the file
        /// @param md5Hash   MD5 of the cloud's content as lower-case hexadecimal text, empty when unknown
        CloudInfo(const std::string& id, const std::string& fileName, unsigned long long size, bool isPrivate,
                  const QUrl& downloadUrl, const QDateTime& createdAt, const QDateTime& modifyTime,
                  int lifeTime, const std::string& md5Hash);

        [[nodiscard]] std::string GetId() const { return m_id; }
        [[nodiscard]] std::string GetFileName() const { return m_fileName; }
        [[nodiscard]] unsigned long long GetSize() const noexcept { return m_size; }
        [[nodiscard]] bool IsPrivate() const noexcept { return m_isPrivate; }
        [[nodiscard]] QUrl GetDownloadUrl() const { return m_downloadUrl; }
        [[nodiscard]] QDateTime GetCreatedAt() const { return m_createdAt; }
        [[nodiscard]] QDateTime GetModifyTime() const { return m_modifyTime; }
        [[nodiscard]] int GetLifeTime() const noexcept { return m_lifeTime; }
        [[nodiscard]] std::string GetMd5Hash() const { return m_md5Hash; }

        [[nodiscard]] PreviewsSet GetPreviewsSet() const { return m_previews; }
        void SetPreviewsSet(const PreviewsSet& previews) { m_previews = previews; }

        /// Adds or replaces the image of one size; the others keep theirs.
        void SetPreviewPathBySize(const ioPath& path, PreviewSize size) { m_previews[size] = path; }

        /// Whether every field is the same, previews included.
        friend ORVANE_INTERFACES_EXPORT bool operator==(const CloudInfo& left, const CloudInfo& right);

    private:
        friend class FileInfo;

        std::string m_id;
        std::string m_fileName;
        unsigned long long m_size;
        bool m_isPrivate;
        QUrl m_downloadUrl;
        QDateTime m_createdAt;
        QDateTime m_modifyTime;
        int m_lifeTime;
        std::string m_md5Hash;
        PreviewsSet m_previews;
    };

    /// A cloud-only document: the id is the cloud part's, there is no local copy.
    explicit FileInfo(const CloudInfo& cloudInfo);

    FileInfo(const FileInfo&) = default;
    FileInfo& operator=(const FileInfo&) = delete;

    [[nodiscard]] std::string GetId() const { return m_id; }

    /// The local copy's path, empty when there is none.
    [[nodiscard]] ioPath GetPath() const { return m_path; }

    /// Records a local copy and the MD5 of its content. When that is also the cloud's content, it becomes the
    /// hash of the last synchronisation.
    void SetPath(const ioPath& path, const std::string& hash);

    /// Restores a stored local copy, with the cloud's hash at the last synchronisation.
    void SetPath(const ioPath& path, const std::string& hash, const std::string& cloudHashBeforeChange);

    /// The local copy's MD5 as last set.
    [[nodiscard]] std::string GetMd5Hash() const { return m_md5Hash; }

    /// The cloud's hash at the last synchronisation, empty when none is known.
    [[nodiscard]] std::string GetCloudHashBeforeChange() const { return m_cloudHashBeforeChange; }

    /// The local copy's size in bytes, asked of the file system now; 0 when there is no local copy.
    [[nodiscard]] unsigned long long GetSize() const;

    /// A copy of the cloud part.
    [[nodiscard]] std::optional<const CloudInfo> GetCloudInfo() const;

    /// The cloud part itself, to be read or changed in place.
    [[nodiscard]] std::optional<CloudInfo>& GetRedactableCloudInfo() noexcept;

    /// Replaces the cloud part, but keeps the previews when @p cloudInfo brings none. The id stays.
    /// Returns whether anything changed.
    bool UpdateCloudInfo(const CloudInfo& cloudInfo);

    [[nodiscard]] CloudStatus GetCloudStatus() const;

    /// The preview set: the cloud part's own when there is one.
    [[nodiscard]] PreviewsSet GetPreviewsSet() const;
    void SetPreviewsSet(const PreviewsSet& previews);

    [[nodiscard]] bool IsSyncingInProgress() const noexcept { return m_isSyncingInProgress; }
    void SetIsSyncingInProgress(bool isInProgress) noexcept { m_isSyncingInProgress = isInProgress; }

    /// A fixed name for each size ("Small", "Medium", "Large"): part of preview file names, key of the map
    /// that the interface layer receives.
    [[nodiscard]] static std::string previewSizetoString(PreviewSize size);

private:
    void NoteSynchronisation();

    const std::string m_id;
    std::optional<CloudInfo> m_cloudInfo;
    ioPath m_path;
    std::string m_md5Hash;
    std::string m_cloudHashBeforeChange;
    PreviewsSet m_ownPreviews; // used only while there is no cloud part
    bool m_isSyncingInProgress = false;
};

} // namespace Orvane::PDF
