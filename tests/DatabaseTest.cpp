#include <support/Database.h>

#include "support/LocalFiles.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <functional>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Support;
using namespace Orvane::Testing;

constexpr Schema kSchema{0x54657374, 2,
                         "CREATE TABLE thing (name BLOB PRIMARY KEY, size INTEGER) WITHOUT ROWID"};

class DatabaseTest : public testing::Test
{
protected:
    OpenedDatabase Open() const { return OpenDatabase(m_file, kSchema); }

    // As another program would, whose file may stand in the place of ours.
    std::function<void()> Executed(const char* statements) const
    {
        return [=] { SQLite::Database(m_file.string(), SQLite::OPEN_READWRITE).exec(statements); };
    }

    TemporaryFolder m_folder;
    fs::path m_file = m_folder.Path() / "new" / "things.sqlite";
};

TEST_F(DatabaseTest, SetsAsideWhatIsNotAsItMadeItAndNothingElse)
{
    const std::map<std::string, std::function<void()>> mishaps{
        {"no database", [this] { Write(m_file, "hello"); }},
        {"cut", [this] { fs::resize_file(m_file, fs::file_size(m_file) / 2); }},
        {"overwritten", [this] { Patch(m_file, 4096, std::string(9000, '\x5a')); }},
        {"another program's", Executed("PRAGMA application_id = 7")},
        {"no version", Executed("PRAGMA user_version = 0; PRAGMA application_id = 0")},
        {"an older version", Executed("PRAGMA user_version = 1")},
        {"a table gone", Executed("DROP TABLE thing; CREATE TABLE other (name)")},
        {"a column more", Executed("ALTER TABLE thing ADD COLUMN color")},
        {"a trigger", Executed("CREATE TRIGGER t AFTER INSERT ON thing BEGIN DELETE FROM thing; END")},
    };
    for (const auto& [mishap, happen] : mishaps) {
        SCOPED_TRACE(mishap);
        Open().database->exec("INSERT INTO thing VALUES (randomblob(30000), 3)");
        ASSERT_EQ(Open().setAside, fs::path());
        happen();
        const auto useless = Read(m_file);
        const auto opened = Open();
        EXPECT_EQ(opened.database->execAndGet("SELECT count(*) FROM thing").getInt(), 0);
        EXPECT_NE(opened.setAsideReason, "");
        EXPECT_TRUE(Read(opened.setAside) == useless);
    }
    Write(m_file, "");
    EXPECT_EQ(Open().setAside, fs::path());
}

TEST_F(DatabaseTest, SetsAsideTheFileThatALinkNames)
{
    const auto real = m_folder.Path() / "real.sqlite";
    Write(real, "not a database");
    m_file = m_folder.Path() / "link.sqlite";
    fs::create_symlink(real, m_file);
    const auto setAside = Open().setAside;
    EXPECT_EQ(Read(setAside), "not a database");
    EXPECT_TRUE(fs::is_symlink(m_file) && fs::is_regular_file(real));
}

TEST_F(DatabaseTest, LeavesALockedFileAlone)
{
    const auto holder = Open();
    holder.database->exec("BEGIN EXCLUSIVE");
    try {
        ADD_FAILURE() << Open().setAside;
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.GetReason(), DatabaseError::Reason::Locked) << error.what();
    }
}

} // namespace
