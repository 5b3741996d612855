#include <OrvaneCloudHost/DocumentListMerger.h>

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloudHost/DepartedCopies.h>
#include <OrvaneCloudHost/LocalCopies.h>
#include <OrvaneCloudHost/RunningTransfers.h>

#include <QElapsedTimer>
#include <QPointer>
#include <QScopeGuard>

#include <tuple>
#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

constexpr int kSliceMilliseconds = 8;
constexpr std::size_t kMostLeavingAtOnce = 256; // their local copies reach the disk in one transaction

// Whether the list's record already says what the cloud's listing says, previews aside.
bool HasSameCloudSide(const FileInfo& known, const FileInfo& listed)
{
    const auto knownInfo = known.GetCloudInfo();
    if (!knownInfo)
        return false;
    FileInfo::CloudInfo listedInfo = *listed.GetCloudInfo();
    listedInfo.SetPreviewsSet(knownInfo->GetPreviewsSet());
    return listedInfo == *knownInfo;
}

// What a person would call changed. A listing also knows less of a document than the answer to its upload.
bool IsSameVersion(const FileInfo& known, const FileInfo& listed)
{
    const auto version = [](const FileInfo::CloudInfo& info) {
        return std::make_tuple(info.GetFileName(), info.GetSize(), info.GetModifyTime(), info.GetMd5Hash());
    };
    const auto knownInfo = known.GetCloudInfo();
    return knownInfo && version(*knownInfo) == version(*listed.GetCloudInfo());
}

FileInfo::PreviewsSet Overlaid(FileInfo::PreviewsSet known, const FileInfo::PreviewsSet& arrived)
{
    for (const auto& [size, path] : arrived)
        known[size] = path;
    return known;
}

// The list's record takes over what an update brings: a cloud-only record would erase the path of its local
// copy, and one whose previews are still on the way all but the first.
void GiveLocalSide(FileInfo& listed, const FileInfo& known)
{
    if (listed.GetPath().empty() && !known.GetPath().empty())
        listed.SetPath(known.GetPath(), known.GetMd5Hash(), known.GetCloudHashBeforeChange());
    listed.SetIsSyncingInProgress(known.IsSyncingInProgress());
    listed.SetPreviewsSet(Overlaid(known.GetPreviewsSet(), listed.GetPreviewsSet()));
}

} // namespace

DocumentListMerger::DocumentListMerger(OrvaneCloudManager& cloud, OrvaneCloudFilesManager& documents,
                                       const RunningTransfers& transfers, DepartedCopies& departedCopies)
    : m_documents(documents)
    , m_transfers(transfers)
    , m_departedCopies(departedCopies)
{
    m_nextSlice.setSingleShot(true);
    connect(&m_nextSlice, &QTimer::timeout, this, &DocumentListMerger::WorkOneSlice);
    FollowListings(cloud);
    FollowTransfers(cloud);
    FollowPreviews(cloud);
}

void DocumentListMerger::FollowListings(const OrvaneCloudManager& cloud)
{
    using Cloud = OrvaneCloudManager;
    connect(&cloud, &Cloud::RetrievingFilesListStarted, this, &DocumentListMerger::BeginListing);
    connect(&cloud, &Cloud::RetrievingFilesListFinished, this, &DocumentListMerger::QueueMerge);
    connect(&cloud, &Cloud::RetrievingFilesListFinished, this, &DocumentListMerger::EndListing);
    connect(&cloud, &Cloud::RetrievingFilesListCanceled, this, &DocumentListMerger::EndListing);
    connect(&cloud, &Cloud::RetrievingFilesListErrorRequested, this, &DocumentListMerger::EndListing);
}

void DocumentListMerger::FollowTransfers(const OrvaneCloudManager& cloud)
{
    using Cloud = OrvaneCloudManager;
    connect(&cloud, &Cloud::UploadingFinished, this, [this](const Document& document) {
        Touch(document->GetId());
        Keep(document);
    });
    connect(&cloud, &Cloud::DownloadingFinished, this,
            [this](const std::shared_ptr<const FileInfo>& document) { KeepLocalCopy(*document); });
    connect(&cloud, &Cloud::RemoveFileFinished, this, [this](const Document& document) {
        Touch(document->GetId());
        m_departedCopies.Forget(document->GetId());
        m_documents.Remove(document);
    });
}

void DocumentListMerger::FollowPreviews(const OrvaneCloudManager& cloud)
{
    using Cloud = OrvaneCloudManager;
    connect(&cloud, &Cloud::RetrieveFilePreviewStarted, this, [this](const Document& document) {
        auto& requests = m_previewsUnderWay[document.get()];
        requests.document = document;
        ++requests.underWay;
    });
    connect(&cloud, &Cloud::RetrieveFilePreviewFinished, this, &DocumentListMerger::EndPreview);
    connect(&cloud, &Cloud::RetrieveFilePreviewCanceled, this, &DocumentListMerger::EndPreview);
    connect(&cloud, &Cloud::RetrieveFilePreviewError, this, &DocumentListMerger::EndPreview);
}

void DocumentListMerger::BeginListing()
{
    if (m_listingsUnderWay == 0)
        m_touchedIds.clear();
    ++m_listingsUnderWay;
}

void DocumentListMerger::EndListing()
{
    --m_listingsUnderWay;
}

void DocumentListMerger::QueueMerge(const QList<Document>& listed)
{
    Merge merge;
    merge.incoming.assign(listed.cbegin(), listed.cend());
    merge.touchedIds = m_touchedIds;
    m_merges.push_back(std::move(merge));
    m_departedCopies.TryAgain();
    m_nextSlice.start(0);
}

void DocumentListMerger::EndPreview(const std::shared_ptr<const FileInfo>& document)
{
    const auto found = m_previewsUnderWay.find(document.get());
    if (found == m_previewsUnderWay.end()) // refused: it had not started
        return;
    if (--found->underWay > 0)
        return;
    m_withNewPreviews.push_back(found->document);
    m_previewsUnderWay.erase(found);
    m_nextSlice.start(0);
}

void DocumentListMerger::WorkOneSlice()
{
    if (m_isChangingList) // a receiver of the list's signals runs an event loop of its own
        return;
    const QPointer<DocumentListMerger> self(this);
    QElapsedTimer clock;
    clock.start();
    while (!clock.hasExpired(kSliceMilliseconds)) {
        if (!WorkOneStep() || !self)
            return;
    }
    m_nextSlice.start(0);
}

// Whether there may be more to do.
bool DocumentListMerger::WorkOneStep()
{
    if (!m_merges.empty() && IsWorkedOff(m_merges.front())) {
        EndMerge();
        return true;
    }
    if (!m_merges.empty()) {
        ChangeList([this] { WorkOn(m_merges.front()); });
        return true;
    }
    if (!m_withNewPreviews.empty()) {
        const auto document = m_withNewPreviews.front();
        m_withNewPreviews.pop_front();
        ChangeList([&] { StorePreviews(document); });
        return true;
    }
    m_nextSlice.stop();
    if (m_previewsUnderWay.empty())
        Q_EMIT PreviewsSettled();
    return false;
}

template <typename Step>
void DocumentListMerger::ChangeList(Step step)
{
    m_isChangingList = true;
    const auto end = qScopeGuard([self = QPointer<DocumentListMerger>(this)] {
        if (self)
            self->m_isChangingList = false;
    });
    step();
}

bool DocumentListMerger::IsWorkedOff(const Merge& merge)
{
    return merge.incoming.empty() && merge.uncheckedIds && merge.uncheckedIds->empty() &&
           merge.leavingIds.empty();
}

void DocumentListMerger::WorkOn(Merge& merge)
{
    if (!merge.incoming.empty())
        MergeNext(merge);
    else if (!merge.uncheckedIds)
        merge.uncheckedIds = IdsOfDocuments();
    else if (!merge.uncheckedIds->empty() && merge.leavingIds.size() < kMostLeavingAtOnce)
        CheckNext(merge);
    else
        RemoveLeaving(merge);
}

void DocumentListMerger::MergeNext(Merge& merge)
{
    const auto listed = merge.incoming.front();
    merge.incoming.pop_front();
    merge.listedIds.insert(listed->GetId());
    if (merge.touchedIds.count(listed->GetId()) != 0)
        return;

    const auto known = Known(listed->GetId());
    if (!known) {
        ++merge.added;
        m_departedCopies.GiveBack(*listed);
        AddListed(listed);
        return;
    }
    if (!IsSameVersion(*known, *listed))
        ++merge.updated;
    GiveLocalSide(*listed, *known);
    if (known->GetPath().empty() && m_departedCopies.GiveBack(*listed)) {
        // It returned while the file of the departed copies could not be read.
        const QPointer<DocumentListMerger> self(this);
        m_documents.Remove(known);
        if (self && !Known(listed->GetId())) // a receiver may have added it
            AddListed(listed);
    } else if (!HasSameCloudSide(*known, *listed) || !known->GetPath().empty()) {
        m_documents.Update(listed); // also hashes the local copy, which may have changed
    }
}

void DocumentListMerger::AddListed(const Document& listed)
{
    listed->SetIsSyncingInProgress(m_transfers.IsRunning(listed->GetId()));
    const QPointer<DocumentListMerger> self(this);
    m_documents.Add(listed);
    if (self && !listed->GetPath().empty())
        m_documents.Update(listed); // hashes the local copy
}

// At one time, because rows move while the removal is under way.
std::deque<QString> DocumentListMerger::IdsOfDocuments() const
{
    std::deque<QString> ids;
    for (int row = 0; row < m_documents.FilesCount(); ++row)
        ids.push_back(m_documents.GetDocumentId(row));
    return ids;
}

void DocumentListMerger::CheckNext(Merge& merge)
{
    const auto id = merge.uncheckedIds->front().toStdString();
    merge.uncheckedIds->pop_front();
    if (LeavingDocument(id, merge))
        merge.leavingIds.push_back(id);
}

DocumentListMerger::Document DocumentListMerger::LeavingDocument(const std::string& id,
                                                                 const Merge& merge) const
{
    if (merge.listedIds.count(id) != 0 || merge.touchedIds.count(id) != 0)
        return nullptr;
    const auto document = Known(id);
    return document && !IsInTransfer(*document) ? document : nullptr;
}

// The local copies are on the disk before the list loses them. A document whose copy cannot be stored stays,
// and leaves after a later listing.
void DocumentListMerger::RemoveLeaving(Merge& merge)
{
    const auto ids = std::exchange(merge.leavingIds, {});
    for (const auto& id : ids) {
        if (const auto document = LeavingDocument(id, merge))
            m_departedCopies.Remember(*document);
    }
    const bool areStored = m_departedCopies.Store();
    const QPointer<DocumentListMerger> self(this);
    for (const auto& id : ids) {
        const auto document = LeavingDocument(id, merge); // receivers of our signals may have changed that
        if (!document || (!areStored && !document->GetPath().empty()))
            continue;
        ++merge.removed;
        m_documents.Remove(document);
        if (!self)
            return;
    }
}

void DocumentListMerger::EndMerge()
{
    const auto merged = std::move(m_merges.front());
    m_merges.pop_front();
    m_nextSlice.start(0); // a receiver may wait in an event loop of its own for the next merge
    Q_EMIT Merged(merged.added, merged.updated, merged.removed);
}

void DocumentListMerger::StorePreviews(const Document& document)
{
    const auto known = Known(document->GetId());
    if (!known)
        return;
    // Only the previews are news: the rest of the document may be older than the list's.
    const auto previews = Overlaid(known->GetPreviewsSet(), document->GetPreviewsSet());
    if (previews == known->GetPreviewsSet())
        return;
    known->SetPreviewsSet(previews);
    m_documents.Update(known);
}

void DocumentListMerger::Keep(const Document& document)
{
    document->SetIsSyncingInProgress(m_transfers.IsRunning(document->GetId()));
    if (Known(document->GetId()))
        m_documents.Update(document);
    else
        m_documents.Add(document);
}

// Only the local side: the list's cloud side may be newer than that of a record whose download began earlier.
void DocumentListMerger::KeepLocalCopy(const FileInfo& downloaded)
{
    const QPointer<DocumentListMerger> self(this);
    ForgetReplacedCopies(downloaded);
    if (!self)
        return;
    const auto known = Known(downloaded.GetId());
    if (!known)
        return Keep(std::make_shared<FileInfo>(downloaded));
    known->SetPath(downloaded.GetPath(), downloaded.GetMd5Hash());
    m_documents.Update(known);
}

// The download may have replaced the local copy of another document. If the list kept that path, the new
// content would count as a local change of the other document and could be uploaded in its place. Removing
// the record is the only way to delete its stored path.
void DocumentListMerger::ForgetReplacedCopies(const FileInfo& downloaded)
{
    const QPointer<DocumentListMerger> self(this);
    for (const auto& id : IdsWithLocalCopyAt(downloaded.GetPath(), m_documents)) {
        const auto known = Known(id);
        const bool isReplaced = known && id != downloaded.GetId() && known->GetCloudInfo() &&
                                known->GetCloudInfo()->GetMd5Hash() != downloaded.GetMd5Hash();
        if (!isReplaced)
            continue;
        known->SetPath(ioPath(), {}, {});
        m_departedCopies.Forget(id);
        m_documents.Remove(known);
        if (self && !Known(id)) // a receiver may have added it
            m_documents.Add(known);
        if (!self)
            return;
    }
}

// What a listing asked for before now says of this document no longer counts.
void DocumentListMerger::Touch(const std::string& id)
{
    m_touchedIds.insert(id);
    for (auto& merge : m_merges)
        merge.touchedIds.insert(id);
}

// An upload is known by its path, as the caller wrote it: while any runs, no document with a local copy is
// taken for gone. The next listing will tell.
bool DocumentListMerger::IsInTransfer(const FileInfo& document) const
{
    return m_transfers.IsRunning(document.GetId()) ||
           (m_transfers.IsAnyUpload() && !document.GetPath().empty());
}

DocumentListMerger::Document DocumentListMerger::Known(const std::string& id) const
{
    return m_documents.GetFileInfo(QString::fromStdString(id));
}

} // namespace Orvane::PDF::Cloud
