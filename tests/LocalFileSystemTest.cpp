#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>
#include <support/FileStamp.h>

#include "support/LocalFiles.h"
#include "support/OrdinaryUser.h"

#include <gmock/gmock.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace Orvane::Support;
using namespace Orvane::Testing;
using Orvane::PDF::Cloud::LocalFileSystem;

class LocalFileSystemTest : public testing::Test
{
protected:
    LocalFileSystemTest()
    {
        fs::current_path(m_folder.Path());
        fs::create_directories("real/deep");
        Write("real/file.pdf", "abc");
        fs::create_symlink("real", "folder");
        fs::create_symlink(At("real/deep"), "deep");
        fs::create_symlink("file.pdf", "real/link.pdf");
        fs::create_symlink("missing.pdf", "real/dangling.pdf");
        fs::create_symlink("loop", "loop");
    }

    std::string Normalized(const std::string& text) { return m_fileSystem.NormalizePath(text).utf8string(); }

    std::string At(const std::string& below) const { return m_folder.Path().u8string() + '/' + below; }

    const TemporaryFolder m_folder;
    LocalFileSystem m_fileSystem;
};

TEST_F(LocalFileSystemTest, TextsThatNameTheSameFileBecomeOne)
{
    const std::map<std::string, std::vector<std::string>> names{
        {At("real/file.pdf"),
         {"real//./file.pdf", "folder/link.pdf", "deep/../link.pdf", "missing/../real/file.pdf"}},
        {At("real/\xff\xe9.pdf"), {"folder/\xff\xe9.pdf"}},
        {At("real/missing.pdf"), {"folder/dangling.pdf", "folder/../real/missing.pdf"}},
        {At("loop"), {"./loop"}},
        {At("real"), {"folder/", "real/.", "folder/deep/.."}},
        {"", {}},
        {"real/file.pdf\0x"s, {}},
    };
    for (const auto& [normalized, texts] : names) {
        EXPECT_EQ(Normalized(normalized), normalized);
        for (const auto& text : texts)
            EXPECT_EQ(Normalized(text), normalized) << text;
    }
}

TEST_F(LocalFileSystemTest, FilesExistAndHaveHashesAndNothingElseExists)
{
    Write("\xff \xc3\xa9.pdf", "abc");
    Orvane::PDF::Cloud::Md5HashCalculator calculator(QString::fromStdString(At("new/hashes.sqlite")));
    EXPECT_TRUE(m_fileSystem.Exists("\xff \xc3\xa9.pdf"s));
    EXPECT_EQ(calculator.CalculateFileHash("\xff \xc3\xa9.pdf"s), "900150983cd24fb0d6963f7d28e17f72");
    for (int turn = 0; turn < 100; ++turn) // at once, when nothing delays it
        EXPECT_FALSE(m_fileSystem.Exists(m_fileSystem.NormalizePath("real/deep"s)));
    for (const auto& path :
         {"folder"s, "missing"s, "loop"s, ""s, "real/file.pdf\0x"s, std::string(5000, 'x')})
        EXPECT_FALSE(m_fileSystem.Exists(path)) << path;
    fs::permissions(m_folder.Path(), fs::perms::none);
    {
        const OrdinaryUser user;
        EXPECT_TRUE(m_fileSystem.Exists(At("real/file.pdf"))) << "nobody can say that it is gone";
        EXPECT_THROW((void)LookAt(At("real/file.pdf"), Links::Followed), fs::filesystem_error);
    }
    fs::permissions(m_folder.Path(), fs::perms::owner_all);
}

TEST_F(LocalFileSystemTest, AFolderThatWasMissingMayBeALinkAMomentLater)
{
    EXPECT_EQ(Normalized("later/file.pdf"), At("later/file.pdf"));
    fs::create_symlink("real", "later");
    EXPECT_EQ(Normalized("later/file.pdf"), At("real/file.pdf"));
}

TEST_F(LocalFileSystemTest, OneLookAtAFileAnswersOneQuestion)
{
    const auto path = m_fileSystem.NormalizePath("real/file.pdf"s);
    EXPECT_TRUE(m_fileSystem.Exists(path));
    fs::remove("real/file.pdf");
    EXPECT_FALSE(m_fileSystem.Exists(path));

    Write("real/file.pdf", "abc");
    EXPECT_EQ(Normalized("folder/file.pdf"), path.utf8string());
    EXPECT_EQ(Normalized("folder/missing"), At("real/missing"));
    fs::remove("real/file.pdf");
    EXPECT_FALSE(m_fileSystem.Exists(path));
}

} // namespace
