#include "support/CloudManagerFixture.h"

#include <QFile>
#include <QTemporaryDir>

#include <limits>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

class UploadTest : public CloudManagerFixture
{};

// The hash calculator sees a path up to its first NUL character; the key is the whole text.
TEST_F(UploadTest, PathIsSentAsItIs)
{
    const auto path = "/a\0b.pdf"_q;
    m_manager->Upload(path);
    EXPECT_THAT(Happened(), ElementsAre("CalculateFileHash(/a)", "UploadingStarted(/a\0b.pdf)"_s,
                                        "uploadFile(/a\0b.pdf; CHUNK_MIME_TYPE=application/pdf, "
                                        "FILE_MIME_TYPE=application/pdf, MD5_HASH=hash of /a)"_s));
    EXPECT_THAT(During([this] { m_manager->CancelUploading("/a"_q); }), IsEmpty());
    EXPECT_THAT(During([&] { m_manager->CancelUploading(path); }),
                ElementsAre("cancelOperation(1)", "UploadingCanceled(/a\0b.pdf)"_s));
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
    answer.id = "new \u00efd"_q;
    answer.size = 99;
    answer.isPrivate = false;
    answer.fileName = "n\u00e4me.pdf"_q;
    answer.downloadUrl = QUrl("https://cloud.example/a"_q);
    answer.createdAt = QDateTime({2021, 1, 2}, {3, 4, 5}, Qt::UTC);
    answer.modifyTime = QDateTime({2022, 1, 2}, {3, 4, 5}, Qt::UTC);
    answer.lifeTime = 77;
    (void)WhenAnswered(kSuccess);

    ASSERT_EQ(m_signals.m_documents.size(), 1U);
    const auto& record = *m_signals.m_documents.front();
    EXPECT_EQ(record.GetPath().utf8string(), normalized);
    EXPECT_EQ(record.GetMd5Hash(), "hash of " + normalized);
    const FileInfo::CloudInfo expected("new \u00efd", "n\u00e4me.pdf", 7, false, answer.downloadUrl,
                                       answer.createdAt, answer.modifyTime, 77, "hash of " + normalized);
    EXPECT_TRUE(*record.GetCloudInfo() == expected);
}

class DownloadTest : public CloudManagerFixture
{
protected:
    /// Starts a download of m_document into m_folder, and the file that it writes.
    void Start()
    {
        m_manager->Download(m_document, m_folder.path());
        QFile file(m_target);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        m_document->SetIsSyncingInProgress(true);
    }

    const QTemporaryDir m_folder;
    const QString m_target = m_folder.path() + "/a.pdf"_q;
    const Document m_document = Own(CloudDocument("abc"));
};

// Folder and name are joined as text; a path ends at its first NUL character, the request's text does not.
TEST_F(DownloadTest, RecordPointsAtItsTargetOnceTheRequestHasStarted)
{
    const auto document = Own(std::make_shared<FileInfo>(
        CloudSide("\u00efd", "\u00e4\0b.pdf"_s, std::numeric_limits<unsigned long long>::max())));
    const auto expectNoPath = [&] { EXPECT_TRUE(document->GetPath().empty()); };
    m_signals.m_duringSignal = expectNoPath;
    m_protocol->m_duringStart = expectNoPath;
    m_hashes->m_duringCall = expectNoPath;
    m_manager->Download(document, "/f/./"_q);
    EXPECT_THAT(Happened(), ElementsAre("DownloadingStarted(own \u00efd)",
                                        "downloadFile(FILE_NAME=/f/.//\u00e4\0b.pdf, "
                                        "FILE_SIZE=18446744073709551615, ID=\u00efd)"_s,
                                        "NormalizePath(/f/.//\u00e4)", "CalculateFileHash(/f//\u00e4)"));
    EXPECT_EQ(document->GetPath().utf8string(), "/f//\u00e4");
    EXPECT_EQ(document->GetMd5Hash(), "hash of /f//\u00e4");
    EXPECT_FALSE(document->IsSyncingInProgress());
}

TEST_F(DownloadTest, RunningRequestKeepsItsDocumentAlive)
{
    m_manager->Download(CloudDocument("abc"), "/f"_q);
    const std::weak_ptr<const FileInfo> watched = m_signals.m_documents.front();
    m_signals.m_documents.clear();
    EXPECT_FALSE(watched.expired());
}

TEST_F(DownloadTest, ResultCarriesASettledCopyAndOnlyCancellingDeletesTheFile)
{
    for (const auto result : {kSuccess, kError, kCanceled, kUnknownResult}) {
        SCOPED_TRACE(static_cast<int>(result));
        const bool isFileLeft = result != kCanceled;
        m_signals.m_duringSignal = [] {};
        Start();
        m_document->SetPath(m_document->GetPath(), "hash when the answer came");
        m_signals.m_documents.clear();
        m_signals.m_duringSignal = [&] { EXPECT_EQ(QFile::exists(m_target), isFileLeft); };
        (void)WhenAnswered(result);

        EXPECT_EQ(QFile::exists(m_target), isFileLeft);
        EXPECT_TRUE(m_document->IsSyncingInProgress());
        EXPECT_EQ(m_signals.m_documents.size(), result == kUnknownResult ? 0U : 1U);
        for (const auto& copy : m_signals.m_documents) {
            EXPECT_FALSE(copy->IsSyncingInProgress());
            EXPECT_EQ(copy->GetMd5Hash(), "hash when the answer came");
        }
    }
}

TEST_F(DownloadTest, CancellingDeletesTheFileBetweenCallAndSignal)
{
    Start();
    m_protocol->m_duringCancel = [this](long long) { EXPECT_TRUE(QFile::exists(m_target)); };
    m_signals.m_duringSignal = [this] { EXPECT_FALSE(QFile::exists(m_target)); };
    m_manager->CancelDownloading(m_document);
    EXPECT_FALSE(QFile::exists(m_target));
    EXPECT_TRUE(m_document->IsSyncingInProgress());
}

// Uploads and downloads share one map from ticket to key.
TEST_F(DownloadTest, KeysOfUploadsAndDownloadsAreOfOneKind)
{
    m_protocol->m_nextTickets = {5, 3};
    m_manager->Upload("abc"_q);
    m_manager->Download(m_document, "/nowhere"_q);
    EXPECT_THAT(During([this] { m_manager->CancelUploading("abc"_q); }),
                ElementsAre("cancelOperation(3)", "UploadingCanceled(abc)"));
    const auto sameId = Own(DocumentWithoutCloudSide("abc"));
    EXPECT_THAT(During([&] { m_manager->CancelDownloading(sameId); }),
                ElementsAre("cancelOperation(5)", "DownloadingCanceled(own abc)"));
    EXPECT_EQ(m_signals.m_documents.back(), sameId);
}

} // namespace
