#include "support/OrdinaryUser.h"
#include "support/ProtocolClouds.h"

#include <OrvaneCloudProtocol/transports/folder/FolderAddress.h>
#include <OrvaneCloudProtocol/transports/folder/FolderTransport.h>
#include <support/PartFile.h>
#include <support/TemporaryJournal.h>

#include <QDateTime>
#include <QElapsedTimer>

#include <gmock/gmock.h>

#include <csignal>
#include <future>
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
using testing::UnorderedElementsAre;
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

    std::optional<FailureCode> Fetch(const QString& id, const std::string& name,
                                     Transport::ExistingFile existing = Transport::ExistingFile::Replace)
    {
        Job transfer([&](int) { onProgress(transfer); });
        return FailureOf([&] { transport.Fetch({id, local / name, 0, existing}, transfer); });
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
        {"file:///home/me/cloud/", "/home/me/cloud"},
        {"FILE://LocalHost/cloud", "/cloud"},
        {"file:///a%2520b", "/a%20b"},
        {"file:///%FF%c3%a9", "/\xFF\xC3\xA9"},
        {"file:///a#b?c;d+e", "/a#b?c;d+e"},
    };
    for (const auto& [address, folder] : cases)
        EXPECT_EQ(FolderOfAddress(address), folder) << address;
}

TEST_F(FolderTransportTest, ReachesNothingButRegularFilesOfItsOwn)
{
    Write(local / "outside.pdf", "secret");
    Write(cloud / "a.pdf", "a");
    fs::create_symlink(local / "outside.pdf", cloud / "link.pdf");
    fs::create_directory(cloud / "folder.pdf");
    for (const auto& folder : {cloud, local})
        ASSERT_EQ(::mkfifo((folder / "pipe.pdf").c_str(), 0600), 0);
    EXPECT_EQ(Store("pipe.pdf"), FailureCode::LocalDisk);
    EXPECT_EQ(transport.List(job).size(), 1);
    for (const char* name : {"link.pdf", "folder.pdf", "pipe.pdf"}) {
        SCOPED_TRACE(name);
        const QString id = QString::fromUtf8(name);
        EXPECT_EQ(transport.IsCollection(id), id.startsWith(QStringLiteral("folder")));
        EXPECT_EQ(Fetch(id, "out.pdf"), FailureCode::NotFound);
        EXPECT_EQ(Store("outside.pdf", id), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { (void)transport.Info(id, job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.FetchForRendering(id, job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { transport.Remove(id, job); }), FailureCode::Refused);
    }
    EXPECT_EQ(Read(local / "outside.pdf"), "secret");
    EXPECT_EQ(NamesIn(cloud).size(), 4U);
    EXPECT_THAT(NamesIn(local), ElementsAre("outside.pdf", "pipe.pdf"));
}

TEST_F(FolderTransportTest, WhatChangesWhileItIsReadIsAnErrorAndGoesNowhere)
{
    const std::pair<const char*, std::function<void(const fs::path&)>> changes[] = {
        {"shrinks", [](const fs::path& file) { fs::resize_file(file, 1000); }},
        {"grows", [](const fs::path& file) { std::ofstream(file, std::ios::app) << "more"; }},
        {"is rewritten", [](const fs::path& file) { Write(file, std::string(1'000'000, 'y')); }},
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

TEST_F(FolderTransportTest, OnlyAnotherContentCountsAsAnotherVersion)
{
    const auto file = cloud / "a.pdf";
    const QString id = QStringLiteral("a.pdf");
    const std::tuple<const char*, std::function<void()>, std::optional<FailureCode>> cases[] = {
        {"touched", [&] { fs::last_write_time(file, fs::file_time_type::clock::now()); }, std::nullopt},
        {"copied over itself",
         [&] {
             fs::copy_file(file, cloud / "b.pdf");
             fs::rename(cloud / "b.pdf", file);
         },
         std::nullopt},
        {"changed with its size and time kept",
         [&] {
             const auto time = fs::last_write_time(file);
             std::this_thread::sleep_for(
                 std::chrono::milliseconds(20)); // so that its attributes change later
             Write(file, "new");
             fs::last_write_time(file, time);
         },
         FailureCode::Conflict},
        {"replaced by a link", [&] { fs::remove(file), fs::create_symlink(local / "b.pdf", file); },
         FailureCode::NotFound},
    };
    Write(local / "b.pdf", "mine");
    for (const auto& [what, change, failure] : cases) {
        SCOPED_TRACE(what);
        fs::remove(file);
        Write(file, "old");
        transport.List(job);
        const auto tag = transport.VersionTag(id, job);
        change();
        EXPECT_TRUE(failure != FailureCode::Conflict || transport.VersionTag(id, job) != tag);
        EXPECT_EQ(Store("b.pdf", id), failure);
        const auto removal = FailureOf([&] { transport.Remove(id, job); });
        EXPECT_EQ(removal.has_value(), failure.has_value());
        EXPECT_EQ(NamesIn(cloud).size(), failure ? 1U : 0U);
    }
}

TEST_F(FolderTransportTest, WhatIsPutThereInTheLastMomentStays)
{
    Write(local / "file", "");
    for (const auto& folder : {cache, local / "file"}) { // the second cannot be written
        TemporaryJournal journal(folder);
        const auto file = cloud / "a.pdf";
        Write(file, "theirs");
        const auto theirs = *Support::StampOf(file);
        auto expected = theirs;
        ++expected.modified;
        EXPECT_FALSE(Support::RemoveVersion(file, expected, journal));
        const auto replace = [&](const Support::FileStamp& version) {
            PartFile part(cloud, journal);
            part.Write("mine", 4);
            part.Finish();
            return part.ReplaceVersion(file, version);
        };
        EXPECT_FALSE(replace(expected));
        EXPECT_TRUE(Support::IsSameVersion(*Support::StampOf(file), theirs));
        EXPECT_TRUE(replace(theirs));
        EXPECT_EQ(Read(file), "mine");
        EXPECT_THAT(NamesIn(cloud), ElementsAre("a.pdf"));
        EXPECT_TRUE(Support::RemoveVersion(file, *Support::StampOf(file), journal));
        EXPECT_THAT(NamesIn(cloud), IsEmpty());
    }
}

TEST_F(FolderTransportTest, NothingIsHeldWithoutARecordAndACutOneSpoilsNoOther)
{
    TemporaryJournal journal(cache / "temporaries");
    const auto become = [&] {
        PartFile part(cloud, journal);
        part.Write("new", 3);
        part.Finish();
        return part.BecomeNewByReservation(cloud / "new.pdf");
    };
    const PartFile underWay(cloud, journal); // its record is written
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former = {};
    getrlimit(RLIMIT_FSIZE, &former);
    for (const rlim_t room : {100, 200, 300, 400}) {
        const rlimit limit{room, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_THROW(become(), Support::JournalError) << room;
        EXPECT_THAT(NamesIn(cloud), ElementsAre(underWay.TemporaryPath().filename().string()));
    }
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
    const Support::HeldFile held{cloud / Support::NewHeldName(), cloud / "held.pdf", {}};
    Write(held.path, "held");
    EXPECT_TRUE(journal.Record(held));
    fs::copy_file(*fs::directory_iterator(cache / "temporaries"), cache / "temporaries" / "crashed.journal");
    transport.SignIn({}, job);
    EXPECT_EQ(Read(cloud / "held.pdf"), "held");
}

TEST_F(FolderTransportTest, OfTwoClientsThatReplaceOneDocumentAtOnceOneIsRefused)
{
    FolderTransport rival({}, cloud, scratch.Path() / "other cache");
    const QString id = QStringLiteral("a.pdf");
    for (int round = 0; round < 50; ++round) {
        Write(cloud / "a.pdf", "old");
        const auto replaceBy = [&](FolderTransport& client, const char* name) {
            Write(local / name, name);
            (void)client.Info(id, job);
            return [&, name] {
                Job own;
                return FailureOf([&] { client.Store({local / name, id, {}}, own); });
            };
        };
        const auto mine = replaceBy(transport, "mine");
        const auto theirs = replaceBy(rival, "theirs");
        auto outcome = std::async(std::launch::async, theirs);
        const bool isMine = !mine();
        EXPECT_EQ(outcome.get(), isMine ? std::make_optional(FailureCode::Conflict) : std::nullopt);
        EXPECT_EQ(Read(cloud / "a.pdf"), isMine ? "mine" : "theirs");
        EXPECT_THAT(NamesIn(cloud), ElementsAre("a.pdf"));
    }
}

TEST_F(FolderTransportTest, WhatCannotBeLookedAtIsNotGone)
{
    Write(cloud / "a.pdf", "x");
    Write(local / "b.pdf", "y");
    const QString id = QStringLiteral("a.pdf");
    fs::permissions(cloud, fs::perms::owner_read | fs::perms::others_read); // names, and nothing else
    {
        const Testing::OrdinaryUser user;
        ASSERT_TRUE(user.IsBound());
        const std::function<void()> steps[] = {
            [&] { transport.List(job); },
            [&] { (void)transport.Info(id, job); },
            [&] { transport.Remove(id, job); },
            [&] { transport.VersionTag(id, job); },
            [&] {
                transport.Fetch({id, local / "new.pdf"}, job);
            },
            [&] {
                transport.Store({local / "b.pdf", id, {}}, job);
            },
        };
        for (const auto& step : steps)
            EXPECT_EQ(FailureOf(step), FailureCode::Refused);
    }
    fs::permissions(cloud, fs::perms::all);
    EXPECT_THAT(NamesIn(cloud), ElementsAre("a.pdf"));
}

TEST_F(FolderTransportTest, AListingThatCannotReadAContentDoesNotForgetWhatItWas)
{
    const auto file = cloud / "a.pdf";
    fs::permissions(cloud, fs::perms::all);
    Write(file, "old");
    transport.List(job);
    const auto time = fs::last_write_time(file);
    Write(file, "new");
    fs::last_write_time(file, time);
    fs::permissions(file, fs::perms::none);
    {
        const Testing::OrdinaryUser user;
        ASSERT_TRUE(user.IsBound());
        EXPECT_EQ(transport.List(job).size(), 1);
        EXPECT_EQ(FailureOf([&] { transport.Remove(QStringLiteral("a.pdf"), job); }), FailureCode::Conflict);
    }
    EXPECT_THAT(NamesIn(cloud), ElementsAre("a.pdf"));
}

TEST_F(FolderTransportTest, ADownloadLeavesAloneWhatAppearsAtItsTargetMeanwhile)
{
    using ExistingFile = Transport::ExistingFile;
    Write(cloud / "a.pdf", "theirs");
    onProgress = [this](Job&) { Write(local / "new.pdf", "mine"); };
    EXPECT_EQ(Fetch(QStringLiteral("a.pdf"), "new.pdf", ExistingFile::Refuse), FailureCode::Conflict);
    fs::remove(local / "new.pdf");
    EXPECT_EQ(Fetch(QStringLiteral("a.pdf"), "new.pdf", ExistingFile::KeepBoth), std::nullopt);
    EXPECT_EQ(Read(local / "new.pdf"), "mine");
    EXPECT_EQ(Read(local / "new (2).pdf"), "theirs");
    onProgress = [this](Job&) { ::mkfifo((local / "pipe.pdf").c_str(), 0600); };
    EXPECT_EQ(Fetch(QStringLiteral("a.pdf"), "pipe.pdf"), FailureCode::LocalDisk);
    EXPECT_TRUE(fs::is_fifo(local / "pipe.pdf"));
}

fs::path TemporaryIn(const fs::path& folder)
{
    const auto isTemporary = [](const auto& entry) {
        return Support::IsTemporaryName(entry.path().filename().string());
    };
    return *std::find_if(fs::directory_iterator(folder), fs::directory_iterator(), isTemporary);
}

TEST_F(FolderTransportTest, WhatIsMadeHasTheRightsOfWhatItReplacesAndNobodyElseGetsMoreMeanwhile)
{
    const auto former = ::umask(022);
    const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
    Write(cloud / "a.pdf", "new");
    fs::last_write_time(cloud / "a.pdf", longAgo);
    const auto listed =
        QDateTime::fromString(transport.Info(QStringLiteral("a.pdf"), job).modifyTime, Qt::ISODate);
    EXPECT_GE(listed.secsTo(QDateTime::currentDateTimeUtc()), 3'600);
    const auto rightsOf = [](const fs::path& file) {
        return static_cast<unsigned>(fs::status(file).permissions());
    };
    for (const unsigned rights : {0600U, 0640U, 0666U, 0U}) { // 0: nothing is replaced
        for (const auto& folder : {local, cloud}) {
            const auto name = std::to_string(rights) + ".pdf";
            const auto target = folder / name;
            if (rights != 0) {
                Write(target, "old");
                fs::permissions(target, static_cast<fs::perms>(rights));
            }
            unsigned widest = 0;
            onProgress = [&](Job&) { widest |= rightsOf(TemporaryIn(folder)); };
            if (folder == local)
                EXPECT_EQ(Fetch(QStringLiteral("a.pdf"), name), std::nullopt);
            else
                EXPECT_EQ(Store(name, rights == 0 ? QString() : QString::fromStdString(name)), std::nullopt);
            EXPECT_GT(fs::last_write_time(target), longAgo) << "new here, however old it is there";
            fs::last_write_time(local / name, longAgo);
            EXPECT_EQ(Read(target), "new");
            EXPECT_EQ(rightsOf(target), rights == 0 ? 0644U : rights);
            EXPECT_EQ(widest & ~rightsOf(target), 0U);
        }
    }
    ::umask(former);
}

TEST_F(FolderTransportTest, WhoMayRenameInTheFolderChangesNoOtherFile)
{
    Write(cloud / "a.pdf", "new");
    Write(local / "b.pdf", "new");
    for (const auto& folder : {local, cloud}) {
        const auto secret = folder / "secret";
        Write(secret, "secret");
        fs::permissions(secret, fs::perms::owner_read | fs::perms::owner_write);
        Write(folder / "target.pdf", "old");
        fs::permissions(folder / "target.pdf", fs::perms::all);
        onProgress = [&](Job&) {
            if (const auto temporary = TemporaryIn(folder); fs::file_size(temporary) == 0) {
                fs::rename(temporary, folder / "stolen");
                fs::create_hard_link(secret, temporary);
            }
        };
        if (folder == local)
            (void)Fetch(QStringLiteral("a.pdf"), "target.pdf");
        else
            (void)Store("b.pdf", QStringLiteral("target.pdf"));
        EXPECT_EQ(fs::status(secret).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_EQ(Read(secret), "secret");
    }
}

TEST_F(FolderTransportTest, NothingIsMadeInAFolderThatHasTakenTheOthersPlace)
{
    const auto moved = scratch.Path() / "moved";
    Write(local / "b.pdf", "new");
    Write(cloud / "b.pdf", "old");
    for (const char* replaced : {"", "b.pdf"}) {
        onProgress = [&](Job&) {
            if (!fs::exists(moved)) {
                fs::rename(cloud, moved);
                fs::create_directory(cloud);
            }
        };
        EXPECT_EQ(Store("b.pdf", QString::fromUtf8(replaced)), FailureCode::NotFound) << replaced;
        EXPECT_THAT(NamesIn(cloud), IsEmpty());
        EXPECT_THAT(NamesIn(moved), ElementsAre("b.pdf"));
        fs::remove(cloud);
        fs::rename(moved, cloud);
    }
    EXPECT_EQ(Read(cloud / "b.pdf"), "old");
    onProgress = [&](Job&) {
        if (!fs::exists(moved)) {
            fs::rename(local, moved);
            fs::create_directory(local);
        }
    };
    EXPECT_EQ(Fetch(QStringLiteral("b.pdf"), "b.pdf"), FailureCode::LocalDisk);
    EXPECT_THAT(NamesIn(local), IsEmpty());
    EXPECT_EQ(Read(moved / "b.pdf"), "new");
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

TEST_F(FolderTransportTest, ADiskThatTakesNoMoreLeavesNothingBehind)
{
    Write(local / "a.pdf", std::string(2'000'000, 'x'));
    Write(cloud / "b.pdf", std::string(2'000'000, 'x'));
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former = {};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{1'000'000, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(Store("a.pdf"), FailureCode::Refused);
    EXPECT_EQ(Fetch(QStringLiteral("b.pdf"), "new.pdf"), FailureCode::LocalDisk);
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
    EXPECT_THAT(NamesIn(cloud), ElementsAre("b.pdf"));
    EXPECT_THAT(NamesIn(local), ElementsAre("a.pdf"));
}

TEST_F(FolderTransportTest, AnEmptyFolderOnAnotherDeviceInPlaceOfAFullOneIsAnErrorUntilItIsAccepted)
{
    const fs::path otherDisk = "/dev/shm";
    if (!fs::is_directory(otherDisk) || fs::space(otherDisk).capacity == fs::space(cloud).capacity)
        GTEST_SKIP() << "there is no second file system";
    const auto empty = otherDisk / Support::NewTemporaryName();
    const fs::path place = scratch.Path() / "place";
    const auto mount = [&](const fs::path& folder) {
        fs::remove(place);
        fs::create_directory_symlink(folder, place);
    };
    fs::create_directory(empty);
    Write(empty / ".hidden.pdf", "no document");
    Write(local / "b.pdf", "y");
    OAuth2::AuthInfo account;
    account.dataFolder = Support::ToText(scratch.Path() / "data");
    const auto signIn = [&] {
        auto client = std::make_unique<FolderTransport>(account, place, cache);
        const auto failure = FailureOf([&] { client->SignIn({}, job); });
        return std::make_pair(std::move(client), failure);
    };

    mount(cloud);
    const auto first = signIn().first;
    EXPECT_TRUE(first->List(job).isEmpty());
    mount(empty);
    EXPECT_EQ(signIn().second, std::nullopt) << "it was empty before";
    mount(cloud);
    EXPECT_EQ(signIn().second, std::nullopt);
    EXPECT_EQ(FailureOf([&] { first->Store({local / "b.pdf", {}, {}}, job); }), std::nullopt);
    mount(empty);
    const auto [second, failure] = signIn();
    EXPECT_EQ(failure, FailureCode::NotFound);
    for (auto* const client : {first.get(), second.get()}) {
        EXPECT_EQ(FailureOf([&] { client->List(job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { client->Store({local / "b.pdf", {}, {}}, job); }), FailureCode::NotFound);
        EXPECT_EQ(FailureOf([&] { client->Remove(QStringLiteral("b.pdf"), job); }), FailureCode::NotFound);
    }
    EXPECT_THAT(NamesIn(empty), ElementsAre(".hidden.pdf"));
    account.isEmptiedFolderAccepted = true;
    EXPECT_EQ(signIn().second, std::nullopt);
    EXPECT_EQ(FailureOf([&] { first->List(job); }), std::nullopt) << "everybody learns it";

    mount(cloud);
    first->List(job);
    fs::remove(cloud / "b.pdf");
    account.isEmptiedFolderAccepted = false;
    EXPECT_EQ(signIn().second, std::nullopt) << "its owner has emptied it";

    mount(cloud);
    Write(cloud / "b.pdf", "y");
    first->List(job);
    first->Remove(QStringLiteral("b.pdf"), job);
    mount(empty);
    EXPECT_EQ(signIn().second, std::nullopt) << "this client has emptied it";
    mount(cloud);

    Write(cloud / "b.pdf", "y");
    first->List(job);
    Write(empty / "c.pdf", "z");
    mount(empty);
    EXPECT_EQ(signIn().second, std::nullopt) << "this one holds a document";
    mount(cloud);
    fs::remove(cloud / "b.pdf");

    const Support::HeldFile held{place / Support::NewHeldName(), place / "held.pdf", {}};
    Write(held.path, "x");
    (void)TemporaryJournal(cache / "temporaries").Record(held); // by an owner that is no more
    mount(empty);
    transport.SignIn({}, job);
    mount(cloud);
    transport.SignIn({}, job);
    EXPECT_THAT(NamesIn(cloud), ElementsAre("held.pdf")) << "forgotten while its share was away";
    fs::remove_all(empty);
}

TEST_F(FolderTransportTest, AnUnreadableRecordOfTheFolderIsTroubleWithTheLocalDisk)
{
    transport.List(job);
    const auto isRecord = [](const fs::directory_entry& file) { return file.path().extension() == ".json"; };
    const auto record = *std::find_if(fs::directory_iterator(cache), {}, isRecord);
    fs::remove(record);
    fs::create_symlink("/proc/self/mem", record); // can be opened and not be read
    FolderTransport next({}, cloud, cache);
    EXPECT_EQ(FailureOf([&] { next.List(job); }), FailureCode::LocalDisk);
}

TEST_F(FolderTransportTest, SignInSweepsWhatACrashHasLeft)
{
    const auto child = ::fork();
    if (child == 0) {
        auto* journal = new TemporaryJournal(cache / "temporaries");
        for (const auto& folder : {local, cloud})
            (new PartFile(folder, *journal))->Write("half", 4);
        journal->Record(local / "precious.pdf"); // not by a name of ours
        // Between the two halves of a change: files under names of ours, and what stands at their homes.
        const auto hold = [&](const std::string& name, bool isDisposable, bool isReserved) {
            Write(cloud / name, isReserved ? "" : "mine");
            Support::HeldFile held{cloud / Support::NewHeldName(), cloud / name, {}};
            Write(held.path, "held");
            if (isReserved) {
                (void)journal->Record(held);
                held.reservation = *Support::StampOf(held.home);
            }
            if (isDisposable)
                held.disposable = {*Support::StampOf(held.path)};
            (void)journal->Record(held);
        };
        hold("replaced.pdf", true, false);
        hold("both.pdf", false, false);
        hold("reserved.pdf", false, true);
        hold("taken away.pdf", false, false);
        fs::remove(cloud / "taken away.pdf");
        hold("theirs.pdf", false, true);
        Write(cloud / "empty.pdf", "");
        fs::rename(cloud / "empty.pdf", cloud / "theirs.pdf");
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    Write(local / "precious.pdf", "x");
    // What a client on another machine has left, what one there is writing, and what is only old.
    const auto left = cloud / Support::NewTemporaryName();
    const auto theirs = cloud / Support::NewTemporaryName();
    for (const auto& file : {left, theirs, cloud / "old.pdf", cloud / ".old.part"})
        Write(file, "x");
    for (const auto& [file, age] : {std::pair(left, 25), std::pair(theirs, 23),
                                    std::pair(cloud / "old.pdf", 9999), std::pair(cloud / ".old.part", 9999)})
        fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(age));
    TemporaryJournal living(cache / "temporaries");
    const PartFile underWay(cloud, living);

    transport.SignIn({}, job);
    EXPECT_THAT(NamesIn(local), ElementsAre("precious.pdf"));
    const auto temporary = underWay.TemporaryPath().filename().string();
    EXPECT_THAT(NamesIn(cloud),
                UnorderedElementsAre(temporary, theirs.filename().string(), ".old.part", "both (2).pdf",
                                     "both.pdf", "old.pdf", "replaced.pdf", "reserved.pdf", "taken away.pdf",
                                     "theirs (2).pdf", "theirs.pdf"));
    for (const char* name : {"both (2).pdf", "reserved.pdf", "taken away.pdf", "theirs (2).pdf"})
        EXPECT_EQ(Read(cloud / name), "held") << name;
}

TEST_F(FolderTransportTest, WhatLiesInAFolderThatIsAwayIsNotForgotten)
{
    const auto moved = scratch.Path() / "moved";
    const auto temporary = cloud / Support::NewTemporaryName();
    const Support::HeldFile held{cloud / Support::NewHeldName(), cloud / "held.pdf", {}};
    for (const auto& file : {temporary, held.path})
        Write(file, "x");
    TemporaryJournal(cache / "of temporaries").Record(temporary);
    (void)TemporaryJournal(cache / "of held files").Record(held);
    const auto sweepBoth = [&] {
        for (const auto& folder : {cache / "of temporaries", cache / "of held files"})
            TemporaryJournal(folder).Sweep();
    };
    const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(31 * 24);
    fs::last_write_time(*fs::directory_iterator(cache / "of held files"), longAgo);
    fs::rename(cloud, moved);
    sweepBoth();
    fs::rename(moved, cloud);
    sweepBoth();
    EXPECT_THAT(NamesIn(cloud), ElementsAre("held.pdf"));
    EXPECT_THAT(NamesIn(cache / "of temporaries"), IsEmpty());
}

TEST_F(FolderTransportTest, ARecordIsWrittenAnewWhenItsJournalHasBeenRemoved)
{
    TemporaryJournal journal(cache / "temporaries");
    for (int round = 0; round < 2; ++round) {
        journal.Record(cloud / Support::NewTemporaryName());
        ASSERT_EQ(NamesIn(cache / "temporaries").size(), 1U);
        fs::remove(*fs::directory_iterator(cache / "temporaries"));
    }
}

TEST(JobProgress, ComesTenTimesASecondAtMostNeverBackwardsAndIsNotWholeBeforeTheEnd)
{
    std::vector<int> reports;
    QElapsedTimer timer;
    timer.start();
    Job job([&](int percent) { reports.push_back(percent); });
    while (timer.elapsed() < 1'600) {
        job.ReportProgress(timer.elapsed() < 500 ? timer.elapsed() : 0, 1'000);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_LE(reports.size(), std::size_t(timer.elapsed() / 100 + 1));
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
    job.ReportProgress(1, 1);
    EXPECT_LT(reports.back(), 100);
}

TEST_F(FolderTransportTest, ANewFileTakesNoTakenNameWhateverTheFileSystemCanDo)
{
    Write(cloud / "taken.pdf", "theirs");
    for (const auto become :
         {&PartFile::BecomeNew, &PartFile::BecomeNewByLink, &PartFile::BecomeNewByReservation}) {
        TemporaryJournal journal(cache);
        PartFile part(cloud, journal);
        part.Write("new", 3);
        part.Finish();
        EXPECT_FALSE((part.*become)(cloud / "taken.pdf"));
        EXPECT_EQ(Read(cloud / "taken.pdf"), "theirs");
        EXPECT_TRUE((part.*become)(cloud / "free.pdf"));
        EXPECT_EQ(Read(cloud / "free.pdf"), "new");
        EXPECT_THAT(NamesIn(cloud), ElementsAre("free.pdf", "taken.pdf"));
        fs::remove(cloud / "free.pdf");
    }
}

} // namespace
} // namespace Orvane::Social
