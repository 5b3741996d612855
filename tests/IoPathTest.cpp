#include "support/Journal.h"

#include <ioPath.h>

#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;

TEST(IoPathTest, HoldsAndComparesItsTextAndNothingElse)
{
    const ioPath path("/a/./\u00e9\0x"_s);
    EXPECT_EQ(path.utf8string(), "/a/./\u00e9\0x"_s);
    for (const auto& other : {"/a/./\u00e9"_s, "/a/\u00e9\0x"_s, "/A/./\u00e9\0x"_s, ""_s})
        EXPECT_TRUE(path != ioPath(other) && !(path == ioPath(other)));
    EXPECT_TRUE(path == ioPath(path) && !(path != ioPath(path)));
    EXPECT_TRUE(ioPath().empty() && !path.empty());
}

TEST(IoPathTest, ComesFromAQStringUpToItsFirstNul)
{
    const std::string text = "/\u00e9/\U0001F600.pdf";
    EXPECT_EQ(ioPath::from(QString()).utf8string(), "");
    EXPECT_EQ(ioPath::from(QString::fromStdString(text + "\0b"_s)).utf8string(), text);
    EXPECT_EQ(ioPath::from<const QString&>("\0b"_q).utf8string(), "");
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
