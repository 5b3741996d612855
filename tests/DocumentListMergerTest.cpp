#include "support/CloudManagerFixture.h"
#include "support/FakeStorage.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloudHost/DepartedCopies.h>
#include <OrvaneCloudHost/DocumentListMerger.h>
#include <OrvaneCloudHost/RunningTransfers.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

namespace Orvane::Tests {
namespace {

using PDF::FileInfo;
using PDF::Cloud::DepartedCopies;
using PDF::Cloud::DocumentListMerger;
using Sizes = FileInfo::PreviewSize;

FakeCloudProtocol::Files::FileInfo Entry(const QString& id, const QString& md5 = "cloud hash"_q)
{
    FakeCloudProtocol::Files::FileInfo entry;
    entry.id = id;
    entry.fileName = id;
    entry.size = 5000;
    entry.md5Hash = md5;
    return entry;
}

/// What the list holds of a document once it has been listed.
Document ListedDocument(const std::string& id)
{
    return std::make_shared<FileInfo>(FileInfo::CloudInfo(
        id, id, 5000, true, QUrl(), QDateTime(), QDateTime(), std::numeric_limits<int>::max(), "cloud hash"));
}

class DocumentListMergerTest : public CloudManagerFixture
{
protected:
    /// A document of the list with a local copy and previews.
    void AddLocal(const std::string& id)
    {
        const auto document = ListedDocument(id);
        document->SetPath(ioPath("/local/" + id), "cloud hash");
        document->SetPreviewsSet({{Sizes::Small, ioPath("/s")}, {Sizes::Large, ioPath("/l")}});
        m_documents.Add(document);
    }

    /// Gives a document of the list another content in the cloud.
    void Update(const std::string& id, const std::string& hash)
    {
        const auto newer = m_documents.GetFileInfo(QString::fromStdString(id));
        newer->UpdateCloudInfo(CloudSide(id, id, 5000, hash));
        m_documents.Update(newer);
    }

    /// Asks for a listing; the number of its request.
    std::size_t StartListing()
    {
        m_manager->RetrieveFilesList();
        return m_protocol->m_requests.size() - 1;
    }

    void Answer(std::size_t listing, const QStringList& ids)
    {
        m_protocol->m_entries.clear();
        for (const auto& id : ids)
            m_protocol->m_entries.append(Entry(id));
        m_protocol->Finish(listing, kSuccess);
    }

    /// Waits until that many listings have been merged in all.
    void AwaitMerges(int count)
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return m_merged.size() >= count; }, 60'000));
        ASSERT_EQ(m_merged.size(), count);
    }

    [[nodiscard]] QStringList Listed() const
    {
        QStringList ids;
        for (int row = 0; row < m_documents.FilesCount(); ++row)
            ids.append(m_documents.GetDocumentId(row));
        ids.sort();
        return ids;
    }

    std::shared_ptr<FakeStorage> m_storage = std::make_shared<FakeStorage>(m_journal);
    PDF::Cloud::OrvaneCloudFilesManager m_documents{m_storage, m_fileSystem, m_hashes};
    PDF::Cloud::RunningTransfers m_transfers;
    QTemporaryDir m_folder;
    const QString m_departedFile = m_folder.filePath("departed.sqlite"_q);
    DepartedCopies m_departed{m_departedFile, [] { return true; }};
    DocumentListMerger m_merger{*m_manager, m_documents, m_transfers, m_departed};
    QSignalSpy m_merged{&m_merger, &DocumentListMerger::Merged};
    QSignalSpy m_settled{&m_merger, &DocumentListMerger::PreviewsSettled};
};

TEST_F(DocumentListMergerTest, FollowsACompleteListingAndKeepsTheLocalSide)
{
    for (const auto* id : {"gone", "kept"})
        m_documents.Add(ListedDocument(id));
    for (const auto* id : {"changed", "local"})
        AddLocal(id);
    const auto listing = StartListing();
    m_protocol->m_entries = {Entry("kept"_q), Entry("changed"_q, "other hash"_q), Entry("new"_q),
                             Entry("local"_q)};
    m_protocol->Finish(listing, kSuccess);
    AwaitMerges(1);

    EXPECT_EQ(Listed(), QStringList({"changed"_q, "kept"_q, "local"_q, "new"_q}));
    EXPECT_EQ(m_documents.GetFileInfo("local"_q)->GetMd5Hash(), "hash of /local/local") << "as it is now";
    EXPECT_EQ(m_merged.value(0), QVariantList({1, 1, 1}));
    const auto changed = m_documents.GetFileInfo("changed"_q);
    EXPECT_EQ(changed->GetCloudInfo()->GetMd5Hash(), "other hash");
    EXPECT_EQ(changed->GetPath(), ioPath("/local/changed"));
    EXPECT_EQ(changed->GetCloudHashBeforeChange(), "cloud hash");
    EXPECT_EQ(changed->GetPreviewsSet().size(), 2u);
}

TEST_F(DocumentListMergerTest, APreviewThatArrivesReplacesOnlyItsOwnSize)
{
    AddLocal("a");
    m_protocol->m_image = QPixmap(1, 1);
    Answer(StartListing(), {"a"_q});
    AwaitMerges(1);
    EXPECT_TRUE(m_settled.empty());
    Update("a", "newer hash"); // by the answer to an upload, while the previews are on the way

    const auto firstPreview = m_protocol->m_requests.size() - 3;
    m_protocol->Finish(firstPreview, kSuccess); // Small
    m_protocol->Finish(firstPreview + 1, kError);
    m_protocol->Finish(firstPreview + 2, kCanceled);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !m_settled.empty(); }, 60'000));

    const auto previews = m_documents.GetFileInfo("a"_q)->GetPreviewsSet();
    EXPECT_EQ(previews.size(), 2u);
    EXPECT_NE(previews.at(Sizes::Small), ioPath("/s"));
    EXPECT_EQ(previews.at(Sizes::Large), ioPath("/l"));
    EXPECT_EQ(m_documents.GetFileInfo("a"_q)->GetCloudInfo()->GetMd5Hash(), "newer hash");
    EXPECT_EQ(m_settled.size(), 1) << "it was settled before all had arrived";
}

TEST_F(DocumentListMergerTest, NothingLeavesOnAListingThatFails)
{
    AddLocal("a");
    for (const auto result : {kError, kCanceled})
        m_protocol->Finish(StartListing(), result);
    Answer(StartListing(), {"a"_q}); // merged after whatever came before
    AwaitMerges(1);
    EXPECT_EQ(Listed(), QStringList("a"_q));
    EXPECT_EQ(m_merged.value(0), QVariantList({0, 0, 0}));
}

TEST_F(DocumentListMergerTest, WhatIsBeingTransferredStaysAndWhatReturnsHasItsLocalCopyAgain)
{
    for (const auto* id : {"down", "up"})
        AddLocal(id);
    m_transfers.End(2); // refused: none of that ticket has begun
    const auto downloaded = m_documents.GetFileInfo("down"_q);
    m_transfers.Begin(1, {"down", downloaded});
    m_transfers.Begin(2, {"", nullptr, ioPath("/local/up"_s)});
    downloaded->SetIsSyncingInProgress(true);
    m_documents.Update(downloaded);
    Answer(StartListing(), {"down"_q, "up"_q});
    AwaitMerges(1);
    EXPECT_TRUE(m_documents.GetFileInfo("down"_q)->IsSyncingInProgress());
    const auto leave = [this](const char* expected) {
        Answer(StartListing(), {});
        AwaitMerges(m_merged.size() + 1);
        EXPECT_EQ(Listed().join(QLatin1Char(' ')), QLatin1String(expected));
    };
    leave("down up");
    for (const int ticket : {1, 2, 2})
        m_transfers.End(ticket);
    m_documents.Add(ListedDocument("cloud only"));
    QDir().mkdir(m_departedFile);
    leave("down up"); // else their local copies would be lost
    EXPECT_NE(m_departed.Problem(), QString());
    QDir().rmdir(m_departedFile);
    leave("");
    EXPECT_EQ(m_departed.Problem(), QString());

    Answer(StartListing(), {"down"_q});
    AwaitMerges(m_merged.size() + 1);
    EXPECT_EQ(m_documents.GetFileInfo("down"_q)->GetPath(), ioPath("/local/down"_s));
    EXPECT_EQ(m_documents.GetFileInfo("down"_q)->GetCloudHashBeforeChange(), "cloud hash");
    EXPECT_EQ(m_documents.GetFileInfo("down"_q)->GetMd5Hash(), "hash of /local/down") << "as it is now";

    m_manager->RemoveFile(m_documents.GetFileInfo("down"_q));
    m_protocol->Finish(m_protocol->m_requests.size() - 1, kSuccess);
    m_transfers.Begin(3, {"down", downloaded});
    Answer(StartListing(), {"down"_q});
    AwaitMerges(m_merged.size() + 1);
    const auto another = m_documents.GetFileInfo("down"_q);
    EXPECT_TRUE(another->GetPath().empty()) << "the local copy was that of a document that has been removed";
    EXPECT_TRUE(another->IsSyncingInProgress());
}

TEST_F(DocumentListMergerTest, DepartedCopiesAreForgottenOnceTheListHasThemAgain)
{
    {
        DepartedCopies departed(m_departedFile, [] { return true; });
        for (const auto* id : {"back", "old", "no copy later"}) {
            const auto document = ListedDocument(id);
            document->SetPath(ioPath(id), "local hash", "hash before");
            departed.Remember(*document);
        }
        departed.Remember(*ListedDocument("no copy later"));
        const auto back = ListedDocument("back");
        EXPECT_TRUE(departed.GiveBack(*back));
        EXPECT_EQ(back->GetPath().utf8string() + ' ' + back->GetMd5Hash() + ' ' +
                      back->GetCloudHashBeforeChange(),
                  "back local hash hash before");
        departed.Remember(*back); // it leaves again
        EXPECT_TRUE(departed.Store());
    }
    PDF::Cloud::SqliteCloudInfoStorage(m_departedFile).SetValue("old", "departed_on", "20000");
    const auto givenBackIn = [this](bool isListStored) {
        DepartedCopies departed(m_departedFile, [=] { return isListStored; });
        QString ids;
        for (const auto* id : {"back", "old", "no copy later"}) {
            if (departed.GiveBack(*ListedDocument(id)))
                ids += QLatin1String(id);
        }
        return ids;
    };
    EXPECT_EQ(givenBackIn(false), "back"_q);
    EXPECT_EQ(givenBackIn(true), "back"_q);
    EXPECT_EQ(givenBackIn(true), QString());
}

TEST_F(DocumentListMergerTest, ADownloadBringsItsLocalCopyAloneAndEndsThatOfTheDocumentItReplaced)
{
    for (const auto* id : {"a", "b"})
        AddLocal(id);
    const auto twin = ListedDocument("twin"); // of the content that will be there
    twin->UpdateCloudInfo(CloudSide("twin", "twin", 5000, "newer hash"));
    twin->SetPath(ioPath("/local/b"_s), "newer hash");
    m_documents.Add(twin);
    Update("a", "newer hash"); // by a listing, while the download runs
    const auto arrived = ListedDocument("a");
    arrived->SetPath(ioPath("/local/b"_s), "newer hash");
    Q_EMIT m_manager->DownloadingFinished(arrived);
    EXPECT_EQ(m_documents.GetFileInfo("a"_q)->GetCloudInfo()->GetMd5Hash(), "newer hash");
    EXPECT_EQ(m_documents.GetFileInfo("a"_q)->GetPath(), ioPath("/local/b"_s));
    EXPECT_TRUE(m_documents.GetFileInfo("b"_q)->GetPath().empty());
    EXPECT_EQ(m_documents.GetFileInfo("twin"_q)->GetPath(), ioPath("/local/b"_s));

    m_transfers.Begin(1, {"late", nullptr});
    const auto late = ListedDocument("late"); // no longer listed
    late->SetPath(ioPath("/local/late"_s), "cloud hash");
    Q_EMIT m_manager->DownloadingFinished(late);
    EXPECT_EQ(m_documents.GetFileInfo("late"_q)->GetPath(), ioPath("/local/late"_s));
    EXPECT_TRUE(m_documents.GetFileInfo("late"_q)->IsSyncingInProgress()) << "another transfer runs";
}

TEST_F(DocumentListMergerTest, AnOldListingDoesNotUndoWhatHappenedSince)
{
    m_documents.Add(CloudDocument("removed", "removed"));
    for (const auto result : {kError, kCanceled})
        m_protocol->Finish(StartListing(), result);
    const auto listing = StartListing();

    m_manager->RemoveFile(m_documents.GetFileInfo("removed"_q));
    m_protocol->Finish(m_protocol->m_requests.size() - 1, kSuccess);
    m_protocol->m_answer.id = "uploaded"_q;
    m_manager->Upload("/local/uploaded.pdf"_q);
    m_protocol->Finish(m_protocol->m_requests.size() - 1, kSuccess);

    const auto later = StartListing();
    Answer(listing, {"removed"_q});
    AwaitMerges(1);
    EXPECT_EQ(Listed(), QStringList("uploaded"_q));

    m_protocol->Finish(later, kError);
    Answer(StartListing(), {"removed"_q}); // a listing asked for since then counts
    AwaitMerges(2);
    EXPECT_EQ(Listed(), QStringList("removed"_q));
}

TEST_F(DocumentListMergerTest, RemovedWhileTheListingIsBeingMergedStaysRemoved)
{
    const auto early = StartListing();
    Answer(early, {"a"_q, "b"_q}); // not merged yet: that is for the next turns of the event loop
    m_manager->RemoveFile(CloudDocument("b", "b"));
    m_protocol->Finish(m_protocol->m_requests.size() - 1, kSuccess);
    AwaitMerges(1);
    EXPECT_EQ(Listed(), QStringList("a"_q));
}

TEST_F(DocumentListMergerTest, WhatHappensDuringTheRemovalCounts)
{
    for (const auto* id : {"gone", "removed", "uploaded", "gone first"})
        m_documents.Add(ListedDocument(id));
    const auto meddle = [this] {
        m_documents.disconnect();
        m_documents.Add(ListedDocument("added"));
        m_documents.Remove(ListedDocument("removed"));
        m_protocol->m_answer.id = "uploaded"_q;
        m_manager->Upload("/local/uploaded.pdf"_q);
        m_protocol->Finish(m_protocol->m_requests.size() - 1, kSuccess);
    };
    QObject::connect(&m_documents, qOverload<>(&PDF::AbstractFileManager::FileRemoved), meddle);
    Answer(StartListing(), {});
    AwaitMerges(1);
    EXPECT_EQ(Listed(), QStringList({"added"_q, "uploaded"_q}));
    EXPECT_EQ(m_merged.value(0), QVariantList({0, 0, 2}));
}

TEST_F(DocumentListMergerTest, AReceiverMayWaitInAnEventLoopForTheNextMerge)
{
    QObject::connect(&m_merger, &DocumentListMerger::Merged, [this] {
        m_merger.disconnect(nullptr, nullptr, nullptr);
        QSignalSpy next(&m_merger, &DocumentListMerger::Merged);
        Answer(StartListing(), {"a"_q, "b"_q});
        EXPECT_TRUE(next.wait(60'000));
    });
    Answer(StartListing(), {"a"_q});
    AwaitMerges(1);
    EXPECT_EQ(Listed(), QStringList({"a"_q, "b"_q}));
}

TEST_F(DocumentListMergerTest, MergingWaitsForAReceiverOfTheListThatRunsAnEventLoop)
{
    QStringList inTheLoop;
    QObject::connect(&m_documents, qOverload<>(&PDF::AbstractFileManager::FileAdded), [&] {
        m_documents.disconnect();
        Answer(StartListing(), {"c"_q});
        for (int turn = 0; turn < 10; ++turn)
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        inTheLoop = Listed();
    });
    Answer(StartListing(), {"a"_q, "b"_q});
    AwaitMerges(2);
    EXPECT_EQ(inTheLoop, QStringList("a"_q));
    EXPECT_EQ(m_merged, QList<QVariantList>({{2, 0, 0}, {1, 0, 2}}));
    EXPECT_EQ(Listed(), QStringList("c"_q));
}

} // namespace
} // namespace Orvane::Tests
