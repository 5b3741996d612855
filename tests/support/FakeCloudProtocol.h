#pragma once

#include "Journal.h"

#include <ICloudProtocol.h>

#include <deque>
#include <functional>

namespace Orvane::Tests {

using Social::RequestResult;

/// A cloud that does only what the test tells it. Every request is kept for good, so that its callbacks can
/// be run early, late, again, and with any ticket.
class FakeCloudProtocol : public PDF::Cloud::ICloudProtocol, public JournalWriter
{
public:
    using Files = Social::Ability::File<Social::OrvaneCloudSharingResult>;
    using Fields = QMap<QString, QString>;

    using Finisher = std::function<void(long long ticket, RequestResult result)>;

    struct Request
    {
        long long ticket;
        Finisher finish;
        OnProgress progress;
    };

    using JournalWriter::JournalWriter;

    /// Runs the result callback of the request, counted from 0 in the order of the starting calls.
    void Finish(std::size_t request, RequestResult result)
    {
        m_requests.at(request).finish(m_requests.at(request).ticket, result);
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
        return Start("retriveFileList(" + Text(filter.fields) + ")", With(m_entries, std::move(onResult)));
    }

    long long downloadFile(const FileFieldData& file, Files::OnResult&& onResult,
                           OnProgress&& onProgress) override
    {
        return Start("downloadFile(" + Text(file.fields) + ")", std::move(onResult), std::move(onProgress));
    }

    long long deleteFile(const FileFieldData& file, Files::OnResult&& onResult) override
    {
        return Start("deleteFile(" + Text(file.fields) + ")", std::move(onResult));
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
    QList<long long> m_nextTickets; ///< used up first; then they count up from 1
    std::deque<Request> m_requests; ///< a deque: callbacks that start requests stay where they are

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
        const auto ticket = m_nextTickets.empty() ? ++m_lastTicket : m_nextTickets.takeFirst();
        m_requests.push_back({ticket, std::move(finish), std::move(progress)});
        m_duringStart();
        return ticket;
    }

    static std::string Text(const Fields& fields)
    {
        Events texts;
        for (auto field = fields.begin(); field != fields.end(); ++field)
            texts.push_back((field.key() + QLatin1Char('=') + field.value()).toStdString());
        return Joined(texts);
    }

    long long m_lastTicket = 0;
};

} // namespace Orvane::Tests
