#pragma once

#include <OAuth2.h>
#include <OrvaneCloudProtocol/transports/Transport.h>
#include <OrvaneCloudProtocol/transports/folder/FolderDocuments.h>
#include <OrvaneCloudProtocol/transports/folder/KnownFolder.h>
#include <OrvaneCloudProtocol/transports/folder/SeenDocuments.h>
#include <support/HashMemory.h>
#include <support/TemporaryJournal.h>

#include <mutex>

namespace Orvane::Support {
class PartFile;
}

namespace Orvane::Social {

/// A plain folder as the cloud: a share, a mounted drive, a folder of this machine. Any token opens it. All
/// operations fail with NotFound while an empty folder on another device is in place of one with documents.
class FolderTransport final : public Transport
{
public:
    FolderTransport(const OAuth2::AuthInfo& authInfo, const std::filesystem::path& folder,
                    const std::filesystem::path& cacheFolder);

    [[nodiscard]] bool IsTokenNeeded() const override { return false; }
    [[nodiscard]] int TransfersAtOnce() const override { return 2; }
    [[nodiscard]] bool IsDocumentId(const QString& id) const override;
    [[nodiscard]] bool IsCollection(const QString& id) const override;
    [[nodiscard]] QUrl DownloadUrl(const QString& id) const override;

    void SignIn(const QString& token, Job& job) override;
    QString UserName(Job& job) override;
    QUrl UserProfile(Job& job) override;
    CloudFiles List(Job& job) override;
    CloudFile Info(const QString& id, Job& job) override;
    CloudFile Store(const Upload& upload, Job& job) override;
    std::filesystem::path Fetch(const Download& download, Job& job) override;
    void Remove(const Removal& removal, Job& job) override;
    QuotaValue Quota(Job& job) override;
    QString VersionTag(const QString& id, Job& job) override;
    RenderSource FetchForRendering(const QString& id, Job& job) override;

private:
    [[nodiscard]] std::optional<CloudFile> TryDescribe(const std::filesystem::path& path, Job& job);

    /// Throws unless the folder is there, and is the one that it was.
    FolderDocuments::Device RequireFolder();

    /// Notes whether the folder on this device holds documents still.
    void NoteRemoval(FolderDocuments::Device device);

    /// Throws Conflict when the document is no longer in the version that this client saw.
    void RequireSeen(const std::filesystem::path& path, const Support::FileStamp& now,
                     const std::optional<SeenVersion>& seen, Job& job);
    [[nodiscard]] bool IsSeen(const std::filesystem::path& path, const Support::FileStamp& now,
                              const SeenVersion& seen, Job& job);

    /// Throws Conflict when this client has not seen the document and it is not in the version that its
    /// caller knows.
    void RequireKnown(const std::filesystem::path& path, const std::optional<KnownVersion>& known, Job& job);

    /// What is to be replaced: the version that this client saw, else the one that is there now.
    [[nodiscard]] SeenVersion BeginReplacement(const std::filesystem::path& path,
                                               const std::optional<KnownVersion>& known, Job& job);
    [[nodiscard]] std::filesystem::path Publish(Support::PartFile& part, const Upload& upload,
                                                const std::optional<SeenVersion>& replaced, Job& job);
    [[nodiscard]] std::filesystem::path PublishAsNew(Support::PartFile& part, const std::string& name,
                                                     Job& job) const;
    [[nodiscard]] static bool TryName(Support::PartFile& part, const std::filesystem::path& target, Job& job);

    const QString m_userName;
    const FolderDocuments m_documents;
    Support::HashMemory m_hashes;
    Support::TemporaryJournal m_journal;
    SeenDocuments m_seen;
    std::mutex m_changing; ///< held from the last look at a document to the change of it
    KnownFolder m_known;
};

} // namespace Orvane::Social
