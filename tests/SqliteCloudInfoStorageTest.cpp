#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include "support/LocalFiles.h"
#include "support/OrdinaryUser.h"

#include <QCoreApplication>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <csignal>
#include <random>
#include <set>
#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Testing;
using namespace testing;
using Orvane::PDF::Cloud::SqliteCloudInfoStorage;
using Orvane::PDF::Cloud::StorageError;
using Records = SqliteCloudInfoStorage::Records;
using Reason = StorageError::Reason;

// Every file that this process writes ends here, as on a full disk.
void LimitFileSizes(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

std::unique_ptr<SqliteCloudInfoStorage> Open(const fs::path& file)
{
    return std::make_unique<SqliteCloudInfoStorage>(QString::fromStdString(file.string()));
}

void ExpectRefusal(const fs::path& file, Reason reason)
{
    EXPECT_THAT([&] { Open(file); }, Throws<StorageError>(Property(&StorageError::GetReason, reason)));
}

class SqliteCloudInfoStorageTest : public testing::Test
{
protected:
    // As another program would.
    std::function<void()> Executed(const char* statements) const
    {
        return [=] { SQLite::Database(m_file.string(), SQLite::OPEN_READWRITE).exec(statements); };
    }

    void Store(const Records& records) const
    {
        const auto storage = Open(m_file);
        for (const auto& [id, record] : records)
            storage->SetValue(id, "key", record.at("key"));
    }

    TemporaryFolder m_folder;
    const fs::path m_file = m_folder.Path() / "new" / "zwei \xc3\xa4" / "list.sqlite";
};

TEST_F(SqliteCloudInfoStorageTest, AgreesWithAMapToTheByteOverAnyCourseOfChanges)
{
    using namespace std::string_literals;
    const std::string large(300'000, '\x80');
    const std::vector texts{""s,    "a'b\"c`;--"s,  "100%"s,     "1000"s,      "nul\0inside"s,
                            "nul"s, "\xff binary"s, "\xc3\xa9"s, "e\xcc\x81"s, large};
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
        if (step % 40 == 0) {
            storage.reset();
            storage = Open(m_file);
            ASSERT_TRUE(storage->LoadRecords() == expected) << step;
        }
    }
}

TEST_F(SqliteCloudInfoStorageTest, StoresABurstWithTheEventLoopAndKeepsOnTryingWhenTheDiskIsFull)
{
    Open(m_file)->SetValue("a", "key", "1");
    auto storage = Open(m_file);
    storage->SetValue("b", "key", "2");
    QCoreApplication::processEvents();
    LimitFileSizes(fs::file_size(m_file) + 4096);
    storage->RemoveRecord("a");
    storage->SetValue("large", "key", std::string(100'000, 'x'));
    EXPECT_FALSE(storage->Flush());
    EXPECT_THAT(storage->Problem().toStdString(), HasSubstr("list.sqlite"));
    LimitFileSizes(RLIM_INFINITY);
    const auto stored = [this, copy = m_folder.Path() / "copy"] {
        fs::copy(m_file, copy, fs::copy_options::overwrite_existing);
        return Open(copy)->LoadRecords();
    };
    EXPECT_EQ(stored(), (Records{{"a", {{"key", "1"}}}, {"b", {{"key", "2"}}}})) << "wrote half a burst";

    storage->SetValue("b", "key", "3");
    const Records all{{"b", {{"key", "4"}}}, {"large", {{"key", std::string(100'000, 'x')}}}};
    QCoreApplication::processEvents();
    EXPECT_EQ(storage->Problem(), QString());
    storage->SetValue("b", "key", "4");
    EXPECT_EQ(storage->LoadRecords(), all);
    EXPECT_EQ(stored(), all) << "it was handed out before";
    QCoreApplication::processEvents();
    storage->RemoveRecord("large");
    QCoreApplication::processEvents();
    EXPECT_EQ(stored().size(), 1U);
    storage->SetValue("large", "key", all.at("large").at("key"));
    storage.reset();
    EXPECT_EQ(Open(m_file)->LoadRecords(), all);
}

TEST_F(SqliteCloudInfoStorageTest, SetsAsideWhatIsNotAsItMadeItAndCarriesOverWhatItCanRead)
{
    struct Mishap
    {
        std::function<void()> happen;
        std::size_t fewestCarriedOver;
    };
    const auto spoilTwoPages = [this] {
        auto bytes = Read(m_file);
        for (const auto begin : {bytes.size() / 3, bytes.size() / 2})
            bytes.replace(begin / 4096 * 4096, 4096, 4096, '\x5a');
        Write(m_file, bytes);
    };
    const auto spoil = [this](std::size_t begin, std::size_t size) {
        return [=] {
            auto bytes = Read(m_file);
            bytes.replace(begin, size, size, '\x5a');
            Write(m_file, bytes);
        };
    };
    const std::map<std::string, Mishap> mishaps{
        {"no magic", {spoil(0, 16), 300}},
        {"no header", {spoil(16, 64), 300}},
        {"no schema", {spoil(100, 64), 300}},
        {"a garbled schema", {spoil(3900, 100), 300}},
        {"another program's, long", {[this] { Write(m_file, std::string(100'000, '\n')); }, 0}},
        {"no database", {[this] { Write(m_file, "hello"); }, 0}},
        {"cut", {[this] { fs::resize_file(m_file, fs::file_size(m_file) / 2); }, 100}},
        {"two pages", {spoilTwoPages, 270}},
        {"another program's", {Executed("PRAGMA application_id = 0"), 0}},
        {"an older version", {Executed("PRAGMA user_version = 0"), 0}},
    };
    Records all;
    for (int number = 1000; number < 1300; ++number)
        all["document " + std::to_string(number)]["key"] = std::string(300, '\x80') + std::to_string(number);
    std::set<std::string> useless, kept;
    for (const auto& [name, mishap] : mishaps) {
        SCOPED_TRACE(name);
        fs::remove(m_file);
        Store(all);
        mishap.happen();
        useless.insert(Read(m_file));
        const auto fresh = Open(m_file);
        const auto carriedOver = fresh->LoadRecords();
        EXPECT_THAT(fresh->Notice().toStdString(), HasSubstr(m_file.string() + ".damaged-"));
        EXPECT_EQ(carriedOver.empty(), mishap.fewestCarriedOver == 0);
        EXPECT_GE(carriedOver.size(), mishap.fewestCarriedOver);
        EXPECT_TRUE(std::includes(all.begin(), all.end(), carriedOver.begin(), carriedOver.end()));
    }
    for (const auto& entry : fs::directory_iterator(m_file.parent_path()))
        kept.insert(Read(entry));
    EXPECT_TRUE(std::includes(kept.begin(), kept.end(), useless.begin(), useless.end()));
}

TEST_F(SqliteCloudInfoStorageTest, KeepsADamagedFileAsItIsWhenItCannotBeReplaced)
{
    Store({{"a", {{"key", std::string(100'000, 'x')}}}});
    for (auto [storage, id] = std::pair(Open(m_file), 'b'); id <= 'z'; ++id)
        storage->SetValue({id}, "key", std::string(1000, id));
    Executed("PRAGMA secure_delete = OFF; DELETE FROM document_value WHERE document_id > x'61'")();
    auto damaged = Read(m_file);
    damaged.replace(0, 16, 16, '\x5a');
    Write(m_file, damaged);
    LimitFileSizes(50'000);
    EXPECT_THROW(Open(m_file), StorageError);
    LimitFileSizes(RLIM_INFINITY);
    EXPECT_TRUE(Read(m_file) == damaged);
    for (const auto& entry : fs::directory_iterator(m_file.parent_path()))
        EXPECT_THAT(entry.path().filename(), AnyOf("list.sqlite", "list.sqlite.lock"));
    const auto link = m_folder.Path() / "link";
    fs::create_symlink(m_file, link);
    EXPECT_EQ(Open(link)->LoadRecords().size(), 1U) << "what was removed came back";
    EXPECT_TRUE(fs::is_symlink(link)) << "the link was replaced, not its file";
    EXPECT_EQ(fs::status(m_file.parent_path()).permissions(), fs::perms::owner_all);
}

// A read of SQLite that fails once.
struct FailingRead
{
    using Function = ssize_t (*)(int, void*, std::size_t, off_t);
    static inline Function realRead = nullptr;
    static inline int readsUntilFailure = 0;
    static inline ssize_t result = 0;

    static ssize_t Read(int file, void* bytes, std::size_t size, off_t offset)
    {
        if (--readsUntilFailure != 0)
            return realRead(file, bytes, size, offset);
        errno = EIO;
        return result;
    }

    explicit FailingRead(int count, ssize_t failure)
    {
        readsUntilFailure = count;
        result = failure;
        for (const char* name : {"pread", "pread64"}) {
            if (const auto read = m_system.xGetSystemCall(&m_system, name))
                realRead = reinterpret_cast<Function>(read);
            m_system.xSetSystemCall(&m_system, name,
                                    reinterpret_cast<sqlite3_syscall_ptr>(&FailingRead::Read));
        }
    }
    ~FailingRead() { m_system.xSetSystemCall(&m_system, nullptr, nullptr); }

    sqlite3_vfs& m_system = *sqlite3_vfs_find(nullptr);
};

TEST_F(SqliteCloudInfoStorageTest, TakesNoReadErrorForDamage)
{
    Records all;
    for (char id = 'a'; id <= 'z'; ++id)
        all[{id}]["key"] = std::string(400, id);
    Store(all);
    const auto before = Read(m_file);
    for (const ssize_t failure : {-1, 0}) {
        for (int count = 1; FailingRead::readsUntilFailure <= 0; ++count) {
            SCOPED_TRACE(std::to_string(failure) + " at read " + std::to_string(count));
            const FailingRead failing(count, failure);
            try {
                EXPECT_EQ(Open(m_file)->LoadRecords(), all);
            } catch (const StorageError& error) {
                EXPECT_EQ(error.GetReason(), Reason::Unusable) << error.what();
            }
            EXPECT_TRUE(Read(m_file) == before);
            for (const auto& entry : fs::directory_iterator(m_file.parent_path()))
                ASSERT_THAT(entry.path().string(), Not(HasSubstr(".damaged")));
        }
        FailingRead::readsUntilFailure = 0;
    }
}

TEST_F(SqliteCloudInfoStorageTest, RefusesWhatItMustNotOrCannotWriteAndLeavesItAlone)
{
    auto holder = Open(m_file);
    const auto lock = m_file.string() + ".lock";
    Write(lock, "held by %2 %3");
    EXPECT_THAT([&] { Open(m_file); }, ThrowsMessage<StorageError>(HasSubstr("in use by held by %2 %3")));
    fs::remove(lock);
    ExpectRefusal(m_file, Reason::Locked);
    holder.reset();
    for (const auto& leftByAKill : {std::string(), std::string("garbage\0", 8), Read(lock)}) {
        Write(lock, leftByAKill);
        Open(m_file);
    }
    Executed("PRAGMA user_version = 2")();
    const auto newer = Read(m_file);
    ExpectRefusal(m_file, Reason::NewerVersion);
    EXPECT_TRUE(Read(m_file) == newer);

    const OrdinaryUser user;
    ASSERT_TRUE(user.IsBound());
    const auto readOnly = m_folder.Path() / "read-only.sqlite";
    Open(readOnly);
    fs::permissions(readOnly, fs::perms::owner_read);
    ExpectRefusal(readOnly, Reason::NotWritable);
    ExpectRefusal(readOnly / "below", Reason::NotWritable);
}

} // namespace
