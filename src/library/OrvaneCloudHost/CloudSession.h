#pragma once

#include <OAuth2.h>
#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudHost/DownloadTarget.h>
#include <OrvaneCloudProtocol/CloudGuarantees.h>
#include <OrvaneCloudProtocol/Failure.h>

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace Orvane::PDF::Cloud {

/// Everything an application needs to work with one cloud, put together: the collaborators, the protocol
/// client, the document list and the cloud manager, with the connections between the two.
///
/// - A retrieved list is merged into the document list: new documents are added, known ones updated with
///   their local copies kept, and those that the cloud no longer holds leave the list, unless they are being
///   transferred. A failed listing changes nothing.
/// - Finished uploads and downloads update the list, removals leave it, previews that arrive are stored in
///   it, in a private folder below AuthInfo::cacheFolder.
/// - A listed document is Syncing while it is downloaded or replaced, or its local copy is uploaded.
/// - A download that fails or is cancelled, whoever started it, changes no record and no file. Cloud() so
///   differs from a manager without a session in three things: a record gets its new path when the document
///   has arrived, not when its download starts; CancelDownloading deletes nothing; and pictures do not lie in
///   the temporary folder.
/// - The reason of every failure is announced, in order, before the manager's own signal has returned.
///
/// Lives on the thread of the event loop. Merging happens in short slices between other events, but not while
/// a receiver of the list's signals runs an event loop of its own. Destroying the session cancels what runs
/// (no partial file stays) and writes the list to its storage.
///
/// Receivers of its signals, of the manager's and of the list's may do what those of OrvaneCloudManager may,
/// and close or destroy the session: when that returns, the list is stored and free for another session.
class ORVANE_HOST_EXPORT CloudSession : public QObject
{
    Q_OBJECT

public:
    struct Setup
    {
        /// "file:///folder" or "https://host/collection/": any that the protocol client understands.
        QString cloudAddress;

        /// Where the document list and the settings are kept. Made when missing. This and the cache folder
        /// may be relative to the current folder of the process at the time. Both are made private to the
        /// user (0700), also when they are there already: they should hold nothing else.
        QString dataFolder;

        /// AuthInfo::cacheFolder also holds the remembered hashes of local copies. Its default is the folder
        /// "cache" in dataFolder; that of AuthInfo::dataFolder is dataFolder itself.
        Social::OAuth2::AuthInfo authInfo;

        /// Whether the program is to end at once. Asked often while a local file is hashed, which keeps the
        /// event loop waiting; true gives the hash up, and the file counts as one that cannot be read. The
        /// next session hashes it again.
        std::function<bool()> isInterrupted = {};
    };

    /// What failed: which operation, on what, and why. The subject is a local path for uploads, a document id
    /// for downloads, removals and previews, and empty for the rest.
    struct OperationFailure
    {
        Social::Operation operation;
        QString subject;
        Social::Failure failure;
    };

    /// Throws StorageError when the document list cannot be opened (see SqliteCloudInfoStorage).
    explicit CloudSession(const Setup& setup, QObject* parent = nullptr);
    ~CloudSession() override;

    /// Ends the session as its destruction does. Returns why the list, or a local copy of a document
    /// that left it, could not be saved, a sentence for people; empty when all is saved. Nothing may be asked
    /// of the session afterwards.
    QString Close();

    /// The cloud's operations and their signals. Owned by the session.
    [[nodiscard]] OrvaneCloudManager& Cloud();

    /// The document list. Owned by the session.
    [[nodiscard]] OrvaneCloudFilesManager& Documents();

    /// Whether SignIn wants a token from the user; a folder does not.
    [[nodiscard]] bool IsTokenNeeded() const;

    /// What the server protects when several programs change the cloud at once; nothing until that is known.
    /// See OrvaneCloudProtocol::Guarantees.
    [[nodiscard]] std::optional<Social::CloudGuarantees> Guarantees() const;

    /// Signs in. The outcome is the manager's AuthorizationCompleted or AuthorizationFailed.
    void SignIn(const QString& token = {});

    /// Downloads a document. Cloud() reports it, as it reports its own downloads: DownloadingStarted,
    /// progress, and one of DownloadingFinished (whose record has the path of the new file), -Canceled and
    /// -FileRequestError. Until it is finished the list, the record and all files stay as they are; then the
    /// new file is the document's local copy. Throws a plain std::exception for a null record.
    ///
    /// Failures are those of Cloud().Download, and Conflict for what is there already (ExistingFile::Refuse),
    /// LocalDisk for something there that is no file (ExistingFile::Replace), InvalidRequest for a file name
    /// that is no plain name.
    void Download(const std::shared_ptr<FileInfo>& document, const DownloadTarget& target);

    /// The same for a document of the list. One that the list does not hold is reported by OperationFailed
    /// alone (NotFound).
    void Download(const QString& documentId, const DownloadTarget& target);

    /// Cancels the document's oldest running download: DownloadingCanceled is emitted inside the call. No
    /// file is deleted. Does nothing when none is running.
    void CancelDownload(const QString& documentId);

    /// A message for people when the stored list was damaged and has been set aside; empty otherwise.
    [[nodiscard]] QString StorageNotice() const;

Q_SIGNALS:
    /// A request failed or did not start. The clean-up after a failed upload is not reported.
    void OperationFailed(const Orvane::PDF::Cloud::CloudSession::OperationFailure& failure);

    /// A request pauses before it asks the cloud again, which is away or too busy at the moment. Transfers do
    /// so for about a minute, with growing pauses; then they fail. The subject is a local path for uploads, a
    /// document id for downloads, and empty for other requests.
    void Waiting(const QString& subject, const Orvane::Social::Failure& why, int milliseconds);

    /// A retrieved list has been merged whole. The counts are of documents; their previews may still be on
    /// the way.
    void DocumentsRefreshed(int added, int updated, int removed);

    /// No preview is on the way any more, and the arrived ones are stored in the list.
    void PreviewsSettled();

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Orvane::PDF::Cloud

Q_DECLARE_METATYPE(Orvane::PDF::Cloud::CloudSession::OperationFailure)
