#pragma once

#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudHost/DownloadTarget.h>

#include <QSet>

#include <memory>

namespace Orvane::PDF::Cloud {

class KeptLocalSide;
class PictureFolder;
class SessionProtocol;

/// The cloud manager of a session. Signals, their order and the log are the manager's, but:
///
/// - A record takes the path of what is downloaded when it has arrived, and not before. What does not arrive
///   leaves the record, and every file that was there before, as it was.
/// - Pictures go to a private folder.
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

    /// Replaces a file that is there.
    void Download(const std::shared_ptr<FileInfo>& document, const QString& folder) override;
    void Download(const std::shared_ptr<FileInfo>& document, const DownloadTarget& target);

    /// Deletes nothing.
    void CancelDownloading(const std::shared_ptr<FileInfo>& document) override;

    void RetrieveFilePreview(const std::shared_ptr<FileInfo>& document, FileInfo::PreviewSize previewSize,
                             const QSize& size) override;

private:
    using Document = std::shared_ptr<FileInfo>;

    void PrepareForResult(const Document& document, RequestResult result);
    [[nodiscard]] std::shared_ptr<KeptLocalSide> HideLocalSide(const Document& document);
    [[nodiscard]] long long RequestPreview(const Document& document, FileInfo::PreviewSize previewSize,
                                           const QSize& size);
    void OnPreview(const Document& document, FileInfo::PreviewSize previewSize, RequestResult result,
                   const QPixmap& image);

    const Collaborators m_use;
    const PictureFolder& m_pictures;
    QSet<long long> m_previewTickets;
    std::shared_ptr<KeptLocalSide> m_hidden; // the latest
};

} // namespace Orvane::PDF::Cloud
