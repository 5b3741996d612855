#include <support/FileStamp.h>
#include <support/HashMemory.h>

#include "support/LocalFiles.h"
#include "support/OrdinaryUser.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Support;
using namespace Orvane::Testing;
using namespace std::chrono_literals;
using namespace std::string_literals;

class HashMemoryTest : public testing::Test
{
protected:
    std::unique_ptr<HashMemory> NewMemory(const std::string& database = "hashes.sqlite") const
    {
        const HashMemorySettings settings{8, [this] { return m_now; }};
        return std::make_unique<HashMemory>(m_folder.Path() / database, settings);
    }

    // A memory that does not know the file has to read it, and asks then whether to go on.
    static bool IsRead(HashMemory& memory, const fs::path& file)
    {
        bool isRead = false;
        const auto hash = memory.HashOf(file, [&isRead] { return isRead = true, false; });
        EXPECT_EQ(hash, HashMemory({}).HashOf(file));
        return isRead;
    }

    fs::path MakeFile(const std::string& name, const std::string& content = "content") const
    {
        Write(m_folder.Path() / name, content);
        return m_folder.Path() / name;
    }

    TemporaryFolder m_folder;
    std::chrono::system_clock::time_point m_now = std::chrono::system_clock::now() + 1h;
};

TEST_F(HashMemoryTest, HashesContentOfAnySizeAndAnswersNothingForNoReadableFileOrWhenCanceled)
{
    const auto memory = NewMemory();
    const auto large = MakeFile("large", std::string(2'000'000, 'a'));
    int asked = 0;
    EXPECT_EQ(memory->HashOf(large, [&asked] { return ++asked == 3; }), "");
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(IsRead(*memory, large));
    EXPECT_EQ(memory->HashOf(MakeFile("empty", "")), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(memory->HashOf(MakeFile("even", std::string(262'144, 'a'))),
              "c946b71bb69c07daf25470742c967e7c");
    EXPECT_EQ(memory->HashOf(MakeFile("odd", std::string(262'145, 'a'))), "0c98a26131b3826a3bd347b8cd65b0a2");

    const auto closed = MakeFile("closed");
    fs::permissions(closed, fs::perms::none);
    const OrdinaryUser user;
    ASSERT_TRUE(user.IsBound());
    for (const auto& path : {fs::path(), m_folder.Path(), m_folder.Path() / "missing", closed,
                             fs::path("/dev/null"), m_folder.Path() / "large\0.pdf"s, large / "below"})
        EXPECT_EQ(memory->HashOf(path), "") << path;
}

TEST_F(HashMemoryTest, ReadsAnUnchangedFileOnceOverAllRunsOfAllProgramsAndOnceARunWithoutADatabase)
{
    const auto one = MakeFile("one"), two = MakeFile("two");
    {
        const auto program = NewMemory(), other = NewMemory();
        EXPECT_TRUE(IsRead(*program, one) && IsRead(*other, two));
        EXPECT_FALSE(IsRead(*program, one) || IsRead(*other, two));
    }
    const auto nextRun = NewMemory();
    EXPECT_FALSE(IsRead(*nextRun, one) || IsRead(*nextRun, two));

    for (const auto* unusable : {"", "one/below.sqlite"}) {
        const auto memory = NewMemory(unusable);
        EXPECT_TRUE(IsRead(*memory, one));
        EXPECT_FALSE(IsRead(*memory, one));
    }
}

TEST_F(HashMemoryTest, SeesAChangeWhileReadingOrWithTheOldSizeAndTimeAndTrustsNoFileChangedAMomentAgo)
{
    const auto file = MakeFile("file", std::string(600'000, 'a'));
    const auto memory = NewMemory();
    std::this_thread::sleep_for(50ms); // longer than a file system's clock stands still
    EXPECT_NE(memory->HashOf(file, [&] { return Patch(file, 0, "b"), false; }), "");
    EXPECT_TRUE(IsRead(*memory, file));

    const auto writtenAt = fs::last_write_time(file);
    std::this_thread::sleep_for(50ms);
    Patch(file, 0, "c");
    fs::last_write_time(file, writtenAt);
    EXPECT_TRUE(IsRead(*memory, file));

    const auto changedFile = MakeFile("changed a moment ago");
    const auto changedAt = std::chrono::nanoseconds(StampOf(changedFile)->changed);
    for (const auto age : {-3'600'000ms, 0ms, 2999ms, 3000ms}) {
        m_now = decltype(m_now)(changedAt + age);
        EXPECT_TRUE(IsRead(*memory, changedFile)) << age.count();
    }
    EXPECT_FALSE(IsRead(*memory, changedFile));
}

TEST_F(HashMemoryTest, ForgetsWhatWasNotUsedLongest)
{
    for (const char name : "0123456789ab"s)
        MakeFile({name});
    auto memory = NewMemory();
    const auto isRead = [&](char name) { return IsRead(*memory, m_folder.Path() / std::string{name}); };
    for (const char first : "01234567"s)
        isRead(first);
    memory->Flush();
    m_now += 24h;
    for (const char usedOrAdded : "012389ab"s)
        isRead(usedOrAdded);
    for (int run = 0; run < 2; ++run, memory.reset(), memory = NewMemory())
        for (const char kept : "012389ab"s)
            EXPECT_FALSE(isRead(kept)) << kept << " in run " << run;
    EXPECT_TRUE(isRead('7'));
}

} // namespace
