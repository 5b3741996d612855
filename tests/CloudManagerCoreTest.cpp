#include "support/CloudManagerFixture.h"

#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <limits>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudManager;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class CloudManagerCoreTest : public CloudManagerFixture
{
protected:
    Events CancelsOfDestruction()
    {
        auto events = During([this] { m_manager.reset(); });
        const auto isNoCancel = [](const std::string& event) { return event.find("cancelOperation") != 0; };
        events.erase(std::remove_if(events.begin(), events.end(), isNoCancel), events.end());
        return events;
    }
};

TEST_F(CloudManagerCoreTest, RefreshTimerIsIdleAndUnconnectedUnlessTheSettingsAskForIt)
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
}

TEST_F(CloudManagerCoreTest, EveryTickRefreshesThroughTheVirtualOperation)
{
    m_settings->m_isAutoRefreshEnabled = true;
    m_settings->m_interval = 2;
    EXPECT_THAT(During([this] { MakeManager(); }),
                ElementsAre("IsAutoRefreshEnabled()", "GetAutoRefreshInterval()"));
    EXPECT_EQ(m_manager->findChild<QTimer*>()->interval(), 2);

    m_protocol->m_isLoggedIn = false;
    QSignalSpy refusals(m_manager.get(), &OrvaneCloudManager::AuthorizationRequired);
    EXPECT_TRUE(QTest::qWaitFor([&] { return refusals.count() >= 2; }));

    QSignalSpy ticks(MakeOverridingManager().findChild<QTimer*>(), &QTimer::timeout);
    ASSERT_TRUE(ticks.wait());
    EXPECT_EQ(Happened(), Events(static_cast<std::size_t>(ticks.count()), "own RetrieveFilesList()"));
}

TEST_F(CloudManagerCoreTest, EveryOperationButAuthorizationWantsASignedInUser)
{
    m_protocol->m_isLoggedIn = false;
    const Document null;
    const auto document = CloudDocument("abc");
    auto& manager = *m_manager;
    const std::vector<std::function<void()>> operations = {
        [&] {
            manager.Upload(QStringList{"/a.pdf"_q, "/b.pdf"_q});
        },
        [&] { manager.Upload(QStringList{}); },
        [&] { manager.Upload("/a.pdf"_q); },
        [&] { manager.Upload(null); },
        [&] {
            manager.Download(QList<Document>{document, null}, "/f"_q);
        },
        [&] { manager.Download(QList<Document>{}, "/f"_q); },
        [&] { manager.Download(null, "/f"_q); },
        [&] { manager.RetrieveFilesList(); },
        [&] { manager.RemoveFile(null); },
        [&] { manager.CancelUploading("/a.pdf"_q); },
        [&] { manager.CancelDownloading(null); },
        [&] { manager.UserQuota(); },
        [&] {
            manager.RetrieveFilePreview(null, FileInfo::PreviewSize::Small, {40, 40});
        },
    };
    for (std::size_t at = 0; at < operations.size(); ++at)
        EXPECT_THAT(During(operations[at]), ElementsAre("AuthorizationRequired()")) << "operation " << at;
}

const std::string kAuthFailed = "ERROR OrvaneCloudManager.cpp: Auth failed";

TEST_F(CloudManagerCoreTest, AuthorizationThatDoesNotStartFails)
{
    for (const auto& token : {QString(), ""_q}) {
        EXPECT_THAT(During([&] { m_manager->Authorization(token); }),
                    ElementsAre("ERROR OrvaneCloudManager.cpp: virtual void Orvane::PDF::Cloud::"
                                "OrvaneCloudManager::Authorization(const QString &): invalid token",
                                "AuthorizationFailed()"));
    }
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    m_manager->Authorization("t"_q);
    EXPECT_THAT(Happened(), ElementsAre("auth(API_VERSION=2, APP_ID_ON_CLOUD=pdf, SSO_TOKEN=t)", kAuthFailed,
                                        "AuthorizationFailed()"));
}

TEST_F(CloudManagerCoreTest, AuthorizationReportsEveryAnswer)
{
    m_protocol->m_isLoggedIn = false;
    const Events failure = {kAuthFailed, "AuthorizationFailed()"};
    const std::vector<std::pair<RequestResult, Events>> outcomes = {
        {kSuccess, {"INFO OrvaneCloudManager.cpp: Auth completed", "AuthorizationCompleted()"}},
        {kError, failure},
        {kCanceled, failure},
        {kUnknownResult, failure},
    };
    for (const auto& [result, events] : outcomes) {
        EXPECT_THAT(During([&] { m_manager->Authorization(" tok\u00e9n "_q); }),
                    ElementsAre("auth(API_VERSION=2, APP_ID_ON_CLOUD=pdf, SSO_TOKEN= tok\u00e9n )"));
        EXPECT_EQ(WhenAnswered(result), events);
    }
}

TEST_F(CloudManagerCoreTest, LogoutLeavesRequestsAsTheyAre)
{
    m_manager->UserQuota();
    EXPECT_TRUE(m_manager->IsLoggedIn());
    EXPECT_THAT(During([this] { m_manager->Logout(); }), ElementsAre("logout()", "LoggedOut()"));
    EXPECT_FALSE(m_manager->IsLoggedIn());
    EXPECT_THAT(During([this] { m_manager->Logout(); }), IsEmpty());
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RetrievingUserQuotaFinished(0, 0)"));
}

struct Operation
{
    const char* name;
    std::function<void(OrvaneCloudManager&)> start;
    bool isTransfer = false;
    bool isUnknownResultAFailure = false;

    friend void PrintTo(const Operation& operation, std::ostream* stream) { *stream << operation.name; }
};

const std::vector<Operation> kOperations = {
    {"FilesList", [](auto& manager) { manager.RetrieveFilesList(); }},
    {"Authorization", [](auto& manager) { manager.Authorization("token"_q); }, false, true},
    {"UploadPath", [](auto& manager) { manager.Upload("/a.pdf"_q); }, true},
    {"UploadDocument", [](auto& manager) { manager.Upload(CloudDocument("abc")); }, true},
    {"Download", [](auto& manager) { manager.Download(CloudDocument("abc"), "/nowhere"_q); }, true},
    {"RemoveFile", [](auto& manager) { manager.RemoveFile(CloudDocument("abc")); }, false, true},
    {"UserQuota", [](auto& manager) { manager.UserQuota(); }},
    {"Preview",
     [](auto& manager) {
         manager.RetrieveFilePreview(CloudDocument("abc"), FileInfo::PreviewSize::Small, {40, 40});
     }},
};

class RegistryTest : public CloudManagerFixture, public testing::WithParamInterface<Operation>
{
protected:
    void Start() { GetParam().start(*m_manager); }
};

// Only -1 means that a request did not start.
TEST_P(RegistryTest, TakesTheAnswerOfAnyTicketButTheInvalidOne)
{
    for (const long long ticket : {0LL, -2LL, std::numeric_limits<long long>::min(), 1LL << 40, -1LL}) {
        m_protocol->m_nextTickets = {ticket};
        Start();
        const bool isPending = ticket != Social::INVALID_TICKET;
        EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), GetParam().isTransfer && isPending) << ticket;
        EXPECT_EQ(WhenAnswered(kCanceled).empty(), !isPending) << ticket;
        EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()) << ticket;
    }
}

TEST_P(RegistryTest, DropsAnswersOfUnknownTickets)
{
    m_protocol->m_duringStart = [this] { EXPECT_THAT(WhenAnswered(kSuccess), IsEmpty()) << "early"; };
    Start();
    m_protocol->m_duringStart = [] {};
    EXPECT_THAT(During([this] { m_protocol->FinishAs(100, 0, kSuccess); }), IsEmpty()) << "foreign";
    EXPECT_FALSE(During([this] { m_protocol->Finish(0, kCanceled); }).empty()) << "still pending";
    EXPECT_THAT(During([this] { m_protocol->Finish(0, kSuccess); }), IsEmpty()) << "repeated";
}

TEST_P(RegistryTest, ForgetsARequestWhateverItsResult)
{
    for (const auto result :
         {kUnknownResult, static_cast<RequestResult>(-1), static_cast<RequestResult>(257)}) {
        Start();
        const auto events = WhenAnswered(result);
        const bool isReported = std::any_of(events.begin(), events.end(), [](const std::string& event) {
            return event.find("NormalizePath") != 0 && event.find("CalculateFileHash") != 0;
        });
        EXPECT_EQ(isReported, GetParam().isUnknownResultAFailure);
    }
    EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud());
    EXPECT_THAT(During([this] { m_manager.reset(); }), IsEmpty());
}

TEST_P(RegistryTest, CountsAsSyncOnlyWhileATransferIsRegistered)
{
    const auto expectNoSync = [this] { EXPECT_FALSE(m_manager->IsSyncInProgressWithCloud()); };
    m_protocol->m_duringStart = expectNoSync;
    m_hashes->m_duringCall = expectNoSync;
    m_signals.m_duringSignal = expectNoSync;
    Start();
    EXPECT_EQ(m_manager->IsSyncInProgressWithCloud(), GetParam().isTransfer);
    m_protocol->Finish(0, kSuccess);
}

INSTANTIATE_TEST_SUITE_P(Operations, RegistryTest, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return operation.param.name; });

TEST_F(CloudManagerCoreTest, DestructionCancelsEveryTicketOnceWithoutSignals)
{
    m_protocol->m_nextTickets = {8, 0, -5, 3, 6, 2, 7, 4};
    for (const auto& operation : kOperations)
        operation.start(*m_manager);
    EXPECT_THAT(During([this] { m_manager.reset(); }),
                UnorderedElementsAre("cancelOperation(8)", "cancelOperation(0)", "cancelOperation(-5)",
                                     "cancelOperation(3)", "cancelOperation(6)", "cancelOperation(2)",
                                     "cancelOperation(7)", "cancelOperation(4)"));
    EXPECT_EQ(m_protocol.use_count() + m_hashes.use_count() + m_fileSystem.use_count(), 3);
}

TEST_F(CloudManagerCoreTest, DestructionCancelsOnceWhenCancellingRunsTheCallbacks)
{
    m_manager->UserQuota();
    m_manager->RetrieveFilesList();
    m_manager->Upload("/a.pdf"_q); // its clean-up removal starts during the destruction, as ticket 4
    m_protocol->m_duringCancel = [this](long long ticket) {
        m_protocol->Finish(static_cast<std::size_t>(ticket - 1), kCanceled);
    };
    EXPECT_THAT(CancelsOfDestruction(), UnorderedElementsAre("cancelOperation(1)", "cancelOperation(2)",
                                                             "cancelOperation(3)", "cancelOperation(4)"));

    MakeManager();
    m_manager->UserQuota();
    m_manager->UserQuota();
    m_protocol->m_duringCancel = [this](long long) {
        m_protocol->Finish(4, kCanceled);
        m_protocol->Finish(5, kCanceled);
    };
    EXPECT_EQ(CancelsOfDestruction().size(), 1U) << "the other request has ended by then";
}

TEST_F(CloudManagerCoreTest, MetaObjectAddsNothingToTheBase)
{
    const auto* meta = m_manager->metaObject();
    EXPECT_STREQ(meta->className(), "Orvane::PDF::Cloud::OrvaneCloudManager");
    ASSERT_STREQ(meta->superClass()->className(), "Orvane::PDF::AbstractCloudManager");
    EXPECT_EQ(meta->methodCount(), meta->superClass()->methodCount());
    EXPECT_EQ(meta->superClass()->methodCount() - meta->superClass()->methodOffset(), 28);
}

} // namespace
