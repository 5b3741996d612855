#include "support/ScriptedCloud.h"

#include <fstream>

namespace Orvane::Social {
namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVANE_IS_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVANE_IS_SANITIZED
#endif

/// Of this process, in bytes; "VmRSS:" is what it uses now, "VmHWM:" the most since ForgetPeak.
qint64 Memory(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    qint64 kibibytes = 0;
    while (status >> word && word != key) {
    }
    status >> kibibytes;
    return kibibytes * 1024;
}

void ForgetPeak()
{
    std::ofstream("/proc/self/clear_refs") << 5;
}

class WebDavLimitsTest : public Tests::ScriptedCloudTest
{
protected:
    WebDavLimitsTest() { OpenKnowing({true, true, false, true, true, true, true, true}); }

    /// What the operation that begins with this method comes to.
    std::string OutcomeOf(const QByteArray& method)
    {
        if (method == "PROPFIND")
            return Outcome([this] { return cloud->Info(kOld, job).id.toStdString(); });
        return method == "GET" ? Fetch() : method == "PUT" ? Store() : Remove();
    }

    /// Answers requests with this method with @p begin and then @p repeated, again and again, until nobody
    /// reads any more or @p most bytes have gone.
    void AnswerEndlessly(const char* method, const QByteArray& begin, const QByteArray& repeated, qint64 most,
                         int pauseMilliseconds = 0)
    {
        const std::lock_guard lock(server.mutex); // it may be busy with the last one still
        server.documents["old.pdf"] = "old";
        sent = 0;
        server.takesOver = [=](const QByteArray& asked, int socket) {
            const auto send = [&](const QByteArray& bytes) {
                const auto count = ::send(socket, bytes.data(), size_t(bytes.size()), MSG_NOSIGNAL);
                return count == bytes.size() && ::poll(nullptr, 0, pauseMilliseconds) == 0;
            };
            for (bool isRead = asked == method && send(begin); isRead && sent < most; sent += repeated.size())
                isRead = send(repeated);
            return asked == method;
        };
    }

    std::atomic<qint64> sent{0};
};

TEST_F(WebDavLimitsTest, AServerThatNeverEndsIsNotListenedToForLong)
{
    const QByteArray head = "HTTP/1.1 200 OK\r\n", chunked = head + "Transfer-Encoding: chunked\r\n\r\n";
    const QByteArray multiStatus = "HTTP/1.1 207 x\r\n\r\n<multistatus xmlns=\"DAV:\">";
    const QByteArray text(1'000, 'x');
    const std::tuple<const char*, QByteArray, QByteArray> floods[] = {
        {"headers", head, "X: " + text + "\r\n"},
        {"answers that are none yet", "", "HTTP/1.1 103 x\r\nX: " + text + "\r\n\r\n"},
        {"chunk extensions", chunked + "1", ";" + text},
        {"empty words before a chunk", chunked, QByteArray(1'000, '0')},
        {"trailers", chunked + "0\r\n", "X: " + text + "\r\n"},
        {"a body", head + "\r\n", text},
        {"a body of an error", "HTTP/1.1 403 x\r\n\r\n", text},
        {"a multi-status", multiStatus, QByteArray(1'000, ' ')},
        {"a multi-status of many", multiStatus, "<response><href>/x</href></response>" + text.left(0)},
    };
    constexpr qint64 kEndless = 200'000'000, kBetweenUs = 60'000'000; // what a socket and the limits hold
    for (const auto& [what, begin, repeated] : floods) {
        for (const char* method : {"PROPFIND", "GET", "PUT", "DELETE"}) {
            AnswerEndlessly(method, begin, repeated, kEndless);
            EXPECT_NE(OutcomeOf(method), method == QByteArray("GET") ? "old" : "") << what << method;
            EXPECT_LT(sent, kBetweenUs) << what << method;
        }
    }
}

TEST_F(WebDavLimitsTest, AListingCostsAKibibyteADocumentAtMost)
{
#ifdef ORVANE_IS_SANITIZED
    GTEST_SKIP() << "a sanitizer needs memory of its own";
#endif
    constexpr int kDocuments = 100'000, kInAPiece = 500;
    const auto entry = [](int number, const QByteArray& name) {
        return "<response><href>/dav/" + name +
               "</href><propstat><prop><getcontentlength>1000</getcontentlength>" +
               "<creationdate>2024-02-29T00:00:00Z</creationdate><getetag>\"3e8-6123456789" +
               QByteArray::number(number) + "\"</getetag><getlastmodified>Thu, 29 Feb 2024 23:59:59 GMT" +
               "</getlastmodified><resourcetype>" + (name.isEmpty() ? "<collection/>" : "") +
               "</resourcetype></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    };
    server.takesOver = [&](const QByteArray&, int socket) {
        const auto send = [socket](const QByteArray& bytes) {
            ::send(socket, bytes.data(), size_t(bytes.size()), MSG_NOSIGNAL);
        };
        send("HTTP/1.1 207 x\r\n\r\n<multistatus xmlns=\"DAV:\">" + entry(0, ""));
        for (int number = 0; number < kDocuments;) {
            QByteArray piece;
            for (const int end = number + kInAPiece; number < end; ++number)
                piece += entry(number, "some%20ordinary%20document%20" + QByteArray::number(number) + ".pdf");
            send(piece);
        }
        send("</multistatus>");
        return true;
    };
    ForgetPeak();
    const auto before = Memory("VmRSS:");
    EXPECT_EQ(cloud->List(job).size(), kDocuments);
    const auto peak = Memory("VmHWM:");
    EXPECT_GT(peak - before, kDocuments * 100) << "measured";
    EXPECT_LT(peak - before, kDocuments * 1024);
}

TEST_F(WebDavLimitsTest, WhatIsTooSlowOrTakesTooLongEnds)
{
    limits.stall = limits.answer = NetworkLimits::Milliseconds(20'000);
    limits.withoutDocument = NetworkLimits::Milliseconds(300);
    Open();
    for (const char* method : {"PROPFIND", "DELETE"}) {
        AnswerEndlessly(method, "HTTP/1.1 207 x\r\n\r\n<multistatus xmlns=\"DAV:\">", QByteArray(100, ' '),
                        20'000, 10);
        EXPECT_EQ(OutcomeOf(method), Code(FailureCode::TimedOut)) << method;
    }
    AnswerEndlessly("GET", "HTTP/1.1 200 x\r\nContent-Length: 3\r\n\r\n", "x", 3, 200);
    EXPECT_EQ(Fetch(), "xxx") << "a document may take its time";

    limits.stall = limits.answer = NetworkLimits::Milliseconds(300);
    limits.withoutDocument = NetworkLimits::Milliseconds(60'000);
    Open();
    for (const char* method : {"PROPFIND", "GET", "DELETE"}) {
        AnswerEndlessly(method, "HTTP/1.1 207 x\r\nX: ", "x", 300, 10);
        EXPECT_EQ(OutcomeOf(method), Code(FailureCode::TimedOut)) << method;
    }
}

TEST_F(WebDavLimitsTest, TransfersAreMorePatientThanQuestions)
{
    limits.transferRetries = 6;
    Open();
    const auto quota = [this] { return Outcome([this] { return cloud->Quota(job), std::string(); }); };
    const auto list = [this] { return std::to_string(cloud->List(job).size()); };
    const std::tuple<const char*, std::function<std::string()>, std::string> operations[] = {
        {"GET", [this] { return Fetch(); }, "old"},
        {"PUT", [this] { return Store(); }, "new.pdf"},
        {"MOVE", [this] { return Store(); }, "new (2).pdf"},
        {"PROPFIND", [this] { return Store(); }, "new (3).pdf"},
        {"PROPFIND", [this] { return Store(kOld); }, "old.pdf"},
        {"PROPFIND", [&] { return Outcome(list); }, Code(FailureCode::Unavailable)},
        {"PROPFIND", quota, Code(FailureCode::Unavailable)},
        {"DELETE", [this] { return Remove(); }, Code(FailureCode::Unavailable)},
    };
    for (const auto& [method, operation, outcome] : operations) {
        std::vector<Job::Pause> pauses;
        job.SetOnPause([&pauses](const Job::Pause& pause) { pauses.push_back(pause); });
        server.faults.clear();
        SetFault(Says("503"), method, 5);
        EXPECT_EQ(operation(), outcome) << method;
        const bool isTransfer = outcome.size() > 2;
        EXPECT_EQ(pauses.size(), isTransfer ? 5 : 2) << method;
        for (const auto& pause : pauses)
            EXPECT_EQ(pause.why.code, FailureCode::Unavailable);
        EXPECT_LT(pauses.front().duration * 2, pauses.back().duration * (isTransfer ? 1 : 1'000));
    }
}

TEST_F(WebDavLimitsTest, ATransferOutlivesTheRestartOfItsServerAndNotACancel)
{
    auto restarted = std::make_unique<Tests::ScriptedServer>();
    const int port = restarted->port;
    const auto address = *WebDavAddress::Parse(restarted->origin + "/dav/");
    restarted->documents["old.pdf"] = "old";
    limits.transferRetries = 6;
    cloud = std::make_unique<WebDavTransport>(OAuth2::AuthInfo(), address, cache, limits);
    cloud->SignIn(QStringLiteral("secret"), job);
    restarted.reset();
    int pauses = 0;
    job.SetOnPause([&](const Job::Pause&) {
        if (++pauses == 3) {
            restarted = std::make_unique<Tests::ScriptedServer>(port);
            restarted->documents["old.pdf"] = "old";
        }
    });
    EXPECT_EQ(Fetch(), "old");
    EXPECT_EQ(pauses, 3);

    restarted.reset();
    limits.firstRetry = NetworkLimits::Milliseconds(100'000'000);
    cloud = std::make_unique<WebDavTransport>(OAuth2::AuthInfo(), address, cache, limits);
    std::future<void> canceling;
    job.SetOnPause(
        [&](const Job::Pause&) { canceling = std::async(std::launch::async, [this] { job.Cancel(); }); });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Fetch(), Code(FailureCode::Canceled));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(50)) << "a pause takes a minute";
}

} // namespace
} // namespace Orvane::Social
