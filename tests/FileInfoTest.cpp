#include "support/Journal.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using Status = FileInfo::CloudStatus;
using PreviewSize = FileInfo::PreviewSize;

TEST(FileInfoTest, OnlyTheRedactableCloudSideIsTheRecordsOwn)
{
    FileInfo record(CloudSide("abc"));
    EXPECT_EQ(record.GetId(), "abc");
    EXPECT_TRUE(record.GetPath().empty() && record.GetPreviewsSet().empty());
    EXPECT_EQ(record.GetSize(), 0U);
    EXPECT_EQ(record.GetCloudStatus(), Status::CloudOnly);

    auto copy = *record.GetCloudInfo();
    copy.SetPreviewPathBySize("/copy"_s, PreviewSize::Small);
    EXPECT_TRUE(record.GetPreviewsSet().empty());
    const FileInfo independent(record);
    record.GetRedactableCloudInfo()->SetPreviewPathBySize("/own"_s, PreviewSize::Small);
    EXPECT_EQ(record.GetPreviewsSet().size(), 1U);
    record.GetRedactableCloudInfo().reset();
    EXPECT_FALSE(record.GetCloudInfo().has_value());
    EXPECT_TRUE(independent.GetCloudInfo().has_value() && independent.GetPreviewsSet().empty());
}

TEST(FileInfoTest, RecordAndCloudSideShareOnePreviewSetThatUpdatesDoNotClear)
{
    FileInfo record(CloudSide("abc"));
    record.SetPreviewsSet({{PreviewSize::Large, ioPath("/l"_s)}, {PreviewSize::Small, ioPath("/old"_s)}});
    record.GetRedactableCloudInfo()->SetPreviewPathBySize("/s"_s, PreviewSize::Small);
    const FileInfo::PreviewsSet previews = {{PreviewSize::Small, ioPath("/s"_s)},
                                            {PreviewSize::Large, ioPath("/l"_s)}};
    EXPECT_EQ(record.GetCloudInfo()->GetPreviewsSet(), previews);
    EXPECT_FALSE(record.UpdateCloudInfo(CloudSide("abc")));
    EXPECT_TRUE(record.UpdateCloudInfo(CloudSide("abc", "new.pdf")));
    EXPECT_EQ(record.GetCloudInfo()->GetFileName(), "new.pdf");
    EXPECT_EQ(record.GetPreviewsSet(), previews);

    auto withPreviews = CloudSide("abc", "new.pdf");
    withPreviews.SetPreviewPathBySize("/m"_s, PreviewSize::Medium);
    EXPECT_TRUE(record.UpdateCloudInfo(withPreviews));
    EXPECT_EQ(record.GetPreviewsSet(), withPreviews.GetPreviewsSet());
}

TEST(FileInfoTest, StatusFollowsFromHashesAndTheLastSynchronisation)
{
    struct Case
    {
        std::string localHash;
        std::string cloudHash;
        std::string lastSynchronised;
        Status status;
    };
    const std::vector<Case> cases = {
        {"a", "a", "", Status::Synchronized},  {"a", "a", "b", Status::Synchronized},
        {"b", "a", "a", Status::LocalChanged}, {"a", "b", "a", Status::CloudChanged},
        {"b", "c", "a", Status::Conflict},     {"b", "c", "", Status::Conflict},
        {"a", "", "a", Status::Undefined},     {"", "a", "", Status::Conflict},
    };
    for (const auto& [localHash, cloudHash, lastSynchronised, status] : cases) {
        FileInfo record(CloudSide("abc", "a.pdf", 1, cloudHash));
        record.SetPath("/a.pdf"_s, localHash, lastSynchronised);
        EXPECT_EQ(record.GetCloudStatus(), status)
            << localHash << " " << cloudHash << " " << lastSynchronised;
        EXPECT_EQ(record.GetCloudHashBeforeChange(), lastSynchronised);
        record.SetIsSyncingInProgress(true);
        EXPECT_EQ(record.GetCloudStatus(), Status::Syncing);
        record.GetRedactableCloudInfo().reset();
        EXPECT_EQ(static_cast<int>(record.GetCloudStatus()), 5);
    }
}

TEST(FileInfoTest, LastSynchronisationMovesOnlyWhenBothSidesAreEqual)
{
    FileInfo record(CloudSide("abc", "a.pdf", 1, "one"));
    record.SetPath("/a.pdf"_s, "one");
    record.SetPath("/a.pdf"_s, "two");
    EXPECT_EQ(record.GetCloudHashBeforeChange(), "one");
    record.UpdateCloudInfo(CloudSide("abc", "a.pdf", 1, "two"));
    record.UpdateCloudInfo(CloudSide("abc", "a.pdf", 1, "three"));
    EXPECT_EQ(record.GetCloudHashBeforeChange(), "two");
}

TEST(IoPathTest, HoldsAndComparesItsTextAndNothingElse)
{
    const ioPath path("/a/./\u00e9\0x"_s);
    EXPECT_EQ(path.utf8string(), "/a/./\u00e9\0x"_s);
    for (const auto& other : {"/a/./\u00e9"_s, "/a/\u00e9\0x"_s, "/A/./\u00e9\0x"_s, ""_s})
        EXPECT_TRUE(path != ioPath(other) && !(path == ioPath(other)));
    EXPECT_TRUE(path == ioPath(path) && !(path != ioPath(path)));
    EXPECT_TRUE(ioPath().empty() && !path.empty());

    // From a QString it takes the text up to the first NUL character.
    EXPECT_EQ(ioPath::from(QString()).utf8string(), "");
    EXPECT_EQ(ioPath::from<const QString&>("/\u00e9/\U0001F600\0b"_q).utf8string(), "/\u00e9/\U0001F600");
}

TEST(IoPathTest, RemovesFilesAndNothingElse)
{
    const QTemporaryDir folder;
    const auto path = ioPath::from(folder.path() + "/\u00e4.pdf"_q);
    QFile file(folder.path() + "/\u00e4.pdf"_q);
    path.remove();
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ioPath(path.utf8string() + "\0x"_s).remove();
    EXPECT_TRUE(path.exists());
    path.remove();
    EXPECT_FALSE(path.exists() || ioPath().exists());
    ioPath::from(folder.path()).remove();
    EXPECT_TRUE(ioPath::from(folder.path()).exists());
}

} // namespace
