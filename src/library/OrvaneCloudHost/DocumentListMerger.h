#pragma once

#include <FileInfo.h>

#include <QHash>
#include <QList>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace Orvane::PDF::Cloud {

class DepartedCopies;
class OrvaneCloudFilesManager;
class OrvaneCloudManager;
class RunningTransfers;

/// Keeps a document list in step with what the cloud manager reports: retrieved lists, finished transfers,
/// removals, previews. Long work is done in slices of a few milliseconds, one a turn of the event loop. While
/// a receiver of the list's signals runs an event loop of its own, that work waits.
///
/// Receivers of any signal may destroy the merger.
///
/// Absence is taken for removal only when a complete listing that succeeded does not hold a document, and
/// nothing has happened to that document since the listing was asked for. A document that leaves in this way
/// and comes back later has the local copy that it had.
class DocumentListMerger : public QObject
{
    Q_OBJECT

public:
    /// All must outlive the merger.
    DocumentListMerger(OrvaneCloudManager& cloud, OrvaneCloudFilesManager& documents,
                       const RunningTransfers& transfers, DepartedCopies& departedCopies);

Q_SIGNALS:
    void Merged(int added, int updated, int removed);
    void PreviewsSettled();

private:
    using Document = std::shared_ptr<FileInfo>;

    struct Merge
    {
        std::deque<Document> incoming;
        std::unordered_set<std::string> listedIds; // of those that have come in
        std::set<std::string> touchedIds;          // uploaded or removed since the listing was asked for
        std::optional<std::deque<QString>> uncheckedIds; // of the list, once all have come in
        std::vector<std::string> leavingIds;
        int added = 0;
        int updated = 0;
        int removed = 0;
    };

    void FollowListings(const OrvaneCloudManager& cloud);
    void FollowTransfers(const OrvaneCloudManager& cloud);
    void FollowPreviews(const OrvaneCloudManager& cloud);

    void BeginListing();
    void EndListing();
    void QueueMerge(const QList<Document>& listed);
    void EndPreview(const std::shared_ptr<const FileInfo>& document);

    void WorkOneSlice();
    [[nodiscard]] bool WorkOneStep();
    template <typename Step>
    void ChangeList(Step step);
    [[nodiscard]] static bool IsWorkedOff(const Merge& merge);
    void WorkOn(Merge& merge);
    void MergeNext(Merge& merge);
    void AddListed(const Document& listed);
    [[nodiscard]] std::deque<QString> IdsOfDocuments() const;
    void CheckNext(Merge& merge);
    [[nodiscard]] Document LeavingDocument(const std::string& id, const Merge& merge) const;
    void RemoveLeaving(Merge& merge);
    void EndMerge();
    void StorePreviews(const Document& document);

    void Keep(const Document& document);
    void KeepLocalCopy(const FileInfo& downloaded);
    void ForgetReplacedCopies(const FileInfo& downloaded);
    void Touch(const std::string& id);
    [[nodiscard]] bool IsInTransfer(const FileInfo& document) const;
    [[nodiscard]] Document Known(const std::string& id) const;

    struct PreviewRequests
    {
        Document document;
        int underWay = 0;
    };

    OrvaneCloudFilesManager& m_documents;
    const RunningTransfers& m_transfers;
    DepartedCopies& m_departedCopies;
    QTimer m_nextSlice;
    bool m_isChangingList = false;

    int m_listingsUnderWay = 0;
    std::set<std::string> m_touchedIds; // since the oldest listing under way was asked for
    std::deque<Merge> m_merges;

    QHash<const FileInfo*, PreviewRequests> m_previewsUnderWay;
    std::deque<Document> m_withNewPreviews;
};

} // namespace Orvane::PDF::Cloud
