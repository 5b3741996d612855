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

std::string Error(const std::string& text)
{
    return "ERROR OrvaneCloudManager.cpp: " + text;
}

std::string Info(const std::string& text)
{
    return "INFO OrvaneCloudManager.cpp: " + text;
}

Events operator+(Events first, const Events& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The events of one kind of request, for the document "\u00efd" at "/./\u00f6.pdf".
struct Request
{
    std::string name;
    Starter start;
    Events started;
    Events notStarted;
    Events success;
    Events error;
    Events canceled;
    Events otherwise = {};
    bool isTransfer = false;

    friend void PrintTo(const Request& request, std::ostream* stream) { *stream << request.name; }
};

const Events kQuota = {"RetrievingUserQuotaStarted()", "userQuota()"};

Request Authorization()
{
    const Events failure = {Error("Auth failed"), "AuthorizationFailed()"};
    return {"Authorization",
            [](auto& manager, auto&) { manager.Authorization(" tok\u00e9n "_q); },
            {"auth(API_VERSION=2, APP_ID_ON_CLOUD=pdf, SSO_TOKEN= tok\u00e9n )"},
            failure,
            {Info("Auth completed"), "AuthorizationCompleted()"},
            failure,
            failure,
            failure};
}

Request Upload(const std::string& name, const Starter& start, const std::string& id)
{
    const std::string path = "/./\u00f6.pdf";
    const Events record = {"NormalizePath(" + path + ")", "CalculateFileHash(/\u00f6.pdf)"};
    const std::string failure = "UploadingFileRequestError(" + path + ", Upload file ";
    const std::string clean = "deleteFile(ID=answered \u00efd)";
    return {name,
            start,
            {"CalculateFileHash(" + path + ")", "UploadingStarted(" + path + ")",
             "uploadFile(" + path + "; CHUNK_MIME_TYPE=application/pdf, FILE_MIME_TYPE=application/pdf, " +
                 id + "MD5_HASH=hash of " + path + ")"},
            {Error("Upload file failed"), failure + "failed)"},
            record + Events{"UploadingFinished(new answered \u00efd)"} + kQuota,
            record + Events{Error("Upload file error"), clean, failure + "error)"},
            record + Events{Info("Upload file canceled"), clean, "UploadingCanceled(" + path + ")"},
            record,
            true};
}

Request Download()
{
    const std::string failure = "DownloadingFileRequestError(";
    return {"Download",
            [](auto& manager, auto& document) { manager.Download(document, "/nowhere/."_q); },
            {"DownloadingStarted(own \u00efd)",
             "downloadFile(FILE_NAME=/nowhere/./a.pdf, FILE_SIZE=5000, ID=\u00efd)"},
            {Error("Download file failed"), failure + "own \u00efd, Download file failed)"},
            {"DownloadingFinished(new \u00efd)"},
            {Error("Download file error"), failure + "new \u00efd, Download file error)"},
            {Info("Download file canceled"), "DownloadingCanceled(new \u00efd)"},
            {},
            true};
}

Request FilesList()
{
    const std::string notStarted = "Retrieve files information failed";
    const std::string failed = "Files list request error";
    return {"FilesList",
            [](auto& manager, auto&) { manager.RetrieveFilesList(); },
            {"RetrievingFilesListStarted()", "retriveFileList()"},
            {Error(notStarted), "RetrievingFilesListErrorRequested(" + notStarted + ")"},
            {"RetrievingFilesListFinished([])"},
            {Error(failed), "RetrievingFilesListErrorRequested(" + failed + ")"},
            {Info("Files list request canceled"), "RetrievingFilesListCanceled()"}};
}

Request Removal()
{
    const Events failure = {Error("Remove file error"), "RemovingFileError(own \u00efd, Remove file error)"};
    return {"Removal",
            [](auto& manager, auto& document) { manager.RemoveFile(document); },
            {"deleteFile(ID=\u00efd)"},
            {Error("Remove file failed"), "RemovingFileError(own \u00efd, Remove file failed)"},
            Events{"RemoveFileFinished(own \u00efd)"} + kQuota,
            failure,
            failure,
            failure};
}

Request Quota()
{
    const std::string notStarted = "Retrieve user quota information failed";
    const std::string failed = "User quota request error";
    return {"Quota",
            [](auto& manager, auto&) { manager.UserQuota(); },
            kQuota,
            {Error(notStarted), "RetrievingUserQuotaErrorRequested(" + notStarted + ")"},
            {"RetrievingUserQuotaFinished(0, 0)"},
            {Error(failed), "RetrievingUserQuotaErrorRequested(" + failed + ")"},
            {Info("User quota request canceled"), "RetrievingUserQuotaCanceled()"}};
}

Request Preview()
{
    const auto failure = [](const std::string& text) {
        return Events{Error(text), "RetrieveFilePreviewError(own \u00efd, Medium, " + text + ")"};
    };
    return {"Preview",
            [](auto& manager, auto& document) {
                manager.RetrieveFilePreview(document, FileInfo::PreviewSize::Medium, {100, 40});
            },
            {"RetrieveFilePreviewStarted(own \u00efd, Medium)",
             "retrievePreview(FILE_PREVIEW_HEIGHT=40, FILE_PREVIEW_WIDTH=100, ID=\u00efd)"},
            failure("Retrieve file preview failed"),
            failure("Cannot save preview for: \u00efd with size: Medium"), // the image is null
            failure("Retrieving file preview error"),
            {Info("Retrieving file preview canceled"), "RetrieveFilePreviewCanceled(own \u00efd)"}};
}

const auto kUploadPath = [](auto& manager, auto&) { manager.Upload("/./\u00f6.pdf"_q); };
const auto kUploadDocument = [](auto& manager, auto& document) { manager.Upload(document); };

class CloudRequestsTest : public CloudManagerFixture, public testing::WithParamInterface<Request>
{
protected:
    CloudRequestsTest()
    {
        m_protocol->m_answer.id = "answered \u00efd"_q;
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
    const auto& expected = GetParam();
    const Events recorded = expected.name == "Download" ? Events{"NormalizePath(/nowhere/./a.pdf)",
                                                                 "CalculateFileHash(/nowhere/a.pdf)"}
                                                        : Events{};
    const auto expectNoSync = [this] { EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()); };
    m_protocol->m_duringStart = expectNoSync;
    m_hashes->m_duringCall = expectNoSync;
    m_signals.m_duringSignal = expectNoSync;
    const std::vector<std::pair<int, Events>> outcomes = {
        {0, expected.success},   {1, expected.error},      {2, expected.canceled},
        {3, expected.otherwise}, {-1, expected.otherwise}, {257, expected.otherwise}};
    for (const auto& [result, events] : outcomes) {
        SCOPED_TRACE(result);
        EXPECT_EQ(Start(), expected.started + recorded);
        EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), expected.isTransfer);
        const auto request = m_protocol->m_requests.size() - 1;
        EXPECT_EQ(WhenAnswered(static_cast<RequestResult>(result)), events);
        EXPECT_THAT(During([&] { m_protocol->Finish(request, kSuccess); }), IsEmpty()) << "repeated";
        m_document->SetPath("/./\u00f6.pdf"_s, "old hash");
    }
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    EXPECT_EQ(Start(), expected.started + expected.notStarted);
    EXPECT_THAT(WhenAnswered(kSuccess), IsEmpty());
    EXPECT_EQ(m_document->GetPath().utf8string() + m_document->GetMd5Hash(), "/./\u00f6.pdfold hash");
}

TEST_P(CloudRequestsTest, OnlyAnswersOfRegisteredTicketsCount)
{
    m_protocol->m_duringStart = [this] { m_protocol->Finish(0, kSuccess); };
    EXPECT_EQ(Start().size(), GetParam().started.size() + (GetParam().name == "Download" ? 2 : 0)) << "early";
    m_protocol->m_duringStart = [] {};
    EXPECT_THAT(During([this] { m_protocol->FinishAs(100, 0, kSuccess); }), IsEmpty()) << "foreign";
    EXPECT_EQ(WhenAnswered(kCanceled), GetParam().canceled) << "still pending";

    for (const long long ticket : {0LL, -2LL, std::numeric_limits<long long>::min(), 1LL << 40}) {
        m_protocol->m_nextTickets = {ticket};
        Start();
        EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), GetParam().isTransfer) << ticket;
        EXPECT_EQ(WhenAnswered(kCanceled), GetParam().canceled) << ticket;
    }
}

INSTANTIATE_TEST_SUITE_P(All, CloudRequestsTest,
                         testing::Values(Authorization(), Upload("UploadPath", kUploadPath, ""),
                                         Upload("UploadDocument", kUploadDocument, "ID=\u00efd, "),
                                         Download(), FilesList(), Removal(), Quota(), Preview()),
                         [](const auto& request) { return request.param.name; });

struct Transfer
{
    const char* name;
    Starter start;
    Starter cancel;
    std::vector<Starter> cancelOthers;
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
    for (const auto& cancelOther : GetParam().cancelOthers)
        EXPECT_THAT(During([&] { cancelOther(*m_manager, m_document); }), IsEmpty());
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
    testing::Values(Transfer{"Upload",
                             [](auto& manager, auto&) { manager.Upload("/a.pdf"_q); },
                             [](auto& manager, auto&) { manager.CancelUploading("/a.pdf"_q); },
                             {[](auto& manager, auto&) { manager.CancelUploading("/./a.pdf"_q); },
                              [](auto& manager, auto&) { manager.CancelUploading("/A.pdf"_q); },
                              [](auto& manager, auto&) { manager.CancelUploading(QString()); }},
                             "UploadingProgressValueChanged(/a.pdf, ",
                             "UploadingCanceled(/a.pdf)"},
                    Transfer{"Download",
                             [](auto& manager, auto& document) { manager.Download(document, "/nowhere"_q); },
                             [](auto& manager, auto& document) { manager.CancelDownloading(document); },
                             {[](auto& manager, auto&) { manager.CancelDownloading(CloudDocument("ABC")); }},
                             "DownloadingProgressValueChanged(own abc, ",
                             "DownloadingCanceled(own abc)"}),
    [](const auto& transfer) { return transfer.param.name; });

} // namespace
