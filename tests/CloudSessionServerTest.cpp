#include "support/CloudSessionFixture.h"
#include "support/WebDavClouds.h"

namespace Orvane::Tests {
namespace {

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
    Open(QStringLiteral("data of the server"));
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

} // namespace
} // namespace Orvane::Tests
