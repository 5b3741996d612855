#pragma once

#include <FileInfo.h>

#include <QObject>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Orvane::PDF::Cloud {

/// The uploads and downloads that the protocol has started and that have not ended, by their tickets.
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

    void Begin(long long ticket, const Transfer& transfer);

    /// A ticket that is not known is ignored. Nothing is announced: what listens to the manager hears of the
    /// end from there.
    void End(long long ticket);

    /// The tickets that have ended since the last call.
    [[nodiscard]] std::vector<long long> TakeEnded() { return std::exchange(m_ended, {}); }

    [[nodiscard]] bool IsRunning(const std::string& documentId) const;
    [[nodiscard]] bool IsAnyUpload() const;

    /// The record of the document's oldest running download; null when there is none.
    [[nodiscard]] std::shared_ptr<FileInfo> DownloadOf(const std::string& documentId) const;

Q_SIGNALS:
    void Began(long long ticket, const Orvane::PDF::Cloud::RunningTransfers::Transfer& transfer);

private:
    std::map<long long, Transfer> m_transfers;
    std::vector<long long> m_ended;
};

} // namespace Orvane::PDF::Cloud
