#pragma once

#include <FileInfo.h>

#include <QObject>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Orvane::PDF::Cloud {

/// The uploads and downloads that are running, by ticket: the protocol has started them, and they have not
/// ended.
class RunningTransfers : public QObject
{
    Q_OBJECT

public:
    struct Transfer
    {
        std::string documentId; ///< downloaded or replaced; empty while a new document is uploaded
        std::shared_ptr<FileInfo> download; ///< the record that was to be downloaded; null for an upload
        ioPath source = {};                 ///< the file that is uploaded, as the caller wrote its path
    };

    /// Emits nothing, because the manager does not yet know the ticket.
    void Begin(long long ticket, const Transfer& transfer);

    /// Emits Began for those that have begun since the last call and still run. A receiver may destroy this.
    void Announce();

    /// Emits nothing, because the manager announces the end. An unknown ticket is ignored.
    void End(long long ticket);

    /// The tickets that have ended since the last call.
    [[nodiscard]] std::vector<long long> TakeEnded() { return std::exchange(m_ended, {}); }

    /// What the ticket stands for: the path of the file that is uploaded, as the caller wrote it, or the id
    /// of the document that is downloaded; empty when it is no running transfer.
    [[nodiscard]] std::string SubjectOf(long long ticket) const;

    [[nodiscard]] bool IsRunning(const std::string& documentId) const;
    [[nodiscard]] bool IsAnyUpload() const;

    /// The record of the document's oldest running download; null when there is none.
    [[nodiscard]] std::shared_ptr<FileInfo> DownloadOf(const std::string& documentId) const;

Q_SIGNALS:
    void Began(long long ticket, const Orvane::PDF::Cloud::RunningTransfers::Transfer& transfer);

private:
    std::map<long long, Transfer> m_transfers;
    std::vector<long long> m_unannounced;
    std::vector<long long> m_ended;
};

} // namespace Orvane::PDF::Cloud
