#include <support/FileStamp.h>
#include <support/HashMemory.h>

#include "support/LocalFiles.h"
#include "support/OrdinaryUser.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace Orvane::Support;
using namespace Orvane::Testing;
using namespace std::chrono_literals;
using namespace std::string_literals;

std::string Md5Of(const std::string& content)
{
    const auto bytes = QByteArray::fromStdString(content);
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex().toStdString();
}

class HashMemoryTest : public testing::Test
{
protected:
    std::unique_ptr<HashMemory> NewMemory()
    {
        return std::make_unique<HashMemory>(m_database,
                                            HashMemorySettings{m_capacity, [this] { return m_now; }});
    }

    // A memory that does not know the file has to read it, and asks then whether to go on.
    static bool IsRead(HashMemory& memory, const fs::path& file)
    {
        bool isRead = false;
        EXPECT_EQ(memory.HashOf(file, [&isRead] { return isRead = true, false; }), Md5Of(Read(file)));
        return isRead;
    }

    fs::path MakeFile(const std::string& name, const std::string& content = "content") const
    {
        Write(m_folder.Path() / name, content);
        return m_folder.Path() / name;
    }

    TemporaryFolder m_folder;
    fs::path m_database = m_folder.Path() / "hashes.sqlite";
    std::chrono::system_clock::time_point m_now = std::chrono::system_clock::now() + 1h;
    std::size_t m_capacity = 100;
};

TEST_F(HashMemoryTest, HashesContentOfAnySizeAndAnswersNothingForNoReadableFile)
{
    const auto memory = NewMemory();
    EXPECT_EQ(memory->HashOf(MakeFile("abc", "abc")), "900150983cd24fb0d6963f7d28e17f72");
    for (const std::size_t size : {0, 262'143, 262'144, 262'145, 524'288, 3'000'000})
        IsRead(*memory, MakeFile(std::to_string(size), std::string(size, 'a')));

    const auto closed = MakeFile("closed"), pipe = m_folder.Path() / "pipe";
    fs::permissions(closed, fs::perms::none);
    mkfifo(pipe.c_str(), 0666);
    const OrdinaryUser user;
    ASSERT_TRUE(user.IsBound());
    for (const auto& path : {fs::path(), m_folder.Path(), m_folder.Path() / "missing", closed, pipe,
                             m_folder.Path() / "abc\0.pdf"s, m_folder.Path() / "abc" / "below"})
        EXPECT_EQ(memory->HashOf(path), "") << path;
}

TEST_F(HashMemoryTest, ReadsAnUnchangedFileOnceOverAllRunsOfAllPrograms)
{
    const auto one = MakeFile("one"), two = MakeFile("two");
    {
        const auto program = NewMemory(), other = NewMemory();
        EXPECT_TRUE(IsRead(*program, one) && IsRead(*other, two));
        EXPECT_FALSE(IsRead(*program, one) || IsRead(*other, two));
    }
    const auto nextRun = NewMemory();
    EXPECT_FALSE(IsRead(*nextRun, one) || IsRead(*nextRun, two));
}

TEST_F(HashMemoryTest, ManagesWithoutAUsableDatabase)
{
    const auto file = MakeFile("file");
    for (const auto& database :
         {fs::path(), MakeFile("no database"), m_folder.Path(), file / "below.sqlite"}) {
        m_database = database;
        const auto memory = NewMemory();
        EXPECT_TRUE(IsRead(*memory, file));
        EXPECT_FALSE(IsRead(*memory, file));
    }
}

TEST_F(HashMemoryTest, SeesEveryKindOfChange)
{
    const auto file = MakeFile("file", "before");
    const auto writtenAt = fs::last_write_time(file);
    const auto rewriteAndSetTimeBack = [&] {
        Patch(file, 0, "aft");
        fs::last_write_time(file, writtenAt);
    };
    const auto replaceByEqualSizeAndTime = [&] {
        const auto other = MakeFile("other", std::string(fs::file_size(file), 'o'));
        fs::last_write_time(other, writtenAt);
        fs::rename(other, file);
    };
    const auto memory = NewMemory();
    for (const std::function<void()>& change :
         {std::function(rewriteAndSetTimeBack), {replaceByEqualSizeAndTime}}) {
        IsRead(*memory, file);
        ASSERT_FALSE(IsRead(*memory, file));
        const auto before = StampOf(file);
        do
            change(); // again, while the file system's clock stands still
        while (StampOf(file)->changed == before->changed);
        EXPECT_TRUE(IsRead(*memory, file));
    }
}

TEST_F(HashMemoryTest, DoesNotTrustAFileThatChangedAMomentAgoOrWhileItWasRead)
{
    const auto file = MakeFile("file", std::string(600'000, 'a'));
    const auto memory = NewMemory();
    const auto before = StampOf(file);
    const auto changeIt = [&] {
        while (StampOf(file) == before)
            Patch(file, 0, "b");
        return false;
    };
    EXPECT_NE(memory->HashOf(file, changeIt), "");
    EXPECT_TRUE(IsRead(*memory, file));

    const auto changedFile = MakeFile("changed a moment ago");
    const auto changedAt = std::chrono::nanoseconds(StampOf(changedFile)->changed);
    for (const auto age : {-3'600'000ms, 0ms, 2999ms, 3000ms}) {
        m_now = decltype(m_now)(changedAt + age);
        EXPECT_TRUE(IsRead(*memory, changedFile)) << age.count();
    }
    EXPECT_FALSE(IsRead(*memory, changedFile));
}

TEST_F(HashMemoryTest, StopsWhenCanceled)
{
    const auto file = MakeFile("file", std::string(2'000'000, 'a'));
    const auto memory = NewMemory();
    int asked = 0;
    EXPECT_EQ(memory->HashOf(file, [&asked] { return ++asked == 3; }), "");
    EXPECT_EQ(asked, 3);
    EXPECT_TRUE(IsRead(*memory, file));
}

TEST_F(HashMemoryTest, ForgetsWhatWasNotUsedLongest)
{
    m_capacity = 8;
    auto memory = NewMemory();
    for (int i = 0; i < 8; ++i)
        IsRead(*memory, MakeFile(std::to_string(i)));
    memory->Flush();
    m_now += 24h;
    for (const auto* used : {"0", "1", "2", "3"})
        IsRead(*memory, m_folder.Path() / used);
    for (const auto* added : {"8", "9", "10", "11"})
        IsRead(*memory, MakeFile(added));
    for (int run = 0; run < 2; ++run) {
        for (const auto* kept : {"0", "1", "2", "3", "8", "9", "10", "11"})
            EXPECT_FALSE(IsRead(*memory, m_folder.Path() / kept)) << kept << " in run " << run;
        memory.reset();
        memory = NewMemory();
    }
    EXPECT_TRUE(IsRead(*memory, m_folder.Path() / "7"));
}

} // namespace
