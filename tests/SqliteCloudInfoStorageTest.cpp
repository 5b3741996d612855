#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include "support/LocalFiles.h"
#include "support/OrdinaryUser.h"

#include <QCoreApplication>

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Testing;
using Orvane::PDF::Cloud::SqliteCloudInfoStorage;
using Orvane::PDF::Cloud::StorageError;
using Records = SqliteCloudInfoStorage::Records;
using Reason = StorageError::Reason;
using testing::HasSubstr;
using testing::IsEmpty;

// Where SQLite keeps the version in a file's header, big-endian.
constexpr long kUserVersionOffset = 60;

// Every file that this process writes ends here, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_former);
        const rlimit limit{bytes, m_former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_former); }

private:
    rlimit m_former{};
};

std::unique_ptr<SqliteCloudInfoStorage> Open(const fs::path& file)
{
    return std::make_unique<SqliteCloudInfoStorage>(QString::fromStdString(file.string()));
}

void ExpectRefusal(const fs::path& file, Reason reason, const std::string& words)
{
    try {
        Open(file);
        ADD_FAILURE() << "opened " << file;
    } catch (const StorageError& error) {
        EXPECT_EQ(error.GetReason(), reason) << error.what();
        EXPECT_THAT(error.what(), HasSubstr(words));
    }
}

class SqliteCloudInfoStorageTest : public testing::Test
{
protected:
    // What a process killed now would leave.
    Records OnDisk() const
    {
        const TemporaryFolder folder;
        fs::copy(m_file, folder.Path() / "copy");
        if (fs::exists(m_file.string() + "-journal"))
            fs::copy(m_file.string() + "-journal", folder.Path() / "copy-journal");
        return Open(folder.Path() / "copy")->LoadRecords();
    }

    TemporaryFolder m_folder;
    const fs::path m_file = m_folder.Path() / "new" / "zwei \xc3\xa4" / "list.sqlite";
};

TEST_F(SqliteCloudInfoStorageTest, AgreesWithAMapToTheByteOverAnyCourseOfChanges)
{
    using namespace std::string_literals;
    const std::vector<std::string> texts{"",
                                         "plain",
                                         "a'b\"c`;--",
                                         "100%",
                                         "100_",
                                         "1000",
                                         "two\nlines\r",
                                         "nul\0inside"s,
                                         "nul\0"s,
                                         "nul",
                                         "\xff\xfe not UTF-8",
                                         "\xc3\xa9",
                                         "e\xcc\x81",
                                         std::string(1 << 20, '\x80')};
    std::mt19937 random(20240501);
    const auto pick = [&] { return texts[random() % texts.size()]; };
    Records expected;
    auto storage = Open(m_file);
    for (int step = 0; step < 1000; ++step) {
        const auto id = pick(), key = pick(), value = pick();
        storage->SetValue(id, key, value);
        expected[id][key] = value;
        if (step % 6 == 0) {
            storage->RemoveRecord(key);
            expected.erase(key);
        }
        if (step % 50 == 0) {
            storage.reset();
            storage = Open(m_file);
        }
        if (step % 25 == 0) {
            ASSERT_TRUE(storage->LoadRecords() == expected) << step;
        }
    }
}

TEST_F(SqliteCloudInfoStorageTest, StoresABurstWhenControlReturnsToTheEventLoop)
{
    const auto storage = Open(m_file);
    storage->SetValue("a", "key", "1");
    storage->SetValue("b", "key", "2");
    EXPECT_THAT(OnDisk(), IsEmpty());
    QCoreApplication::processEvents();
    EXPECT_EQ(OnDisk(), (Records{{"a", {{"key", "1"}}}, {"b", {{"key", "2"}}}}));
}

TEST_F(SqliteCloudInfoStorageTest, NeedsNoEventLoop)
{
    std::thread([this] { Open(m_file)->SetValue("a", "key", "1"); }).join();
    EXPECT_EQ(Open(m_file)->LoadRecords().count("a"), 1u);
}

TEST_F(SqliteCloudInfoStorageTest, WritesNothingWhenNothingDiffers)
{
    Open(m_file)->SetValue("a", "key", "1");
    const auto storage = Open(m_file);
    storage->SetValue("b", "key", "1");
    storage->Flush();
    const FileSizeLimit noWriting(0);
    storage->SetValue("a", "key", "1");
    storage->RemoveRecord("unknown");
    EXPECT_TRUE(storage->Flush());
    storage->SetValue("a", "key", "2");
    EXPECT_FALSE(storage->Flush());
}

TEST_F(SqliteCloudInfoStorageTest, AProcessKilledAtAnyMomentLeavesOneWholeBurst)
{
    int latest = -1;
    for (int round = 0; round < 15; ++round) {
        const auto child = fork();
        if (child == 0) {
            const auto storage = Open(m_file);
            for (int generation = latest + 1;; ++generation, storage->Flush())
                for (int document = 0; document < 60; ++document)
                    storage->SetValue(std::to_string(document), "key", std::to_string(generation));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(15 + 7 * round));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);

        std::set<int> generations;
        for (const auto& [id, record] : Open(m_file)->LoadRecords())
            generations.insert(std::stoi(record.at("key")));
        ASSERT_LE(generations.size(), 1u) << "round " << round;
        ASSERT_GE(generations.empty() ? -1 : *generations.begin(), latest) << "round " << round;
        latest = generations.empty() ? -1 : *generations.begin();
    }
    EXPECT_GE(latest, 0) << "no round was long enough to write anything";
}

TEST_F(SqliteCloudInfoStorageTest, ASecondHolderIsRefusedAndToldWhoHoldsTheList)
{
    const auto link = m_folder.Path() / "link.sqlite";
    fs::create_symlink(m_file, link);
    Open(m_file); // let go at once
    const auto first = Open(m_file);
    ExpectRefusal(link, Reason::Locked, "process " + std::to_string(getpid()));
}

TEST_F(SqliteCloudInfoStorageTest, SaysOnceThatADamagedListWasSetAside)
{
    Open(m_file);
    Write(m_file, "damaged");
    EXPECT_THAT(Open(m_file)->Notice().toStdString(), HasSubstr("/list.sqlite.damaged-"));
    EXPECT_EQ(Open(m_file)->Notice(), QString());
}

TEST_F(SqliteCloudInfoStorageTest, RefusesWhatItMustNotOrCannotWriteAndLeavesItAlone)
{
    Open(m_file)->SetValue("a", "key", "1");
    Patch(m_file, kUserVersionOffset + 3, "\x7f");
    const auto newer = Read(m_file);
    ExpectRefusal(m_file, Reason::NewerVersion, "newer version");
    EXPECT_TRUE(Read(m_file) == newer);

    const OrdinaryUser user;
    ASSERT_TRUE(user.IsBound());
    const auto root = m_folder.Path(), file = root / "read-only.sqlite", folder = root / "closed";
    Open(file);
    fs::permissions(file, fs::perms::owner_read);
    Open(folder / "list.sqlite");
    fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec);
    for (const auto& unwritable :
         {file, folder / "list.sqlite", folder / "new" / "list.sqlite", file / "list.sqlite"})
        ExpectRefusal(unwritable, Reason::NotWritable, root.string());
    ExpectRefusal(root, Reason::Unusable, root.string());
    fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(SqliteCloudInfoStorageTest, KeepsOnTryingWhenTheDiskIsFull)
{
    const Records before{{"a", {{"key", "1"}}}, {"b", {{"key", "2"}}}};
    const auto storage = Open(m_file);
    storage->SetValue("a", "key", "1");
    storage->SetValue("b", "key", "2");
    storage->Flush();
    {
        const FileSizeLimit full(fs::file_size(m_file) + 4096);
        storage->RemoveRecord("a");
        storage->SetValue("large", "key", std::string(100'000, 'x'));
        EXPECT_FALSE(storage->Flush());
        EXPECT_THAT(storage->Problem().toStdString(), HasSubstr("list.sqlite"));
        EXPECT_EQ(storage->LoadRecords().count("large"), 1u);
    }
    EXPECT_EQ(OnDisk(), before);
    storage->SetValue("b", "key", "3");
    QCoreApplication::processEvents();
    EXPECT_EQ(storage->Problem(), QString());
    EXPECT_EQ(OnDisk(), (Records{{"b", {{"key", "3"}}}, {"large", {{"key", std::string(100'000, 'x')}}}}));
}

} // namespace
