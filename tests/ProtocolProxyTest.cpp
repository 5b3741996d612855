#include "support/Journal.h"

#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using namespace Orvane::Social::Ability;
using PDF::Cloud::OrvaneCloudProtocolProxy;
using Social::INVALID_TICKET;
using Social::RequestResult;
using Client = Social::OrvaneCloudProtocol;
using Files = OrvaneCloudProtocolProxy::Files;

/// The proxy over the folder client, called through the parts of the interface.
class ProtocolProxyTest : public testing::Test
{
protected:
    /// A result callback of any kind.
    auto Note()
    {
        return [this, held = m_held](long long ticket, RequestResult result, const auto&... payload) {
            m_answers.emplace_back(ticket, result);
            (Keep(payload), ...);
        };
    }

    void Keep(const Social::OrvaneCloudSharingResult& answer) { m_file.fields[Client::ID] = answer.id; }
    template <typename Payload>
    void Keep(const Payload&)
    {}

    void ExpectAnswer(long long ticket, RequestResult result = RequestResult::Success)
    {
        ASSERT_NE(ticket, INVALID_TICKET);
        ASSERT_TRUE(QTest::qWaitFor([this] { return !m_answers.empty(); }, 60'000));
        EXPECT_THAT(std::exchange(m_answers, {}), testing::ElementsAre(std::pair(ticket, result)));
    }

    const QTemporaryDir m_cloud;
    const QTemporaryDir m_local;
    const QString m_copy = m_local.path() + "/copy.pdf"_q;
    const QMap<QString, QString> m_token = {{Client::SSO_TOKEN, "token"_q}};
    Files::FileFieldData m_file = {{{Client::ID, "a.pdf"_q}, {Client::FILE_NAME, m_copy}}, {}};
    std::vector<std::pair<long long, RequestResult>> m_answers;
    std::shared_ptr<int> m_held = std::make_shared<int>();
    std::unique_ptr<OrvaneCloudProtocolProxy> m_proxy = std::make_unique<OrvaneCloudProtocolProxy>(
        Social::OAuth2::AuthInfo{{}, {}, false, m_local.path()},
        QUrl::fromLocalFile(m_cloud.path()).toString().toStdString());
    Auth& m_auth = *m_proxy;
    Files& m_files = *m_proxy;
    Quota& m_quota = *m_proxy;
    Preview& m_preview = *m_proxy;
    Cancel& m_cancel = *m_proxy;
};

TEST_F(ProtocolProxyTest, EveryOperationArrivesAndItsAnswerComesBack)
{
    EXPECT_FALSE(m_auth.loggedIn());
    EXPECT_EQ(m_quota.userQuota({}), INVALID_TICKET) << "refused";
    ExpectAnswer(m_auth.auth(m_token, Note()));
    EXPECT_TRUE(m_auth.loggedIn());
    ExpectAnswer(m_auth.userName(Note()));
    ExpectAnswer(m_auth.userProfile(Note()));
    // A folder knows no pictures.
    ExpectAnswer(m_auth.userPic(Auth::OnImage(Note())), RequestResult::Error);
    ExpectAnswer(m_auth.userPic(Auth::OnText(Note())), RequestResult::Error);

    QFile file(m_local.path() + "/a.pdf"_q);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("%PDF-1.4\n%%EOF\n");
    int progress = -1;
    const auto onProgress = [&](long long, int value) { progress = value; };
    ExpectAnswer(m_files.uploadFile(file.fileName(), {}, Note(), onProgress));
    EXPECT_EQ(std::exchange(progress, -1), 100);
    EXPECT_TRUE(QFile::exists(m_cloud.path() + "/a.pdf"_q));
    ExpectAnswer(m_files.retriveFileInfo(m_file, Note()));
    ExpectAnswer(m_files.retriveFileList({}, Note()));
    ExpectAnswer(m_files.downloadFile(m_file, Note(), onProgress));
    EXPECT_EQ(progress, 100);
    EXPECT_TRUE(QFile::exists(m_copy));
    ExpectAnswer(m_files.deleteFile(m_file, Note()));
    EXPECT_FALSE(QFile::exists(m_cloud.path() + "/a.pdf"_q));
    ExpectAnswer(m_quota.userQuota(Note()));
    auto preview = m_file.fields; // of a document that is gone
    preview[Client::FILE_PREVIEW_WIDTH] = preview[Client::FILE_PREVIEW_HEIGHT] = "40"_q;
    ExpectAnswer(m_preview.retrievePreview(preview, Note()), RequestResult::Error);
    m_auth.logout();
    EXPECT_FALSE(m_auth.loggedIn());
}

TEST_F(ProtocolProxyTest, NothingComesAfterACancelOrTheProxysEnd)
{
    ExpectAnswer(m_auth.auth(m_token, Note()));
    m_cancel.cancelOperation(m_files.retriveFileList({}, Note()));
    ExpectAnswer(m_files.retriveFileList({}, Note()));
    m_files.retriveFileList({}, Note());
    m_proxy.reset();
    QTest::qWait(0);
    EXPECT_TRUE(m_answers.empty());
    EXPECT_EQ(m_held.use_count(), 1) << "the client has let go of its callbacks";
}

} // namespace
