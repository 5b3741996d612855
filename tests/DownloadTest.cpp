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

const std::string kFailed = "ERROR OrvaneCloudManager.cpp: Download file failed";

class DownloadTest : public CloudManagerFixture
{
protected:
    /// The file that a download of m_document into m_folder has begun to write.
    void WritePartialFile()
    {
        QFile file(m_target);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
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

TEST_F(DownloadTest, RequestThatDoesNotStartLeavesTheRecordAlone)
{
    const std::string failure = "DownloadingFileRequestError(own abc, Download file failed)";
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    m_manager->Download(m_document, "/f"_q);
    EXPECT_THAT(Happened(),
                ElementsAre("DownloadingStarted(own abc)",
                            "downloadFile(FILE_NAME=/f/a.pdf, FILE_SIZE=5000, ID=abc)", kFailed, failure));
    EXPECT_TRUE(m_document->GetPath().empty());

    m_manager->Download(Own(DocumentWithoutCloudSide("abc")), "/f"_q);
    EXPECT_THAT(Happened(), ElementsAre(kFailed, failure)) << "nothing is asked without a cloud side";
}

TEST_F(DownloadTest, NullDocumentThrowsAPlainException)
{
    EXPECT_EQ(ThrownBy([this] { m_manager->Download(Document(), "/f"_q); }), typeid(std::exception));
    EXPECT_EQ(ThrownBy([this] { m_manager->CancelDownloading(Document()); }), typeid(std::exception));
    EXPECT_THAT(Happened(), IsEmpty());
    const QList<Document> documents = {m_document, nullptr, CloudDocument("after")};
    EXPECT_EQ(ThrownBy([&] { m_manager->Download(documents, "/f"_q); }), typeid(std::exception));
    EXPECT_EQ(m_protocol->m_requests.size(), 1U);
}

TEST_F(DownloadTest, ListUsesTheVirtualOperationAndEachDocumentItsOwnCheck)
{
    m_protocol->m_duringStart = [this] { m_protocol->m_isLoggedIn = false; };
    m_manager->Download(QList<Document>{m_document, nullptr}, "/f"_q);
    EXPECT_EQ(Happened().back(), "AuthorizationRequired()");

    m_protocol->m_isLoggedIn = true;
    auto& overriding = MakeOverridingManager();
    overriding.Download(QList<Document>{m_document, nullptr}, "/f"_q);
    overriding.Download(QList<Document>{}, "/f"_q);
    EXPECT_THAT(Happened(), ElementsAre("own Download(own abc, /f)", "own Download(null, /f)"));
}

TEST_F(DownloadTest, ProgressCarriesTheCallersDocumentUnchanged)
{
    m_protocol->m_duringStart = [this] { m_protocol->Progress(0, 1); };
    m_manager->Download(m_document, "/f"_q);
    EXPECT_EQ(Happened().size(), 4U) << "no early progress";
    for (const int progress : {250, -3}) {
        EXPECT_THAT(
            During([&, value = progress] { m_protocol->Progress(0, value); }),
            ElementsAre("DownloadingProgressValueChanged(own abc, " + std::to_string(progress) + ")"));
    }
    m_manager->CancelDownloading(m_document);
    EXPECT_THAT(During([this] { m_protocol->Progress(0, 5); }), IsEmpty());
}

TEST_F(DownloadTest, RunningRequestKeepsItsDocumentAlive)
{
    m_manager->Download(CloudDocument("abc"), "/f"_q);
    const std::weak_ptr<const FileInfo> watched = m_signals.m_documents.front();
    m_signals.m_documents.clear();
    EXPECT_FALSE(watched.expired());
}

struct Outcome
{
    RequestResult result;
    Events events;
    bool isFileLeft;
};

TEST_F(DownloadTest, ResultCarriesACopyThatIsNoLongerSyncing)
{
    const std::vector<Outcome> outcomes = {
        {kSuccess, {"DownloadingFinished(new abc)"}, true},
        {kError,
         {"ERROR OrvaneCloudManager.cpp: Download file error",
          "DownloadingFileRequestError(new abc, Download file error)"},
         true},
        {kCanceled,
         {"INFO OrvaneCloudManager.cpp: Download file canceled", "DownloadingCanceled(new abc)"},
         false},
        {kUnknownResult, {}, true},
    };
    for (const auto& [result, events, isLeft] : outcomes) {
        m_signals.m_duringSignal = [] {};
        m_manager->Download(m_document, m_folder.path());
        WritePartialFile();
        m_document->SetIsSyncingInProgress(true);
        m_document->SetPath(m_document->GetPath(), "hash when the answer came");
        m_signals.m_documents.clear();
        m_signals.m_duringSignal = [&, isFileLeft = isLeft] {
            EXPECT_EQ(QFile::exists(m_target), isFileLeft);
        };

        EXPECT_EQ(WhenAnswered(result), events);

        EXPECT_EQ(QFile::exists(m_target), isLeft);
        EXPECT_TRUE(m_document->IsSyncingInProgress());
        EXPECT_EQ(m_document->GetPath(), ioPath::from(m_target));
        for (const auto& copy : m_signals.m_documents) {
            EXPECT_FALSE(copy->IsSyncingInProgress());
            EXPECT_EQ(copy->GetMd5Hash(), "hash when the answer came");
        }
    }
}

TEST_F(DownloadTest, CancellingDeletesTheFileBetweenCallAndSignal)
{
    m_manager->Download(m_document, m_folder.path());
    m_document->SetIsSyncingInProgress(true);
    WritePartialFile();
    m_protocol->m_duringCancel = [this](long long) {
        EXPECT_TRUE(QFile::exists(m_target) && m_manager->IsSyncInProgressWithCloud());
    };
    m_signals.m_duringSignal = [this] {
        EXPECT_FALSE(QFile::exists(m_target) || m_manager->IsSyncInProgressWithCloud());
    };
    EXPECT_THAT(During([this] { m_manager->CancelDownloading(m_document); }),
                ElementsAre("cancelOperation(1)", "DownloadingCanceled(own abc)"));
    EXPECT_TRUE(m_document->IsSyncingInProgress());
    EXPECT_THAT(WhenAnswered(kCanceled), IsEmpty());
}

TEST_F(DownloadTest, CancellingGoesByIdAndTakesTheLowestTicket)
{
    m_protocol->m_nextTickets = {7, 2};
    m_manager->Download(m_document, "/f"_q);
    m_manager->Download(m_document, "/f"_q);
    EXPECT_THAT(During([this] { m_manager->CancelDownloading(CloudDocument("ABC")); }), IsEmpty());

    const auto sameId = Own(DocumentWithoutCloudSide("abc"));
    EXPECT_THAT(During([&] { m_manager->CancelDownloading(sameId); }),
                ElementsAre("cancelOperation(2)", "DownloadingCanceled(own abc)"));
    EXPECT_EQ(m_signals.m_documents.back(), sameId);
    EXPECT_THAT(During([this] { m_manager->CancelDownloading(m_document); }),
                ElementsAre("cancelOperation(7)", "DownloadingCanceled(own abc)"));
}

} // namespace
