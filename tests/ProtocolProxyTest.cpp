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
using PDF::Cloud::OrvaneCloudProtocolProxy;
using Social::INVALID_TICKET;
using Social::RequestResult;
using Client = Social::OrvaneCloudProtocol;
using Files = OrvaneCloudProtocolProxy::Files;

/// The proxy over the folder client.
class ProtocolProxyTest : public testing::Test
{
protected:
    /// A result callback of any kind.
    auto Note()
    {
        return [this](long long ticket, RequestResult result, const auto&...) {
            m_answers.emplace_back(ticket, result);
        };
    }

    void ExpectAnswer(long long ticket, RequestResult result = RequestResult::Success)
    {
        ASSERT_NE(ticket, INVALID_TICKET);
        ASSERT_TRUE(QTest::qWaitFor([this] { return !m_answers.empty(); }, 60'000));
        EXPECT_THAT(std::exchange(m_answers, {}), testing::ElementsAre(std::pair(ticket, result)));
    }

    const QTemporaryDir m_cloud;
    const QTemporaryDir m_local;
    const QString m_copy = m_local.path() + "/copy.pdf"_q;
    Files::FileFieldData m_file = {{{Client::ID, "a.pdf"_q}, {Client::FILE_NAME, m_copy}}, {}};
    std::vector<std::pair<long long, RequestResult>> m_answers;
    OrvaneCloudProtocolProxy m_proxy{{{}, {}, false, m_local.path()},
                                     QUrl::fromLocalFile(m_cloud.path()).toString().toStdString()};
};

TEST_F(ProtocolProxyTest, EveryOperationArrivesAndItsAnswerComesBack)
{
    EXPECT_FALSE(m_proxy.loggedIn());
    EXPECT_EQ(m_proxy.userQuota({}), INVALID_TICKET) << "refused";
    ExpectAnswer(m_proxy.auth({{Client::SSO_TOKEN, "token"_q}}, Note()));
    EXPECT_TRUE(m_proxy.loggedIn());

    QFile file(m_local.path() + "/a.pdf"_q);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("%PDF-1.4\n%%EOF\n");
    int progress = 0;
    const auto onProgress = [&](long long, int value) { progress += value == 100 ? 1 : 0; };
    ExpectAnswer(m_proxy.uploadFile(file.fileName(), {}, Note(), onProgress));
    EXPECT_TRUE(QFile::exists(m_cloud.path() + "/a.pdf"_q));
    ExpectAnswer(m_proxy.retriveFileInfo(m_file, Note()));
    ExpectAnswer(m_proxy.retriveFileList({}, Note()));
    ExpectAnswer(m_proxy.downloadFile(m_file, Note(), onProgress));
    EXPECT_EQ(progress, 2) << "completed transfers";
    EXPECT_TRUE(QFile::exists(m_copy));
    ExpectAnswer(m_proxy.deleteFile(m_file, Note()));
    EXPECT_FALSE(QFile::exists(m_cloud.path() + "/a.pdf"_q));
    ExpectAnswer(m_proxy.userQuota(Note()));
    auto preview = m_file.fields; // of a document that is gone
    preview[Client::FILE_PREVIEW_WIDTH] = preview[Client::FILE_PREVIEW_HEIGHT] = "40"_q;
    ExpectAnswer(m_proxy.retrievePreview(preview, Note()), RequestResult::Error);
    m_proxy.logout();
    EXPECT_FALSE(m_proxy.loggedIn());
}

} // namespace
