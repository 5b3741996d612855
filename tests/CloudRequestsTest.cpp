#include "support/CloudManagerFixture.h"

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

void StartPreview(OrvaneCloudManager& manager, const Document& document)
{
    manager.RetrieveFilePreview(document, FileInfo::PreviewSize::Medium, {100, 40});
}

const QString kUploadOutcomes = R"(
    | refused: ERROR: Upload file failed, UploadingFileRequestError(/./ö.pdf, Upload file failed)
    | 0: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), UploadingFinished(new answer),
        RetrievingUserQuotaStarted(), userQuota()
    | 1: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), ERROR: Upload file error,
        deleteFile(id=answer), UploadingFileRequestError(/./ö.pdf, Upload file error)
    | 2: NormalizePath(/./ö.pdf), CalculateFileHash(/ö.pdf), INFO: Upload file canceled,
        deleteFile(id=answer), UploadingCanceled(/./ö.pdf))"_q;

const std::vector<Request> kRequests = {
    {"Authorization", false, [](auto& manager, auto&) { manager.Authorization("tokén"_q); }, R"(
    | start: auth(api_version=2, app_id_on_cloud=pdf, sso_token=tokén)
    | refused: ERROR: Auth failed, AuthorizationFailed()
    | 0: INFO: Auth completed, AuthorizationCompleted()
    | 1: ERROR: Auth failed, AuthorizationFailed()
    | 2: ERROR: Auth failed, AuthorizationFailed())"_q},
    {"UploadPath", true, [](auto& manager, auto&) { manager.Upload("/./\u00f6.pdf"_q); },
     R"(
    | start: CalculateFileHash(/./ö.pdf), UploadingStarted(/./ö.pdf), uploadFile(/./ö.pdf;
        chunk_mime_type=application/pdf, file_mime_type=application/pdf, md5_hash=hash of /./ö.pdf))"_q +
         kUploadOutcomes},
    {"UploadDocument", true, [](auto& manager, auto& document) { manager.Upload(document); }, R"(
    | start: CalculateFileHash(/./ö.pdf), UploadingStarted(/./ö.pdf), uploadFile(/./ö.pdf;
        chunk_mime_type=application/pdf, file_mime_type=application/pdf, id=ïd,
        md5_hash=hash of /./ö.pdf))"_q + kUploadOutcomes},
    {"Download", true, [](auto& manager, auto& document) { manager.Download(document, "/nowhere/."_q); }, R"(
    | start: DownloadingStarted(own ïd), downloadFile(file_name=/nowhere/./a.pdf, file_size=5000, id=ïd)
    | refused: ERROR: Download file failed, DownloadingFileRequestError(own ïd, Download file failed)
    | 0: DownloadingFinished(new ïd)
    | 1: ERROR: Download file error, DownloadingFileRequestError(new ïd, Download file error)
    | 2: INFO: Download file canceled, DownloadingCanceled(new ïd))"_q},
    {"FilesList", false, [](auto& manager, auto&) { manager.RetrieveFilesList(); }, R"(
    | start: RetrievingFilesListStarted(), retriveFileList()
    | refused: ERROR: Retrieve files information failed,
        RetrievingFilesListErrorRequested(Retrieve files information failed)
    | 0: RetrievingFilesListFinished([])
    | 1: ERROR: Files list request error, RetrievingFilesListErrorRequested(Files list request error)
    | 2: INFO: Files list request canceled, RetrievingFilesListCanceled())"_q},
    {"Removal", false, [](auto& manager, auto& document) { manager.RemoveFile(document); }, R"(
    | start: deleteFile(id=ïd)
    | refused: ERROR: Remove file failed, RemovingFileError(own ïd, Remove file failed)
    | 0: RemoveFileFinished(own ïd), RetrievingUserQuotaStarted(), userQuota()
    | 1: ERROR: Remove file error, RemovingFileError(own ïd, Remove file error)
    | 2: ERROR: Remove file error, RemovingFileError(own ïd, Remove file error))"_q},
    {"Quota", false, [](auto& manager, auto&) { manager.UserQuota(); }, R"(
    | start: RetrievingUserQuotaStarted(), userQuota()
    | refused: ERROR: Retrieve user quota information failed,
        RetrievingUserQuotaErrorRequested(Retrieve user quota information failed)
    | 0: RetrievingUserQuotaFinished(0, 0)
    | 1: ERROR: User quota request error, RetrievingUserQuotaErrorRequested(User quota request error)
    | 2: INFO: User quota request canceled, RetrievingUserQuotaCanceled())"_q},
    {"Preview", false, StartPreview, R"(
    | start: RetrieveFilePreviewStarted(own ïd, Medium),
        retrievePreview(file_preview_height=40, file_preview_width=100, id=ïd)
    | refused: ERROR: Retrieve file preview failed,
        RetrieveFilePreviewError(own ïd, Medium, Retrieve file preview failed)
    | 0: ERROR: Cannot save preview for: ïd with size: Medium,
        RetrieveFilePreviewError(own ïd, Medium, Cannot save preview for: ïd with size: Medium)
    | 1: ERROR: Retrieving file preview error,
        RetrieveFilePreviewError(own ïd, Medium, Retrieving file preview error)
    | 2: INFO: Retrieving file preview canceled, RetrieveFilePreviewCanceled(own ïd))"_q},
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
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    const auto refused = Start();
    ASSERT_GE(refused.size(), 2U);
    EXPECT_THAT(WhenAnswered(kSuccess), IsEmpty()) << "not registered";
    EXPECT_EQ(m_document->GetPath().utf8string() + m_document->GetMd5Hash(), "/./\u00f6.pdfold hash");

    std::map<int, Events> outcomes;
    for (const int result : {0, 1, 2}) {
        const std::size_t noted = GetParam().name == "Download" ? 2 : 0; // where the file will be
        EXPECT_EQ(Start().size(), refused.size() - 2 + noted);
        EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), GetParam().isTransfer);
        const auto request = m_protocol->m_requests.size() - 1;
        outcomes[result] = WhenAnswered(static_cast<RequestResult>(result));
        EXPECT_THAT(During([&] { m_protocol->Finish(request, kSuccess); }), IsEmpty()) << "repeated";
        m_document->SetPath("/./\u00f6.pdf"_s, "old hash");
    }
    const auto text = "| start: " + Joined({refused.begin(), refused.end() - 2}) +
                      " | refused: " + Joined({refused.end() - 2, refused.end()}) +
                      " | 0: " + Joined(outcomes[0]) + " | 1: " + Joined(outcomes[1]) +
                      " | 2: " + Joined(outcomes[2]);
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
    EXPECT_THAT(During([this] { m_protocol->m_requests.front().finish(100, kSuccess); }), IsEmpty())
        << "foreign";
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
        const auto& request = m_protocol->m_requests.front();
        return During([&] { request.progress(request.ticket, progress); });
    }

    const Document m_document = Own(CloudDocument("abc"));
};

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
    EXPECT_THAT(Progress(250), ElementsAre(GetParam().progress + "250)")) << "it runs on";
    EXPECT_THAT(Cancel(), ElementsAre("cancelOperation(1)", GetParam().canceled));
    EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud());
    EXPECT_THAT(Progress(5), IsEmpty());
    EXPECT_THAT(WhenAnswered(kCanceled), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    All, CloudTransfersTest,
    testing::Values(Transfer{"Upload", [](auto& manager, auto&) { manager.Upload("/a.pdf"_q); },
                             [](auto& manager, auto&) { manager.CancelUploading("/a.pdf"_q); },
                             [](auto& manager, auto&) { manager.CancelUploading("/A.pdf"_q); },
                             "UploadingProgressValueChanged(/a.pdf, ", "UploadingCanceled(/a.pdf)"},
                    Transfer{"Download",
                             [](auto& manager, auto& document) { manager.Download(document, "/nowhere"_q); },
                             [](auto& manager, auto& document) { manager.CancelDownloading(document); },
                             [](auto& manager, auto&) { manager.CancelDownloading(CloudDocument("ABC")); },
                             "DownloadingProgressValueChanged(own abc, ", "DownloadingCanceled(own abc)"}),
    [](const auto& transfer) { return transfer.param.name; });

} // namespace
