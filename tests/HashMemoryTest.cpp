#include <support/FileStamp.h>
#include <support/HashMemory.h>

#include "support/LocalFiles.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Support;
using namespace Orvane::Testing;
using namespace std::chrono_literals;

class HashMemoryTest : public testing::Test
{
protected:
    std::unique_ptr<HashMemory> NewMemory() const
    {
        return std::make_unique<HashMemory>(m_folder.Path() / "hashes.sqlite",
                                            HashMemorySettings{8, [this] { return m_now; }});
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
    EXPECT_TRUE(IsRead(*memory, large));
    EXPECT_EQ(memory->HashOf(MakeFile("empty", "")), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(memory->HashOf(MakeFile("odd", std::string(262'145, 'a'))), "0c98a26131b3826a3bd347b8cd65b0a2");
    for (const auto& path : {m_folder.Path(), m_folder.Path() / "missing", fs::path("/dev/null")})
        EXPECT_EQ(memory->HashOf(path), "") << path;
}

TEST_F(HashMemoryTest, ReadsAnUnchangedFileOnceOverAllRunsOfAllPrograms)
{
    const auto one = MakeFile("one"), two = MakeFile("two");
    auto program = NewMemory(), other = NewMemory();
    EXPECT_TRUE(IsRead(*program, one) && IsRead(*other, two));
    program.reset();
    other.reset();
    const auto nextRun = NewMemory();
    EXPECT_FALSE(IsRead(*nextRun, one) || IsRead(*nextRun, two));
}

TEST_F(HashMemoryTest, SeesAChangeWhileReadingAndTrustsNoFileChangedAMomentAgo)
{
    const auto file = MakeFile("file", std::string(600'000, 'a'));
    const auto memory = NewMemory();
    std::this_thread::sleep_for(50ms); // longer than a file system's clock stands still
    EXPECT_NE(memory->HashOf(file, [&] { return Write(file, std::string(600'000, 'b')), false; }), "");
    EXPECT_TRUE(IsRead(*memory, file));

    const auto changedFile = MakeFile("changed a moment ago");
    const auto changedAt = std::chrono::nanoseconds(StampOf(changedFile)->changed);
    for (const auto age : {2999ms, 3000ms}) {
        m_now = decltype(m_now)(changedAt + age);
        EXPECT_TRUE(IsRead(*memory, changedFile)) << age.count();
    }
    EXPECT_FALSE(IsRead(*memory, changedFile));
}

TEST_F(HashMemoryTest, ForgetsWhatWasNotAskedForLongestHereAndInTheDatabase)
{
    std::vector<fs::path> files;
    for (const std::string name : {"a", "b", "c", "d", "e", "f", "g", "h"})
        files.push_back(MakeFile(name));
    auto memory = NewMemory();
    const auto startAnew = [&] { memory = (memory.reset(), NewMemory()); };
    for (const auto& file : files) {
        EXPECT_TRUE(IsRead(*memory, file));
        m_now += 24h; // so "a" is the oldest
    }
    startAnew();
    EXPECT_FALSE(IsRead(*memory, files[0])) << "eight are kept, and this one is the latest now";
    startAnew();
    EXPECT_TRUE(IsRead(*memory, MakeFile("one more")));
    for (int run = 0; run < 2; ++run) {
        for (const std::size_t kept : {0U, 2U, 7U})
            EXPECT_FALSE(IsRead(*memory, files[kept])) << kept << " in run " << run;
        startAnew();
    }
    EXPECT_TRUE(IsRead(*memory, files[1]));
}

TEST_F(HashMemoryTest, LosesNoMoreThanAThousandHashesWhenItIsKilled)
{
    HashMemory killed(m_folder.Path() / "hashes.sqlite", {2000, [this] { return m_now; }});
    const auto first = MakeFile("0");
    EXPECT_TRUE(IsRead(killed, first));
    for (int number = 1; number < 1000; ++number)
        (void)killed.HashOf(MakeFile(std::to_string(number), ""));
    EXPECT_FALSE(IsRead(*NewMemory(), first));
}

TEST_F(HashMemoryTest, KeepsTheLatestHashOfAYoungFileForAMoment)
{
    HashMemorySettings settings{8, [this] { return m_now; }};
    m_now = std::chrono::system_clock::now() - 1h; // every file is young
    settings.youngFileMemory = 1h;
    HashMemory memory({}, settings);
    const auto file = MakeFile("file"), other = MakeFile("other");
    EXPECT_TRUE(IsRead(memory, file));
    EXPECT_FALSE(IsRead(memory, file));
    EXPECT_TRUE(IsRead(memory, other) && IsRead(memory, file)) << "one hash at most, of one path";
    Write(file, "another");
    EXPECT_TRUE(IsRead(memory, file));
}

} // namespace
