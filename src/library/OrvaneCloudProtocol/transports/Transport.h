#pragma once

#include <Abilities.h>
#include <OrvaneCloudProtocol/CloudGuarantees.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QDateTime>

#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

namespace Orvane::Social {

/// An upload failed and has left a new document in the cloud that it could not take away again.
class LeftBehindError : public CloudError
{
public:
    LeftBehindError(const CloudError& error, const QString& id)
        : CloudError(error)
        , m_id(id)
    {}

    [[nodiscard]] const QString& GetId() const noexcept { return m_id; }

private:
    QString m_id;
};

/// One way to reach a cloud. All operations block: the client calls them on its worker threads, several at
/// once, and a transport must bear that. They end soon after Job::Cancel. Failures are thrown as CloudError;
/// whatever way an operation ends, it leaves no partial file under a final name and no temporary behind.
class Transport
{
public:
    using CloudFile = Ability::File<OrvaneCloudSharingResult>::FileInfo;
    using CloudFiles = QList<CloudFile>;
    using QuotaValue = Ability::Quota::QuotaValue;

    /// The version of a document that the caller knows, perhaps from an earlier run, and wants to change. It
    /// counts while the client itself has not seen the document yet.
    struct KnownVersion
    {
        QString md5;          ///< lower-case hexadecimal; empty when not known
        qint64 size = 0;      ///< bytes
        QDateTime modifiedAt; ///< to the second; invalid when not known

        /// The MD5 decides where both have one, else size and time.
        [[nodiscard]] bool IsThatOf(const CloudFile& file) const;
    };

    struct Upload
    {
        std::filesystem::path source;
        QString replacedId;  ///< the document to replace; empty for a new one
        QString expectedMd5; ///< lower-case hexadecimal; empty when not known
        std::optional<KnownVersion> replacedVersion = {};
    };

    struct Removal
    {
        Removal(const QString& documentId, std::optional<KnownVersion> version = {})
            : id(documentId)
            , known(std::move(version))
        {}

        QString id;
        std::optional<KnownVersion> known;
    };

    /// What becomes of a file that is already at the target of a download.
    enum class ExistingFile
    {
        Replace,
        Refuse,  ///< it stays, and the download fails with FailureCode::Conflict
        KeepBoth ///< it stays, and the download takes a numbered name: "name (2).pdf"
    };

    struct Download
    {
        QString id;
        std::filesystem::path target;
        qint64 expectedSize = 0; ///< bytes; 0 when not known
        ExistingFile existing = ExistingFile::Replace;
    };

    /// One version of one document, as a local file to render from.
    struct RenderSource
    {
        std::filesystem::path file;
        std::shared_ptr<void> keeper; ///< the file may go when this does
    };

    virtual ~Transport() = default;

    [[nodiscard]] virtual bool IsTokenNeeded() const = 0;

    /// How many uploads and downloads may run at once.
    [[nodiscard]] virtual int TransfersAtOnce() const = 0;

    /// Whether the id, by its text, can name a document of this cloud. Called on the client's thread.
    [[nodiscard]] virtual bool IsDocumentId(const QString& id) const = 0;

    /// Whether there is a collection under that id, if this shows at once. Called on the client's thread.
    [[nodiscard]] virtual bool IsCollection([[maybe_unused]] const QString& id) const { return false; }

    /// What the cloud is known to protect; nothing until that has been learnt, and for a cloud of which it is
    /// not learnt. Called on the client's thread.
    [[nodiscard]] virtual std::optional<CloudGuarantees> Guarantees() const { return std::nullopt; }

    /// Where the document with this id can be had from.
    [[nodiscard]] virtual QUrl DownloadUrl(const QString& id) const = 0;

    /// Proves that the cloud can be used, and sweeps what a crash has left there.
    virtual void SignIn(const QString& token, Job& job) = 0;

    virtual QString UserName(Job& job) = 0;
    virtual QUrl UserProfile(Job& job) = 0;

    virtual CloudFiles List(Job& job) = 0;
    virtual CloudFile Info(const QString& id, Job& job) = 0;

    /// Throws LeftBehindError when the failed upload could not be undone.
    virtual CloudFile Store(const Upload& upload, Job& job) = 0;

    /// Returns the path of the file that it has made.
    virtual std::filesystem::path Fetch(const Download& download, Job& job) = 0;

    /// A document that is already gone counts as removed.
    virtual void Remove(const Removal& removal, Job& job) = 0;
    virtual QuotaValue Quota(Job& job) = 0;

    /// A text that changes whenever the document's content does, without fetching the content.
    virtual QString VersionTag(const QString& id, Job& job) = 0;
    virtual RenderSource FetchForRendering(const QString& id, Job& job) = 0;
};

} // namespace Orvane::Social
