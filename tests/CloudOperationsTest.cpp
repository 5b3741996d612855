#include "support/CloudManagerFixture.h"

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
    CloudOperationsTest() { qputenv("TMPDIR", m_folder.path().toUtf8()); }
    ~CloudOperationsTest() override { qunsetenv("TMPDIR"); }

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

TEST_F(CloudOperationsTest, ListHoldsBackDuringTransfers)
{
    m_manager->Upload("/a.pdf"_q);
    EXPECT_THAT(During([this] { m_manager->RetrieveFilesList(); }), IsEmpty());
    m_protocol->Finish(0, kError);
    EXPECT_EQ(During([this] { m_manager->RetrieveFilesList(); }).size(), 2U);
}

TEST_F(CloudOperationsTest, ListedDocumentsKeepTheCloudsOrderAndAskForPreviewsFirst)
{
    m_protocol->m_entries = {Entry("b"_q), Entry("a"_q)};
    Events expected;
    for (const std::string id : {"b", "a"}) {
        for (const auto& [slot, edge] : {std::pair("Small", "40"), {"Medium", "100"}, {"Large", "191"}}) {
            expected.push_back("RetrieveFilePreviewStarted(new " + id + ", " + slot + ")");
            expected.push_back(std::string("retrievePreview(file_preview_height=") + edge +
                               ", file_preview_width=" + edge + ", id=" + id + ")");
        }
    }
    expected.emplace_back("RetrievingFilesListFinished([new b, new a])");
    m_manager->RetrieveFilesList();
    EXPECT_EQ(WhenAnswered(kSuccess), expected);

    // The previews arrive in the very documents that are handed out.
    const auto last = m_signals.m_documents.back();
    m_protocol->m_image = QPixmap(1, 1);
    m_protocol->Finish(5, kSuccess);
    EXPECT_EQ(last->GetPreviewsSet().count(PreviewSize::Medium), 1U);
}

TEST_F(CloudOperationsTest, EntryBecomesACloudOnlyDocument)
{
    auto entry = Entry("\u00efd"_q);
    entry.fileName = "n\u00e4me.pdf"_q;
    entry.size = std::numeric_limits<qint64>::max();
    entry.md5Hash = "h\u00e4sh"_q;
    entry.createdAt = "2020-02-29T12:34:56Z"_q;
    entry.modifyTime = "2021-03-04T05:06:07.089+02:00"_q;
    m_protocol->m_entries = {entry};
    m_manager->RetrieveFilesList();
    (void)WhenAnswered(kSuccess);

    const auto document = m_signals.m_documents.back();
    const FileInfo::CloudInfo expected("\u00efd", "n\u00e4me.pdf", std::numeric_limits<qint64>::max(), true,
                                       QUrl(), QDateTime({2020, 2, 29}, {12, 34, 56}, Qt::UTC),
                                       QDateTime({2021, 3, 4}, {5, 6, 7, 89}, Qt::OffsetFromUTC, 7200),
                                       2147483647, "h\u00e4sh");
    EXPECT_TRUE(*document->GetCloudInfo() == expected);
    EXPECT_TRUE(document->GetPath().empty());
}

TEST_F(CloudOperationsTest, QuotaFiguresKeepTheirLow32Bits)
{
    m_protocol->m_quota["PDF"_q] = {1, 2};
    m_protocol->m_quota["pdf"_q] = {(1LL << 32) + 7, 3LL << 30};
    m_manager->UserQuota();
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RetrievingUserQuotaFinished(7, -1073741824)"));
}

TEST_F(CloudOperationsTest, PreviewIsStoredAsPngAndRecordedOnceForEachSize)
{
    const auto path = m_folder.path() + "/\u00efd_Medium.png"_q;
    for (const auto color : {Qt::red, Qt::blue}) {
        m_protocol->m_image = QPixmap(100, 40);
        m_protocol->m_image.fill(color);
        EXPECT_THAT(PreviewEvents(), ElementsAre("RetrieveFilePreviewFinished(own \u00efd, Medium)"));
        QImageReader reader(path);
        EXPECT_EQ(reader.format(), "png");
        const auto image = reader.read();
        EXPECT_EQ(image.pixelColor(50, 20), QColor(color));
    }
    const FileInfo::PreviewsSet expected = {{PreviewSize::Medium, ioPath(path.toStdString())}};
    EXPECT_EQ(m_document->GetCloudInfo()->GetPreviewsSet(), expected);
    m_signals.m_duringSignal = [this] { m_document->GetRedactableCloudInfo().reset(); }; // at the start
    EXPECT_EQ(PreviewEvents().size(), 2U) << "an error and its signal";
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

TEST_F(CloudOperationsTest, RecordPointsAtItsTargetOnceTheRequestHasStarted)
{
    const auto expectNoPath = [this] { EXPECT_TRUE(m_document->GetPath().empty()); };
    m_signals.m_duringSignal = expectNoPath;
    m_protocol->m_duringStart = expectNoPath;
    m_manager->Download(m_document, "/f/."_q);
    EXPECT_EQ(m_document->GetPath().utf8string(), "/f/a.pdf");
    EXPECT_EQ(m_document->GetMd5Hash(), "hash of /f/a.pdf");
    EXPECT_FALSE(m_document->IsSyncingInProgress());
}

TEST_F(CloudOperationsTest, ResultCarriesASettledCopyAndOnlyCancellingDeletesTheFile)
{
    for (const auto result : {kSuccess, kError, kCanceled}) {
        const bool isFileLeft = result != kCanceled;
        m_signals.m_duringSignal = [] {};
        StartDownload();
        m_signals.m_documents.clear();
        m_signals.m_duringSignal = [&] { EXPECT_EQ(QFile::exists(m_target), isFileLeft); };
        (void)WhenAnswered(result);

        EXPECT_TRUE(m_document->IsSyncingInProgress());
        ASSERT_EQ(m_signals.m_documents.size(), 1U);
        EXPECT_FALSE(m_signals.m_documents.front()->IsSyncingInProgress());
    }
    m_signals.m_duringSignal = [] {};
    StartDownload();
    m_signals.m_duringSignal = [this] { EXPECT_FALSE(QFile::exists(m_target)); };
    m_manager->CancelDownloading(m_document);
    EXPECT_FALSE(QFile::exists(m_target));
}

} // namespace
