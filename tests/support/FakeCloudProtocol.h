#pragma once

#include "Journal.h"

#include <ICloudProtocol.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <deque>
#include <functional>
#include <set>

namespace Orvane::Tests {

using Social::RequestResult;

/// A cloud that does only what the test tells it. Every request is kept for good, so that its callbacks can
/// be run early, late, again, and with any ticket.
class FakeCloudProtocol : public PDF::Cloud::ICloudProtocol
{
public:
    using Files = Social::Ability::File<Social::OrvaneCloudSharingResult>;
    using Client = Social::OrvaneCloudProtocol;
    using Fields = QMap<QString, QString>;

    using Finisher = std::function<void(long long ticket, RequestResult result)>;

    struct Request
    {
        long long ticket;
        Finisher finish;
        OnProgress progress;
    };

    explicit FakeCloudProtocol(Journal& journal)
        : m_journal(journal)
    {}

    /// Runs the result callback of the request, counted from 0 in the order of the starting calls.
    void Finish(std::size_t request, RequestResult result)
    {
        FinishAs(m_requests.at(request).ticket, request, result);
    }

    void FinishAs(long long ticket, std::size_t request, RequestResult result)
    {
        m_requests.at(request).finish(ticket, result);
    }

    void Progress(std::size_t request, int progress)
    {
        m_requests.at(request).progress(m_requests.at(request).ticket, progress);
    }

    void cancelOperation(long long ticket) override
    {
        m_journal.Add("cancelOperation(" + std::to_string(ticket) + ")");
        m_duringCancel(ticket);
    }

    long long auth(const Fields& parameters, Auth::OnResult&& onResult) override
    {
        return Start("auth(" + Text(parameters) + ")", std::move(onResult));
    }

    void logout() override
    {
        m_journal.Add("logout()");
        m_isLoggedIn = false;
    }

    bool loggedIn() override { return m_isLoggedIn; }

    long long userName(OnText&&) override { return Start("userName", {}); }
    long long userProfile(OnUrl&&) override { return Start("userProfile", {}); }
    long long userPic(OnImage&&) override { return Start("userPic image", {}); }
    long long userPic(OnText&&) override { return Start("userPic text", {}); }
    long long retriveFileInfo(const FileFieldData&, OnFileInfo&&) override { return Start("info", {}); }

    long long retriveFileList(const FileFieldData& filter, OnFileList&& onResult) override
    {
        return Start("retriveFileList(" + Text(filter) + ")", With(m_entries, std::move(onResult)));
    }

    long long downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                           OnProgress&& onProgress) override
    {
        return Start("downloadFile(" + Text(file) + ")", std::move(onResult), std::move(onProgress));
    }

    long long deleteFile(const FileFieldData& file, Files::OnResult&& onResult) override
    {
        return Start("deleteFile(" + Text(file) + ")", std::move(onResult));
    }

    long long uploadFile(const QString& localPath, const Fields& parameters, OnUploaded&& onResult,
                         OnProgress&& onProgress) override
    {
        return Start("uploadFile(" + localPath.toStdString() + "; " + Text(parameters) + ")",
                     With(m_answer, std::move(onResult)), std::move(onProgress));
    }

    long long userQuota(OnQuota&& onResult) override
    {
        return Start("userQuota()", With(m_quota, std::move(onResult)));
    }

    long long retrievePreview(const Fields& parameters, OnPreview&& onResult) override
    {
        return Start("retrievePreview(" + Text(parameters) + ")", With(m_image, std::move(onResult)));
    }

    bool m_isLoggedIn = true;
    std::deque<long long> m_nextTickets; ///< used up first; then they count up from 1
    std::deque<Request> m_requests;      ///< a deque: callbacks that start requests stay where they are

    // What the answers carry.
    Social::OrvaneCloudSharingResult m_answer;
    QList<Files::FileInfo> m_entries;
    QMap<QString, QuotaValue> m_quota;
    QPixmap m_image;

    std::function<void()> m_duringStart = [] {};
    std::function<void(long long ticket)> m_duringCancel = [](long long) {};

private:
    /// A callback that brings the payload as it is when the request is answered.
    template <typename Payload, typename Callback>
    static Finisher With(const Payload& payload, Callback callback)
    {
        return [&payload, callback](long long ticket, RequestResult result) {
            callback(ticket, result, payload);
        };
    }

    long long Start(const std::string& event, Finisher finish, OnProgress progress = {})
    {
        m_journal.Add(event);
        if (m_nextTickets.empty())
            m_nextTickets.push_back(++m_lastTicket);
        const auto ticket = m_nextTickets.front();
        m_nextTickets.pop_front();
        m_requests.push_back({ticket, std::move(finish), std::move(progress)});
        m_duringStart();
        return ticket;
    }

    static std::string Text(const FileFieldData& file)
    {
        return Text(file.fields) + (file.listFields.isEmpty() ? "" : " and lists");
    }

    static std::string Text(const Fields& fields)
    {
        static const std::map<QString, std::string> names = {
            {Client::API_VERSION, "API_VERSION"},
            {Client::APP_ID_ON_CLOUD, "APP_ID_ON_CLOUD"},
            {Client::CHUNK_MIME_TYPE, "CHUNK_MIME_TYPE"},
            {Client::FILE_MIME_TYPE, "FILE_MIME_TYPE"},
            {Client::FILE_NAME, "FILE_NAME"},
            {Client::FILE_PREVIEW_HEIGHT, "FILE_PREVIEW_HEIGHT"},
            {Client::FILE_PREVIEW_WIDTH, "FILE_PREVIEW_WIDTH"},
            {Client::FILE_SIZE, "FILE_SIZE"},
            {Client::ID, "ID"},
            {Client::MD5_HASH, "MD5_HASH"},
            {Client::SSO_TOKEN, "SSO_TOKEN"},
        };
        std::set<std::string> named;
        for (auto field = fields.begin(); field != fields.end(); ++field)
            named.insert(names.at(field.key()) + "=" + field.value().toStdString());
        return Joined({named.begin(), named.end()});
    }

    Journal& m_journal;
    long long m_lastTicket = 0;
};

} // namespace Orvane::Tests
