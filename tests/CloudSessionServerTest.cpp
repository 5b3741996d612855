#include "support/CloudSessionFixture.h"
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

} // namespace
} // namespace Orvane::Tests
