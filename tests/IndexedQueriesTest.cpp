#include "support/FilesManagerFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <limits>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using List = PDF::Cloud::OrvaneCloudFilesManager;

constexpr auto kMaxInt = std::numeric_limits<int>::max();
constexpr auto kMinInt = std::numeric_limits<int>::min();

const QDateTime kModified({2020, 2, 29}, {12, 34, 56, 789}, Qt::UTC);
const QVariantMap kPreviews = {{"Small"_q, QUrl::fromLocalFile("/sm\u00e4ll #1%.png"_q)},
                               {"Large"_q, QUrl::fromLocalFile("/large.png"_q)}};

struct Query
{
    std::string signature;
    std::function<QVariant(const List&, int)> ask;
    QVariant whole;            ///< of a document with everything
    QVariant withoutCloudSide; ///< of one that knows only its id
    QVariant none;             ///< of a row that is not there
};

const std::vector<Query> kQueries = {
    {"QString #GetDocumentName", [](auto& list, int row) { return list.GetDocumentName(row); },
     "n\u00e4me.pdf"_q, QString(), QString()},
    {"QVariantMap #GetPreviewsSet", [](auto& list, int row) { return list.GetPreviewsSet(row); }, kPreviews,
     QVariantMap(), QVariantMap()},
    {"QString #GetDocumentId", [](auto& list, int row) { return list.GetDocumentId(row); }, "\u00efd\0x"_q,
     "abc"_q, QString()},
    {"QString #GetDocumentPath", [](auto& list, int row) { return list.GetDocumentPath(row); },
     "/nowhere/\u00e4.pdf"_q, QString(), QString()},
    {"QDateTime #GetModifiedDateTime", [](auto& list, int row) { return list.GetModifiedDateTime(row); },
     kModified, QDateTime(), QDateTime()},
    {"int #GetDocumentState", [](auto& list, int row) { return list.GetDocumentState(row); }, 0, 5, 4},
    {"int #GetFileSize", [](auto& list, int row) { return list.GetFileSize(row); }, 5000, 0, 0},
};

class IndexedQueriesTest : public FilesManagerFixture
{};

TEST_F(IndexedQueriesTest, InvalidRowIsLoggedAndAnsweredWithTheDefault)
{
    for (const std::string count : {"0", "1"}) {
        for (auto [signature, ask, whole, withoutCloudSide, none] : kQueries) {
            signature.replace(signature.find('#'), 1, "Orvane::PDF::Cloud::OrvaneCloudFilesManager::");
            for (const int row : {-1, std::stoi(count), kMinInt, kMaxInt}) {
                EXPECT_EQ(ask(*m_list, row), none);
                EXPECT_THAT(Happened(), ElementsAre("ERROR OrvaneCloudFilesManager.cpp: virtual " +
                                                    signature + "(int) const: Invalid index requested: " +
                                                    std::to_string(row) + "; max index: " + count));
            }
        }
        Add("abc");
    }
}

TEST_F(IndexedQueriesTest, EveryValueOfARowIsAnsweredWithoutALogLine)
{
    FileInfo::CloudInfo cloud("\u00efd\0x"_s, "n\u00e4me.pdf", 5000, true, {}, {}, kModified, 0, "cloud");
    cloud.SetPreviewPathBySize("/sm\u00e4ll #1%.png"_s, PreviewSize::Small);
    cloud.SetPreviewPathBySize("/large.png"_s, PreviewSize::Large);
    Add(DocumentWithoutCloudSide("abc"))->SetPreviewsSet({{PreviewSize::Small, ioPath("/own.png"_s)}});
    Add(std::make_shared<FileInfo>(cloud))->SetPath("/nowhere/\u00e4.pdf"_s, "cloud");
    Add("first");
    for (const auto& query : kQueries) {
        EXPECT_EQ(query.ask(*m_list, 1), query.whole) << query.signature;
        EXPECT_EQ(query.ask(*m_list, 2), query.withoutCloudSide) << query.signature;
    }
    EXPECT_EQ(m_list->GetDocumentId(0), "first"_q);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(IndexedQueriesTest, SizeIsTheLocalOneUnlessThatIsZero)
{
    const QTemporaryDir folder;
    QFile file(folder.path() + "/a.pdf"_q);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const auto document = Add("abc");
    document->SetPath(file.fileName().toStdString(), "h");
    EXPECT_EQ(m_list->GetFileSize(0), 5000);
    file.write(QByteArray(1234, 'x'));
    EXPECT_EQ(m_list->GetFileSize(0), 1234);

    // There is no range check.
    const std::map<unsigned long long, int> sizes = {{2147483648ULL, kMinInt},
                                                     {(1ULL << 32) + 7, 7},
                                                     {std::numeric_limits<unsigned long long>::max(), -1}};
    for (const auto& [cloudSize, answer] : sizes) {
        Add(std::make_shared<FileInfo>(CloudSide("abc", "a.pdf", cloudSize)));
        EXPECT_EQ(m_list->GetFileSize(0), answer);
    }
}

} // namespace
