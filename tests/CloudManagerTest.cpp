#include "support/CloudManagerFixture.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudManager;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class CloudManagerTest : public CloudManagerFixture
{};

TEST_F(CloudManagerTest, RefreshTimerIsIdleAndUnconnectedUnlessTheSettingsAskForIt)
{
    EXPECT_THAT(During([this] { MakeManager(); }), ElementsAre("IsAutoRefreshEnabled()"));
    EXPECT_EQ(m_settings.use_count(), 1);
    auto* timer = m_manager->findChild<QTimer*>();
    ASSERT_NE(timer, nullptr);
    EXPECT_FALSE(timer->isActive());
    QSignalSpy ticks(timer, &QTimer::timeout);
    timer->start(0);
    ASSERT_TRUE(ticks.wait());
    EXPECT_THAT(Happened(), IsEmpty());

    m_settings->m_isAutoRefreshEnabled = true;
    m_settings->m_interval = 2;
    EXPECT_THAT(During([this] { MakeManager(); }),
                ElementsAre("IsAutoRefreshEnabled()", "GetAutoRefreshInterval()"));
    EXPECT_EQ(m_manager->findChild<QTimer*>()->interval(), 2);
    m_protocol->m_isLoggedIn = false;
    QSignalSpy refusals(m_manager.get(), &OrvaneCloudManager::AuthorizationRequired);
    EXPECT_TRUE(QTest::qWaitFor([&] { return refusals.count() >= 2; }));
}

TEST_F(CloudManagerTest, EveryOperationButAuthorizationWantsASignedInUser)
{
    m_protocol->m_isLoggedIn = false;
    const Document null;
    const QStringList paths = {"/a.pdf"_q, "/b.pdf"_q};
    const QList<Document> documents = {CloudDocument("abc"), null};
    const auto small = FileInfo::PreviewSize::Small;
    auto& manager = *m_manager;
    const std::vector<std::function<void()>> operations = {
        [&] { manager.Upload(paths); },
        [&] { manager.Upload(QStringList()); },
        [&] { manager.Upload("/a.pdf"_q); },
        [&] { manager.Upload(null); },
        [&] { manager.Download(documents, "/f"_q); },
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
    for (const auto& token : {QString(), ""_q})
        EXPECT_THAT(During([&] { manager.Authorization(token); }),
                    ElementsAre("ERROR OrvaneCloudManager.cpp: virtual void Orvane::PDF::Cloud::"
                                "OrvaneCloudManager::Authorization(const QString &): invalid token",
                                "AuthorizationFailed()"));
}

TEST_F(CloudManagerTest, DocumentsThatCannotBeSentThrowOrAreReported)
{
    const Document null;
    const auto outside = Own(DocumentWithoutCloudSide("abc"));
    const auto small = FileInfo::PreviewSize::Small;
    auto& manager = *m_manager;
    EXPECT_EQ(ThrownBy([&] { manager.Download(null, "/f"_q); }), typeid(std::exception));
    EXPECT_EQ(ThrownBy([&] { manager.CancelDownloading(null); }), typeid(std::exception));
    EXPECT_EQ(ThrownBy([&] { manager.RemoveFile(null); }), typeid(std::exception));
    EXPECT_THAT(Happened(), IsEmpty());

    const std::string error = "ERROR OrvaneCloudManager.cpp: ";
    const std::string refusal = "Can`t retrieving preview for not upload files";
    manager.Upload(null);
    manager.Download(outside, "/f"_q);
    manager.RetrieveFilePreview(null, small, QSize(1, 1)); // there is nothing that a signal could carry
    manager.RetrieveFilePreview(outside, small, QSize(1, 1));
    manager.RemoveFile(outside);
    EXPECT_THAT(Happened(),
                ElementsAre(error + "Upload file failed", "UploadingFileRequestError(, Upload file failed)",
                            error + "Download file failed",
                            "DownloadingFileRequestError(own abc, Download file failed)",
                            error + "Retrieve file preview failed", error + refusal,
                            "RetrieveFilePreviewError(own abc, Small, " + refusal + ")",
                            "deleteFile(ID=abc)"));
}

TEST_F(CloudManagerTest, ListsGoOnePerTurnUntilTheFirstThatFails)
{
    const QList<Document> documents = {CloudDocument("first"), nullptr, CloudDocument("after")};
    EXPECT_EQ(ThrownBy([&] { m_manager->Download(documents, "/f"_q); }), typeid(std::exception));
    EXPECT_EQ(m_protocol->m_requests.size(), 1U);

    m_protocol->m_duringStart = [this] { m_protocol->m_isLoggedIn = false; };
    EXPECT_EQ(During([&] { m_manager->Download(documents, "/f"_q); }).back(), "AuthorizationRequired()");
    m_protocol->m_isLoggedIn = true;
    const auto events = During([this] { m_manager->Upload(QStringList{"/a"_q, "/b"_q}); });
    EXPECT_EQ(events.size(), 4U) << "/b is not hashed";
    EXPECT_EQ(events.back(), "AuthorizationRequired()");
}

/// Overrides what the manager calls on itself, and does nothing but note it.
class OverridingManager : public OrvaneCloudManager
{
public:
    using OrvaneCloudManager::Download;
    using OrvaneCloudManager::OrvaneCloudManager;
    using OrvaneCloudManager::Upload;

    void Upload(const QString& path) override { m_calls.push_back("Upload " + path.toStdString()); }
    void Download(const Document&, const QString&) override { m_calls.emplace_back("Download"); }
    void RetrieveFilesList() override { m_calls.emplace_back("RetrieveFilesList"); }
    void RemoveFile(const Document&) override { m_calls.emplace_back("RemoveFile"); }
    void UserQuota() override { m_calls.emplace_back("UserQuota"); }
    void RetrieveFilePreview(const Document&, FileInfo::PreviewSize, const QSize&) override
    {
        m_calls.emplace_back("RetrieveFilePreview");
    }

    Events m_calls;
};

TEST_F(CloudManagerTest, OwnOperationsAreCalledThroughTheirVirtualSlots)
{
    m_settings->m_isAutoRefreshEnabled = true;
    m_settings->m_interval = 0;
    MakeManager<OverridingManager>();
    auto& manager = static_cast<OverridingManager&>(*m_manager);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !manager.m_calls.empty(); })) << "a tick";
    manager.findChild<QTimer*>()->stop();
    EXPECT_EQ(manager.m_calls.front(), "RetrieveFilesList");
    manager.m_calls.clear();

    manager.Upload(QStringList{"/b"_q, "/a"_q, "/b"_q});
    manager.Upload(QStringList());
    manager.Download(QList<Document>{nullptr, nullptr}, "/f"_q);
    EXPECT_THAT(std::exchange(manager.m_calls, {}),
                ElementsAre("Upload /b", "Upload /a", "Upload /b", "Download", "Download"));
    m_protocol->m_entries = {{}};
    for (const auto result : {kSuccess, kError, kCanceled}) {
        manager.OrvaneCloudManager::Upload("/a"_q);
        (void)WhenAnswered(result);
    }
    manager.OrvaneCloudManager::RemoveFile(CloudDocument("abc"));
    (void)WhenAnswered(kSuccess);
    manager.OrvaneCloudManager::RetrieveFilesList();
    (void)WhenAnswered(kSuccess);
    EXPECT_THAT(manager.m_calls,
                ElementsAre("UserQuota", "RemoveFile", "RemoveFile", "UserQuota", "RetrieveFilePreview",
                            "RetrieveFilePreview", "RetrieveFilePreview"));
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

TEST_F(CloudManagerTest, DestructionCancelsEveryTicketOnceWithoutSignals)
{
    m_protocol->m_nextTickets = {8, 0, -5, 3, 6, 2};
    m_manager->UserQuota();
    m_manager->RetrieveFilesList();
    m_manager->Authorization("t"_q);
    m_manager->Upload("/a.pdf"_q);
    m_manager->Download(CloudDocument("abc"), "/nowhere"_q);
    m_manager->RemoveFile(CloudDocument("abc"));
    EXPECT_THAT(During([this] { m_manager.reset(); }),
                UnorderedElementsAre("cancelOperation(8)", "cancelOperation(0)", "cancelOperation(-5)",
                                     "cancelOperation(3)", "cancelOperation(6)", "cancelOperation(2)"));
    EXPECT_EQ(m_protocol.use_count() + m_hashes.use_count() + m_fileSystem.use_count(), 3);
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
