#include <OrvaneCloudHost/RunningTransfers.h>

#include <QPointer>

#include <algorithm>

namespace Orvane::PDF::Cloud {

void RunningTransfers::Begin(long long ticket, const Transfer& transfer)
{
    m_transfers.emplace(ticket, transfer);
    m_unannounced.push_back(ticket);
}

void RunningTransfers::Announce()
{
    const QPointer<RunningTransfers> self(this);
    for (const auto ticket : std::exchange(m_unannounced, {})) {
        const auto found = m_transfers.find(ticket);
        if (found == m_transfers.end())
            continue;
        const auto transfer = found->second; // it may end inside the signal
        Q_EMIT Began(ticket, transfer);
        if (!self)
            return;
    }
}

void RunningTransfers::End(long long ticket)
{
    if (m_transfers.erase(ticket) > 0)
        m_ended.push_back(ticket);
}

std::string RunningTransfers::SubjectOf(long long ticket) const
{
    const auto found = m_transfers.find(ticket);
    if (found == m_transfers.end())
        return {};
    const auto& transfer = found->second;
    return transfer.source.empty() ? transfer.documentId : transfer.source.utf8string();
}

bool RunningTransfers::IsRunning(const std::string& documentId) const
{
    return std::any_of(m_transfers.begin(), m_transfers.end(),
                       [&](const auto& entry) { return entry.second.documentId == documentId; });
}

bool RunningTransfers::IsAnyUpload() const
{
    return std::any_of(m_transfers.begin(), m_transfers.end(),
                       [](const auto& entry) { return !entry.second.download; });
}

std::shared_ptr<FileInfo> RunningTransfers::DownloadOf(const std::string& documentId) const
{
    const auto found = std::find_if(m_transfers.begin(), m_transfers.end(), [&](const auto& entry) {
        return entry.second.download && entry.second.documentId == documentId;
    });
    return found == m_transfers.end() ? nullptr : found->second.download;
}

} // namespace Orvane::PDF::Cloud
