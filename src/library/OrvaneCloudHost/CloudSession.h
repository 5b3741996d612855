#pragma once

#include <OAuth2.h>
#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudProtocol/CloudGuarantees.h>
#include <OrvaneCloudProtocol/Failure.h>

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace Orvane::PDF::Cloud {

/// Everything an application needs to work with one cloud, put together: the collaborators, the protocol
/// client, the document list and the cloud manager, with the connections between the two.
///
/// - A retrieved list is merged into the document list: new documents are added, known ones updated with
/// their
///   local copies kept, and those that the cloud no longer holds leave the list, unless they are being
///   transferred. A failed listing changes nothing.
/// - Finished uploads and downloads update the list, removals leave it, previews that arrive are stored in
/// it.
/// - The reason of every failure is announced, in order, before the manager's own signal has returned.
///
/// Lives on the thread of the event loop. Merging happens in short slices between other events. Destroying
/// the session cancels what runs (no partial file stays) and writes the list to its storage.
class ORVANE_HOST_EXPORT CloudSession : public QObject
{
    Q_OBJECT

public:
    struct Setup
    {
        /// "file:///folder" or "https://host/collection/": any that the protocol client understands.
        QString cloudAddress;

        /// Where the document list and the settings are kept. Made when missing.
        QString dataFolder;

        /// AuthInfo::cacheFolder also holds the remembered hashes of local copies.
        Social::OAuth2::AuthInfo authInfo;
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

    /// Ends the session as its destruction does. Returns why the list could not be saved, a sentence for
    /// people; empty when it is. Nothing may be asked of the session afterwards.
    QString Close();

    /// The cloud's operations and their signals. Owned by the session.
    [[nodiscard]] OrvaneCloudManager& Cloud();

    /// The document list. Owned by the session.
    [[nodiscard]] OrvaneCloudFilesManager& Documents();

    /// Whether SignIn wants a token from the user; a folder does not.
    [[nodiscard]] bool IsTokenNeeded() const;

    /// What the cloud protects when several programs change it at once; nothing until that is known. See
    /// OrvaneCloudProtocol::Guarantees.
    [[nodiscard]] std::optional<Social::CloudGuarantees> Guarantees() const;

    /// Signs in. The outcome is the manager's AuthorizationCompleted or AuthorizationFailed.
    void SignIn(const QString& token = {});

    /// A message for people when the stored list was damaged and has been set aside; empty otherwise.
    [[nodiscard]] QString StorageNotice() const;

Q_SIGNALS:
    /// A request failed or did not start. The clean-up after a failed upload is not reported.
    void OperationFailed(const Orvane::PDF::Cloud::CloudSession::OperationFailure& failure);

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
