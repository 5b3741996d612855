#pragma once

#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>
#include <OrvaneCloudHost/DownloadTarget.h>
#include <OrvaneCloudHost/RunningTransfers.h>

#include <QMap>
#include <QString>

#include <functional>
#include <memory>

namespace Orvane::PDF::Cloud {

/// The protocol of a session: it records which transfers are running, and it takes orders for downloads,
/// which say more than the manager's request can.
class SessionProtocol : public OrvaneCloudProtocolProxy
{
public:
    /// A download whose request the manager is about to make.
    struct DownloadOrder
    {
        std::shared_ptr<PDF::FileInfo> document;
        QString file; ///< the absolute path to write; a download with an empty one does not start
        ExistingFile existingFile;
        std::function<void()> onStarted;                         ///< before the manager gets the ticket
        std::function<void(Social::RequestResult)> beforeResult; ///< before the manager gets the result
    };

    /// @p transfers must outlive the protocol.
    SessionProtocol(const Social::OAuth2::AuthInfo& authInfo, const std::string& address,
                    RunningTransfers& transfers);

    /// Runs @p startDownload, in which the manager starts the download that @p order describes. Receivers of
    /// the manager's signals may destroy the protocol in it, as in @p startChange below.
    void DownloadAs(const DownloadOrder& order, const std::function<void()>& startDownload);

    /// Runs @p startChange, in which the manager asks for the replacement or removal of @p document: the
    /// cloud must hold the version that the record knows, unless the client has seen a later one.
    void ChangeAs(const PDF::FileInfo& document, const std::function<void()>& startChange);

    /// Announces the transfers that have begun, once the manager knows their tickets. Receivers of the list's
    /// signals may destroy the protocol in it.
    void AnnounceTransfers() { m_transfers.Announce(); }

    /// Whether the manager is about to remove what a failed upload may have left. True once for each.
    [[nodiscard]] bool TakeCleanUp();

    void cancelOperation(long long ticket) override;
    long long downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                           OnProgress&& onProgress) override;
    long long deleteFile(const FileFieldData& file, Files::OnResult&& onResult) override;
    long long uploadFile(const QString& localPath, const QMap<QString, QString>& parameters,
                         OnUploaded&& onResult, OnProgress&& onProgress) override;

private:
    [[nodiscard]] QMap<QString, QString> WithKnownVersion(const QMap<QString, QString>& fields);
    [[nodiscard]] long long StartOrdered(const DownloadOrder& order, FileFieldData file,
                                         Files::OnResult&& onResult, OnProgress&& onProgress);

    /// What the manager is about to do. Outlives the protocol while a call of the manager lasts.
    struct Intention
    {
        const DownloadOrder* order = nullptr; // until its download has started
        QMap<QString, QString> known;         // the document that is about to be changed, and its version
        bool isCleanUp = false;
    };

    RunningTransfers& m_transfers;
    const std::shared_ptr<Intention> m_next = std::make_shared<Intention>();
};

} // namespace Orvane::PDF::Cloud
