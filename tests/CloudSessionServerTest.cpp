#include "support/CloudSessionFixture.h"
#include "support/ScriptedServer.h"
#include "support/WebDavClouds.h"

#include <QTimer>

namespace Orvane::Tests {
namespace {

const auto kData = QStringLiteral("data of the server");

/// Sessions over a collection of a real server.
class CloudSessionServerTest : public CloudSessionFixture
{
protected:
    CloudSessionServerTest()
    {
        m_setup.cloudAddress = QString::fromStdString(m_cloud.Address());
        m_setup.authInfo.userName = m_cloud.Account().userName;
    }

    WebDavCloud m_cloud{"apache"};
};

TEST_F(CloudSessionServerTest, ARefusedSignInLeavesTheOneThatIsInUse)
{
    Open(kData);
    auto& cloud = m_session->Cloud();
    SignIn(m_cloud.Token());
    Await(&OrvaneCloudManager::AuthorizationFailed, [this] { m_session->SignIn(QStringLiteral("wrong")); });
    EXPECT_EQ(m_failures.back().failure.code, FailureCode::SignInNeeded);
    EXPECT_TRUE(cloud.IsLoggedIn());
    Refresh();

    Testing::Write(m_cloud.server.folder / "token", m_cloud.Token().toStdString() + '2'); // revoked
    Await(&OrvaneCloudManager::RetrievingFilesListErrorRequested, [&] { cloud.RetrieveFilesList(); });
    EXPECT_FALSE(cloud.IsLoggedIn());
    Await(&OrvaneCloudManager::AuthorizationFailed, [this] { m_session->SignIn(QStringLiteral("wrong")); });
    EXPECT_FALSE(cloud.IsLoggedIn());
    SignIn(m_cloud.Token());
    Refresh();
}

TEST_F(CloudSessionServerTest, RemovesNothingThatHasChangedSinceTheListWasStored)
{
    m_cloud.Put("a.pdf", "old"); // its hash is known to nobody
    Open(kData);
    SignIn(m_cloud.Token());
    Refresh();
    Open(kData);
    SignIn(m_cloud.Token());
    m_cloud.Put("a.pdf", "new");
    const auto later = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    std::filesystem::last_write_time(m_cloud.Folder() / "a.pdf", later);
    Await(&OrvaneCloudManager::RemovingFileError, [this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); });
    EXPECT_EQ(m_failures.back().failure.code, FailureCode::Conflict);
    EXPECT_EQ(m_cloud.Read("a.pdf"), QByteArray("new"));
}

TEST_F(CloudSessionServerTest, RefreshesByItselfAtThePeriodOfItsSettings)
{
    QDir(m_root.path()).mkdir(kData);
    Write(m_root.filePath(kData + QStringLiteral("/settings.ini")),
          "[Refresh]\nAutomatic=on\nIntervalInMilliseconds=7000\n");
    Open(kData);
    auto* timer = m_session->Cloud().findChild<QTimer*>();
    ASSERT_TRUE(timer && timer->isActive());
    EXPECT_EQ(timer->interval(), 7000);
    SignIn(m_cloud.Token());
    timer->setInterval(1); // nobody wants to wait for seven seconds

    const auto count = [this] { return m_session->Documents().FilesCount(); };
    m_cloud.Put("a.pdf", "a");
    EXPECT_TRUE(QTest::qWaitFor([&] { return count() == 1; }, kLongEnough));
    m_cloud.Put("b.pdf", "b");
    EXPECT_TRUE(QTest::qWaitFor([&] { return count() == 2; }, kLongEnough));
    std::filesystem::remove(m_cloud.Folder() / "a.pdf");
    EXPECT_TRUE(QTest::qWaitFor([&] { return count() == 1; }, kLongEnough));
    EXPECT_TRUE(Listed("b.pdf"));

    m_cloud.server.Tell("kill"); // while it is away the list stays, and the refreshing goes on
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_failures.empty(); }, kLongEnough));
    EXPECT_EQ(m_failures.front().operation, Operation::FileList);
    EXPECT_EQ(m_failures.front().failure.code, FailureCode::Network);
    EXPECT_EQ(count(), 1);
    m_cloud.server.Tell("start");
    m_cloud.Put("c.pdf", "c");
    EXPECT_TRUE(QTest::qWaitFor([&] { return count() == 2; }, kLongEnough));
}

TEST_F(CloudSessionFixture, SaysWhichTransferWaitsForItsServer)
{
    ScriptedServer server;
    server.documents["old.pdf"] = "old";
    for (const char* method : {"PUT", "GET"}) {
        server.faults.push_back({{}, "HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n", false});
        server.faults.back().method = method;
        server.faults.back().times = 2; // the first PUT is a trial of what the server keeps to
    }
    m_setup.cloudAddress = QString::fromStdString(server.origin + "/dav/");
    Open(kData);
    SignIn(QStringLiteral("secret"));
    std::vector<std::pair<QString, FailureCode>> waited;
    QObject::connect(m_session.get(), &CloudSession::Waiting,
                     [&](const QString& subject, const auto& why, int milliseconds) {
                         waited.emplace_back(subject, why.code);
                         EXPECT_GT(milliseconds, 0);
                     });

    const auto path = LocalPath(QStringLiteral("new.pdf"));
    Write(path, "new");
    // The server has one connection at a time, and the quota is asked for after an upload.
    Await(&OrvaneCloudManager::RetrievingUserQuotaFinished, [&] { m_session->Cloud().Upload(path); });
    const PDF::FileInfo::CloudInfo cloudInfo("old.pdf", "old.pdf", 3, true, {}, {}, {}, 0, {});
    Await(&OrvaneCloudManager::DownloadingFinished, [&] {
        m_session->Download(std::make_shared<FileInfo>(cloudInfo), {LocalPath(QStringLiteral("."))});
    });
    const auto isBusy = [](const QString& subject) { return std::pair(subject, FailureCode::Unavailable); };
    const QString old = QStringLiteral("old.pdf");
    EXPECT_THAT(waited, testing::ElementsAre(isBusy(path), isBusy(old), isBusy(old)));
}

} // namespace
} // namespace Orvane::Tests
