#include "support/LocalFiles.h"

#include <OrvaneCloudProtocol/DocumentId.h>
#include <OrvaneCloudProtocol/transports/FileFailure.h>
#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>
#include <OrvaneCloudProtocol/transports/folder/NumberedName.h>
#include <support/PartFile.h>
#include <support/PathText.h>
#include <support/TemporaryJournal.h>

#include <QDateTime>

#include <gmock/gmock.h>

#include <csignal>
#include <fcntl.h>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;

using Support::IsTemporaryName;
using Support::PartFile;
using Support::TemporaryJournal;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::Read;
using testing::UnorderedElementsAre;
using Testing::Write;

std::vector<std::string> NamesIn(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    return names;
}

/// The code of the failure that the step ends in; nothing when it ends well.
template <typename Step>
std::optional<FailureCode> FailureOf(Step&& step)
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

    FolderTransport::CloudFile Store(const std::string& name, const std::string& bytes)
    {
        Write(local / name, bytes);
        Job job;
        return transport.Store({local / name, {}, {}}, job);
    }

    Testing::TemporaryFolder scratch;
    const fs::path cloud = scratch.Path() / "cloud";
    const fs::path local = scratch.Path() / "local";
    FolderTransport transport{{}, cloud, scratch.Path() / "cache"};
    Job anyJob;
};

TEST(FolderAddress, IsDecodedOnceAndExact)
{
    const std::pair<const char*, const char*> cases[] = {
        {"file:///", "/"},
        {"file:///home/me/cloud", "/home/me/cloud"},
        {"file:///home/me/cloud/", "/home/me/cloud"},
        {"FILE://LocalHost/cloud", "/cloud"},
        {"file:///a%20b", "/a b"},
        {"file:///a b", "/a b"},
        {"file:///a%2520b", "/a%20b"},
        {"file:///%FF%c3%a9", "/\xFF\xC3\xA9"},
        {"file:///a#b?c;d", "/a#b?c;d"},
        {"file:///a+b", "/a+b"},
    };
    for (const auto& [address, folder] : cases) {
        ASSERT_TRUE(FolderOfAddress(address)) << address;
        EXPECT_EQ(FolderOfAddress(address)->string(), folder) << address;
    }
}

TEST(FolderAddress, ComesBackFromTheAddressMadeOfAPath)
{
    const fs::path folder = "/a b/50%/#?;\xC3\xA9\xFF";
    EXPECT_EQ(FolderOfAddress(AddressOfFile(folder).toEncoded().toStdString()), folder);
}

TEST(NumberedName, StaysWithinWhatAFileSystemTakes)
{
    EXPECT_EQ(NumberedName("a.pdf", 1), "a.pdf");
    EXPECT_EQ(NumberedName("a.b.PDF", 12), "a.b (12).PDF");
    const std::string longest = std::string(251, 'x') + ".pdf";
    EXPECT_EQ(NumberedName(longest, 1), longest);
    EXPECT_EQ(NumberedName(longest, 2), std::string(247, 'x') + " (2).pdf");
    std::string accents = "x";
    while (accents.size() < 251)
        accents += "\xC3\xA9";
    const std::string cut = NumberedName(accents + ".pdf", 10);
    EXPECT_LE(cut.size(), 255U);
    EXPECT_FALSE(DocumentIdOf(cut).contains(QLatin1Char('%'))) << "cut inside a character";
}

TEST(FileFailure, SaysWhatItMeansForWhoeverAsked)
{
    const std::pair<int, FailureCode> cases[] = {
        {ENOENT, FailureCode::NotFound},      {ENOTDIR, FailureCode::NotFound},
        {ENOSPC, FailureCode::QuotaExceeded}, {EDQUOT, FailureCode::QuotaExceeded},
        {EACCES, FailureCode::Refused},       {EPERM, FailureCode::Refused},
        {EROFS, FailureCode::Refused},        {ENAMETOOLONG, FailureCode::Refused},
        {ETIMEDOUT, FailureCode::TimedOut},   {EIO, FailureCode::Network},
        {ESTALE, FailureCode::Network},
    };
    for (const auto& [number, code] : cases) {
        const std::error_code error(number, std::generic_category());
        EXPECT_EQ(FailureCodeOf(FileSide::Cloud, error), code) << error.message();
        EXPECT_EQ(FailureCodeOf(FileSide::Local, error), FailureCode::LocalDisk) << error.message();
    }
}

TEST_F(FolderTransportTest, ServesDocumentsOfAnyNameByTheirIds)
{
    const std::set<std::string> names{"line\nbreak.pdf", "semi;colon.pdf",   "100%41.pdf",
                                      "back\\slash.pdf", "latin \xE9.pdf",   "..pdf.PDF",
                                      "caf\xC3\xA9.pdf", "cafe\xCC\x81.pdf", " .pdf",
                                      "a\x01\x7F.pdf",   "-rf.pdf",          std::string(251, 'x') + ".pdf"};
    for (const auto& name : names)
        Write(cloud / name, "content of " + name);
    const auto files = transport.List(anyJob);
    std::set<std::string> found;
    for (const auto& file : files) {
        const auto name = DocumentNameOf(file.id);
        ASSERT_TRUE(name);
        found.insert(*name);
        EXPECT_TRUE(transport.IsDocumentId(file.id));
        transport.Fetch({file.id, local / "fetched.pdf", file.size}, anyJob);
        EXPECT_EQ(Read(local / "fetched.pdf"), "content of " + *name);
        EXPECT_EQ(file.fileName.count(QLatin1Char('/')) + file.fileName.count(QLatin1Char('\\')), 0);
        transport.Remove(file.id, anyJob);
    }
    auto expected = names;
    expected.erase("..pdf.PDF"); // hidden
    EXPECT_EQ(found, expected);
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
    ASSERT_EQ(::mkfifo((cloud / "pipe.pdf").c_str(), 0600), 0);
    const auto files = transport.List(anyJob);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files[0].id, QStringLiteral("a.pdf"));
    Write(local / "b.pdf", "b");
    for (const char* text :
         {"link.pdf", "inner.pdf", "broken.pdf", "folder.pdf", "real folder.pdf", "pipe.pdf"}) {
        SCOPED_TRACE(text);
        const QString id = QString::fromUtf8(text);
        EXPECT_FALSE(transport.IsDocumentId(id));
        EXPECT_EQ(FailureOf([&] { (void)transport.Info(id, anyJob); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] {
                      transport.Fetch({id, local / "out.pdf", 0}, anyJob);
                  }),
                  FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.FetchForRendering(id, anyJob); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] {
                      transport.Store({local / "b.pdf", id, {}}, anyJob);
                  }),
                  FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.Remove(id, anyJob); }), FailureCode::Refused);
    }
    EXPECT_EQ(Read(local / "outside.pdf"), "secret");
    EXPECT_EQ(NamesIn(cloud).size(), 7U);
    EXPECT_THAT(NamesIn(local), UnorderedElementsAre("outside.pdf", "b.pdf"));
}

TEST_F(FolderTransportTest, UploadsNoPipeAndNoDevice)
{
    ASSERT_EQ(::mkfifo((local / "pipe.pdf").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", local / "device.pdf");
    for (const char* name : {"pipe.pdf", "device.pdf"})
        EXPECT_EQ(FailureOf([&] {
                      transport.Store({local / name, {}, {}}, anyJob);
                  }),
                  FailureCode::LocalDisk);
    EXPECT_THAT(NamesIn(cloud), IsEmpty());
}

TEST_F(FolderTransportTest, DocumentsKeepTheirTimesWhateverTheyAre)
{
    Store("a.pdf", "x");
    for (const qint64 seconds : {-86'400LL, 0LL, 1'000'000'000LL, 4'102'444'800LL}) {
        const timespec times[] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, (cloud / "a.pdf").c_str(), times, 0), 0);
        const auto file = transport.Info(QStringLiteral("a.pdf"), anyJob);
        EXPECT_EQ(QDateTime::fromString(file.modifyTime, Qt::ISODate).toSecsSinceEpoch(), seconds);
    }
}

/// What may happen to a file while it is read.
const std::pair<const char*, std::function<void(const fs::path&)>> kChanges[] = {
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

TEST_F(FolderTransportTest, ASourceThatChangesWhileItIsReadIsAnError)
{
    for (const auto& [what, change] : kChanges) {
        SCOPED_TRACE(what);
        const fs::path source = local / "a.pdf";
        Write(source, std::string(1'000'000, 'x'));
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // so that a rewrite has another time
        Job job([&change = change, &source](int) { change(source); });
        EXPECT_EQ(FailureOf([&] { transport.Store({source, {}, {}}, job); }), FailureCode::LocalDisk);
        EXPECT_THAT(NamesIn(cloud), IsEmpty());
    }
}

TEST_F(FolderTransportTest, ADocumentThatChangesWhileItIsFetchedIsAConflict)
{
    Write(local / "target.pdf", "old");
    for (const auto& [what, change] : kChanges) {
        SCOPED_TRACE(what);
        const fs::path document = cloud / "a.pdf";
        Write(document, std::string(1'000'000, 'x'));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        Job job([&change = change, &document](int) { change(document); });
        EXPECT_EQ(FailureOf([&] {
                      transport.Fetch({QStringLiteral("a.pdf"), local / "target.pdf", 0}, job);
                  }),
                  FailureCode::Conflict);
        EXPECT_EQ(Read(local / "target.pdf"), "old");
        EXPECT_THAT(NamesIn(local), ElementsAre("target.pdf"));
    }
}

TEST_F(FolderTransportTest, CancellingAtAnyPointBeforeTheEndUndoesATransfer)
{
    const std::string bytes(3'000'000, 'x');
    Write(local / "a.pdf", bytes);
    Write(cloud / "b.pdf", bytes);
    for (const bool isUpload : {true, false}) {
        Job* running = nullptr;
        Job job([&running](int) { running->Cancel(); });
        running = &job;
        const auto transfer = [&] {
            if (isUpload)
                transport.Store({local / "a.pdf", {}, {}}, job);
            else
                transport.Fetch({QStringLiteral("b.pdf"), local / "new.pdf", 0}, job);
        };
        EXPECT_EQ(FailureOf(transfer), FailureCode::Canceled);
        EXPECT_THAT(NamesIn(cloud), ElementsAre("b.pdf"));
        EXPECT_THAT(NamesIn(local), ElementsAre("a.pdf"));
    }
}

TEST_F(FolderTransportTest, NothingIsCommittedOnceCancelHasReturned)
{
    Write(cloud / "a.pdf", "x");
    Job job;
    job.Cancel();
    EXPECT_EQ(FailureOf([&] { transport.Remove(QStringLiteral("a.pdf"), job); }), FailureCode::Canceled);
    EXPECT_EQ(Read(cloud / "a.pdf"), "x");
}

/// Lets no file of this process grow beyond a size, like a disk that is full.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
        : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_former);
        const rlimit limit{bytes, m_former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_former);
        std::signal(SIGXFSZ, m_handler);
    }
    Q_DISABLE_COPY_MOVE(FileSizeLimit)

private:
    using Handler = void (*)(int);
    const Handler m_handler;
    rlimit m_former = {};
};

TEST_F(FolderTransportTest, ADiskThatTakesNoMoreLeavesNothingBehind)
{
    Write(local / "a.pdf", std::string(2'000'000, 'x'));
    Write(cloud / "b.pdf", std::string(2'000'000, 'x'));
    {
        const FileSizeLimit limit(1'000'000);
        EXPECT_EQ(FailureOf([&] {
                      transport.Store({local / "a.pdf", {}, {}}, anyJob);
                  }),
                  FailureCode::Refused);
        EXPECT_EQ(FailureOf([&] {
                      transport.Fetch({QStringLiteral("b.pdf"), local / "new.pdf", 0}, anyJob);
                  }),
                  FailureCode::LocalDisk);
    }
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
    FolderTransport mounted({}, place, scratch.Path() / "cache");
    mounted.SignIn({}, anyJob);
    EXPECT_EQ(mounted.List(anyJob).size(), 1);

    const auto empty = otherDisk / Support::NewTemporaryName();
    fs::create_directory(empty);
    fs::remove(place);
    fs::create_directory_symlink(empty, place);
    EXPECT_EQ(FailureOf([&] { mounted.List(anyJob); }), FailureCode::NotFound);
    fs::remove(empty);
}

TEST_F(FolderTransportTest, SignInSweepsWhatACrashHasLeft)
{
    const fs::path cache = scratch.Path() / "cache";
    const auto child = ::fork();
    if (child == 0) {
        auto* journal = new TemporaryJournal(cache / "temporaries");
        (new PartFile(local, *journal))->Write("half", 4);
        (new PartFile(cloud, *journal))->Write("half", 4);
        journal->Record(local / "precious.pdf"); // not by a name of ours
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    Write(local / "precious.pdf", "x");
    ASSERT_EQ(NamesIn(local).size(), 2U);

    TemporaryJournal living(cache / "temporaries");
    PartFile underWay(cloud, living);
    ASSERT_EQ(NamesIn(cloud).size(), 2U);
    transport.SignIn({}, anyJob);
    EXPECT_THAT(NamesIn(local), ElementsAre("precious.pdf"));
    EXPECT_EQ(NamesIn(cloud).size(), 1U) << "only that of a living owner stays";
    EXPECT_EQ(NamesIn(cache / "temporaries").size(), 2U) << "its journal and its lock";
}

TEST_F(FolderTransportTest, TheJournalWaitsForAShareThatIsAway)
{
    const fs::path share = scratch.Path() / "share";
    fs::create_directory(share);
    const auto child = ::fork();
    if (child == 0) {
        auto* journal = new TemporaryJournal(scratch.Path() / "cache" / "temporaries");
        (new PartFile(share, *journal))->Write("half", 4);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    fs::rename(share, scratch.Path() / "away");
    transport.SignIn({}, anyJob);
    fs::rename(scratch.Path() / "away", share);
    EXPECT_EQ(NamesIn(share).size(), 1U);
    transport.SignIn({}, anyJob);
    EXPECT_THAT(NamesIn(share), IsEmpty());
}

TEST_F(FolderTransportTest, SignInSweepsTemporariesThatNobodyHasWrittenForADay)
{
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(25);
    const auto ours = Support::NewTemporaryName();
    const auto fresh = Support::NewTemporaryName();
    const std::vector<std::string> names{ours, fresh, ".orvane-cloud-notes.part",
                                         ".orvane-cloud-0123456789abcdeF.part", "a.pdf"};
    for (const auto& name : names) {
        Write(cloud / name, "x");
        if (name != fresh)
            fs::last_write_time(cloud / name, old);
    }
    transport.SignIn({}, anyJob);
    auto left = NamesIn(cloud);
    EXPECT_EQ(left.size(), names.size() - 1);
    EXPECT_EQ(std::count(left.begin(), left.end(), ours), 0);
}

TEST_F(FolderTransportTest, WorksWithoutAUsableCacheFolder)
{
    Write(scratch.Path() / "file", "x");
    FolderTransport poor({}, cloud, scratch.Path() / "file" / "cache");
    poor.SignIn({}, anyJob);
    Write(local / "a.pdf", "x");
    poor.Store({local / "a.pdf", {}, {}}, anyJob);
    EXPECT_EQ(poor.List(anyJob).size(), 1);
}

TEST_F(FolderTransportTest, WithoutHardLinksANewFileStillTakesNoTakenName)
{
    TemporaryJournal journal(scratch.Path() / "cache");
    PartFile part(cloud, journal);
    part.Write("new", 3);
    part.Finish();
    Write(cloud / "taken.pdf", "theirs");
    EXPECT_FALSE(part.BecomeNewByReservation(cloud / "taken.pdf"));
    EXPECT_EQ(Read(cloud / "taken.pdf"), "theirs");
    EXPECT_TRUE(part.BecomeNewByReservation(cloud / "free.pdf"));
    EXPECT_EQ(Read(cloud / "free.pdf"), "new");
    EXPECT_THAT(NamesIn(cloud), UnorderedElementsAre("taken.pdf", "free.pdf"));
}

TEST_F(FolderTransportTest, AReplacedFileKeepsItsPermissions)
{
    Write(cloud / "a.pdf", "old");
    fs::permissions(cloud / "a.pdf", fs::perms::owner_read | fs::perms::owner_write);
    Write(local / "b.pdf", "new");
    transport.Store({local / "b.pdf", QStringLiteral("a.pdf"), {}}, anyJob);
    EXPECT_EQ(Read(cloud / "a.pdf"), "new");
    EXPECT_EQ(fs::status(cloud / "a.pdf").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST(Job, ReportsAtMostTenTimesASecondAndEndsWith100)
{
    std::vector<int> reports;
    Job job([&reports](int percent) { reports.push_back(percent); });
    for (int done = 0; done <= 100'000; ++done)
        job.ReportProgress(done, 100'000);
    job.ReportProgress(10, 100'000);
    job.ReportCompletion();
    job.ReportCompletion();
    ASSERT_GE(reports.size(), 2U);
    EXPECT_EQ(reports.front(), 0);
    EXPECT_EQ(reports.back(), 100);
    EXPECT_LT(reports.size(), 50U) << "one for each per cent would be too many";
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
}

} // namespace
} // namespace Orvane::Social
