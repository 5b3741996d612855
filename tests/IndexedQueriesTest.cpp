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

const QDateTime kModified({2020, 2, 29}, {12, 34, 56, 789}, Qt::UTC);
const QVariantMap kPreviews = {{"Small"_q, QUrl::fromLocalFile("/sm\u00e4ll #1%.png"_q)},
                               {"Large"_q, QUrl::fromLocalFile("/large.png"_q)}};

struct Query
{
    std::string signature;
    std::function<QVariant(const List&, int)> ask;
    QVariant whole; ///< of a document with everything
    QVariant none;  ///< of a row that is not there
};

const std::string kClass = "Orvane::PDF::Cloud::OrvaneCloudFilesManager::";

const std::vector<Query> kQueries = {
    {"QString " + kClass + "GetDocumentName", [](auto& list, int row) { return list.GetDocumentName(row); },
     "n\u00e4me.pdf"_q, QString()},
    {"QVariantMap " + kClass + "GetPreviewsSet", [](auto& list, int row) { return list.GetPreviewsSet(row); },
     kPreviews, QVariantMap()},
    {"QString " + kClass + "GetDocumentId", [](auto& list, int row) { return list.GetDocumentId(row); },
     "\u00efd\0x"_q, QString()},
    {"QString " + kClass + "GetDocumentPath", [](auto& list, int row) { return list.GetDocumentPath(row); },
     "/nowhere/\u00e4.pdf"_q, QString()},
    {"QDateTime " + kClass + "GetModifiedDateTime",
     [](auto& list, int row) { return list.GetModifiedDateTime(row); }, kModified, QDateTime()},
    {"int " + kClass + "GetDocumentState", [](auto& list, int row) { return list.GetDocumentState(row); }, 0,
     4},
    {"int " + kClass + "GetFileSize", [](auto& list, int row) { return list.GetFileSize(row); }, 5000, 0},
};

class IndexedQueriesTest : public FilesManagerFixture
{};

TEST_F(IndexedQueriesTest, InvalidRowIsLoggedAndAnsweredWithTheDefault)
{
    Add("abc");
    for (const auto& query : kQueries) {
        for (const int row : {-1, 1, kMaxInt}) {
            EXPECT_EQ(query.ask(*m_list, row), query.none);
            EXPECT_THAT(Happened(), ElementsAre("ERROR: virtual " + query.signature +
                                                "(int) const: Invalid index requested: " +
                                                std::to_string(row) + "; max index: 1"));
        }
    }
}

TEST_F(IndexedQueriesTest, EveryValueOfARowIsAnsweredWithoutALogLine)
{
    FileInfo::CloudInfo cloud("\u00efd\0x"_s, "n\u00e4me.pdf", 5000, true, {}, {}, kModified, 0, "cloud");
    cloud.SetPreviewPathBySize("/sm\u00e4ll #1%.png"_s, PreviewSize::Small);
    cloud.SetPreviewPathBySize("/large.png"_s, PreviewSize::Large);
    Add(std::make_shared<FileInfo>(cloud))->GetRedactableCloudInfo().reset();
    Add(std::make_shared<FileInfo>(cloud))->SetPath("/nowhere/\u00e4.pdf"_s, "cloud");
    EXPECT_EQ(m_list->GetDocumentState(1), 5) << "without a cloud side";
    EXPECT_TRUE(m_list->GetDocumentName(1).isNull() && m_list->GetModifiedDateTime(1).isNull());
    EXPECT_TRUE(m_list->GetPreviewsSet(1).isEmpty() && m_list->GetFileSize(1) == 0);
    for (const auto& query : kQueries)
        EXPECT_EQ(query.ask(*m_list, 0), query.whole) << query.signature;
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
    document->SetPath(file.fileName().toStdString() + "\0x"_s, "h");
    EXPECT_EQ(m_list->GetFileSize(0), 5000) << "no file has such a name";
}

} // namespace
