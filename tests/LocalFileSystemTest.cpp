#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>

#include "support/LocalFiles.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
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
        fs::create_symlink("later.pdf", "real/next.pdf");
        fs::create_symlink("elsewhere", "gone");
        fs::create_symlink("loop", "loop");
    }

    std::string Normalized(const std::string& text) { return m_fileSystem.NormalizePath(text).utf8string(); }

    std::string At(const std::string& below) const { return m_folder.Path().u8string() + '/' + below; }

    const TemporaryFolder m_folder;
    LocalFileSystem m_fileSystem;
};

TEST_F(LocalFileSystemTest, TextsThatNameTheSameFileBecomeOneAlsoAMomentAfterALinkChanged)
{
    const std::map<std::string, std::vector<std::string>> names{
        {At("real/file.pdf"),
         {"real/file.pdf", "real//./file.pdf", "real/deep/../file.pdf", "folder/link.pdf", "deep/../link.pdf",
          "missing/../real/file.pdf", '/' + At("real/file.pdf"), "/.." + At("folder//link.pdf")}},
        {At("real/later.pdf"), {"folder/later.pdf", "real/next.pdf", "folder/next.pdf"}},
        {At("elsewhere/a/b.pdf"), {"gone/./a//b.pdf"}},
        {At("real"), {"real/", "folder", "folder/.", "deep/.."}},
        {At("real/\xff\xe9.pdf"), {"folder/\xff\xe9.pdf"}},
        {At("real/e\xcc\x81.pdf"), {"folder/e\xcc\x81.pdf"}},
        {"/x.pdf", {"//x.pdf", "/../x.pdf"}},
        {"", {}},
        {"real/file.pdf\0x"s, {}},
        {At("loop/x.pdf"), {"loop/x.pdf"}},
        {At(std::string(5000, 'n')), {std::string(5000, 'n')}},
    };
    for (const auto& [normalized, texts] : names) {
        EXPECT_EQ(Normalized(normalized), normalized);
        for (const auto& text : texts)
            EXPECT_EQ(Normalized(text), normalized) << text;
    }

    EXPECT_EQ(Normalized("new/x.pdf"), At("new/x.pdf"));
    fs::create_symlink("real", "new");
    fs::create_symlink("file.pdf", "real/x.pdf");
    EXPECT_EQ(Normalized("new/x.pdf"), At("real/file.pdf"));
    EXPECT_EQ(Normalized("new/y.pdf"), At("real/y.pdf"));
    fs::remove("folder");
    fs::create_symlink("real/deep", "folder");
    std::this_thread::sleep_for(std::chrono::milliseconds(550)); // folders are remembered for less
    EXPECT_EQ(Normalized("folder/y.pdf"), At("real/deep/y.pdf"));
}

TEST_F(LocalFileSystemTest, FilesExistAndHaveHashesAndNothingElseExists)
{
    Write("\xff \xc3\xa9.pdf", "abc");
    Orvane::PDF::Cloud::Md5HashCalculator calculator(QString::fromStdString(At("new/hashes.sqlite")));
    for (const auto& file : {"folder/link.pdf"s, "\xff \xc3\xa9.pdf"s}) {
        EXPECT_TRUE(m_fileSystem.Exists(file)) << file;
        EXPECT_EQ(calculator.CalculateFileHash(file), "900150983cd24fb0d6963f7d28e17f72");
    }
    for (const auto& none : {Normalized(""), "folder"s, "real/next.pdf"s, "loop"s, "real/file.pdf\0x"s})
        EXPECT_FALSE(m_fileSystem.Exists(none)) << none;
}

} // namespace
