#include "support/FilesManagerFixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <limits>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::IsEmpty;

class IndexedQueriesTest : public FilesManagerFixture
{};

struct Answers
{
    QString name;
    QVariantMap previews;
    QString id;
    QString path;
    QDateTime modified;
    int state = 4;
    int size = 0;

    friend bool operator==(const Answers& left, const Answers& right)
    {
        const auto all = [](const Answers& answers) {
            return std::tie(answers.name, answers.previews, answers.id, answers.path, answers.modified,
                            answers.state, answers.size);
        };
        return all(left) == all(right);
    }
};

Answers AskEverything(const PDF::AbstractFileManager& list, int row)
{
    return {list.GetDocumentName(row), list.GetPreviewsSet(row),      list.GetDocumentId(row),
            list.GetDocumentPath(row), list.GetModifiedDateTime(row), list.GetDocumentState(row),
            list.GetFileSize(row)};
}

Events InvalidRowLines(const std::string& row, const std::string& count)
{
    const std::string file = "ERROR OrvaneCloudFilesManager.cpp: virtual ";
    const std::string list = " Orvane::PDF::Cloud::OrvaneCloudFilesManager::";
    const std::string message = "(int) const: Invalid index requested: " + row + "; max index: " + count;
    return {
        file + "QString" + list + "GetDocumentName" + message,
        file + "QVariantMap" + list + "GetPreviewsSet" + message,
        file + "QString" + list + "GetDocumentId" + message,
        file + "QString" + list + "GetDocumentPath" + message,
        file + "QDateTime" + list + "GetModifiedDateTime" + message,
        file + "int" + list + "GetDocumentState" + message,
        file + "int" + list + "GetFileSize" + message,
    };
}

TEST_F(IndexedQueriesTest, InvalidRowIsLoggedAndAnsweredWithDefaults)
{
    const auto expectInvalid = [this](int row, const std::string& count) {
        EXPECT_EQ(During([&] { EXPECT_TRUE(AskEverything(*m_list, row) == Answers()); }),
                  InvalidRowLines(std::to_string(row), count));
    };
    expectInvalid(0, "0");
    Add("a");
    Add("b");
    for (const int row : {-1, 2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
        expectInvalid(row, "2");
    EXPECT_FALSE(m_list->GetModifiedDateTime(2).isValid());
    EXPECT_TRUE(m_list->GetModifiedDateTime(2).isNull());
}

TEST_F(IndexedQueriesTest, EveryValueOfARowIsAnsweredWithoutALogLine)
{
    const QDateTime modified({2020, 2, 29}, {12, 34, 56, 789}, Qt::UTC);
    FileInfo::CloudInfo cloud("\u00efd\0x"_s, "n\u00e4me.pdf", 5000, true, {}, {}, modified, 0, "cloud");
    cloud.SetPreviewPathBySize("/sm\u00e4ll #1%.png"_s, PreviewSize::Small);
    cloud.SetPreviewPathBySize("/large.png"_s, PreviewSize::Large);
    Add("last");
    Add(std::make_shared<FileInfo>(cloud))->SetPath("/nowhere/\u00e4.pdf"_s, "cloud");
    Add("first");

    const Answers expected = {"n\u00e4me.pdf"_q,
                              {{"Small"_q, QUrl::fromLocalFile("/sm\u00e4ll #1%.png"_q)},
                               {"Large"_q, QUrl::fromLocalFile("/large.png"_q)}},
                              "\u00efd\0x"_q,
                              "/nowhere/\u00e4.pdf"_q,
                              modified,
                              0,
                              5000};
    const auto answers = AskEverything(*m_list, 1);
    EXPECT_TRUE(answers == expected);
    EXPECT_EQ(answers.previews.value("Small"_q).userType(), static_cast<int>(QMetaType::QUrl));
    EXPECT_EQ(m_list->GetDocumentId(0), "first"_q);
    EXPECT_EQ(m_list->GetDocumentId(2), "last"_q);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(IndexedQueriesTest, RowWithoutCloudSideAnswersWhatItKnows)
{
    const auto document = Add(DocumentWithoutCloudSide("abc"));
    document->SetPreviewsSet({{PreviewSize::Small, ioPath("/own.png"_s)}});
    EXPECT_TRUE(AskEverything(*m_list, 0) == (Answers{{}, {}, "abc"_q, {}, {}, 5, 0}));
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(IndexedQueriesTest, SizeIsTheLocalOneUnlessThatIsZero)
{
    const QTemporaryDir folder;
    QFile file(folder.path() + "/a.pdf"_q);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const auto document = Add("abc");
    document->SetPath(file.fileName().toStdString(), "h");
    EXPECT_EQ(m_list->GetFileSize(0), 5000);
    file.write(QByteArray(1234, 'x'));
    file.close();
    EXPECT_EQ(m_list->GetFileSize(0), 1234);
    document->GetRedactableCloudInfo().reset();
    EXPECT_EQ(m_list->GetFileSize(0), 1234);

    // There is no range check.
    const std::map<unsigned long long, int> sizes = {
        {2147483648ULL, std::numeric_limits<int>::min()},
        {(1ULL << 32) + 7, 7},
        {std::numeric_limits<unsigned long long>::max(), -1},
    };
    for (const auto& [cloudSize, answer] : sizes) {
        Add(std::make_shared<FileInfo>(CloudSide("abc", "a.pdf", cloudSize)));
        EXPECT_EQ(m_list->GetFileSize(0), answer);
    }
}

} // namespace
