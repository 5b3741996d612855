#include "support/CloudManagerFixture.h"

#include <QTest>
#include <QTimer>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;

class CloudManagerTest : public CloudManagerFixture
{};

/// Overrides what the manager calls on itself, and does nothing but say so.
class OverridingManager : public PDF::Cloud::OrvaneCloudManager
{
public:
    using OrvaneCloudManager::Download;
    using OrvaneCloudManager::OrvaneCloudManager;
    using OrvaneCloudManager::Upload;

    void Upload(const QString& path) override { m_calls.push_back("Upload " + path.toStdString()); }
    void Download(const Document& document, const QString&) override
    {
        m_calls.push_back("Download " + document->GetId());
    }
    void RemoveFile(const Document& document) override
    {
        m_calls.push_back("RemoveFile " + document->GetId());
    }
    void RetrieveFilesList() override { m_calls.push_back("RetrieveFilesList"); }
    void UserQuota() override { m_calls.push_back("UserQuota"); }
    void RetrieveFilePreview(const Document& document, FileInfo::PreviewSize, const QSize& size) override
    {
        m_calls.push_back("Preview " + document->GetId() + ' ' + std::to_string(size.width()));
    }

    Events m_calls;
};

TEST_F(CloudManagerTest, CallsItsOwnOperationsThroughTheirVirtualSlots)
{
    m_settings->m_isAutoRefreshEnabled = true;
    m_settings->m_interval = 1;
    OverridingManager manager(m_protocol, m_hashes, m_fileSystem, m_settings);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !manager.m_calls.empty(); }));
    EXPECT_EQ(std::exchange(manager.m_calls, {}).front(), "RetrieveFilesList");

    manager.Upload(QStringList{"/a"_q, "/b"_q});
    manager.Download(QList<Document>{CloudDocument("x")}, "/f"_q);
    for (const auto result : {kSuccess, kError, kCanceled}) {
        m_protocol->m_answer.id = "left"_q;
        manager.Upload(CloudDocument("y"));
        (void)WhenAnswered(result);
    }
    manager.OrvaneCloudManager::RemoveFile(CloudDocument("z"));
    (void)WhenAnswered(kSuccess);
    m_protocol->m_entries = {FakeCloudProtocol::Files::FileInfo()};
    manager.OrvaneCloudManager::RetrieveFilesList();
    (void)WhenAnswered(kSuccess);
    EXPECT_THAT(manager.m_calls,
                ElementsAre("Upload /a", "Upload /b", "Download x", "UserQuota", "RemoveFile left",
                            "RemoveFile left", "UserQuota", "Preview  40", "Preview  100", "Preview  191"));
}

TEST_F(CloudManagerTest, ListsRepeatedlyOnlyWhenTheSettingsAskForIt)
{
    EXPECT_FALSE(m_manager->findChild<QTimer*>()->isActive());
    m_settings->m_isAutoRefreshEnabled = true;
    m_settings->m_interval = 2;
    MakeManager();
    EXPECT_EQ(m_manager->findChild<QTimer*>()->interval(), 2);
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_protocol->m_requests.size() >= 2; }));
    EXPECT_EQ(Happened().back(), "retriveFileList()");
}

TEST_F(CloudManagerTest, EveryOperationButAuthorizationWantsASignedInUser)
{
    m_protocol->m_isLoggedIn = false;
    const Document null;
    const auto small = FileInfo::PreviewSize::Small;
    auto& manager = *m_manager;
    const std::vector<std::function<void()>> operations = {
        [&] { manager.Upload(QStringList()); },
        [&] { manager.Upload("/a.pdf"_q); },
        [&] { manager.Upload(null); },
        [&] { manager.Download(QList<Document>(), "/f"_q); },
        [&] { manager.Download(null, "/f"_q); },
        [&] { manager.RetrieveFilesList(); },
        [&] { manager.RemoveFile(null); },
        [&] { manager.CancelUploading("/a.pdf"_q); },
        [&] { manager.CancelDownloading(null); },
        [&] { manager.UserQuota(); },
        [&] { manager.RetrieveFilePreview(null, small, QSize(40, 40)); },
    };
    for (std::size_t at = 0; at < operations.size(); ++at)
        EXPECT_THAT(During(operations[at]), ElementsAre("AuthorizationRequired()")) << "operation " << at;
    EXPECT_EQ(During([&] { manager.Authorization("t"_q); }).size(), 1U);
    EXPECT_THAT(During([&] { manager.Authorization(""_q); }),
                ElementsAre("ERROR: virtual void Orvane::PDF::Cloud::"
                            "OrvaneCloudManager::Authorization(const QString &): invalid token",
                            "AuthorizationFailed()"));
}

TEST_F(CloudManagerTest, DocumentsThatCannotBeSentThrowOrAreReported)
{
    const Document null;
    const auto outside = Own(DocumentWithoutCloudSide());
    const auto small = FileInfo::PreviewSize::Small;
    auto& manager = *m_manager;
    EXPECT_TRUE(ThrowsPlainException([&] { manager.Download(null, "/f"_q); }));
    EXPECT_TRUE(ThrowsPlainException([&] { manager.CancelDownloading(null); }));
    EXPECT_TRUE(ThrowsPlainException([&] { manager.RemoveFile(null); }));
    EXPECT_THAT(Happened(), IsEmpty());

    const std::string refusal = "Can`t retrieving preview for not upload files";
    manager.Upload(null);
    manager.Download(outside, "/f"_q);
    manager.RetrieveFilePreview(null, small, QSize(1, 1)); // there is nothing that a signal could carry
    manager.RetrieveFilePreview(outside, small, QSize(1, 1));
    EXPECT_THAT(Happened(),
                ElementsAre("ERROR: Upload file failed", "UploadingFileRequestError(, Upload file failed)",
                            "ERROR: Download file failed",
                            "DownloadingFileRequestError(own abc, Download file failed)",
                            "ERROR: Retrieve file preview failed", "ERROR: " + refusal,
                            "RetrieveFilePreviewError(own abc, Small, " + refusal + ")"));
}

TEST_F(CloudManagerTest, ListsGoOnePerTurnUntilTheFirstThatFails)
{
    const QList<Document> documents = {CloudDocument("first"), nullptr, CloudDocument("after")};
    EXPECT_TRUE(ThrowsPlainException([&] { m_manager->Download(documents, "/f"_q); }));
    EXPECT_EQ(m_protocol->m_requests.size(), 1U);

    m_protocol->m_duringStart = [this] { m_protocol->m_isLoggedIn = false; };
    const auto events = During([this] { m_manager->Upload(QStringList{"/a"_q, "/b"_q}); });
    EXPECT_EQ(events.size(), 4U) << "/b is not hashed";
    EXPECT_EQ(events.back(), "AuthorizationRequired()");
}

TEST_F(CloudManagerTest, LogoutLeavesRequestsAsTheyAre)
{
    m_manager->UserQuota();
    EXPECT_TRUE(m_manager->IsLoggedIn());
    EXPECT_THAT(During([this] { m_manager->Logout(); }), ElementsAre("logout()", "LoggedOut()"));
    EXPECT_FALSE(m_manager->IsLoggedIn());
    EXPECT_THAT(During([this] { m_manager->Logout(); }), IsEmpty());
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RetrievingUserQuotaFinished(0, 0)"));
}

TEST_F(CloudManagerTest, DestructionCancelsOnceWhenCancellingRunsTheCallbacks)
{
    m_manager->UserQuota();
    m_manager->Upload("/a.pdf"_q); // its clean-up removal starts during the destruction, as ticket 3
    std::vector<long long> canceled;
    m_protocol->m_duringCancel = [&](long long ticket) {
        canceled.push_back(ticket);
        for (const std::size_t request : {0U, 1U}) // the other one ends with the first
            m_protocol->Finish(request, kCanceled);
    };
    m_manager.reset();
    EXPECT_THAT(canceled, ElementsAre(testing::AnyOf(1, 2), 3));
}

} // namespace
