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
using Parameters = QMap<QString, QString>;
using Social::FailureCode;
using Social::INVALID_TICKET;
using Social::Operation;
using Social::RequestResult;

/// What a request has been answered, checked as it comes: once, with its ticket, on the caller's thread, and
/// not inside the starting call. Of the payloads it has the one that is its own.
struct Answer
{
    explicit Answer(Operation asked)
        : operation(asked)
    {}

    const Operation operation;
    long long ticket = INVALID_TICKET;
    int results = 0;
    RequestResult result = RequestResult::Error;
    std::vector<int> progress;
    std::function<void()> onResult;
    std::function<void()> onProgress;

    QList<CloudFile> files;
    CloudFile file;
    Social::OrvaneCloudSharingResult stored;
    QMap<QString, Client::QuotaValue> quota;
    QPixmap picture;
    QString text;

    void Note(long long answeredTicket, RequestResult answeredResult)
    {
        Check(answeredTicket);
        EXPECT_EQ(++results, 1);
        result = answeredResult;
        if (const auto next = onResult)
            next();
    }

    void Check(long long answeredTicket) const
    {
        EXPECT_NE(ticket, INVALID_TICKET) << "refused, or called back inside the starting call";
        EXPECT_EQ(answeredTicket, ticket);
        EXPECT_EQ(QThread::currentThread(), qApp->thread());
        EXPECT_EQ(results, 0) << "called back after the result";
    }

    [[nodiscard]] bool IsSuccess() const { return results == 1 && result == RequestResult::Success; }
};

using SharedAnswer = std::shared_ptr<Answer>;

inline bool WaitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 60'000);
}

inline bool WaitFor(const SharedAnswer& answer)
{
    return WaitFor([answer] { return answer->results > 0; });
}

/// A callback that keeps the payload, if there is one.
template <typename Payload>
auto Keeping(const SharedAnswer& answer, Payload Answer::*kept)
{
    return [answer, kept](long long ticket, RequestResult result, const auto&... payload) {
        ((answer.get()->*kept = payload), ...);
        answer->Note(ticket, result);
    };
}

inline auto Progress(const SharedAnswer& answer)
{
    return [answer](long long ticket, int percent) {
        answer->Check(ticket);
        if (const auto next = answer->onProgress)
            next();
        answer->progress.push_back(percent);
    };
}

/// One client on one cloud, with its operations in a form that tests read well.
class ProtocolClient
{
public:
    explicit ProtocolClient(const std::string& address, Social::OAuth2::AuthInfo account = {})
    {
        if (account.cacheFolder.isEmpty())
            account.cacheFolder = Support::ToText(m_cache.Path());
        m_client = std::make_unique<Client>(account, address, nullptr);
    }

    Client* operator->() { return m_client.get(); }
    void Destroy() { m_client.reset(); }

    [[nodiscard]] std::filesystem::path CacheFolder() const { return m_cache.Path(); }

    SharedAnswer SignIn(const QString& token)
    {
        return Ask(Operation::SignIn, &Client::auth, kNoPayload, Parameters{{Client::SSO_TOKEN, token}});
    }

    SharedAnswer List() { return Ask(Operation::FileList, &Client::retriveFileList, &Answer::files, File()); }

    SharedAnswer Info(const QString& id)
    {
        const File file{{{Client::ID, id}}, {}};
        return Ask(Operation::FileInfo, &Client::retriveFileInfo, &Answer::file, file);
    }

    SharedAnswer Delete(const QString& id, const Parameters& known = {})
    {
        File file{known, {}};
        file.fields[Client::ID] = id;
        return Ask(Operation::Remove, &Client::deleteFile, kNoPayload, file);
    }

    SharedAnswer Quota() { return Ask(Operation::Quota, &Client::userQuota, &Answer::quota); }

    SharedAnswer Preview(const QString& id, const QString& width = QStringLiteral("40"))
    {
        const Parameters parameters{{Client::ID, id},
                                    {Client::FILE_PREVIEW_WIDTH, width},
                                    {Client::FILE_PREVIEW_HEIGHT, QStringLiteral("40")}};
        return Ask(Operation::Preview, &Client::retrievePreview, &Answer::picture, parameters);
    }

    SharedAnswer Upload(const std::filesystem::path& path, const Parameters& parameters = {})
    {
        const auto answer = std::make_shared<Answer>(Operation::Upload);
        answer->ticket = m_client->uploadFile(Support::ToText(path), parameters,
                                              Keeping(answer, &Answer::stored), Progress(answer));
        return answer;
    }

    SharedAnswer Download(const QString& id, const std::filesystem::path& target, const QString& size = {},
                          const QString& existing = {})
    {
        Parameters fields{
            {Client::ID, id}, {Client::FILE_NAME, Support::ToText(target)}, {Client::FILE_SIZE, size}};
        if (!existing.isEmpty())
            fields[Client::EXISTING_FILE] = existing;
        const auto answer = std::make_shared<Answer>(Operation::Download);
        answer->ticket = m_client->downloadFile({fields, {}}, Keeping(answer, kNoPayload), Progress(answer));
        return answer;
    }

    SharedAnswer UserName() { return Ask(Operation::UserInfo, &Client::userName, &Answer::text); }

    SharedAnswer UserPicture()
    {
        using Method = long long (Client::*)(Client::OnText &&);
        return Ask(Operation::UserInfo, static_cast<Method>(&Client::userPic), &Answer::text);
    }

    /// The reason of the last failure; Canceled stands for none.
    [[nodiscard]] FailureCode Reason(Operation operation) const
    {
        const auto failure = m_client->LastFailure(operation);
        return failure ? failure->code : FailureCode::Canceled;
    }

private:
    using File = Client::Files::FileFieldData;

    static constexpr auto kNoPayload = &Answer::text;

    template <typename Method, typename Payload, typename... Arguments>
    SharedAnswer Ask(Operation operation, Method method, Payload Answer::*kept, const Arguments&... arguments)
    {
        const auto answer = std::make_shared<Answer>(operation);
        answer->ticket = (*m_client.*method)(arguments..., Keeping(answer, kept));
        return answer;
    }

    Testing::TemporaryFolder m_cache;
    std::unique_ptr<Client> m_client;
};

} // namespace Orvane::Tests
