#include <OrvaneCloudHost/SyncingMarker.h>

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudHost/LocalCopies.h>

#include <QPointer>

#include <algorithm>

namespace Orvane::PDF::Cloud {

SyncingMarker::SyncingMarker(const OrvaneCloudManager& cloud, OrvaneCloudFilesManager& documents,
                             RunningTransfers& transfers, IFileSystem& fileSystem)
    : m_documents(documents)
    , m_transfers(transfers)
    , m_fileSystem(fileSystem)
{
    connect(&transfers, &RunningTransfers::Began, this, &SyncingMarker::Mark);
    FollowEnds(cloud);
}

void SyncingMarker::FollowEnds(const OrvaneCloudManager& cloud)
{
    using Cloud = OrvaneCloudManager;
    connect(&cloud, &Cloud::UploadingFinished, this, &SyncingMarker::ClearEnded);
    connect(&cloud, &Cloud::UploadingCanceled, this, &SyncingMarker::ClearEnded);
    connect(&cloud, &Cloud::UploadingFileRequestError, this, &SyncingMarker::ClearEnded);
    connect(&cloud, &Cloud::DownloadingFinished, this, &SyncingMarker::ClearEnded);
    connect(&cloud, &Cloud::DownloadingCanceled, this, &SyncingMarker::ClearEnded);
    connect(&cloud, &Cloud::DownloadingFileRequestError, this, &SyncingMarker::ClearEnded);
}

void SyncingMarker::Mark(long long ticket, const RunningTransfers::Transfer& transfer)
{
    auto ids = IdsWithLocalCopyAt(m_fileSystem.NormalizePath(transfer.source), m_documents);
    if (!transfer.documentId.empty() && std::find(ids.begin(), ids.end(), transfer.documentId) == ids.end())
        ids.push_back(transfer.documentId);
    m_markedIds[ticket] = ids;
    const QPointer<SyncingMarker> self(this);
    for (const auto& id : ids) {
        SetSyncing(id, true);
        if (!self || m_markedIds.count(ticket) == 0) // a receiver has waited until the transfer ended
            return;
    }
}

void SyncingMarker::ClearEnded()
{
    std::vector<std::string> ids;
    for (const auto ticket : m_transfers.TakeEnded()) {
        if (const auto ended = m_markedIds.extract(ticket))
            ids.insert(ids.end(), ended.mapped().begin(), ended.mapped().end());
    }
    const QPointer<SyncingMarker> self(this);
    for (const auto& id : ids) {
        if (!IsMarked(id))
            SetSyncing(id, false);
        if (!self)
            return;
    }
}

void SyncingMarker::SetSyncing(const std::string& id, bool isSyncing)
{
    const auto known = m_documents.GetFileInfo(QString::fromStdString(id));
    if (!known || known->IsSyncingInProgress() == isSyncing)
        return;
    known->SetIsSyncingInProgress(isSyncing);
    m_documents.Update(known);
}

bool SyncingMarker::IsMarked(const std::string& id) const
{
    return std::any_of(m_markedIds.begin(), m_markedIds.end(), [&](const auto& marked) {
        return std::find(marked.second.begin(), marked.second.end(), id) != marked.second.end();
    });
}

} // namespace Orvane::PDF::Cloud
