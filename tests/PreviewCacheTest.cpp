#include "support/LocalFiles.h"

#include <OrvaneCloudProtocol/previews/PreviewCache.h>

#include <QRandomGenerator>

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

namespace {

using namespace Orvane::Social;
using namespace Orvane::Testing;

constexpr int kEdge = 100;
constexpr qint64 kLimit = 512 * 1024; // some 15 pictures
const QByteArray kVersion("cloud/\0document", 15);

QImage Noise(int edge = kEdge)
{
    QImage image(edge, edge, QImage::Format_RGB888);
    QRandomGenerator::global()->generate(image.bits(), image.bits() + image.sizeInBytes());
    return image.convertToFormat(QImage::Format_RGB32);
}

class PreviewCacheTest : public testing::Test
{
protected:
    bool Holds(const QByteArray& version, int edge = kEdge)
    {
        return m_cache.Find(version, edge).has_value();
    }
    void Store(const QByteArray& version = kVersion) { m_cache.Store(version, kEdge, Noise()); }
    void Execute(const char* statement) { SQLite::Database(m_file, SQLite::OPEN_READWRITE).exec(statement); }

    const TemporaryFolder m_folder;
    const std::filesystem::path m_file = m_folder.Path() / "previews.sqlite";
    PreviewCache m_cache{m_folder.Path(), kLimit};
};

TEST_F(PreviewCacheTest, FindsTheSmallestPictureThatIsLargeEnoughOrTheFailureOfADay)
{
    const QImage small = Noise(40);
    const QImage large = Noise(100);
    PreviewCache(m_folder.Path()).Store(kVersion, 100, large);
    PreviewCache(m_folder.Path()).Store(kVersion, 40, small);

    EXPECT_EQ(std::get<QImage>(m_cache.Find(kVersion, 40).value()), small);
    EXPECT_EQ(std::get<QImage>(m_cache.Find(kVersion, 41).value()), large);
    EXPECT_FALSE(Holds(kVersion, 101));
    EXPECT_FALSE(Holds("cloud/", 40)) << "the version ends at its end, not at a NUL";

    m_cache.Store(kVersion, kEdge, Failure{FailureCode::InvalidDocument, QStringLiteral("пароль")});
    EXPECT_EQ(std::get<Failure>(m_cache.Find(kVersion, kEdge).value()).detail, QStringLiteral("пароль"));
    Execute("UPDATE previews SET used = used - 2 * 86400");
    EXPECT_FALSE(Holds(kVersion));
}

TEST_F(PreviewCacheTest, StaysWithinItsBoundAndDropsWhatWasNotUsedForLongest)
{
    const auto store = [this](int from, int to) {
        for (int i = from; i < to; ++i) {
            Store(QByteArray::number(i));
            ASSERT_TRUE(Holds(QByteArray::number(i)));
        }
    };
    store(0, 10);
    Execute("UPDATE previews SET used = used - 10 * 86400");
    EXPECT_TRUE(Holds("0")) << "this uses it";
    store(10, 20);
    EXPECT_TRUE(Holds("0"));
    EXPECT_FALSE(Holds("1"));
    store(20, 60);
    EXPECT_TRUE(Holds("55"));
    EXPECT_LT(file_size(m_file), kLimit + 100 * 1024) << "one picture more, before the oldest go";
}

TEST_F(PreviewCacheTest, TakesTroubleWithTheFileForNoPicture)
{
    Store();
    Execute("UPDATE previews SET edge = edge - 1");
    EXPECT_FALSE(Holds(kVersion, kEdge - 1)) << "larger than it may be";
    Execute("UPDATE previews SET edge = edge + 1, picture = substr(picture, 1, 1000)");
    EXPECT_FALSE(Holds(kVersion)) << "cut short";
    Store();

    SQLite::Database other(m_file, SQLite::OPEN_READWRITE);
    other.exec("BEGIN EXCLUSIVE");
    Store("while locked");
    EXPECT_FALSE(Holds(kVersion));
    other.exec("COMMIT");
    EXPECT_TRUE(Holds(kVersion));
    EXPECT_FALSE(Holds("while locked"));

    Write(m_file, std::string(100000, 'x'));
    EXPECT_FALSE(Holds(kVersion));
    Store();
    PreviewCache next(m_folder.Path());
    next.Store(kVersion, kEdge, Noise());
    EXPECT_TRUE(next.Find(kVersion, kEdge)) << "in a new file";
}

} // namespace
