#pragma once

#include <AbstractCloudManager.h>
#include <ICloudAccountSettings.h>
#include <ICloudProtocol.h>
#include <IFileSystem.h>
#include <IHashCalculator.h>

#include <QMap>
#include <QSet>

#include <memory>
#include <string>

namespace Orvane::PDF::Cloud {

/// Drives a remote document cloud through an ICloudProtocol.
///
/// Every request is known by its ticket from the moment its start call has returned until its result arrives,
/// it is cancelled, or the manager is destroyed; callbacks for any other ticket are dropped silently. Every
/// operation but Authorization and Logout first asks whether somebody is signed in and otherwise does nothing
/// but emit AuthorizationRequired. The manager calls its own operations through their virtual slots. Failures
/// come as signals and log lines; nothing is thrown but a plain std::exception where stated.
///
/// Inside a signal a receiver may do anything: call any operation, run an event loop of its own (a message
/// box) in which other requests end, and destroy the manager. Operations that the signal interrupts then go
/// no further. The arguments of a signal stay valid until its receivers have returned.
class ORVANE_MANAGER_EXPORT OrvaneCloudManager : public AbstractCloudManager
{
    Q_OBJECT

public:
    /// Shares the protocol, the hash calculator and the file system; reads the settings now and never again.
    /// None may be null. The application owns the manager.
    OrvaneCloudManager(const std::shared_ptr<ICloudProtocol>& protocol,
                       const std::shared_ptr<IHashCalculator>& hashCalculator,
                       const std::shared_ptr<IFileSystem>& fileSystem,
                       const std::shared_ptr<Settings::ICloudAccountSettings>& settings);

    /// Cancels what still runs, without a signal of its own.
    ~OrvaneCloudManager() override;

    void Authorization(const QString& token) override;
    void Logout() override;
    [[nodiscard]] bool IsLoggedIn();

    /// Whether any upload or download is under way.
    [[nodiscard]] bool IsSyncInProgressWithCloud() const;

    void Upload(const QStringList& paths) override;
    void Upload(const QString& path) override;

    /// Uploads the document's local copy in the place of the document of that id. A null document is reported
    /// as UploadingFileRequestError with an empty path.
    void Upload(const std::shared_ptr<FileInfo>& document) override;

    void Download(const QList<std::shared_ptr<FileInfo>>& documents, const QString& folder) override;

    /// Downloads into @p folder under the cloud's file name; the document's path is set as soon as the
    /// request has started. Throws a plain std::exception for a null document. A document without a cloud
    /// side is reported as DownloadingFileRequestError.
    void Download(const std::shared_ptr<FileInfo>& document, const QString& folder) override;

    /// Does nothing while an upload or download is under way. Asks for three previews of every document.
    void RetrieveFilesList() override;

    /// Throws a plain std::exception for a null document.
    void RemoveFile(const std::shared_ptr<FileInfo>& document) override;

    /// Cancels the oldest running upload of exactly this path.
    void CancelUploading(const QString& path) override;

    /// Cancels the document's oldest running download and deletes the file at its local path. Throws a plain
    /// std::exception for a null document.
    void CancelDownloading(const std::shared_ptr<FileInfo>& document) override;

    void UserQuota() override;

    /// Stores the preview as a PNG file in the temporary folder and notes its path in the document. A null
    /// document is reported in the log only: a signal would hand the null on.
    void RetrieveFilePreview(const std::shared_ptr<FileInfo>& document, FileInfo::PreviewSize previewSize,
                             const QSize& size) override;

protected:
    using RequestResult = Social::RequestResult;
    using CloudFile = Social::Ability::File<Social::OrvaneCloudSharingResult>::FileInfo;
    using QuotaValues = QMap<QString, Social::Ability::Quota::QuotaValue>;

    void OnUploadCompleted(const QString& path, RequestResult result,
                           const Social::OrvaneCloudSharingResult& answer);
    void OnDownloadCompleted(const QString& folder, const std::shared_ptr<const FileInfo>& document,
                             RequestResult result);
    void OnRetrieveFilesListCompleted(RequestResult result, QList<CloudFile> entries);
    void OnRemoveFileCompleted(const std::shared_ptr<FileInfo>& document, RequestResult result);
    void OnRetrieveUserQuotaCompleted(RequestResult result, QuotaValues quota);
    void OnRetrieveFilePreviewCompleted(const std::shared_ptr<FileInfo>& document,
                                        FileInfo::PreviewSize previewSize, RequestResult result,
                                        QPixmap image);

private:
    void StartUpload(QString path, const QMap<QString, QString>& parameters);
    [[nodiscard]] QMap<QString, QString> UploadParameters(const QString& path) const;
    [[nodiscard]] std::shared_ptr<FileInfo>
    MakeUploadedDocument(const QString& path, const Social::OrvaneCloudSharingResult& answer) const;
    void StartDownload(std::shared_ptr<FileInfo> document, const QString& folder);
    void ReportDownloadNotStarted(const std::shared_ptr<const FileInfo>& document);
    void StartPreview(std::shared_ptr<FileInfo> document, FileInfo::PreviewSize previewSize,
                      const QSize& size);
    [[nodiscard]] QString StorePreview(const std::shared_ptr<FileInfo>& document,
                                       FileInfo::PreviewSize previewSize, const QPixmap& image) const;

    [[nodiscard]] bool RequireSignIn();
    [[nodiscard]] bool NotePending(long long ticket, const char* notStarted);
    [[nodiscard]] bool TakePending(long long ticket);
    [[nodiscard]] bool CancelTransfer(const std::string& key);
    void CancelPending(long long ticket);

    std::shared_ptr<ICloudProtocol> m_protocol;
    std::shared_ptr<IHashCalculator> m_hashCalculator;
    std::shared_ptr<IFileSystem> m_fileSystem;
    QSet<long long> m_pendingOperations;
    QMap<long long, std::string> m_pendingTransfers; // a path for an upload, a document id for a download
};

} // namespace Orvane::PDF::Cloud
