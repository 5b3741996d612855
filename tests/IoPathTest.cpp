#include "support/Journal.h"

#include <ioPath.h>

#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;

TEST(IoPathTest, HoldsAndComparesItsTextAndNothingElse)
{
    ioPath path("/a/./\u00e9\0x"_s);
    EXPECT_EQ(path.utf8string(), "/a/./\u00e9\0x"_s);
    for (const auto& other : {"/a/./\u00e9"_s, "/a/\u00e9\0x"_s, "/A/./\u00e9\0x"_s, ""_s})
        EXPECT_TRUE(path != ioPath(other) && !(path == ioPath(other)));
    const ioPath copy = path;
    EXPECT_TRUE(copy == path && !(copy != path));
    EXPECT_EQ(&(path = "/n\u00e9w"), &path);
    EXPECT_EQ(path.utf8string(), "/n\u00e9w");
    EXPECT_TRUE(ioPath().empty() && !copy.empty());
}

TEST(IoPathTest, ComesFromAQStringUpToItsFirstNul)
{
    const std::vector<std::pair<QString, std::string>> cases = {
        {QString(), ""},
        {"/\u00e9/\U0001F600.pdf"_q, "/\u00e9/\U0001F600.pdf"},
        {"/a\0b"_q, "/a"},
        {"\0b"_q, ""},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(ioPath::from(text).utf8string() + ioPath::from<const QString&>(text).utf8string(),
                  expected + expected);
}

TEST(IoPathTest, RemovesFilesAndNothingElse)
{
    const QTemporaryDir folder;
    const auto path = ioPath::from(folder.path() + "/\u00e4.pdf"_q);
    QFile file(folder.path() + "/\u00e4.pdf"_q);
    path.remove();
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ioPath(path.utf8string() + "\0x"_s).remove();
    EXPECT_TRUE(path.exists());
    path.remove();
    EXPECT_FALSE(path.exists() || ioPath().exists());
    ioPath::from(folder.path()).remove();
    EXPECT_TRUE(ioPath::from(folder.path()).exists());
}

} // namespace
