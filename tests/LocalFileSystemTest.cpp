#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>

#include "support/LocalFiles.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using namespace Orvane::Testing;
using Orvane::PDF::Cloud::LocalFileSystem;
using Orvane::PDF::Cloud::Md5HashCalculator;

class LocalFileSystemTest : public testing::Test
{
protected:
    LocalFileSystemTest()
        : m_formerFolder(fs::current_path())
    {
        fs::current_path(m_root);
        fs::create_directories("real/deep");
        Write("real/file.pdf", "abc");
        fs::create_symlink("real", "folder");
        fs::create_symlink(m_root / "real" / "deep", "deep");
        fs::create_symlink("file.pdf", "real/link.pdf");
        fs::create_symlink("later.pdf", "real/next.pdf");
        fs::create_symlink("elsewhere", "gone");
        fs::create_symlink("loop", "loop");
    }
    ~LocalFileSystemTest() override { fs::current_path(m_formerFolder); }

    std::string Normalized(const std::string& text) { return m_fileSystem.NormalizePath(text).utf8string(); }

    std::string At(const std::string& below) const { return m_root.u8string() + '/' + below; }

    const TemporaryFolder m_folder;
    const fs::path m_root = m_folder.Path();
    const fs::path m_formerFolder;
    LocalFileSystem m_fileSystem;
};

TEST_F(LocalFileSystemTest, TextsThatNameTheSameFileBecomeOne)
{
    const std::map<std::string, std::vector<std::string>> names{
        {At("real/file.pdf"),
         {"real/file.pdf", "./real/file.pdf", "real//file.pdf", "real/./file.pdf", "real/deep/../file.pdf",
          "folder/file.pdf", "folder/link.pdf", "real/link.pdf", "deep/../file.pdf", "deep/../link.pdf",
          "missing/../real/file.pdf", '/' + At("real/file.pdf"), "/.." + At("folder//link.pdf")}},
        {At("real/later.pdf"), {"real/later.pdf", "folder/later.pdf", "real/next.pdf", "folder/next.pdf"}},
        {At("elsewhere/a/b.pdf"), {"elsewhere/a/b.pdf", "gone/a/b.pdf", "gone/./a//b.pdf"}},
        {At("real"), {"real", "real/", "folder", "folder/", "folder/.", "deep/..", "real/deep/.."}},
        {At("real/\xff\xe9.pdf"), {"real/\xff\xe9.pdf", "folder/\xff\xe9.pdf"}},
        {At("real/e\xcc\x81.pdf"), {"folder/e\xcc\x81.pdf"}},
        {"/", {"//", "/..", "/."}},
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
    fs::current_path("real");
    EXPECT_EQ(Normalized("file.pdf"), At("real/file.pdf"));
}

TEST_F(LocalFileSystemTest, FilesExistAndHaveHashesAndNothingElseDoes)
{
    Write("\xff \xc3\xa9.pdf", "abc");
    Md5HashCalculator calculator(QString::fromStdString(At("new/hashes.sqlite")));
    for (const auto& file : {At("real/file.pdf"), "folder/link.pdf"s, "\xff \xc3\xa9.pdf"s}) {
        EXPECT_TRUE(m_fileSystem.Exists(file)) << file;
        EXPECT_EQ(calculator.CalculateFileHash(file), "900150983cd24fb0d6963f7d28e17f72");
    }
    for (const auto& none : {""s, Normalized(""), "real"s, "folder"s, "real/next.pdf"s, "real/missing.pdf"s,
                             "loop"s, "real/file.pdf\0x"s, "real/file.pdf/"s, std::string(5000, 'n')}) {
        EXPECT_FALSE(m_fileSystem.Exists(none)) << none;
        EXPECT_EQ(calculator.CalculateFileHash(none), "") << none;
    }
}

TEST_F(LocalFileSystemTest, SeesNewLinksAtOnceAndTurnedOnesAMomentLater)
{
    EXPECT_EQ(Normalized("new/x.pdf"), At("new/x.pdf"));
    EXPECT_EQ(Normalized("folder/x.pdf"), At("real/x.pdf"));
    fs::create_symlink("real", "new");
    fs::create_symlink("file.pdf", "real/x.pdf");
    EXPECT_EQ(Normalized("new/x.pdf"), At("real/file.pdf"));
    EXPECT_EQ(Normalized("new/y.pdf"), At("real/y.pdf"));

    fs::remove("folder");
    fs::create_symlink("real/deep", "folder");
    for (int tries = 0; tries < 1000 && Normalized("folder/y.pdf") != At("real/deep/y.pdf"); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(Normalized("folder/y.pdf"), At("real/deep/y.pdf"));
}

} // namespace
