#include "support/CloudManagerFixture.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kFailed = "ERROR OrvaneCloudManager.cpp: Upload file failed";

std::string UploadCall(const std::string& path, const std::string& hash, const std::string& id = {})
{
    return "uploadFile(" + path + "; CHUNK_MIME_TYPE=application/pdf, FILE_MIME_TYPE=application/pdf, " +
           (id.empty() ? "" : "ID=" + id + ", ") + "MD5_HASH=" + hash + ")";
}

class UploadTest : public CloudManagerFixture
{
protected:
    UploadTest()
    {
        m_protocol->m_answer.id = "new \u00efd"_q;
        m_document->SetPath("/\u00f6.pdf"_s, "old hash");
    }

    const Document m_document = CloudDocument("\u00efd");
};

// The hash calculator sees a path up to its first NUL character; the key is the whole text.
TEST_F(UploadTest, PathIsSentAsItIs)
{
    const auto path = "/\u00f6/./a\0b.pdf"_q;
    m_hashes->m_hashes["/\u00f6/./a"] = "h\u00e4sh";
    m_manager->Upload(path);
    EXPECT_THAT(Happened(),
                ElementsAre("CalculateFileHash(/\u00f6/./a)", "UploadingStarted(/\u00f6/./a\0b.pdf)"_s,
                            UploadCall("/\u00f6/./a\0b.pdf"_s, "h\u00e4sh")));
    EXPECT_THAT(During([this] { m_manager->CancelUploading("/\u00f6/./a"_q); }), IsEmpty());
    EXPECT_THAT(During([&] { m_manager->CancelUploading(path); }),
                ElementsAre("cancelOperation(1)", "UploadingCanceled(/\u00f6/./a\0b.pdf)"_s));
}

TEST_F(UploadTest, DocumentIsSentUnderItsIdAndNotKept)
{
    m_manager->Upload(m_document);
    EXPECT_THAT(Happened(), ElementsAre("CalculateFileHash(/\u00f6.pdf)", "UploadingStarted(/\u00f6.pdf)",
                                        UploadCall("/\u00f6.pdf", "hash of /\u00f6.pdf", "\u00efd")));
    EXPECT_EQ(m_document.use_count(), 1);
    EXPECT_EQ(m_document->GetMd5Hash(), "old hash");
    EXPECT_THAT(During([&] { m_manager->CancelUploading("/\u00f6.pdf"_q); }),
                ElementsAre("cancelOperation(1)", "UploadingCanceled(/\u00f6.pdf)"));
}

TEST_F(UploadTest, RequestThatDoesNotStartLeavesNothingBehind)
{
    const std::string path = "/\u00f6.pdf";
    const auto expected = [&](const std::string& id) {
        return Events{"CalculateFileHash(" + path + ")", "UploadingStarted(" + path + ")",
                      UploadCall(path, "hash of " + path, id), kFailed,
                      "UploadingFileRequestError(" + path + ", Upload file failed)"};
    };
    m_protocol->m_nextTickets = {Social::INVALID_TICKET, Social::INVALID_TICKET};
    EXPECT_EQ(During([&] { m_manager->Upload(QString::fromStdString(path)); }), expected(""));
    EXPECT_EQ(During([&] { m_manager->Upload(m_document); }), expected("\u00efd"));
    EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud());

    EXPECT_THAT(During([&] { m_manager->Upload(Document()); }),
                ElementsAre(kFailed, "UploadingFileRequestError(, Upload file failed)"))
        << "a null document asks nothing of the cloud";
}

TEST_F(UploadTest, ListUsesTheVirtualOperationInOrder)
{
    auto& overriding = MakeOverridingManager();
    overriding.Upload(QStringList{"/b"_q, "/a"_q, "/b"_q});
    overriding.Upload(QStringList{});
    EXPECT_THAT(Happened(), ElementsAre("own Upload(/b)", "own Upload(/a)", "own Upload(/b)"));
}

TEST_F(UploadTest, EachPathOfAListIsCheckedAndHashedOnItsTurn)
{
    m_protocol->m_duringStart = [this] { m_protocol->m_isLoggedIn = false; };
    m_manager->Upload(QStringList{"/a"_q, "/b"_q});
    EXPECT_THAT(Happened(), ElementsAre("CalculateFileHash(/a)", "UploadingStarted(/a)",
                                        UploadCall("/a", "hash of /a"), "AuthorizationRequired()"));
}

TEST_F(UploadTest, ProgressPassesUnchangedWhileRegistered)
{
    m_protocol->m_duringStart = [this] { m_protocol->Progress(0, 1); };
    m_manager->Upload("/a.pdf"_q);
    EXPECT_EQ(Happened().size(), 3U) << "no early progress";
    for (const int progress : {250, -3}) {
        EXPECT_THAT(During([&, value = progress] { m_protocol->Progress(0, value); }),
                    ElementsAre("UploadingProgressValueChanged(/a.pdf, " + std::to_string(progress) + ")"));
    }
    EXPECT_THAT(During([this] { m_protocol->m_requests.front().progress(99, 1); }), IsEmpty());
    m_protocol->Finish(0, kSuccess);
    EXPECT_THAT(During([this] { m_protocol->Progress(0, 100); }), IsEmpty());
}

TEST_F(UploadTest, FinishedUploadBringsARecordOfAnswerAndLocalFile)
{
    const QTemporaryDir folder;
    const auto path = folder.path() + "/./a.pdf"_q;
    const auto normalized = folder.path().toStdString() + "/a.pdf";
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    m_manager->Upload(path);
    file.write("1234567"); // the size is taken when the answer arrives
    file.close();

    auto& answer = m_protocol->m_answer;
    answer.size = 99;
    answer.isPrivate = false;
    answer.fileName = "n\u00e4me.pdf"_q;
    answer.downloadUrl = QUrl("https://cloud.example/a"_q);
    answer.createdAt = QDateTime({2021, 1, 2}, {3, 4, 5}, Qt::UTC);
    answer.modifyTime = QDateTime({2022, 1, 2}, {3, 4, 5}, Qt::UTC);
    answer.lifeTime = 77;
    EXPECT_THAT(WhenAnswered(kSuccess),
                ElementsAre("NormalizePath(" + path.toStdString() + ")",
                            "CalculateFileHash(" + normalized + ")", "UploadingFinished(new new \u00efd)",
                            "RetrievingUserQuotaStarted()", "userQuota()"));

    ASSERT_EQ(m_signals.m_documents.size(), 1U);
    const auto& record = *m_signals.m_documents.front();
    EXPECT_EQ(record.GetPath().utf8string(), normalized);
    EXPECT_EQ(record.GetMd5Hash(), "hash of " + normalized);
    const FileInfo::CloudInfo expected("new \u00efd", "n\u00e4me.pdf", 7, false, answer.downloadUrl,
                                       answer.createdAt, answer.modifyTime, 77, "hash of " + normalized);
    EXPECT_TRUE(*record.GetCloudInfo() == expected);
}

TEST_F(UploadTest, RecordIsMadeForEveryResultAndThenReported)
{
    const std::vector<std::pair<RequestResult, Events>> outcomes = {
        {kSuccess, {"UploadingFinished(new new \u00efd)", "own UserQuota()"}},
        {kError,
         {"ERROR OrvaneCloudManager.cpp: Upload file error", "own RemoveFile(new new \u00efd)",
          "UploadingFileRequestError(/./a.pdf, Upload file error)"}},
        {kCanceled,
         {"INFO OrvaneCloudManager.cpp: Upload file canceled", "own RemoveFile(new new \u00efd)",
          "UploadingCanceled(/./a.pdf)"}},
        {kUnknownResult, {}},
    };
    auto& overriding = MakeOverridingManager();
    for (const auto& [result, outcome] : outcomes) {
        Events expected = {"NormalizePath(/./a.pdf)", "CalculateFileHash(/a.pdf)"};
        expected.insert(expected.end(), outcome.begin(), outcome.end());
        overriding.OrvaneCloudManager::Upload("/./a.pdf"_q);
        EXPECT_EQ(WhenAnswered(result), expected);
    }
}

TEST_F(UploadTest, CancellingTakesTheLowestTicketOfExactlyThatPath)
{
    m_protocol->m_nextTickets = {9, -4, 0};
    for (int count = 0; count < 3; ++count)
        m_manager->Upload("/a.pdf"_q);
    for (const auto& other : {"/./a.pdf"_q, "/A.pdf"_q, ""_q})
        EXPECT_THAT(During([&] { m_manager->CancelUploading(other); }), IsEmpty());
    for (const std::string ticket : {"-4", "0", "9"}) {
        EXPECT_THAT(During([this] { m_manager->CancelUploading("/a.pdf"_q); }),
                    ElementsAre("cancelOperation(" + ticket + ")", "UploadingCanceled(/a.pdf)"));
    }
    EXPECT_THAT(During([this] { m_manager->CancelUploading("/a.pdf"_q); }), IsEmpty());
}

TEST_F(UploadTest, AfterCancellingNothingMoreIsHeard)
{
    m_manager->Upload("/a.pdf"_q);
    m_protocol->m_isLoggedIn = false;
    m_manager->CancelUploading("/a.pdf"_q);
    EXPECT_TRUE(m_manager->IsSyncInProgressWithCloud());
    m_protocol->m_isLoggedIn = true;
    m_protocol->m_duringCancel = [this](long long) { EXPECT_TRUE(m_manager->IsSyncInProgressWithCloud()); };
    m_signals.m_duringSignal = [this] { EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()); };
    m_manager->CancelUploading("/a.pdf"_q);
    EXPECT_THAT(During([this] { m_protocol->Progress(0, 5); }), IsEmpty());
    EXPECT_THAT(WhenAnswered(kCanceled), IsEmpty());
}

// Uploads and downloads share one map from ticket to key.
TEST_F(UploadTest, KeysOfUploadsAndDownloadsAreOfOneKind)
{
    m_protocol->m_nextTickets = {5, 3};
    m_manager->Upload("\u00efd"_q);
    m_manager->Download(Own(m_document), "/nowhere"_q);
    EXPECT_THAT(During([this] { m_manager->CancelUploading("\u00efd"_q); }),
                ElementsAre("cancelOperation(3)", "UploadingCanceled(\u00efd)"));
    EXPECT_THAT(During([this] { m_manager->CancelDownloading(m_document); }),
                ElementsAre("cancelOperation(5)", "DownloadingCanceled(own \u00efd)"));
}

} // namespace
