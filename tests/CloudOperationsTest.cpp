#include "support/CloudManagerFixture.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QTemporaryDir>

#include <limits>

// What each operation makes of its own data: requests, records and files.

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using PreviewSize = FileInfo::PreviewSize;

class CloudOperationsTest : public CloudManagerFixture
{
protected:
    CloudOperationsTest()
    {
        qputenv("TMPDIR", m_folder.path().toUtf8());
        ShowColor(Qt::red);
    }

    ~CloudOperationsTest() override { qunsetenv("TMPDIR"); }

    void ShowColor(Qt::GlobalColor color)
    {
        m_protocol->m_image = QPixmap(100, 40);
        m_protocol->m_image.fill(color);
    }

    Events PreviewEvents()
    {
        m_manager->RetrieveFilePreview(m_document, PreviewSize::Medium, {100, 40});
        return WhenAnswered(kSuccess);
    }

    /// Starts a download of m_document into m_folder, and the file that it writes.
    void StartDownload()
    {
        m_manager->Download(m_document, m_folder.path());
        QFile file(m_target);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        m_document->SetIsSyncingInProgress(true);
    }

    const QTemporaryDir m_folder;
    const QString m_target = m_folder.path() + "/a.pdf"_q;
    const Document m_document = Own(CloudDocument("\u00efd"));
};

FakeCloudProtocol::Files::FileInfo Entry(const QString& id)
{
    FakeCloudProtocol::Files::FileInfo entry;
    entry.id = id;
    return entry;
}

TEST_F(CloudOperationsTest, ListHoldsBackDuringTransfersButNotBeforeTheSignInIsChecked)
{
    m_manager->Upload("/a.pdf"_q);
    EXPECT_THAT(During([this] { m_manager->RetrieveFilesList(); }), IsEmpty());
    m_protocol->m_isLoggedIn = false;
    EXPECT_THAT(During([this] { m_manager->RetrieveFilesList(); }), ElementsAre("AuthorizationRequired()"));
    m_protocol->m_isLoggedIn = true;
    m_protocol->Finish(0, kUnknownResult);
    EXPECT_EQ(During([this] { m_manager->RetrieveFilesList(); }).size(), 2U);
}

TEST_F(CloudOperationsTest, ListedDocumentsKeepTheCloudsOrderAndAskForPreviewsFirst)
{
    m_protocol->m_entries = {Entry("b"_q), Entry("a"_q), Entry("b"_q)};
    Events expected;
    for (const std::string id : {"b", "a", "b"}) {
        for (const auto& [slot, edge] : {std::pair("Small", "40"), {"Medium", "100"}, {"Large", "191"}}) {
            expected.push_back("RetrieveFilePreviewStarted(new " + id + ", " + slot + ")");
            expected.push_back(std::string("retrievePreview(FILE_PREVIEW_HEIGHT=") + edge +
                               ", FILE_PREVIEW_WIDTH=" + edge + ", ID=" + id + ")");
        }
    }
    expected.emplace_back("RetrievingFilesListFinished([new b, new a, new b])");
    m_manager->RetrieveFilesList();
    m_signals.m_documents.clear();
    EXPECT_EQ(WhenAnswered(kSuccess), expected);

    // The previews arrive in the very documents that are handed out.
    const auto& documents = m_signals.m_documents; // of nine previews, then of the list
    ASSERT_EQ(documents.size(), 12U);
    EXPECT_NE(documents[9], documents[11]);
    m_protocol->Finish(5, kSuccess);
    EXPECT_EQ(documents[10]->GetPreviewsSet().count(PreviewSize::Medium), 1U);
}

TEST_F(CloudOperationsTest, EntryBecomesACloudOnlyDocument)
{
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
    m_manager->RetrieveFilesList();
    (void)WhenAnswered(kSuccess);

    const auto expected = [](const QDateTime& createdAt, const QDateTime& modifiedAt) {
        return FileInfo::CloudInfo("\u00efd", "n\u00e4me.pdf", std::numeric_limits<qint64>::max(), true,
                                   QUrl(), createdAt, modifiedAt, 2147483647, "h\u00e4sh");
    };
    const auto dated = *(m_signals.m_documents.end() - 2);
    const auto created = QDateTime({2020, 2, 29}, {12, 34, 56}, Qt::UTC);
    const auto modified = QDateTime({2021, 3, 4}, {5, 6, 7, 89}, Qt::OffsetFromUTC, 7200);
    EXPECT_TRUE(*dated->GetCloudInfo() == expected(created, modified));
    EXPECT_TRUE(*m_signals.m_documents.back()->GetCloudInfo() == expected(QDateTime(), QDateTime()));
    EXPECT_TRUE(dated->GetPath().empty());
}

TEST_F(CloudOperationsTest, QuotaFiguresKeepTheirLow32Bits)
{
    const std::vector<std::pair<qint64, std::string>> figures = {
        {3, "3"},
        {-1, "-1"},
        {(1LL << 32) + 7, "7"},
        {1LL << 31, "-2147483648"},
        {3LL << 30, "-1073741824"},
        {(1LL << 31) - 1, "2147483647"},
    };
    m_protocol->m_quota["PDF"_q] = {1, 2};
    for (const auto& [figure, text] : figures) {
        for (const bool isFirst : {true, false}) {
            m_manager->UserQuota();
            m_protocol->m_quota["pdf"_q] = isFirst ? std::pair(figure, 10LL) : std::pair(10LL, figure);
            EXPECT_THAT(WhenAnswered(kSuccess),
                        ElementsAre("RetrievingUserQuotaFinished(" +
                                    (isFirst ? text + ", 10)" : "10, " + text + ")")));
        }
    }
}

TEST_F(CloudOperationsTest, PreviewIsStoredAsPngAndRecordedOnceForEachSize)
{
    const auto path = m_folder.path() + "/\u00efd_Medium.png"_q;
    for (const auto color : {Qt::red, Qt::blue}) {
        ShowColor(color);
        EXPECT_THAT(PreviewEvents(), ElementsAre("RetrieveFilePreviewFinished(own \u00efd, Medium)"));
        QImageReader reader(path);
        EXPECT_EQ(reader.format(), "png");
        const auto image = reader.read();
        EXPECT_EQ(image.size(), QSize(100, 40));
        EXPECT_EQ(image.pixelColor(50, 20), QColor(color));
    }
    const FileInfo::PreviewsSet expected = {{PreviewSize::Medium, ioPath(path.toStdString())}};
    EXPECT_EQ(m_document->GetCloudInfo()->GetPreviewsSet(), expected);
}

TEST_F(CloudOperationsTest, PreviewThatCannotBeSavedLeavesTheDocumentAlone)
{
    const std::string text = "Cannot save preview for: \u00efd with size: Medium";
    const Events failure = {"ERROR OrvaneCloudManager.cpp: " + text,
                            "RetrieveFilePreviewError(own \u00efd, Medium, " + text + ")"};
    ASSERT_TRUE(QDir(m_folder.path()).mkdir("\u00efd_Medium.png"_q));
    EXPECT_EQ(PreviewEvents(), failure) << "a folder is in the way";
    ASSERT_TRUE(QDir(m_folder.path()).rmdir("\u00efd_Medium.png"_q));
    m_manager->RetrieveFilePreview(m_document, PreviewSize::Medium, {100, 40});
    m_document->GetRedactableCloudInfo().reset();
    EXPECT_EQ(WhenAnswered(kSuccess), failure) << "no cloud side any more";
    EXPECT_TRUE(m_document->GetPreviewsSet().empty());
}

TEST_F(CloudOperationsTest, FinishedUploadBringsARecordOfAnswerAndLocalFile)
{
    const auto path = m_folder.path() + "/./a.pdf"_q;
    const auto normalized = m_folder.path().toStdString() + "/a.pdf";
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

// Folder and name are joined as text; a path ends at its first NUL character, the request's text does not.
TEST_F(CloudOperationsTest, RecordPointsAtItsTargetOnceTheRequestHasStarted)
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

TEST_F(CloudOperationsTest, RunningRequestKeepsItsDocumentAlive)
{
    m_manager->Download(CloudDocument("abc"), "/f"_q);
    const std::weak_ptr<const FileInfo> watched = m_signals.m_documents.front();
    m_signals.m_documents.clear();
    EXPECT_FALSE(watched.expired());
}

TEST_F(CloudOperationsTest, ResultCarriesASettledCopyAndOnlyCancellingDeletesTheFile)
{
    for (const auto result : {kSuccess, kError, kCanceled, kUnknownResult}) {
        SCOPED_TRACE(static_cast<int>(result));
        const bool isFileLeft = result != kCanceled;
        m_signals.m_duringSignal = [] {};
        StartDownload();
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

TEST_F(CloudOperationsTest, CancellingDeletesTheFileBetweenCallAndSignal)
{
    StartDownload();
    m_protocol->m_duringCancel = [this](long long) { EXPECT_TRUE(QFile::exists(m_target)); };
    m_signals.m_duringSignal = [this] { EXPECT_FALSE(QFile::exists(m_target)); };
    m_manager->CancelDownloading(m_document);
    EXPECT_FALSE(QFile::exists(m_target));
    EXPECT_TRUE(m_document->IsSyncingInProgress());
}

// Uploads and downloads share one map from ticket to key.
TEST_F(CloudOperationsTest, KeysOfUploadsAndDownloadsAreOfOneKind)
{
    m_protocol->m_nextTickets = {5, 3};
    m_manager->Upload("\u00efd"_q);
    m_manager->Download(m_document, "/nowhere"_q);
    EXPECT_THAT(During([this] { m_manager->CancelUploading("\u00efd"_q); }),
                ElementsAre("cancelOperation(3)", "UploadingCanceled(\u00efd)"));
    const auto sameId = Own(DocumentWithoutCloudSide("\u00efd"));
    EXPECT_THAT(During([&] { m_manager->CancelDownloading(sameId); }),
                ElementsAre("cancelOperation(5)", "DownloadingCanceled(own \u00efd)"));
    EXPECT_EQ(m_signals.m_documents.back(), sameId);
}

} // namespace
