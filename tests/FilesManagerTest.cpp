#include "support/FilesManagerFixture.h"

#include <array>

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
    const auto document = Own(CloudDocument("b"));
    Add("a");
    m_signals.m_duringSignal = [this] { EXPECT_THAT(Ids(), ElementsAre("b", "a")); };
    m_list->Add(document);
    EXPECT_THAT(Happened(), ElementsAre("FileAdded(own b)", "FileAdded()"));
    document->SetPath("/later.pdf"_s, "h");
    EXPECT_EQ(m_list->GetDocumentPath(0), "/later.pdf"_q);
}

TEST_F(FilesManagerTest, OddCallsChangeAndSayNothing)
{
    Add("abc");
    EXPECT_EQ(ThrownBy([this] { m_list->Add(nullptr); }), typeid(std::exception));
    EXPECT_EQ(ThrownBy([this] { m_list->Remove(nullptr); }), typeid(std::exception));
    m_list->Update(nullptr);
    m_list->Rename({"abc"_q}, "new name"_q);
    m_list->Clear();
    const auto held = std::make_shared<int>(0);
    m_list->SetImageGetCallback([held](const QString&) { return QImage(); });
    EXPECT_EQ(held.use_count(), 1);
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
    EXPECT_EQ(m_signals.m_documents.back(), sameId);
    EXPECT_THAT(During([&] { m_list->Remove(sameId); }), ElementsAre("RemoveRecord(b)")) << "not in the list";
    EXPECT_THAT(During([this] { m_list->Remove(DocumentWithoutCloudSide("x")); }), IsEmpty());
}

TEST_F(FilesManagerTest, EveryLookUpFindsTheFrontmostOfEqualIds)
{
    const auto back = Add(CloudDocument("abc", "back.pdf"));
    Add("other");
    const auto front = Add(CloudDocument("abc", "front.pdf"));
    EXPECT_EQ(m_list->FilesCount(), 3);
    EXPECT_EQ(Stored("abc").GetCloudInfo()->GetFileName(), "front.pdf");
    m_list->Update(CloudDocument("abc", "updated.pdf"));
    EXPECT_EQ(front->GetCloudInfo()->GetFileName(), "updated.pdf");
    EXPECT_EQ(back->GetCloudInfo()->GetFileName(), "back.pdf");
    m_list->Remove(back);
    EXPECT_THAT(Ids(), ElementsAre("other", "abc"));
    EXPECT_EQ(Stored("abc").GetCloudInfo()->GetFileName(), "back.pdf");
    m_list->Remove(back);
    EXPECT_THAT(Ids(), ElementsAre("other"));
}

TEST_F(FilesManagerTest, IdsAreComparedByteForByteAndCopiesHandedOut)
{
    for (const auto& id : {"a"_s, "a\0b"_s, "e\u0301"_s})
        Add(id);
    const auto copy = m_list->GetFileInfo("a\0b"_q);
    ASSERT_EQ(copy->GetId(), "a\0b"_s);
    copy->SetPath("/copy"_s, "h");
    EXPECT_TRUE(m_list->GetFileInfo("a\0b"_q)->GetPath().empty()) << "an independent copy";
    for (const auto& unknown : {"A"_q, "a\0"_q, ""_q, "\u00e9"_q}) { // the last is "e\u0301" composed
        EXPECT_EQ(m_list->GetFileInfo(unknown), nullptr);
        m_list->Remove(CloudDocument(unknown.toStdString()));
        m_list->Update(CloudDocument(unknown.toStdString()));
    }
    EXPECT_EQ(m_list->FilesCount(), 3);
    EXPECT_EQ(Happened().size(), 4U) << "the records that Remove deletes";
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
    EXPECT_EQ(m_list->GetIdByPath("/x"_s), "");
    Add("cloud only");
    EXPECT_EQ(m_list->GetIdByPath(ioPath()), "cloud only");
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
        {"/d/a.pdf", "old", "/d/a.pdf", "/d/a.pdf"},
        {"/d/./a.pdf", current, "/d/./a.pdf", "/d/./a.pdf"},
        {"/d/./a.pdf", "old", "/d/./a.pdf", "/d/a.pdf"},
        {"/d/./a.pdf", current, "/d/a.pdf", "/d/a.pdf"},
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
    document->SetPath("/d/./a.pdf"_s, "old");
    m_list->Update(document); // with the stored object itself
    EXPECT_EQ(document->GetPath().utf8string() + document->GetMd5Hash(), "/d/a.pdf" + current);
}

TEST_F(FilesManagerTest, UpdateReplacesPreviewsWholeButNeverClearsThem)
{
    const ioPath small("/s"_s);
    const ioPath large("/l"_s);
    const auto document = Add("abc");
    FileInfo::PreviewsSet expected;
    for (const auto& previews :
         std::vector<FileInfo::PreviewsSet>{{{PreviewSize::Small, small}, {PreviewSize::Large, large}},
                                            {},
                                            {{PreviewSize::Medium, small}, {PreviewSize::Large, large}},
                                            {{PreviewSize::Medium, large}, {PreviewSize::Large, large}},
                                            {{PreviewSize::Large, large}},
                                            {}}) {
        const auto source = CloudDocument("abc", "name " + std::to_string(previews.size()));
        source->SetPreviewsSet(previews);
        m_list->Update(source);
        expected = previews.empty() ? expected : previews;
        EXPECT_EQ(document->GetPreviewsSet(), expected);
    }
}

TEST_F(FilesManagerTest, UpdateFromADocumentWithoutCloudSideChangesNothing)
{
    const auto document = Add(CloudDocument("abc", "kept.pdf"));
    document->SetPath("/kept.pdf"_s, "kept");
    document->SetPreviewsSet({{PreviewSize::Small, ioPath("/kept.png"_s)}});
    const auto source = DocumentWithoutCloudSide("abc");
    source->SetPath("/other.pdf"_s, "other");
    source->SetPreviewsSet({{PreviewSize::Small, ioPath("/other.png"_s)}});
    source->SetIsSyncingInProgress(true);
    m_list->Update(source);
    EXPECT_EQ(Happened().back(), "FileUpdated(0)");
    EXPECT_EQ(document->GetCloudInfo()->GetFileName(), "kept.pdf");
    EXPECT_EQ(document->GetPath().utf8string() + " " + document->GetMd5Hash(), "/kept.pdf kept");
    EXPECT_EQ(document->GetPreviewsSet().begin()->second.utf8string(), "/kept.png");
    EXPECT_FALSE(document->IsSyncingInProgress());
}

} // namespace
