#pragma once

#include <IFileSystem.h>
#include <OrvaneCloudHost/RunningTransfers.h>

#include <QObject>

#include <map>
#include <string>
#include <vector>

namespace Orvane::PDF::Cloud {

class OrvaneCloudFilesManager;
class OrvaneCloudManager;

/// Sets the syncing flags of listed documents when a transfer has started, and clears them when the manager
/// announces its end. A transfer concerns the document that is downloaded or replaced, and every document
/// whose local copy is uploaded.
class SyncingMarker : public QObject
{
    Q_OBJECT

public:
    /// All must outlive the marker. Receivers that connect to @p cloud later see the flags cleared.
    SyncingMarker(const OrvaneCloudManager& cloud, OrvaneCloudFilesManager& documents,
                  RunningTransfers& transfers, IFileSystem& fileSystem);

private:
    void FollowEnds(const OrvaneCloudManager& cloud);
    void Mark(long long ticket, const RunningTransfers::Transfer& transfer);
    void ClearEnded();
    void SetSyncing(const std::string& id, bool isSyncing);
    [[nodiscard]] bool IsMarked(const std::string& id) const;

    OrvaneCloudFilesManager& m_documents;
    RunningTransfers& m_transfers;
    IFileSystem& m_fileSystem;
    std::map<long long, std::vector<std::string>> m_markedIds; // by ticket
};

} // namespace Orvane::PDF::Cloud
