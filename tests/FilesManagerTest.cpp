#include "support/FilesManagerFixture.h"

#include <array>
#include <random>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

class FilesManagerTest : public FilesManagerFixture
{};

TEST_F(FilesManagerTest, AddPutsTheCallersObjectAtTheFront)
{
    Add("a");
    m_signals.m_duringSignal = [this] { EXPECT_THAT(Ids(), ElementsAre("b", "a")); };
    m_list->Add(Own(CloudDocument("b")));
    EXPECT_THAT(Happened(), ElementsAre("FileAdded(own b)", "FileAdded()"));
}

TEST_F(FilesManagerTest, OddCallsChangeAndSayNothing)
{
    Add("abc");
    EXPECT_TRUE(ThrowsPlainException([this] { m_list->Add(nullptr); }));
    EXPECT_TRUE(ThrowsPlainException([this] { m_list->Remove(nullptr); }));
    m_list->Update(nullptr);
    m_list->Update(CloudDocument("ABC", "unknown.pdf"));
    m_list->Rename({"abc"_q}, "new name"_q);
    m_list->Clear();
    m_list->Remove(DocumentWithoutCloudSide("x"));
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(m_list->FilesCount(), 1);
    EXPECT_EQ(m_list->GetDocumentName(0), "a.pdf"_q);
    EXPECT_EQ(m_list->Limit(), 0);
}

TEST_F(FilesManagerTest, RemoveDeletesTheRecordAtOnceAndTellsAboutTheCallersObject)
{
    for (const std::string id : {"c", "b", "a"})
        Add(id);
    const auto sameId = Own(CloudDocument("b"));
    m_signals.m_duringSignal = [this] { EXPECT_THAT(Ids(), ElementsAre("a", "c")); };
    m_list->Remove(sameId);
    EXPECT_THAT(Happened(), ElementsAre("RemoveRecord(b)", "FileRemoved(own b)", "FileRemoved()"));
    EXPECT_THAT(During([&] { m_list->Remove(sameId); }), ElementsAre("RemoveRecord(b)")) << "not in the list";
}

TEST_F(FilesManagerTest, LookUpsFindTheFrontmostOfEqualIdsAndHandOutCopies)
{
    const auto back = Add(CloudDocument("a\0b"_s, "back.pdf"));
    Add("a");
    const auto front = Add(CloudDocument("a\0b"_s, "front.pdf"));
    m_list->Update(CloudDocument("a\0b"_s, "updated.pdf"));
    EXPECT_EQ(front->GetCloudInfo()->GetFileName(), "updated.pdf");
    EXPECT_EQ(back->GetCloudInfo()->GetFileName(), "back.pdf");
    m_list->GetFileInfo("a\0b"_q)->SetPath("/copy"_s, "h");
    EXPECT_TRUE(front->GetPath().empty());
    m_list->Remove(back);
    EXPECT_THAT(Ids(), ElementsAre("a", "a\0b"_s));
    EXPECT_EQ(Stored("a").GetId(), "a");
    EXPECT_EQ(m_list->GetFileInfo("A"_q), nullptr);
}

TEST_F(FilesManagerTest, ActsOnTheRowThatAWalkFromTheFrontFinds)
{
    std::minstd_rand random;
    std::vector<std::string> rows;
    for (int turn = 0; turn < 2000; ++turn) {
        const auto id = std::to_string(random() % 9);
        const auto found = std::find(rows.begin(), rows.end(), id);
        const auto row = std::to_string(found - rows.begin());
        if (const auto kind = random() % 3; kind == 0 || found == rows.end()) {
            Add(id);
            rows.insert(rows.begin(), id);
        } else if (kind == 1) {
            EXPECT_THAT(During([&] { m_list->Update(CloudDocument(id)); }),
                        testing::Contains("FileUpdated(" + row + ')'));
        } else {
            m_list->Remove(CloudDocument(id));
            rows.erase(found);
        }
        ASSERT_EQ(Ids(), rows) << "turn " << turn;
    }
}

TEST_F(FilesManagerTest, GetIdByPathNormalizesBothSides)
{
    EXPECT_EQ(m_list->GetIdByPath("/a"_s), "");
    Add("1")->SetPath("/x/./a"_s, "");
    Add("2")->SetPath("/x/a"_s, "");
    Add("3")->SetPath("/x/A"_s, "");
    EXPECT_EQ(m_list->GetIdByPath("/./x/a"_s), "2");
    m_list->Remove(CloudDocument("2"));
    EXPECT_EQ(m_list->GetIdByPath("/x/a"_s), "1");
}

TEST_F(FilesManagerTest, UpdateTakesCloudSideAndSyncingFlagAndAnnouncesIdAndRow)
{
    const auto document = Add("d");
    for (const std::string id : {"c", "b", "a"})
        Add(id);
    const FileInfo::CloudInfo cloud("d", "new.pdf", 7, false, QUrl("https://h/"_q), {}, {}, 9, "new");
    const auto source = std::make_shared<FileInfo>(cloud);
    for (const bool isSyncing : {true, true, false}) { // the second time nothing changes
        source->SetIsSyncingInProgress(isSyncing);
        m_signals.m_duringSignal = [&] { EXPECT_EQ(document->IsSyncingInProgress(), isSyncing); };
        EXPECT_THAT(
            During([&] { m_list->Update(source); }),
            ElementsAre("NormalizePath()", "CalculateFileHash()", "FileUpdated(d)", "FileUpdated(3)"));
        EXPECT_TRUE(*document->GetCloudInfo() == cloud);
    }
}

// The raw paths are compared, and the normalized one is what gets recorded.
TEST_F(FilesManagerTest, UpdateRecordsTheLocalCopyWhenPathOrHashDiffer)
{
    const std::string current = "hash of /d/a.pdf";
    const std::vector<std::array<std::string, 4>> cases = {
        // path, hash, path of the source, updated path
        {"/d/./a.pdf", current, "/d/./a.pdf", "/d/./a.pdf"},
        {"/d/./a.pdf", "old", "/d/./a.pdf", "/d/a.pdf"},
        {"/other.pdf", current, "/d/./a.pdf", "/d/a.pdf"},
        {"/d/a.pdf", current, "", ""},
    };
    const auto document = Add("abc");
    for (const auto& [path, hash, sourcePath, updatedPath] : cases) {
        document->SetPath(path, hash);
        const auto source = CloudDocument("abc");
        source->SetPath(sourcePath, "never read");
        m_list->Update(source);
        EXPECT_EQ(document->GetPath().utf8string(), updatedPath) << path << " from " << sourcePath;
        EXPECT_EQ(document->GetMd5Hash(), updatedPath.empty() ? "hash of " : current);
    }
}

TEST_F(FilesManagerTest, UpdateReplacesPreviewsWholeAndNeverClearsThem)
{
    const FileInfo::PreviewsSet old = {{PreviewSize::Small, "/s"_s}, {PreviewSize::Large, "/l"_s}};
    const FileInfo::PreviewsSet arrived = {{PreviewSize::Small, "/new"_s}};
    const auto document = Add("abc");
    document->SetPreviewsSet(old);
    const auto source = CloudDocument("abc");
    m_list->Update(source);
    EXPECT_EQ(document->GetPreviewsSet(), old);
    source->SetPreviewsSet(arrived);
    m_list->Update(source);
    EXPECT_EQ(document->GetPreviewsSet(), arrived);
    m_list->Update(DocumentWithoutCloudSide("abc"));
    EXPECT_EQ(document->GetPreviewsSet(), arrived);
}

} // namespace
