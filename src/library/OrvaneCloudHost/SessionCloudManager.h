#pragma once

#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudHost/DownloadTarget.h>

#include <QSet>

#include <memory>
#include <set>

namespace Orvane::PDF::Cloud {

class KeptLocalSide;
class PictureFolder;
class SessionProtocol;

/// The cloud manager of a session. Its signals, their order and its log lines are those of the base class.
/// Two things differ:
///
/// - A record gets the path of a downloaded file when the document has arrived, and not before. A download
///   that fails or is cancelled changes neither the record nor a file that existed before.
/// - Preview pictures are stored in a private folder.
class SessionCloudManager : public OrvaneCloudManager
{
public:
    struct Collaborators
    {
        std::shared_ptr<SessionProtocol> protocol;
        std::shared_ptr<IHashCalculator> hashCalculator;
        std::shared_ptr<IFileSystem> fileSystem;
        std::shared_ptr<Settings::ICloudAccountSettings> settings;
    };

    /// @p pictures must outlive the manager.
    SessionCloudManager(const Collaborators& collaborators, const PictureFolder& pictures);

    /// Cancels what still runs, without a signal.
    ~SessionCloudManager() override;

    using OrvaneCloudManager::Download;
    using OrvaneCloudManager::Upload;

    void Upload(const QString& path) override;

    /// Replaces the version that the record knows, or fails with a conflict.
    void Upload(const std::shared_ptr<FileInfo>& document) override;

    /// Removes the version that the record knows, or fails with a conflict.
    void RemoveFile(const std::shared_ptr<FileInfo>& document) override;

    /// Whether this record is that of a failed upload, whose removal the manager itself has asked for.
    [[nodiscard]] bool IsCleanUp(const std::shared_ptr<const FileInfo>& document) const;

    /// Replaces a file that is there.
    void Download(const std::shared_ptr<FileInfo>& document, const QString& folder) override;
    void Download(const std::shared_ptr<FileInfo>& document, const DownloadTarget& target);

    /// Deletes nothing.
    void CancelDownloading(const std::shared_ptr<FileInfo>& document) override;

    void RetrieveFilePreview(const std::shared_ptr<FileInfo>& document, FileInfo::PreviewSize previewSize,
                             const QSize& size) override;

private:
    using Document = std::shared_ptr<FileInfo>;

    void NoteRemoval(const Document& document);
    void PrepareForResult(const Document& document, RequestResult result);
    [[nodiscard]] std::shared_ptr<KeptLocalSide> HideLocalSide(const Document& document);
    void StartPreview(Document document, FileInfo::PreviewSize previewSize, QSize size);
    [[nodiscard]] long long RequestPreview(const Document& document, FileInfo::PreviewSize previewSize,
                                           const QSize& size);
    void OnPreview(const Document& document, FileInfo::PreviewSize previewSize, RequestResult result,
                   const QPixmap& image);

    const Collaborators m_use;
    const PictureFolder& m_pictures;
    QSet<long long> m_previewTickets;
    std::shared_ptr<KeptLocalSide> m_hidden; // the latest
    std::set<std::weak_ptr<const FileInfo>, std::owner_less<>> m_cleanUps;
};

} // namespace Orvane::PDF::Cloud
