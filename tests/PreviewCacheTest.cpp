#include <OrvaneCloudProtocol/previews/PreviewCache.h>

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <fstream>

namespace {

using namespace Orvane::Social;
namespace fs = std::filesystem;

constexpr int kEdge = 100;
const QByteArray kVersion("cloud/\0document", 15);

QImage Noise(int edge = kEdge)
{
    QImage image(edge, edge, QImage::Format_RGB32);
    for (int y = 0; y < edge; ++y)
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(image.scanLine(y)), edge);
    return image.convertToFormat(QImage::Format_RGB888).convertToFormat(QImage::Format_RGB32);
}

class PreviewCacheTest : public testing::Test
{
protected:
    [[nodiscard]] fs::path Folder() const { return m_folder.path().toStdString(); }
    [[nodiscard]] fs::path File() const { return Folder() / "previews.sqlite"; }

    void Execute(const char* statement) { SQLite::Database(File(), SQLite::OPEN_READWRITE).exec(statement); }

    static bool Holds(PreviewCache& cache, const QByteArray& version, int edge = kEdge)
    {
        return cache.Find(version, edge).has_value();
    }

private:
    const QTemporaryDir m_folder;
};

TEST_F(PreviewCacheTest, GivesBackTheSmallestPictureThatIsLargeEnough)
{
    const QImage small = Noise(40);
    const QImage large = Noise(100);
    PreviewCache(Folder()).Store(kVersion, 40, small);
    PreviewCache(Folder()).Store(kVersion, 100, large);

    PreviewCache cache(Folder());
    EXPECT_EQ(std::get<QImage>(cache.Find(kVersion, 40).value()), small);
    EXPECT_EQ(std::get<QImage>(cache.Find(kVersion, 41).value()), large);
    EXPECT_FALSE(Holds(cache, kVersion, 101));
    EXPECT_FALSE(Holds(cache, "cloud/", 40)) << "the version ends at its end, not at a NUL";
}

TEST_F(PreviewCacheTest, RemembersADocumentsOwnFailuresForADay)
{
    PreviewCache cache(Folder());
    cache.Store(kVersion, kEdge, Failure{FailureCode::InvalidDocument, QStringLiteral("пароль")});
    const auto failure = std::get<Failure>(cache.Find(kVersion, kEdge).value());
    EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
    EXPECT_EQ(failure.detail, QStringLiteral("пароль"));

    Execute("UPDATE previews SET used = used - 2 * 86400");
    EXPECT_FALSE(Holds(cache, kVersion));

    for (const auto code : {FailureCode::Unsupported, FailureCode::LocalDisk, FailureCode::Network})
        cache.Store(kVersion, kEdge, Failure{code, {}});
    EXPECT_FALSE(Holds(cache, kVersion)) << "these may pass sooner";
}

TEST_F(PreviewCacheTest, StaysWithinItsBound)
{
    constexpr qint64 kLimit = 512 * 1024;
    PreviewCache cache(Folder(), kLimit);
    for (int i = 0; i < 60; ++i) {
        cache.Store(QByteArray::number(i), kEdge, Noise());
        ASSERT_TRUE(Holds(cache, QByteArray::number(i)));
    }
    EXPECT_FALSE(Holds(cache, "0"));
    EXPECT_TRUE(Holds(cache, "55"));
    EXPECT_LT(fs::file_size(File()), kLimit + 100 * 1024) << "one picture more, before the oldest go";
}

TEST_F(PreviewCacheTest, WhatWasNotUsedForLongestGoesFirst)
{
    PreviewCache cache(Folder(), 512 * 1024);
    const auto store = [&](int i) { cache.Store(QByteArray::number(i), kEdge, Noise()); };
    for (int i = 0; i < 10; ++i)
        store(i);
    Execute("UPDATE previews SET used = used - 10 * 86400");
    EXPECT_TRUE(Holds(cache, "0"));
    for (int i = 10; i < 20; ++i)
        store(i);
    EXPECT_TRUE(Holds(cache, "0"));
    EXPECT_FALSE(Holds(cache, "1"));
}

TEST_F(PreviewCacheTest, TakesABrokenOrOversizedPictureForNone)
{
    PreviewCache cache(Folder());
    cache.Store(kVersion, kEdge, Noise());
    Execute("UPDATE previews SET edge = edge - 1");
    EXPECT_FALSE(Holds(cache, kVersion, kEdge - 1)) << "larger than it may be";
    Execute("UPDATE previews SET edge = edge + 1, picture = substr(picture, 1, 1000)");
    EXPECT_FALSE(Holds(cache, kVersion)) << "cut short";
    cache.Store(kVersion, kEdge, Noise());
    EXPECT_TRUE(Holds(cache, kVersion));
}

TEST_F(PreviewCacheTest, OutlivesDamageAndReplacesTheFileAtTheNextStart)
{
    PreviewCache cache(Folder());
    cache.Store(kVersion, kEdge, Noise());
    std::ofstream(File()) << std::string(100000, 'x');
    EXPECT_FALSE(Holds(cache, kVersion));
    cache.Store(kVersion, kEdge, Noise());

    PreviewCache next(Folder());
    next.Store(kVersion, kEdge, Noise());
    EXPECT_TRUE(Holds(next, kVersion));
}

TEST_F(PreviewCacheTest, IsSharedWithOtherProcesses)
{
    PreviewCache ours(Folder());
    PreviewCache theirs(Folder());
    ours.Store(kVersion, kEdge, Noise());
    theirs.Store("other", kEdge, Noise());
    EXPECT_TRUE(Holds(theirs, kVersion));
    EXPECT_TRUE(Holds(ours, "other"));

    SQLite::Database holder(File(), SQLite::OPEN_READWRITE);
    holder.exec("BEGIN EXCLUSIVE");
    ours.Store("while locked", kEdge, Noise());
    EXPECT_FALSE(Holds(ours, kVersion));
    holder.exec("COMMIT");
    EXPECT_TRUE(Holds(ours, kVersion));
    EXPECT_FALSE(Holds(ours, "while locked"));
}

TEST_F(PreviewCacheTest, DoesWithoutAFolder)
{
    std::ofstream(Folder() / "file") << "in the way";
    PreviewCache cache(Folder() / "file" / "cache");
    cache.Store(kVersion, kEdge, Noise());
    EXPECT_FALSE(Holds(cache, kVersion));
}

} // namespace
