#include "support/FilesManagerFixture.h"

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

TEST_F(FilesManagerTest, NullDocumentsThrowAPlainExceptionOrAreIgnored)
{
    EXPECT_EQ(ThrownBy([this] { m_list->Add(nullptr); }), typeid(std::exception));
    EXPECT_EQ(ThrownBy([this] { m_list->Remove(nullptr); }), typeid(std::exception));
    m_list->Update(nullptr);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(m_list->FilesCount(), 0);
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

TEST_F(FilesManagerTest, RemovedDocumentWithoutCloudSideLosesItsRecordWithTheList)
{
    const auto document = Add(DocumentWithoutCloudSide("abc"));
    m_list->Remove(document);
    EXPECT_THAT(Happened(), ElementsAre("FileRemoved(own abc)", "FileRemoved()"));
    EXPECT_THAT(During([this] { m_list.reset(); }), ElementsAre("RemoveRecord(abc)"));
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
    const auto id = "a\0b"_s;
    Add("a");
    Add(id);
    Add("e\u0301"); // the same letter as below, written in two characters
    const auto copy = m_list->GetFileInfo("a\0b"_q);
    ASSERT_EQ(copy->GetId(), id);
    copy->SetPath("/copy"_s, "h");
    EXPECT_TRUE(m_list->GetFileInfo("a\0b"_q)->GetPath().empty()) << "an independent copy";
    for (const auto& unknown : {"A"_q, "a\0"_q, ""_q, "\u00e9"_q})
        EXPECT_EQ(m_list->GetFileInfo(unknown), nullptr);
    m_list->Remove(CloudDocument("a\0"_s));
    m_list->Update(CloudDocument("\u00e9"));
    EXPECT_EQ(m_list->FilesCount(), 3);
    EXPECT_THAT(Happened(), ElementsAre("RemoveRecord(a\0)"_s));
}

TEST_F(FilesManagerTest, GetIdByPathNormalizesBothSides)
{
    EXPECT_EQ(m_list->GetIdByPath("/a"_s), "");
    Add("1")->SetPath("/x/./a"_s, "");
    Add("2")->SetPath("/x/a"_s, "");
    Add("3")->SetPath("/x/A"_s, "");
    std::string id;
    EXPECT_THAT(During([&] { id = m_list->GetIdByPath("/./x/a"_s); }),
                ElementsAre("NormalizePath(/./x/a)", "NormalizePath(/x/A)", "NormalizePath(/x/a)"));
    EXPECT_EQ(id, "2");
    m_list->Remove(CloudDocument("2"));
    EXPECT_EQ(m_list->GetIdByPath("/x/a"_s), "1");
    EXPECT_EQ(m_list->GetIdByPath("/x"_s), "");
    Add("cloud only");
    EXPECT_EQ(m_list->GetIdByPath(ioPath()), "cloud only");
}

TEST_F(FilesManagerTest, UpdateAnnouncesIdAndRowEvenWhenNothingChanged)
{
    for (const std::string id : {"d", "c", "b", "a"})
        Add(id);
    m_list->Update(CloudDocument("d"));
    EXPECT_THAT(Happened(),
                ElementsAre("NormalizePath()", "CalculateFileHash()", "FileUpdated(d)", "FileUpdated(3)"));
    m_list->Update(CloudDocument("unknown"));
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(FilesManagerTest, UpdateTakesCloudSideAndSyncingFlag)
{
    const auto document = Add("abc");
    m_signals.m_duringSignal = [&] { EXPECT_TRUE(document->IsSyncingInProgress()); };
    const FileInfo::CloudInfo cloud("abc", "new.pdf", 7, false, QUrl("https://h/"_q), {}, {}, 9, "new");
    const auto source = std::make_shared<FileInfo>(cloud);
    source->SetIsSyncingInProgress(true);
    m_list->Update(source);
    EXPECT_TRUE(*document->GetCloudInfo() == cloud);
    m_signals.m_duringSignal = [] {};
    m_list->Update(CloudDocument("abc"));
    EXPECT_FALSE(document->IsSyncingInProgress());
}

struct LocalSide
{
    std::string path;
    std::string hash;

    friend bool operator==(const LocalSide& left, const LocalSide& right)
    {
        return left.path == right.path && left.hash == right.hash;
    }
    friend void PrintTo(const LocalSide& side, std::ostream* stream)
    {
        *stream << side.path << " " << side.hash;
    }
};

// The raw paths are compared, and the normalized one is what gets recorded.
TEST_F(FilesManagerTest, UpdateRecordsTheLocalCopyWhenPathOrHashDiffer)
{
    struct Case
    {
        LocalSide stored;
        std::string sourcePath;
        LocalSide updated;
    };
    const std::string current = "hash of /d/a.pdf";
    const std::vector<Case> cases = {
        {{"/d/a.pdf", current}, "/d/a.pdf", {"/d/a.pdf", current}},
        {{"/d/a.pdf", "old"}, "/d/a.pdf", {"/d/a.pdf", current}},
        {{"/d/./a.pdf", current}, "/d/./a.pdf", {"/d/./a.pdf", current}},
        {{"/d/./a.pdf", "old"}, "/d/./a.pdf", {"/d/a.pdf", current}},
        {{"/d/./a.pdf", current}, "/d/a.pdf", {"/d/a.pdf", current}},
        {{"/other.pdf", "old"}, "/d/./a.pdf", {"/d/a.pdf", current}},
        {{"/d/a.pdf", current}, "", {"", "hash of "}},
        {{"", ""}, "/d/./a.pdf", {"/d/a.pdf", current}},
    };
    const auto document = Add("abc");
    for (const auto& [stored, sourcePath, updated] : cases) {
        document->SetPath(stored.path, stored.hash);
        const auto source = CloudDocument("abc");
        source->SetPath(sourcePath, "never read");
        EXPECT_EQ(During([&, given = source] { m_list->Update(given); }).at(0),
                  "NormalizePath(" + sourcePath + ")");
        EXPECT_EQ((LocalSide{document->GetPath().utf8string(), document->GetMd5Hash()}), updated);
    }
}

TEST_F(FilesManagerTest, UpdateReplacesPreviewsWholeButNeverClearsThem)
{
    const FileInfo::PreviewsSet stored = {{PreviewSize::Small, ioPath("/s"_s)},
                                          {PreviewSize::Large, ioPath("/l"_s)}};
    const std::vector<FileInfo::PreviewsSet> incoming = {
        {{PreviewSize::Small, ioPath("/s"_s)}},
        {{PreviewSize::Medium, ioPath("/s"_s)}, {PreviewSize::Large, ioPath("/l"_s)}},
        {{PreviewSize::Small, ioPath("/other"_s)}, {PreviewSize::Large, ioPath("/l"_s)}},
        stored,
    };
    const auto document = Add("abc");
    document->SetPreviewsSet(stored);
    m_list->Update(CloudDocument("abc", "no previews.pdf"));
    EXPECT_EQ(document->GetPreviewsSet(), stored);
    for (const auto& previews : incoming) {
        const auto source = CloudDocument("abc");
        source->SetPreviewsSet(previews);
        m_list->Update(source);
        EXPECT_EQ(document->GetPreviewsSet(), previews);
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

    const auto events = During([&] { m_list->Update(source); });
    EXPECT_THAT(Events(events.end() - 2, events.end()), ElementsAre("FileUpdated(abc)", "FileUpdated(0)"));
    EXPECT_EQ(document->GetCloudInfo()->GetFileName(), "kept.pdf");
    EXPECT_EQ(document->GetPath().utf8string() + " " + document->GetMd5Hash(), "/kept.pdf kept");
    EXPECT_EQ(document->GetPreviewsSet().begin()->second.utf8string(), "/kept.png");
    EXPECT_FALSE(document->IsSyncingInProgress());
}

TEST_F(FilesManagerTest, UpdateWithTheStoredObjectItselfHashesItAfresh)
{
    const auto document = Add("abc");
    document->SetPath("/d/./a.pdf"_s, "old");
    document->SetPreviewsSet({{PreviewSize::Small, ioPath("/s"_s)}});
    document->SetIsSyncingInProgress(true);
    m_list->Update(document);
    EXPECT_EQ(document->GetPath().utf8string(), "/d/a.pdf");
    EXPECT_EQ(document->GetMd5Hash(), "hash of /d/a.pdf");
    EXPECT_EQ(document->GetPreviewsSet().size(), 1U);
    EXPECT_TRUE(document->IsSyncingInProgress());
}

TEST_F(FilesManagerTest, SomeOperationsDoNothing)
{
    Add("abc");
    const auto held = std::make_shared<int>(0);
    m_list->SetImageGetCallback([held](const QString&) {
        ++*held;
        return QImage();
    });
    m_list->Rename({"abc"_q}, "new name"_q);
    m_list->Clear();
    (void)m_list->GetPreviewsSet(0);
    EXPECT_EQ(held.use_count() + *held, 1);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(m_list->GetDocumentName(0), "a.pdf"_q);
    EXPECT_EQ(m_list->Limit(), 0);
}

TEST_F(FilesManagerTest, MetaObjectAddsNothingToTheBase)
{
    const auto* meta = m_list->metaObject();
    EXPECT_STREQ(meta->className(), "Orvane::PDF::Cloud::OrvaneCloudFilesManager");
    ASSERT_STREQ(meta->superClass()->className(), "Orvane::PDF::AbstractFileManager");
    EXPECT_EQ(meta->methodCount(), meta->superClass()->methodCount());
    EXPECT_EQ(meta->superClass()->methodCount() - meta->superClass()->methodOffset(), 6);
    EXPECT_EQ(m_list->parent(), nullptr);
}

} // namespace
