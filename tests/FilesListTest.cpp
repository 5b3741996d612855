#include "support/CloudManagerFixture.h"

#include <QTemporaryDir>

#include <limits>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

FakeCloudProtocol::Files::FileInfo Entry(const QString& id)
{
    FakeCloudProtocol::Files::FileInfo entry;
    entry.id = id;
    return entry;
}

class FilesListTest : public CloudManagerFixture
{
protected:
    /// Goes past an overridden RetrieveFilesList.
    Events AnswerWith(RequestResult result)
    {
        m_manager->OrvaneCloudManager::RetrieveFilesList();
        return WhenAnswered(result);
    }
};

TEST_F(FilesListTest, AsksWithoutAFilterAndForEveryCallAnew)
{
    m_manager->RetrieveFilesList();
    m_manager->RetrieveFilesList();
    EXPECT_THAT(Happened(), ElementsAre("RetrievingFilesListStarted()", "retriveFileList()",
                                        "RetrievingFilesListStarted()", "retriveFileList()"));
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RetrievingFilesListFinished([])"));
    EXPECT_THAT(During([this] { m_protocol->Finish(0, kSuccess); }),
                ElementsAre("RetrievingFilesListFinished([])"));
}

TEST_F(FilesListTest, HoldsBackDuringTransfersButNotBeforeTheSignInIsChecked)
{
    m_manager->Upload("/a.pdf"_q);
    EXPECT_THAT(During([this] { m_manager->RetrieveFilesList(); }), IsEmpty());
    m_protocol->m_isLoggedIn = false;
    EXPECT_THAT(During([this] { m_manager->RetrieveFilesList(); }), ElementsAre("AuthorizationRequired()"));
    m_protocol->m_isLoggedIn = true;
    m_protocol->Finish(0, kUnknownResult);
    EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrievingFilesListFinished([])"));
}

TEST_F(FilesListTest, FailuresAreReported)
{
    const std::string notStarted = "Retrieve files information failed";
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    m_manager->RetrieveFilesList();
    EXPECT_THAT(Happened(), ElementsAre("RetrievingFilesListStarted()", "retriveFileList()",
                                        "ERROR OrvaneCloudManager.cpp: " + notStarted,
                                        "RetrievingFilesListErrorRequested(" + notStarted + ")"));
    m_protocol->m_entries = {Entry("abc"_q)};
    EXPECT_THAT(AnswerWith(kError),
                ElementsAre("ERROR OrvaneCloudManager.cpp: Files list request error",
                            "RetrievingFilesListErrorRequested(Files list request error)"));
    EXPECT_THAT(AnswerWith(kCanceled), ElementsAre("INFO OrvaneCloudManager.cpp: Files list request canceled",
                                                   "RetrievingFilesListCanceled()"));
    EXPECT_THAT(AnswerWith(kUnknownResult), IsEmpty());
}

TEST_F(FilesListTest, DocumentsKeepTheCloudsOrderAndAskForPreviewsFirst)
{
    const auto& overriding = MakeOverridingManager();
    m_protocol->m_entries = {Entry("b"_q), Entry("a"_q), Entry("b"_q)};
    Events expected;
    for (const std::string id : {"b", "a", "b"}) {
        expected.push_back("own RetrieveFilePreview(new " + id + ", Small, 40 x 40)");
        expected.push_back("own RetrieveFilePreview(new " + id + ", Medium, 100 x 100)");
        expected.push_back("own RetrieveFilePreview(new " + id + ", Large, 191 x 191)");
    }
    expected.emplace_back("RetrievingFilesListFinished([new b, new a, new b])");
    EXPECT_EQ(AnswerWith(kSuccess), expected);

    ASSERT_EQ(m_signals.m_documents.size(), 3U);
    EXPECT_NE(m_signals.m_documents[0], m_signals.m_documents[2]);
    for (std::size_t preview = 0; preview < 9; ++preview)
        EXPECT_EQ(overriding.m_previewed.at(preview), m_signals.m_documents[preview / 3]);
}

TEST_F(FilesListTest, EntryBecomesACloudOnlyDocument)
{
    MakeOverridingManager();
    auto entry = Entry("\u00efd"_q);
    entry.fileName = "n\u00e4me.pdf"_q;
    entry.size = std::numeric_limits<qint64>::max();
    entry.md5Hash = "h\u00e4sh"_q;
    entry.createdAt = "2020-02-29T12:34:56Z"_q;
    entry.modifyTime = "2021-03-04T05:06:07.089+02:00"_q;
    auto undated = entry;
    undated.createdAt = "yesterday"_q;
    undated.modifyTime = QString();
    m_protocol->m_entries = {entry, undated};
    AnswerWith(kSuccess);

    const auto created = QDateTime({2020, 2, 29}, {12, 34, 56}, Qt::UTC);
    const auto modified = QDateTime({2021, 3, 4}, {5, 6, 7, 89}, Qt::OffsetFromUTC, 7200);
    const auto expected = [](const QDateTime& createdAt, const QDateTime& modifiedAt) {
        return FileInfo::CloudInfo("\u00efd", "n\u00e4me.pdf", std::numeric_limits<qint64>::max(), true,
                                   QUrl(), createdAt, modifiedAt, 2147483647, "h\u00e4sh");
    };
    const auto& documents = m_signals.m_documents;
    ASSERT_EQ(documents.size(), 2U);
    EXPECT_TRUE(*documents[0]->GetCloudInfo() == expected(created, modified));
    EXPECT_TRUE(*documents[1]->GetCloudInfo() == expected(QDateTime(), QDateTime()));
    EXPECT_TRUE(documents[0]->GetPath().empty());
}

TEST_F(FilesListTest, PreviewsArriveInTheDocumentsHandedOut)
{
    const QTemporaryDir folder;
    qputenv("TMPDIR", folder.path().toUtf8());
    m_protocol->m_entries = {Entry("abc"_q)};
    m_protocol->m_image = QPixmap(4, 4);
    const auto events = AnswerWith(kSuccess);
    EXPECT_THAT(events, testing::Contains("RetrieveFilePreviewStarted(new abc, Medium)"));
    EXPECT_EQ(events.back(), "RetrievingFilesListFinished([new abc])");
    m_protocol->Finish(2, kSuccess);
    EXPECT_EQ(m_signals.m_documents.back()->GetPreviewsSet().count(FileInfo::PreviewSize::Medium), 1U);
    qunsetenv("TMPDIR");
}

} // namespace
