#pragma once

#include "ProtocolClouds.h"

#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace Orvane::Tests {

using Client = Social::OrvaneCloudProtocol;
using CloudFile = Client::Files::FileInfo;
using Social::FailureCode;
using Social::INVALID_TICKET;
using Social::Operation;
using Social::RequestResult;

/// What a request has been answered, checked as it comes: once, with its ticket, on the caller's thread, and
/// not inside the starting call.
template <typename Payload>
struct Answer
{
    long long ticket = INVALID_TICKET;
    int results = 0;
    RequestResult result = RequestResult::Error;
    Payload payload{};
    std::vector<int> progress;
    std::function<void()> then; ///< run in the result callback
    bool hasStarted = false;

    void Note(long long answeredTicket, RequestResult answeredResult)
    {
        EXPECT_TRUE(hasStarted) << "called back inside the starting call";
        EXPECT_EQ(answeredTicket, ticket);
        EXPECT_EQ(QThread::currentThread(), qApp->thread());
        EXPECT_EQ(++results, 1);
        result = answeredResult;
        if (const auto next = then)
            next();
    }

    [[nodiscard]] bool IsSuccess() const { return results == 1 && result == RequestResult::Success; }
};

struct Nothing
{};

template <typename Payload = Nothing>
using SharedAnswer = std::shared_ptr<Answer<Payload>>;

inline bool WaitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 60'000);
}

template <typename Payload>
bool WaitFor(const SharedAnswer<Payload>& answer)
{
    return WaitFor([answer] { return answer->results > 0; });
}

/// Lets the event loop run until a fresh turn has nothing more to say.
inline void LetEventsPass()
{
    QTest::qWait(50);
}

/// One client on one cloud, with its operations in a form that tests read well.
class ProtocolClient
{
public:
    explicit ProtocolClient(const std::string& address)
    {
        Social::OAuth2::AuthInfo authInfo;
        authInfo.cacheFolder = Support::ToText(m_cache.Path());
        m_client = std::make_unique<Client>(authInfo, address, nullptr);
    }

    Client* operator->() { return m_client.get(); }
    Client& operator*() { return *m_client; }
    void Destroy() { m_client.reset(); }
    [[nodiscard]] std::filesystem::path CacheFolder() const { return m_cache.Path(); }

    SharedAnswer<> SignIn(const QString& token)
    {
        const QMap<QString, QString> parameters{{Client::SSO_TOKEN, token}};
        return Start<Nothing>(
            [&](auto answer) { return m_client->auth(parameters, WithoutPayload(answer)); });
    }

    SharedAnswer<QList<CloudFile>> List()
    {
        return Start<QList<CloudFile>>(
            [&](auto answer) { return m_client->retriveFileList({}, WithPayload(answer)); });
    }

    SharedAnswer<CloudFile> Info(const QString& id)
    {
        return Start<CloudFile>([&](auto answer) {
            return m_client->retriveFileInfo({{{Client::ID, id}}, {}}, WithPayload(answer));
        });
    }

    SharedAnswer<Social::OrvaneCloudSharingResult> Upload(const std::filesystem::path& path,
                                                          const QMap<QString, QString>& parameters = {})
    {
        return Start<Social::OrvaneCloudSharingResult>([&](auto answer) {
            return m_client->uploadFile(Support::ToText(path), parameters, WithPayload(answer),
                                        Progress(answer));
        });
    }

    SharedAnswer<> Download(const QString& id, const std::filesystem::path& target, const QString& size = {})
    {
        Client::Files::FileFieldData file;
        file.fields = {
            {Client::ID, id}, {Client::FILE_NAME, Support::ToText(target)}, {Client::FILE_SIZE, size}};
        return Start<Nothing>([&](auto answer) {
            return m_client->downloadFile(file, WithoutPayload(answer), Progress(answer));
        });
    }

    SharedAnswer<> Delete(const QString& id)
    {
        return Start<Nothing>([&](auto answer) {
            return m_client->deleteFile({{{Client::ID, id}}, {}}, WithoutPayload(answer));
        });
    }

    SharedAnswer<QMap<QString, Client::QuotaValue>> Quota()
    {
        return Start<QMap<QString, Client::QuotaValue>>(
            [&](auto answer) { return m_client->userQuota(WithPayload(answer)); });
    }

    SharedAnswer<QPixmap> Preview(const QString& id, const QString& width, const QString& height)
    {
        const QMap<QString, QString> parameters{
            {Client::ID, id}, {Client::FILE_PREVIEW_WIDTH, width}, {Client::FILE_PREVIEW_HEIGHT, height}};
        return Start<QPixmap>(
            [&](auto answer) { return m_client->retrievePreview(parameters, WithPayload(answer)); });
    }

    SharedAnswer<QString> UserName()
    {
        return Start<QString>([&](auto answer) { return m_client->userName(WithPayload(answer)); });
    }

    SharedAnswer<QUrl> UserProfile()
    {
        return Start<QUrl>([&](auto answer) { return m_client->userProfile(WithPayload(answer)); });
    }

    SharedAnswer<QPixmap> UserPicture()
    {
        return Start<QPixmap>(
            [&](auto answer) { return m_client->userPic(Client::OnImage(WithPayload(answer))); });
    }

    SharedAnswer<QString> UserPictureText()
    {
        return Start<QString>(
            [&](auto answer) { return m_client->userPic(Client::OnText(WithPayload(answer))); });
    }

    /// The reason of the last failure; Canceled stands for none.
    [[nodiscard]] FailureCode Reason(Operation operation) const
    {
        const auto failure = m_client->LastFailure(operation);
        return failure ? failure->code : FailureCode::Canceled;
    }

private:
    template <typename Payload, typename Starter>
    SharedAnswer<Payload> Start(Starter&& starter)
    {
        const auto answer = std::make_shared<Answer<Payload>>();
        answer->ticket = starter(answer);
        answer->hasStarted = true;
        return answer;
    }

    template <typename Payload>
    static auto WithPayload(const SharedAnswer<Payload>& answer)
    {
        return [answer](long long ticket, RequestResult result, const Payload& payload) {
            answer->payload = payload;
            answer->Note(ticket, result);
        };
    }

    static Client::Files::OnResult WithoutPayload(const SharedAnswer<>& answer)
    {
        return [answer](long long ticket, RequestResult result) { answer->Note(ticket, result); };
    }

    template <typename Payload>
    static Client::OnProgress Progress(const SharedAnswer<Payload>& answer)
    {
        return [answer](long long ticket, int percent) {
            EXPECT_TRUE(answer->hasStarted);
            EXPECT_EQ(ticket, answer->ticket);
            EXPECT_EQ(answer->results, 0) << "progress after the result";
            answer->progress.push_back(percent);
        };
    }

    Testing::TemporaryFolder m_cache;
    std::unique_ptr<Client> m_client;
};

} // namespace Orvane::Tests
