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
using PDF::Cloud::ICloudProtocol;
using PDF::Cloud::OrvaneCloudProtocolProxy;
using Social::INVALID_TICKET;
using Social::Operation;
using Social::RequestResult;
using Client = Social::OrvaneCloudProtocol;
using Files = OrvaneCloudProtocolProxy::Files;

static_assert(std::is_base_of_v<ICloudProtocol, OrvaneCloudProtocolProxy>);
static_assert(!std::is_copy_constructible_v<OrvaneCloudProtocolProxy>);

/// Waits for the one result callback of a request.
template <typename Payload = int>
class Answer
{
public:
    template <typename... Arguments>
    std::function<void(long long, RequestResult, Arguments...)> Callback()
    {
        return [this](long long ticket, RequestResult result, Arguments... payload) {
            m_calls.emplace_back(ticket, result);
            if constexpr (sizeof...(Arguments) > 0)
                m_payload = (payload, ...);
        };
    }

    [[nodiscard]] bool ArrivesFor(long long ticket, RequestResult result = RequestResult::Success)
    {
        return ticket != INVALID_TICKET && QTest::qWaitFor([this] { return !m_calls.empty(); }, 60'000) &&
               m_calls.size() == 1 && m_calls.front() == std::make_pair(ticket, result);
    }

    std::vector<std::pair<long long, RequestResult>> m_calls;
    Payload m_payload{};
};

/// The proxy over the folder client, called through the parts of the interface.
class ProtocolProxyTest : public testing::Test
{
protected:
    void SignIn()
    {
        Answer<> answer;
        ASSERT_TRUE(answer.ArrivesFor(m_auth.auth({{Client::SSO_TOKEN, "token"_q}}, answer.Callback())));
    }

    static Files::FileFieldData File(const QString& id) { return {{{Client::ID, id}}, {}}; }

    const QTemporaryDir m_cloud;
    const QTemporaryDir m_local;
    std::unique_ptr<OrvaneCloudProtocolProxy> m_proxy = std::make_unique<OrvaneCloudProtocolProxy>(
        Social::OAuth2::AuthInfo{{}, {}, false, m_local.path()},
        QUrl::fromLocalFile(m_cloud.path()).toString().toStdString());
    Auth& m_auth = *m_proxy;
    Files& m_files = *m_proxy;
    Quota& m_quota = *m_proxy;
    Preview& m_preview = *m_proxy;
    Cancel& m_cancel = *m_proxy;
};

TEST_F(ProtocolProxyTest, EveryRefusalOfTheClientComesBack)
{
    EXPECT_FALSE(m_auth.loggedIn());
    const std::vector<std::pair<Operation, std::function<long long()>>> operations = {
        {Operation::SignIn, [this] { return m_auth.auth({}, {}); }},
        {Operation::UserInfo, [this] { return m_auth.userName({}); }},
        {Operation::FileInfo, [this] { return m_files.retriveFileInfo(File("a.pdf"_q), {}); }},
        {Operation::FileList, [this] { return m_files.retriveFileList({}, {}); }},
        {Operation::Download, [this] { return m_files.downloadFile(File("a.pdf"_q), {}, {}); }},
        {Operation::Remove, [this] { return m_files.deleteFile(File("a.pdf"_q), {}); }},
        {Operation::Upload, [this] { return m_files.uploadFile("/a.pdf"_q, {}, {}, {}); }},
        {Operation::Quota, [this] { return m_quota.userQuota({}); }},
        {Operation::Preview, [this] { return m_preview.retrievePreview({}, {}); }},
    };
    for (const auto& [operation, start] : operations) {
        const auto name = static_cast<int>(operation);
        EXPECT_FALSE(m_proxy->Client().LastFailure(operation)) << name;
        EXPECT_EQ(start(), INVALID_TICKET) << name;
        EXPECT_TRUE(m_proxy->Client().LastFailure(operation)) << name;
    }
    EXPECT_EQ(m_auth.userProfile({}), INVALID_TICKET);
    EXPECT_EQ(m_auth.userPic(Auth::OnImage()), INVALID_TICKET);
    EXPECT_EQ(m_auth.userPic(Auth::OnText()), INVALID_TICKET);
}

TEST_F(ProtocolProxyTest, SignInAndUserOperationsReachTheClient)
{
    SignIn();
    EXPECT_TRUE(m_auth.loggedIn());
    Answer<QString> name;
    Answer<QUrl> profile;
    Answer<QPixmap> image;
    Answer<QString> text;
    EXPECT_TRUE(name.ArrivesFor(m_auth.userName(name.Callback<QString>())));
    EXPECT_TRUE(profile.ArrivesFor(m_auth.userProfile(profile.Callback<QUrl>())));
    EXPECT_TRUE(profile.m_payload.isValid());
    // A folder knows no pictures.
    EXPECT_TRUE(image.ArrivesFor(m_auth.userPic(image.Callback<QPixmap>()), RequestResult::Error));
    EXPECT_TRUE(text.ArrivesFor(m_auth.userPic(text.Callback<QString>()), RequestResult::Error));
    m_auth.logout();
    EXPECT_FALSE(m_auth.loggedIn());
}

TEST_F(ProtocolProxyTest, ArgumentsAndAnswersPassUnchanged)
{
    SignIn();
    QFile file(m_local.path() + "/a.pdf"_q);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("%PDF-1.4\n%%EOF\n");
    int progress = -1;
    const auto onProgress = [&](long long, int value) { progress = value; };

    Answer<Social::OrvaneCloudSharingResult> uploaded;
    ASSERT_TRUE(uploaded.ArrivesFor(m_files.uploadFile(
        file.fileName(), {}, uploaded.Callback<const Social::OrvaneCloudSharingResult&>(), onProgress)));
    const auto id = uploaded.m_payload.id;
    EXPECT_EQ(std::exchange(progress, -1), 100);

    Answer<Files::FileInfo> info;
    EXPECT_TRUE(info.ArrivesFor(m_files.retriveFileInfo(File(id), info.Callback<Files::FileInfo>())));
    EXPECT_EQ(info.m_payload.fileName, "a.pdf"_q);
    Answer<QList<Files::FileInfo>> list;
    EXPECT_TRUE(list.ArrivesFor(m_files.retriveFileList({}, list.Callback<QList<Files::FileInfo>>())));
    EXPECT_EQ(list.m_payload.size(), 1);

    auto request = File(id);
    request.fields[Client::FILE_NAME] = m_local.path() + "/copy.pdf"_q;
    Answer<> downloaded;
    EXPECT_TRUE(downloaded.ArrivesFor(m_files.downloadFile(request, downloaded.Callback(), onProgress)));
    EXPECT_EQ(progress, 100);
    EXPECT_TRUE(QFile::exists(m_local.path() + "/copy.pdf"_q));

    Answer<> deleted;
    EXPECT_TRUE(deleted.ArrivesFor(m_files.deleteFile(File(id), deleted.Callback())));
    EXPECT_FALSE(QFile::exists(m_cloud.path() + "/a.pdf"_q));

    using QuotaMap = QMap<QString, Quota::QuotaValue>;
    Answer<QuotaMap> quota;
    EXPECT_TRUE(quota.ArrivesFor(m_quota.userQuota(quota.Callback<const QuotaMap&>())));
    EXPECT_TRUE(quota.m_payload.contains("pdf"_q));
    Answer<QPixmap> preview;
    const auto ticket = m_preview.retrievePreview(
        {{Client::ID, id}, {Client::FILE_PREVIEW_WIDTH, "40"_q}, {Client::FILE_PREVIEW_HEIGHT, "40"_q}},
        preview.Callback<QPixmap>());
    EXPECT_TRUE(preview.ArrivesFor(ticket, RequestResult::Error)) << "the document is gone";
}

TEST_F(ProtocolProxyTest, NothingComesAfterACancelOrTheProxysEnd)
{
    SignIn();
    Answer<> canceled;
    Answer<> finished;
    Answer<> lost;
    const auto held = std::make_shared<int>(0);
    const auto list = [&](Answer<>& answer) {
        return m_files.retriveFileList({}, [&, held](long long ticket, RequestResult result, const auto&) {
            answer.Callback()(ticket, result);
        });
    };
    m_cancel.cancelOperation(list(canceled));
    EXPECT_TRUE(finished.ArrivesFor(list(finished)));
    EXPECT_TRUE(canceled.m_calls.empty());
    list(lost);
    m_proxy.reset();
    QTest::qWait(0);
    EXPECT_TRUE(lost.m_calls.empty());
    EXPECT_EQ(held.use_count(), 1) << "the client has let go of its callbacks";
}

} // namespace
