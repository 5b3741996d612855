#include "support/Journal.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using Status = FileInfo::CloudStatus;
using PreviewSize = FileInfo::PreviewSize;

TEST(FileInfoTest, RecordAndCloudSideShareOnePreviewSetThatUpdatesDoNotClear)
{
    FileInfo record(CloudSide("abc"));
    const FileInfo::PreviewsSet previews = {{PreviewSize::Large, ioPath("/l"_s)}};
    record.SetPreviewsSet(previews);
    EXPECT_EQ(record.GetCloudInfo()->GetPreviewsSet(), previews);
    EXPECT_FALSE(record.UpdateCloudInfo(CloudSide("abc")));
    EXPECT_TRUE(record.UpdateCloudInfo(CloudSide("abc", "new.pdf")));
    EXPECT_EQ(record.GetCloudInfo()->GetFileName(), "new.pdf");
    EXPECT_EQ(record.GetPreviewsSet(), previews);
}

TEST(FileInfoTest, EveryFieldOfTheCloudSideCountsAsAChange)
{
    const QUrl url("https://h/"_q);
    const QDateTime now = QDateTime::currentDateTime(), no;
    const FileInfo::CloudInfo same("abc", "n", 1, true, {}, no, no, 2, "h");
    auto previewed = same;
    previewed.SetPreviewPathBySize(ioPath("/p"_s), PreviewSize::Small);
    FileInfo bare(same);
    EXPECT_FALSE(bare.UpdateCloudInfo(same));
    bare.GetRedactableCloudInfo().reset();
    EXPECT_TRUE(bare.UpdateCloudInfo(same) && bare.GetCloudInfo());
    for (const FileInfo::CloudInfo& other : {FileInfo::CloudInfo("ab", "n", 1, true, {}, no, no, 2, "h"),
                                             {"abc", "m", 1, true, {}, no, no, 2, "h"},
                                             {"abc", "n", 2, true, {}, no, no, 2, "h"},
                                             {"abc", "n", 1, false, {}, no, no, 2, "h"},
                                             {"abc", "n", 1, true, url, no, no, 2, "h"},
                                             {"abc", "n", 1, true, {}, now, no, 2, "h"},
                                             {"abc", "n", 1, true, {}, no, now, 2, "h"},
                                             {"abc", "n", 1, true, {}, no, no, 3, "h"},
                                             {"abc", "n", 1, true, {}, no, no, 2, "i"},
                                             previewed}) {
        FileInfo record(same);
        EXPECT_TRUE(record.UpdateCloudInfo(other));
        EXPECT_TRUE(*record.GetCloudInfo() == other && !(other == same));
    }
}

TEST(FileInfoTest, WhatWasReadStaysWhenTheRecordChangesAndTheIdNeverDoes)
{
    static_assert(std::is_copy_constructible_v<FileInfo> && !std::is_copy_assignable_v<FileInfo>);
    FileInfo record(CloudSide("abc", "a.pdf", 1, "old"));
    record.SetPath("/old"_s, "old");
    auto& cloudInfo = *record.GetRedactableCloudInfo();
    const auto& path = record.GetPath();
    const auto &hash = record.GetMd5Hash(), &lastHash = record.GetCloudHashBeforeChange();
    const auto &name = cloudInfo.GetFileName(), &cloudHash = cloudInfo.GetMd5Hash();
    record.UpdateCloudInfo(CloudSide("other", "new.pdf", 1, "new"));
    record.SetPath("/new"_s, "new");
    EXPECT_EQ(path.utf8string() + hash + lastHash + name + cloudHash, "/oldoldolda.pdfold");
    EXPECT_EQ(record.GetId(), "abc");
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
        {"a", "", "a", Status::Undefined},     {"", "a", "a", Status::CloudOnly},
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

TEST(IoPathTest, RemovesFilesAndNothingElse)
{
    const QTemporaryDir folder;
    const auto path = ioPath::from(folder.path() + "/\u00e4.pdf"_q);
    QFile file(folder.path() + "/\u00e4.pdf"_q);
    path.remove();
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const ioPath cut(path.utf8string() + "\0x"_s);
    cut.remove();
    EXPECT_TRUE(path.exists() && !cut.exists()) << "no file has such a name";
    EXPECT_EQ(ioPath::from<const QString&>("a"_q).utf8string(), "a");
    path.remove();
    EXPECT_FALSE(path.exists() || ioPath().exists());
    ioPath::from(folder.path()).remove();
    EXPECT_TRUE(ioPath::from(folder.path()).exists());
}

} // namespace
