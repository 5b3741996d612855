#include "support/LocalFiles.h"

#include <support/Database.h>
#include <support/FileLock.h>
#include <support/PrivateFiles.h>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Support;
using namespace Orvane::Testing;

/// The rights to all that a folder holds, by name.
std::map<std::string, unsigned> RightsIn(const fs::path& folder)
{
    std::map<std::string, unsigned> rights;
    for (const auto& entry : fs::directory_iterator(folder))
        rights[entry.path().filename().string()] = static_cast<unsigned>(entry.status().permissions());
    return rights;
}

class PrivateFilesTest : public testing::Test
{
protected:
    void SetUp() override { ::umask(0); }
    void TearDown() override { ::umask(m_former); }

    const TemporaryFolder m_scratch;
    const fs::path m_folder = m_scratch.Path() / "a" / "b";
    const mode_t m_former = ::umask(0);
};

TEST_F(PrivateFilesTest, AFolderIsForItsUserAloneUnlessAllShareIt)
{
    MakePrivateFolder(m_folder / "");
    EXPECT_EQ(RightsIn(m_scratch.Path()).at("a"), 0700U);
    for (const unsigned rights : {0755U, 01777U}) {
        fs::permissions(m_folder, static_cast<fs::perms>(rights));
        MakePrivateFolder(m_folder);
        EXPECT_EQ(RightsIn(m_folder.parent_path()).at("b"), rights == 0755 ? 0700U : rights);
    }
    Write(m_scratch.Path() / "file", "");
    EXPECT_THROW(MakePrivateFolder(m_scratch.Path() / "file" / "folder"), fs::filesystem_error);
}

TEST_F(PrivateFilesTest, DatabasesTheirJournalsAndLocksAreForTheirUserAlone)
{
    fs::create_directories(m_folder);
    Write(m_folder / "other", "");
    fs::create_symlink(m_folder / "other", m_folder / "link.lock");
    for (int round = 0; round < 2; ++round) {
        const Schema schema{1, 1, "CREATE TABLE t (x)"};
        const auto opened = OpenDatabase(m_folder / "list.sqlite", schema);
        SQLite::Transaction transaction(*opened.database);
        opened.database->exec("INSERT INTO t VALUES (1)");
        FileLock lock(m_folder / "list.lock");
        EXPECT_EQ(lock.Take(), FileLock::Result::Taken);
        EXPECT_EQ(FileLock(m_folder / "link.lock").Take(), FileLock::Result::NotWritable);
        const std::map<std::string, unsigned> expected{{"link.lock", 0666},
                                                       {"list.lock", 0600},
                                                       {"list.sqlite", 0600},
                                                       {"list.sqlite-journal", 0600},
                                                       {"other", 0666}};
        EXPECT_EQ(RightsIn(m_folder), expected);
        transaction.commit();
        for (const char* name : {"list.sqlite", "list.lock"}) // as an earlier version left them
            fs::permissions(m_folder / name, static_cast<fs::perms>(0666));
    }
}

TEST_F(PrivateFilesTest, ALockHoldsWhateverTheFileHoldsAndWhoeverHeldItBefore)
{
    fs::create_directories(m_folder);
    const auto file = m_folder / "lock";
    const std::string contents[] = {"", std::string(5000, '\xFF'), std::to_string(::getpid()),
                                    "orvane-cloud (process 1 on another-host)"};
    for (const auto& content : contents) {
        Write(file, content);
        FileLock lock(file);
        ASSERT_EQ(lock.Take(), FileLock::Result::Taken);
        lock.SignAs("me");
        FileLock rival(file);
        EXPECT_EQ(rival.Take(), FileLock::Result::HeldElsewhere);
        EXPECT_EQ(rival.Signature(), "me");
    }
}

} // namespace
