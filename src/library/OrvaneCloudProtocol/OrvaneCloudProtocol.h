#pragma once

#include <Abilities.h>
#include <OAuth2.h>
#include <OrvaneCloudProtocol/CloudGuarantees.h>
#include <OrvaneCloudProtocol/Failure.h>
#include <Protocol.h>

#include <QObject>

#include <memory>
#include <optional>
#include <string>

namespace Orvane::Social {

/// The cloud protocol client: carries out requests against the cloud at one address.
///
/// Made, used and destroyed on one thread, which runs a Qt event loop; every callback comes from that loop.
/// Blocking work happens on threads of its own that never touch the caller's objects. Tickets count up from 1
/// and are never used twice. A ticket's result comes once; after cancelOperation, or once the client is gone,
/// nothing comes. Destruction stops what runs and leaves no partial file behind.
///
/// A request does not start (INVALID_TICKET) while nobody is signed in, and when its parameters make no
/// sense. LastFailure tells why, as it does for requests that fail later.
class ORVANE_PROTOCOL_EXPORT OrvaneCloudProtocol
    : public QObject,
      public Protocol<Ability::Auth, Ability::File<OrvaneCloudSharingResult>, Ability::Quota,
                      Ability::Preview>
{
    Q_OBJECT

public:
    using Files = Ability::File<OrvaneCloudSharingResult>;

    static const QString API_VERSION;
    static const QString APP_ID_ON_CLOUD;
    static const QString CHUNK_MIME_TYPE;
    static const QString EXISTING_FILE;
    static const QString FILE_MIME_TYPE;
    static const QString FILE_NAME;
    static const QString FILE_PREVIEW_HEIGHT;
    static const QString FILE_PREVIEW_WIDTH;
    static const QString FILE_SIZE;
    static const QString ID;
    static const QString KNOWN_MD5;
    static const QString KNOWN_MODIFY_TIME;
    static const QString KNOWN_SIZE;
    static const QString MD5_HASH;
    static const QString SSO_TOKEN;

    /// @param address  the cloud's address, UTF-8: "file:///folder" for a plain folder,
    ///                 "https://host/collection/" for a WebDAV server. One that is not understood makes a
    ///                 client that never signs in (FailureCode::InvalidAddress).
    OrvaneCloudProtocol(const OAuth2::AuthInfo& authInfo, const std::string& address, QObject* parent);
    ~OrvaneCloudProtocol() override;

    /// Why the last request of this kind failed or did not start; empty when none has. Set before the
    /// result callback runs, and before INVALID_TICKET is returned.
    [[nodiscard]] std::optional<Failure> LastFailure(Operation operation) const;

    /// The full path of the file that the latest successful download has made; empty when none has. Set
    /// before its result callback runs.
    [[nodiscard]] QString LastDownloadedFile() const;

    /// Whether a sign-in at this address wants a token from the user. A folder takes any text.
    [[nodiscard]] bool IsTokenNeeded() const;

    /// What a WebDAV server was found to protect when several programs change the cloud at once; nothing
    /// until the first upload has learnt it, and for a folder. Remembered between runs.
    [[nodiscard]] std::optional<CloudGuarantees> Guarantees() const;

    /// Ignores a ticket that has been answered, has been cancelled, or never was one.
    void cancelOperation(long long ticket) override;

    /// Needs SSO_TOKEN; the other parameters are sent along where the cloud asks for them.
    long long auth(const QMap<QString, QString>& parameters, Auth::OnResult&& onResult) override;

    /// Requests under way are left as they are.
    void logout() override;
    bool loggedIn() override;
    long long userName(OnText&& onResult) override;
    long long userProfile(OnUrl&& onResult) override;
    long long userPic(OnImage&& onResult) override;
    long long userPic(OnText&& onResult) override;

    /// Needs ID.
    long long retriveFileInfo(const FileFieldData& file, OnFileInfo&& onResult) override;

    /// The PDF documents that are direct members of the cloud's collection, in ascending order of id.
    long long retriveFileList(const FileFieldData& filter, OnFileList&& onResult) override;

    /// Needs ID and FILE_NAME (the full path of the file to write, which appears when the document has
    /// arrived whole). A FILE_SIZE other than 0 must be the document's size. EXISTING_FILE says what becomes
    /// of a file that is there by then: "replace" (also when absent; a link to a file stays, and that file is
    /// replaced), "refuse" (it stays: FailureCode::Conflict) or "keep_both" (it stays, and the document
    /// becomes "name (2).pdf" or the like). Only a regular file is ever replaced
    /// (FailureCode::LocalDisk). Progress is 0 to 100, in per cent.
    long long downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                           OnProgress&& onProgress) override;

    /// Needs ID, the id of a document: never a collection. One that is already gone counts as deleted. With
    /// KNOWN_SIZE (bytes), KNOWN_MODIFY_TIME (ISO 8601) and KNOWN_MD5, each of which may be missing but the
    /// first, a document of another version fails with FailureCode::Conflict, unless this client has seen it
    /// since: then it must be in the version that was seen, as without these.
    long long deleteFile(const FileFieldData& file, Files::OnResult&& onResult) override;

    /// Stores a local PDF file: as a new document, which gets another name when its own is taken
    /// ("name (2).pdf"), or, with ID, in the place of exactly that document, whose version is checked as by
    /// deleteFile. MD5_HASH, when not empty, must
    /// be the hash of what is sent. The answer of a failed upload names a document only if the upload has
    /// itself left a new one there that it could not take away again. Progress is 0 to 100, in per cent.
    long long uploadFile(const QString& localPath, const QMap<QString, QString>& parameters,
                         OnUploaded&& onResult, OnProgress&& onProgress) override;

    /// One entry, "pdf": KiB used and KiB allowed, each within 0 and 2^31 - 1. Allowed 0: the cloud does not
    /// say.
    long long userQuota(OnQuota&& onResult) override;

    /// Needs ID, FILE_PREVIEW_WIDTH and FILE_PREVIEW_HEIGHT (pixels, 1 to 4096): page 1, as large as fits,
    /// with its own aspect ratio. Needs a QGuiApplication.
    long long retrievePreview(const QMap<QString, QString>& parameters, OnPreview&& onResult) override;

Q_SIGNALS:
    /// The request pauses before it asks the cloud again, which is away or too busy at the moment. Uploads
    /// and downloads do so for about a minute, with growing pauses. May come several times while a request is
    /// under way. The failure is that of the last attempt.
    void Waiting(long long ticket, const Orvane::Social::Failure& why, int milliseconds);

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::Social
