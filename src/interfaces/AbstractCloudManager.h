#pragma once

#include "FileInfo.h"
#include "MetaTypes.h"

#include <QList>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>

#include <memory>

namespace Orvane::PDF {

/// Drives a remote document cloud. Operations return at once; what becomes of them is told by signals,
/// emitted on the manager's thread. Where a signal carries a document, "the caller's" is the very object
/// passed in and "a copy" is a new one. Messages are fixed English texts.
class ORVANE_INTERFACES_EXPORT AbstractCloudManager : public QObject
{
    Q_OBJECT

public:
    AbstractCloudManager();
    ~AbstractCloudManager() override;

    virtual void Authorization(const QString& token) = 0;
    virtual void Logout() = 0;
    virtual void Upload(const QStringList& paths) = 0;
    virtual void Upload(const QString& path) = 0;
    virtual void Upload(const std::shared_ptr<FileInfo>& document) = 0;
    virtual void Download(const QList<std::shared_ptr<FileInfo>>& documents, const QString& folder) = 0;
    virtual void Download(const std::shared_ptr<FileInfo>& document, const QString& folder) = 0;
    virtual void RetrieveFilesList() = 0;
    virtual void RemoveFile(const std::shared_ptr<FileInfo>& document) = 0;
    virtual void CancelUploading(const QString& path) = 0;
    virtual void CancelDownloading(const std::shared_ptr<FileInfo>& document) = 0;
    virtual void UserQuota() = 0;
    virtual void RetrieveFilePreview(const std::shared_ptr<FileInfo>& document,
                                     FileInfo::PreviewSize previewSize, const QSize& size) = 0;

    // Argument types are written in full: moc takes them as text, and they must match the registered names.
Q_SIGNALS:
    /// An operation was called while nobody is signed in; nothing else has happened.
    void AuthorizationRequired();
    void AuthorizationCompleted();
    void AuthorizationFailed();
    void LoggedOut();

    void UploadingStarted(const QString& path);
    void UploadingProgressValueChanged(const QString& path, int progress);
    /// A new record of the stored document, with its local copy.
    void UploadingFinished(const std::shared_ptr<Orvane::PDF::FileInfo>& document);
    void UploadingCanceled(const QString& path);
    void UploadingFileRequestError(const QString& path, const QString& message);

    /// The caller's document.
    void DownloadingStarted(const std::shared_ptr<Orvane::PDF::FileInfo>& document);
    /// The caller's document.
    void DownloadingProgressValueChanged(const std::shared_ptr<const Orvane::PDF::FileInfo>& document,
                                         int progress);
    /// A copy.
    void DownloadingFinished(const std::shared_ptr<const Orvane::PDF::FileInfo>& document);
    /// The caller's document when CancelDownloading ended it, a copy when the cloud did.
    void DownloadingCanceled(const std::shared_ptr<const Orvane::PDF::FileInfo>& document);
    /// The caller's document when the request did not start, a copy when it failed later.
    void DownloadingFileRequestError(const std::shared_ptr<const Orvane::PDF::FileInfo>& document,
                                     const QString& message);

    void RetrievingFilesListStarted();
    /// New records in the cloud's order. Their previews are still on the way and will be set in these
    /// objects.
    void RetrievingFilesListFinished(const QList<std::shared_ptr<Orvane::PDF::FileInfo>>& documents);
    void RetrievingFilesListCanceled();
    void RetrievingFilesListErrorRequested(const QString& message);

    /// The caller's document, as in all signals below.
    void RemoveFileFinished(const std::shared_ptr<Orvane::PDF::FileInfo>& document);
    void RemovingFileError(const std::shared_ptr<const Orvane::PDF::FileInfo>& document,
                           const QString& message);

    void RetrievingUserQuotaStarted();
    /// The cloud's two figures, each cut to its low 32 bits.
    void RetrievingUserQuotaFinished(int first, int second);
    void RetrievingUserQuotaCanceled();
    void RetrievingUserQuotaErrorRequested(const QString& message);

    void RetrieveFilePreviewStarted(const std::shared_ptr<Orvane::PDF::FileInfo>& document,
                                    Orvane::PDF::FileInfo::PreviewSize previewSize);
    void RetrieveFilePreviewFinished(const std::shared_ptr<Orvane::PDF::FileInfo>& document,
                                     Orvane::PDF::FileInfo::PreviewSize previewSize);
    void RetrieveFilePreviewCanceled(const std::shared_ptr<const Orvane::PDF::FileInfo>& document);
    void RetrieveFilePreviewError(const std::shared_ptr<const Orvane::PDF::FileInfo>& document,
                                  Orvane::PDF::FileInfo::PreviewSize previewSize, const QString& message);
};

} // namespace Orvane::PDF
