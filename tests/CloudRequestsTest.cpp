#include "support/CloudManagerFixture.h"

#include <limits>

// What all requests share, held by one table; then what uploads and downloads share, by another.

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudManager;
using testing::ElementsAre;
using testing::IsEmpty;

using Starter = std::function<void(OrvaneCloudManager&, const Document&)>;

/// One kind of request for the document "\u00efd" at "/./\u00f6.pdf", and what happens by its outcomes.
struct Request
{
    std::string name;
    bool isTransfer;
    Starter start;
    QString expected;
};

const QString kUploadOutcomes = R"(
    | refused: ERROR OrvaneCloudManager.cpp: Upload file failed,
        UploadingFileRequestError(/./ö.pdf, Upload file failed)
    | 0: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), UploadingFinished(new answer),
        RetrievingUserQuotaStarted(), userQuota()
    | 1: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), ERROR OrvaneCloudManager.cpp: Upload file error,
        deleteFile(ID=answer), UploadingFileRequestError(/./ö.pdf, Upload file error)
    | 2: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), INFO OrvaneCloudManager.cpp: Upload file canceled,
        deleteFile(ID=answer), UploadingCanceled(/./ö.pdf)
    | other: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf))"_q;

const std::vector<Request> kRequests = {
    {"Authorization", false, [](auto& manager, auto&) { manager.Authorization("tokén"_q); }, R"(
    | start: auth(API_VERSION=2, APP_ID_ON_CLOUD=pdf, SSO_TOKEN=tokén)
    | refused: ERROR OrvaneCloudManager.cpp: Auth failed, AuthorizationFailed()
    | 0: INFO OrvaneCloudManager.cpp: Auth completed, AuthorizationCompleted()
    | 1: ERROR OrvaneCloudManager.cpp: Auth failed, AuthorizationFailed()
    | 2: ERROR OrvaneCloudManager.cpp: Auth failed, AuthorizationFailed()
    | other: ERROR OrvaneCloudManager.cpp: Auth failed, AuthorizationFailed())"_q},
    {"UploadPath", true, [](auto& manager, auto&) { manager.Upload("/./\u00f6.pdf"_q); },
     R"(
    | start: CalculateFileHash(/./ö.pdf), UploadingStarted(/./ö.pdf), uploadFile(/./ö.pdf;
        CHUNK_MIME_TYPE=application/pdf, FILE_MIME_TYPE=application/pdf, MD5_HASH=hash of /./ö.pdf))"_q +
         kUploadOutcomes},
    {"UploadDocument", true, [](auto& manager, auto& document) { manager.Upload(document); }, R"(
    | start: CalculateFileHash(/./ö.pdf), UploadingStarted(/./ö.pdf), uploadFile(/./ö.pdf;
        CHUNK_MIME_TYPE=application/pdf, FILE_MIME_TYPE=application/pdf, ID=ïd,
        MD5_HASH=hash of /./ö.pdf))"_q + kUploadOutcomes},
    {"Download", true, [](auto& manager, auto& document) { manager.Download(document, "/nowhere/."_q); }, R"(
    | start: DownloadingStarted(own ïd), downloadFile(FILE_NAME=/nowhere/./a.pdf, FILE_SIZE=5000, ID=ïd)
    | refused: ERROR OrvaneCloudManager.cpp: Download file failed,
        DownloadingFileRequestError(own ïd, Download file failed)
    | 0: DownloadingFinished(new ïd)
    | 1: ERROR OrvaneCloudManager.cpp: Download file error,
        DownloadingFileRequestError(new ïd, Download file error)
    | 2: INFO OrvaneCloudManager.cpp: Download file canceled, DownloadingCanceled(new ïd)
    | other: )"_q},
    {"FilesList", false, [](auto& manager, auto&) { manager.RetrieveFilesList(); }, R"(
    | start: RetrievingFilesListStarted(), retriveFileList()
    | refused: ERROR OrvaneCloudManager.cpp: Retrieve files information failed,
        RetrievingFilesListErrorRequested(Retrieve files information failed)
    | 0: RetrievingFilesListFinished([])
    | 1: ERROR OrvaneCloudManager.cpp: Files list request error,
        RetrievingFilesListErrorRequested(Files list request error)
    | 2: INFO OrvaneCloudManager.cpp: Files list request canceled, RetrievingFilesListCanceled()
    | other: )"_q},
    {"Removal", false, [](auto& manager, auto& document) { manager.RemoveFile(document); }, R"(
    | start: deleteFile(ID=ïd)
    | refused: ERROR OrvaneCloudManager.cpp: Remove file failed, RemovingFileError(own ïd, Remove file failed)
    | 0: RemoveFileFinished(own ïd), RetrievingUserQuotaStarted(), userQuota()
    | 1: ERROR OrvaneCloudManager.cpp: Remove file error, RemovingFileError(own ïd, Remove file error)
    | 2: ERROR OrvaneCloudManager.cpp: Remove file error, RemovingFileError(own ïd, Remove file error)
    | other: ERROR OrvaneCloudManager.cpp: Remove file error, RemovingFileError(own ïd, Remove file error))"_q},
    {"Quota", false, [](auto& manager, auto&) { manager.UserQuota(); }, R"(
    | start: RetrievingUserQuotaStarted(), userQuota()
    | refused: ERROR OrvaneCloudManager.cpp: Retrieve user quota information failed,
        RetrievingUserQuotaErrorRequested(Retrieve user quota information failed)
    | 0: RetrievingUserQuotaFinished(0, 0)
    | 1: ERROR OrvaneCloudManager.cpp: User quota request error,
        RetrievingUserQuotaErrorRequested(User quota request error)
    | 2: INFO OrvaneCloudManager.cpp: User quota request canceled, RetrievingUserQuotaCanceled()
    | other: )"_q},
    {"Preview", false,
     [](auto& manager, auto& document) {
         manager.RetrieveFilePreview(document, FileInfo::PreviewSize::Medium, {100, 40});
     },
     R"(
    | start: RetrieveFilePreviewStarted(own ïd, Medium),
        retrievePreview(FILE_PREVIEW_HEIGHT=40, FILE_PREVIEW_WIDTH=100, ID=ïd)
    | refused: ERROR OrvaneCloudManager.cpp: Retrieve file preview failed,
        RetrieveFilePreviewError(own ïd, Medium, Retrieve file preview failed)
    | 0: ERROR OrvaneCloudManager.cpp: Cannot save preview for: ïd with size: Medium,
        RetrieveFilePreviewError(own ïd, Medium, Cannot save preview for: ïd with size: Medium)
    | 1: ERROR OrvaneCloudManager.cpp: Retrieving file preview error,
        RetrieveFilePreviewError(own ïd, Medium, Retrieving file preview error)
    | 2: INFO OrvaneCloudManager.cpp: Retrieving file preview canceled, RetrieveFilePreviewCanceled(own ïd)
    | other: )"_q},
};

class CloudRequestsTest : public CloudManagerFixture, public testing::WithParamInterface<Request>
{
protected:
    CloudRequestsTest()
    {
        m_protocol->m_answer.id = "answer"_q;
        m_document->SetPath("/./\u00f6.pdf"_s, "old hash");
    }

    Events Start()
    {
        return During([this] { GetParam().start(*m_manager, m_document); });
    }

    const Document m_document = Own(CloudDocument("\u00efd"));
};

TEST_P(CloudRequestsTest, EveryOutcomeIsLoggedAndSignalled)
{
    const auto expectNoSync = [this] { EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()); };
    m_protocol->m_duringStart = expectNoSync;
    m_hashes->m_duringCall = expectNoSync;
    m_signals.m_duringSignal = expectNoSync;
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    const auto refused = Start();
    ASSERT_GE(refused.size(), 2U);
    EXPECT_THAT(WhenAnswered(kSuccess), IsEmpty()) << "not registered";
    EXPECT_EQ(m_document->GetPath().utf8string() + m_document->GetMd5Hash(), "/./\u00f6.pdfold hash");

    std::map<int, Events> outcomes;
    for (const int result : {0, 1, 2, 3, -1, 257}) {
        const std::size_t noted = GetParam().name == "Download" ? 2 : 0; // where the file will be
        EXPECT_EQ(Start().size(), refused.size() - 2 + noted);
        EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), GetParam().isTransfer);
        const auto request = m_protocol->m_requests.size() - 1;
        outcomes[result] = WhenAnswered(static_cast<RequestResult>(result));
        EXPECT_THAT(During([&] { m_protocol->Finish(request, kSuccess); }), IsEmpty()) << "repeated";
        m_document->SetPath("/./\u00f6.pdf"_s, "old hash");
    }
    EXPECT_TRUE(outcomes[3] == outcomes[-1] && outcomes[3] == outcomes[257]);
    const auto text = "| start: " + Joined({refused.begin(), refused.end() - 2}) +
                      " | refused: " + Joined({refused.end() - 2, refused.end()}) +
                      " | 0: " + Joined(outcomes[0]) + " | 1: " + Joined(outcomes[1]) +
                      " | 2: " + Joined(outcomes[2]) + " | other: " + Joined(outcomes[3]);
    EXPECT_EQ(QString::fromStdString(text).simplified().toStdString(),
              GetParam().expected.simplified().toStdString());
}

TEST_P(CloudRequestsTest, OnlyAnswersOfRegisteredTicketsCount)
{
    m_protocol->m_duringStart = [this] {
        m_protocol->Finish(0, kSuccess);
        EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud());
    };
    const auto events = Start();
    m_protocol->m_duringStart = [] {};
    EXPECT_EQ(Start(), events) << "the early answer is dropped";
    EXPECT_THAT(During([this] { m_protocol->FinishAs(100, 0, kSuccess); }), IsEmpty()) << "foreign";
    for (const long long ticket : {0LL, -2LL, std::numeric_limits<long long>::min(), 1LL << 40}) {
        m_protocol->m_nextTickets = {ticket};
        Start();
        EXPECT_FALSE(WhenAnswered(kCanceled).empty()) << ticket;
    }
    EXPECT_FALSE(During([this] { m_protocol->Finish(0, kCanceled); }).empty()) << "still pending";
}

INSTANTIATE_TEST_SUITE_P(All, CloudRequestsTest, testing::ValuesIn(kRequests),
                         [](const auto& request) { return request.param.name; });

struct Transfer
{
    const char* name;
    Starter start;
    Starter cancel;
    Starter cancelOthers;
    std::string progress;
    std::string canceled;
};

class CloudTransfersTest : public CloudManagerFixture, public testing::WithParamInterface<Transfer>
{
protected:
    void Start() { GetParam().start(*m_manager, m_document); }

    Events Cancel()
    {
        return During([this] { GetParam().cancel(*m_manager, m_document); });
    }

    Events Progress(int progress)
    {
        return During([&] { m_protocol->Progress(0, progress); });
    }

    const Document m_document = Own(CloudDocument("abc"));
};

TEST_P(CloudTransfersTest, ProgressPassesUnchangedWhileRegistered)
{
    m_protocol->m_duringStart = [this] { EXPECT_THAT(Progress(1), IsEmpty()) << "early"; };
    Start();
    for (const int progress : {250, -3})
        EXPECT_THAT(Progress(progress), ElementsAre(GetParam().progress + std::to_string(progress) + ")"));
    EXPECT_THAT(During([this] { m_protocol->m_requests.front().progress(99, 1); }), IsEmpty()) << "foreign";
    m_protocol->Finish(0, kSuccess);
    EXPECT_THAT(Progress(100), IsEmpty()) << "late";
}

TEST_P(CloudTransfersTest, CancellingTakesTheLowestTicketOfExactlyThatKey)
{
    m_protocol->m_nextTickets = {9, -4, 0};
    for (int count = 0; count < 3; ++count)
        Start();
    EXPECT_THAT(During([&] { GetParam().cancelOthers(*m_manager, m_document); }), IsEmpty());
    for (const std::string ticket : {"-4", "0", "9"})
        EXPECT_THAT(Cancel(), ElementsAre("cancelOperation(" + ticket + ")", GetParam().canceled));
    EXPECT_THAT(Cancel(), IsEmpty());
}

TEST_P(CloudTransfersTest, AfterCancellingNothingMoreIsHeard)
{
    Start();
    m_protocol->m_isLoggedIn = false;
    EXPECT_THAT(Cancel(), ElementsAre("AuthorizationRequired()"));
    m_protocol->m_isLoggedIn = true;
    EXPECT_EQ(Progress(5).size(), 1U) << "it runs on";
    m_protocol->m_duringCancel = [this](long long) { EXPECT_TRUE(m_manager->IsSyncInProgressWithCloud()); };
    m_signals.m_duringSignal = [this] { EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()); };
    EXPECT_THAT(Cancel(), ElementsAre("cancelOperation(1)", GetParam().canceled));
    EXPECT_THAT(Progress(5), IsEmpty());
    EXPECT_THAT(WhenAnswered(kCanceled), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    All, CloudTransfersTest,
    testing::Values(Transfer{"Upload", [](auto& manager, auto&) { manager.Upload("/a.pdf"_q); },
                             [](auto& manager, auto&) { manager.CancelUploading("/a.pdf"_q); },
                             [](auto& manager, auto&) {
                                 for (const auto& path : {"/./a.pdf"_q, "/A.pdf"_q, QString()})
                                     manager.CancelUploading(path);
                             },
                             "UploadingProgressValueChanged(/a.pdf, ", "UploadingCanceled(/a.pdf)"},
                    Transfer{"Download",
                             [](auto& manager, auto& document) { manager.Download(document, "/nowhere"_q); },
                             [](auto& manager, auto& document) { manager.CancelDownloading(document); },
                             [](auto& manager, auto&) { manager.CancelDownloading(CloudDocument("ABC")); },
                             "DownloadingProgressValueChanged(own abc, ", "DownloadingCanceled(own abc)"}),
    [](const auto& transfer) { return transfer.param.name; });

} // namespace
