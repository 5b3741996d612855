#include "support/ProtocolClouds.h"

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>
#include <OrvaneCloudProtocol/transports/folder/NumberedName.h>
#include <support/PartFile.h>
#include <support/TemporaryJournal.h>

#include <gmock/gmock.h>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;

using Support::PartFile;
using Support::TemporaryJournal;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Read;
using Testing::Write;
using Tests::NamesIn;

/// The code of the failure that the step ends in; nothing when it ends well.
std::optional<FailureCode> FailureOf(const std::function<void()>& step)
{
    try {
        step();
        return std::nullopt;
    } catch (const CloudError& error) {
        return error.GetFailure().code;
    }
}

class FolderTransportTest : public testing::Test
{
protected:
    FolderTransportTest()
    {
        for (const auto& folder : {cloud, local})
            fs::create_directory(folder);
    }

    std::optional<FailureCode> Store(const std::string& name, const QString& replacedId = {})
    {
        Job transfer([&](int) { onProgress(transfer); });
        return FailureOf([&] { transport.Store({local / name, replacedId, {}}, transfer); });
    }

    std::optional<FailureCode> Fetch(const QString& id, const std::string& name)
    {
        Job transfer([&](int) { onProgress(transfer); });
        return FailureOf([&] { transport.Fetch({id, local / name, 0}, transfer); });
    }

    Testing::TemporaryFolder scratch;
    const fs::path cloud = scratch.Path() / "cloud";
    const fs::path local = scratch.Path() / "local";
    const fs::path cache = scratch.Path() / "cache";
    FolderTransport transport{{}, cloud, cache};
    Job job;
    std::function<void(Job&)> onProgress = [](Job&) {};
};

TEST(FolderAddress, IsDecodedOnceAndExact)
{
    const std::pair<const char*, const char*> cases[] = {
        {"file:///", "/"},
        {"file:///home/me/cloud/", "/home/me/cloud"},
        {"FILE://LocalHost/cloud", "/cloud"},
        {"file:///a b", "/a b"},
        {"file:///a%2520b", "/a%20b"},
        {"file:///%FF%c3%a9", "/\xFF\xC3\xA9"},
        {"file:///a#b?c;d+e", "/a#b?c;d+e"},
    };
    for (const auto& [address, folder] : cases)
        EXPECT_EQ(FolderOfAddress(address), folder) << address;
    const fs::path folder = "/a b/50%/#?;\xC3\xA9\xFF";
    EXPECT_EQ(FolderOfAddress(AddressOfFile(folder).toEncoded().toStdString()), folder);
}

TEST(NumberedName, StaysWithinWhatAFileSystemTakes)
{
    EXPECT_EQ(NumberedName("a.b.PDF", 12), "a.b (12).PDF");
    const std::string longest = std::string(251, 'x') + ".pdf";
    EXPECT_EQ(NumberedName(longest, 1), longest);
    EXPECT_EQ(NumberedName(longest, 2), std::string(247, 'x') + " (2).pdf");
    const std::string accents = "x" + QString(125, QChar(0xE9)).toStdString();
    const std::string cut = NumberedName(accents + ".pdf", 10);
    EXPECT_LE(cut.size(), 255U);
    EXPECT_FALSE(DocumentIdOf(cut).contains(QLatin1Char('%'))) << "cut inside a character";
}

TEST(FileFailure, SaysWhatItMeansForWhoeverAsked)
{
    const std::pair<int, FailureCode> cases[] = {
        {ENOENT, FailureCode::NotFound},      {ENOTDIR, FailureCode::NotFound},
        {ENOSPC, FailureCode::QuotaExceeded}, {EDQUOT, FailureCode::QuotaExceeded},
        {EACCES, FailureCode::Refused},       {EROFS, FailureCode::Refused},
        {ETIMEDOUT, FailureCode::TimedOut},   {EIO, FailureCode::Network},
    };
    for (const auto& [number, code] : cases) {
        const std::error_code error(number, std::generic_category());
        EXPECT_EQ(FailureCodeOf(FileSide::Cloud, error), code) << error.message();
        EXPECT_EQ(FailureCodeOf(FileSide::Local, error), FailureCode::LocalDisk) << error.message();
    }
}

TEST_F(FolderTransportTest, ServesDocumentsOfAnyNameByTheirIds)
{
    const std::set<std::string> names{"line\nbreak.pdf",
                                      "semi;colon.pdf",
                                      "100%41.pdf",
                                      "back\\slash.pdf",
                                      "latin \xE9.pdf",
                                      "a\x01\x7F.pdf",
                                      "caf\xC3\xA9.pdf",
                                      "cafe\xCC\x81.pdf",
                                      " .pdf",
                                      "-rf.pdf",
                                      std::string(251, 'x') + ".pdf"};
    for (const auto& name : names)
        Write(cloud / name, "content of " + name);
    Write(cloud / "..pdf.PDF", "hidden");
    std::set<std::string> found;
    for (const auto& file : transport.List(job)) {
        const auto name = DocumentNameOf(file.id).value();
        found.insert(name);
        EXPECT_EQ(Fetch(file.id, "fetched.pdf"), std::nullopt);
        EXPECT_EQ(Read(local / "fetched.pdf"), "content of " + name);
        EXPECT_EQ(file.fileName.count(QLatin1Char('/')) + file.fileName.count(QLatin1Char('\\')), 0);
        transport.Remove(file.id, job);
    }
    EXPECT_EQ(found, names);
    EXPECT_THAT(NamesIn(cloud), ElementsAre("..pdf.PDF"));
}

TEST_F(FolderTransportTest, ReachesNothingButRegularFilesOfItsOwn)
{
    Write(local / "outside.pdf", "secret");
    Write(cloud / "a.pdf", "a");
    fs::create_symlink(local / "outside.pdf", cloud / "link.pdf");
    fs::create_symlink(cloud / "a.pdf", cloud / "inner.pdf");
    fs::create_symlink("nowhere", cloud / "broken.pdf");
    fs::create_directory_symlink(local, cloud / "folder.pdf");
    fs::create_directory(cloud / "real folder.pdf");
    for (const auto& folder : {cloud, local})
        ASSERT_EQ(::mkfifo((folder / "pipe.pdf").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", local / "device.pdf");
    for (const char* name : {"pipe.pdf", "device.pdf"})
        EXPECT_EQ(Store(name), FailureCode::LocalDisk);
    EXPECT_EQ(transport.List(job).size(), 1);
    for (const char* name :
         {"link.pdf", "inner.pdf", "broken.pdf", "folder.pdf", "real folder.pdf", "pipe.pdf"}) {
        SCOPED_TRACE(name);
        const QString id = QString::fromUtf8(name);
        EXPECT_FALSE(transport.IsDocumentId(id));
        EXPECT_EQ(Fetch(id, "out.pdf"), FailureCode::NotFound);
        EXPECT_EQ(Store("outside.pdf", id), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { (void)transport.Info(id, job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.FetchForRendering(id, job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.Remove(id, job); }), FailureCode::Refused);
    }
    EXPECT_EQ(Read(local / "outside.pdf"), "secret");
    EXPECT_EQ(NamesIn(cloud).size(), 7U);
    EXPECT_THAT(NamesIn(local), ElementsAre("device.pdf", "outside.pdf", "pipe.pdf"));
}

TEST_F(FolderTransportTest, WhatChangesWhileItIsReadIsAnErrorAndGoesNowhere)
{
    const std::pair<const char*, std::function<void(const fs::path&)>> changes[] = {
        {"shrinks", [](const fs::path& file) { fs::resize_file(file, 1000); }},
        {"grows", [](const fs::path& file) { std::ofstream(file, std::ios::app) << "more"; }},
        {"is rewritten", [](const fs::path& file) { Testing::Patch(file, 10, "other"); }},
        {"is replaced",
         [](const fs::path& file) {
             fs::copy_file(file, file.string() + "x");
             fs::rename(file.string() + "x", file);
         }},
        {"vanishes", [](const fs::path& file) { fs::remove(file); }},
    };
    Write(local / "target.pdf", "old");
    for (const auto& [what, change] : changes) {
        for (const bool isUpload : {true, false}) {
            SCOPED_TRACE(what);
            const auto file = (isUpload ? local : cloud) / "a.pdf";
            Write(file, std::string(1'000'000, 'x'));
            std::this_thread::sleep_for(std::chrono::milliseconds(20)); // so that a rewrite has another time
            onProgress = [&change = change, &file](Job&) { change(file); };
            if (isUpload)
                EXPECT_EQ(Store("a.pdf"), FailureCode::LocalDisk);
            else
                EXPECT_EQ(Fetch(QStringLiteral("a.pdf"), "target.pdf"), FailureCode::Conflict);
            fs::remove(file);
            EXPECT_THAT(NamesIn(cloud), IsEmpty());
            EXPECT_THAT(NamesIn(local), ElementsAre("target.pdf"));
        }
    }
    EXPECT_EQ(Read(local / "target.pdf"), "old");
}

TEST_F(FolderTransportTest, NothingIsCommittedOnceCancelHasReturned)
{
    const std::string bytes(3'000'000, 'x');
    Write(local / "a.pdf", bytes);
    Write(cloud / "b.pdf", bytes);
    onProgress = [](Job& transfer) { transfer.Cancel(); };
    job.Cancel();
    EXPECT_EQ(Store("a.pdf"), FailureCode::Canceled);
    EXPECT_EQ(Fetch(QStringLiteral("b.pdf"), "new.pdf"), FailureCode::Canceled);
    EXPECT_EQ(FailureOf([&] { transport.Remove(QStringLiteral("b.pdf"), job); }), FailureCode::Canceled);
    EXPECT_THAT(NamesIn(cloud), ElementsAre("b.pdf"));
    EXPECT_THAT(NamesIn(local), ElementsAre("a.pdf"));
}

/// Runs a step in which no file can grow beyond a size, as on a disk that is full.
void WithFilesUpTo(rlim_t bytes, const std::function<void()>& step)
{
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former = {};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{bytes, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    step();
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
}

TEST_F(FolderTransportTest, ADiskThatTakesNoMoreLeavesNothingBehind)
{
    Write(local / "a.pdf", std::string(2'000'000, 'x'));
    Write(cloud / "b.pdf", std::string(2'000'000, 'x'));
    WithFilesUpTo(1'000'000, [this] {
        EXPECT_EQ(Store("a.pdf"), FailureCode::Refused);
        EXPECT_EQ(Fetch(QStringLiteral("b.pdf"), "new.pdf"), FailureCode::LocalDisk);
    });
    EXPECT_THAT(NamesIn(cloud), ElementsAre("b.pdf"));
    EXPECT_THAT(NamesIn(local), ElementsAre("a.pdf"));
}

TEST_F(FolderTransportTest, AnEmptyFolderOfAnotherFileSystemInItsPlaceIsNoEmptyCloud)
{
    const fs::path otherDisk = "/dev/shm";
    if (!fs::is_directory(otherDisk) || fs::space(otherDisk).capacity == fs::space(cloud).capacity)
        GTEST_SKIP() << "there is no second file system";
    Write(cloud / "a.pdf", "x");
    const fs::path place = scratch.Path() / "place";
    fs::create_directory_symlink(cloud, place);
    FolderTransport mounted({}, place, cache);
    mounted.SignIn({}, job);
    EXPECT_EQ(mounted.List(job).size(), 1);

    const auto empty = otherDisk / Support::NewTemporaryName();
    fs::create_directory(empty);
    fs::remove(place);
    fs::create_directory_symlink(empty, place);
    EXPECT_EQ(FailureOf([&] { mounted.List(job); }), FailureCode::NotFound);
    fs::remove(empty);
}

TEST_F(FolderTransportTest, SignInSweepsWhatACrashHasLeft)
{
    const fs::path share = scratch.Path() / "share";
    fs::create_directory(share);
    const auto child = ::fork();
    if (child == 0) {
        auto* journal = new TemporaryJournal(cache / "temporaries");
        for (const auto& folder : {local, cloud, share}) {
            (new PartFile(folder, *journal))->Write("half", 4);
            const PartFile forgottenWhileTheOthersStay(folder, *journal);
        }
        journal->Record(local / "precious.pdf"); // not by a name of ours
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    Write(local / "precious.pdf", "x");
    TemporaryJournal living(cache / "temporaries");
    const PartFile underWay(cloud, living);
    ASSERT_EQ(NamesIn(cloud).size(), 2U);

    fs::rename(share, scratch.Path() / "away");
    transport.SignIn({}, job);
    EXPECT_THAT(NamesIn(local), ElementsAre("precious.pdf"));
    EXPECT_EQ(NamesIn(cloud).size(), 1U) << "only that of a living owner stays";
    fs::rename(scratch.Path() / "away", share);
    EXPECT_EQ(NamesIn(share).size(), 1U);
    transport.SignIn({}, job);
    EXPECT_THAT(NamesIn(share), IsEmpty());
    EXPECT_EQ(NamesIn(cache / "temporaries").size(), 2U) << "the living owner's journal and its lock";
}

TEST_F(FolderTransportTest, SignInSweepsTemporariesThatNobodyHasWrittenForADay)
{
    const auto ours = Support::NewTemporaryName();
    const auto fresh = Support::NewTemporaryName();
    const std::set<std::string> kept{fresh, ".orvane-cloud-notes.part",
                                     ".orvane-cloud-0123456789abcdeF.part"};
    for (const auto& name : kept)
        Write(cloud / name, "x");
    Write(cloud / ours, "x");
    for (const auto& name : NamesIn(cloud)) {
        if (name != fresh)
            fs::last_write_time(cloud / name, fs::file_time_type::clock::now() - std::chrono::hours(25));
    }
    transport.SignIn({}, job);
    EXPECT_EQ(NamesIn(cloud), kept);
}

TEST_F(FolderTransportTest, WorksWithoutAUsableCacheFolder)
{
    Write(cache, "a file");
    transport.SignIn({}, job);
    Write(local / "a.pdf", "x");
    EXPECT_EQ(Store("a.pdf"), std::nullopt);
    EXPECT_EQ(transport.List(job).size(), 1);
}

TEST_F(FolderTransportTest, WithoutHardLinksANewFileStillTakesNoTakenName)
{
    TemporaryJournal journal(cache);
    PartFile part(cloud, journal);
    part.Write("new", 3);
    part.Finish();
    Write(cloud / "taken.pdf", "theirs");
    EXPECT_FALSE(part.BecomeNewByReservation(cloud / "taken.pdf"));
    EXPECT_EQ(Read(cloud / "taken.pdf"), "theirs");
    EXPECT_TRUE(part.BecomeNewByReservation(cloud / "free.pdf"));
    EXPECT_EQ(Read(cloud / "free.pdf"), "new");
    EXPECT_THAT(NamesIn(cloud), ElementsAre("free.pdf", "taken.pdf"));
}

TEST_F(FolderTransportTest, AReplacedFileKeepsItsPermissions)
{
    Write(cloud / "a.pdf", "old");
    fs::permissions(cloud / "a.pdf", fs::perms(0600));
    Write(local / "b.pdf", "new");
    EXPECT_EQ(Store("b.pdf", QStringLiteral("a.pdf")), std::nullopt);
    EXPECT_EQ(Read(cloud / "a.pdf"), "new");
    EXPECT_EQ(fs::status(cloud / "a.pdf").permissions(), fs::perms(0600));
}

TEST(Job, ReportsAtMostTenTimesASecond)
{
    int reports = 0;
    Job job([&reports](int) { ++reports; });
    for (int done = 0; done <= 100'000; ++done)
        job.ReportProgress(done, 100'000);
    EXPECT_LT(reports, 50) << "one for each per cent would be too many";
}

} // namespace
} // namespace Orvane::Social
