#include "support/NestedEventLoop.h"
#include "support/PdfSamples.h"
#include "support/ProtocolClient.h"

#include <QThread>
#include <QTimer>

#include <cstring>

// What a callback of the protocol client may do: anything.

namespace Orvane::Tests {
namespace {

const auto kDocument = QStringLiteral("a.pdf");

/// A signed-in client of a folder with one document.
struct Fixture
{
    Fixture()
    {
        cloud.Put("a.pdf", OnePagePdf(100, 100));
        Testing::Write(local.Path() / "local.pdf", "local");
        EXPECT_TRUE(WaitFor(client.SignIn(cloud.Token())));
    }

    void Destroy()
    {
        isOver = true;
        client.Destroy();
    }

    FolderCloud cloud;
    const Testing::TemporaryFolder local;
    ProtocolClient client{cloud.Address()};
    SharedAnswer answer; ///< to the request whose callback acts
    bool isOver = false;
};

using Step = std::function<void(Fixture& fixture)>;

const std::pair<const char*, Step> kActions[] = {
    {"destroy", [](Fixture& fixture) { fixture.Destroy(); }},
    {"destroy in an event loop", [](Fixture& fixture) { RunEventLoop([&] { fixture.Destroy(); }); }},
    {"wait for another request, whose callback destroys",
     [](Fixture& fixture) {
         const auto other = fixture.client.Quota();
         other->onResult = [&] { fixture.Destroy(); };
         EXPECT_TRUE(WaitFor(other));
     }},
    {"wait for another request",
     [](Fixture& fixture) {
         EXPECT_TRUE(WaitFor(fixture.client.Download(kDocument, fixture.local.Path() / "b")));
     }},
    {"cancel this and another request",
     [](Fixture& fixture) {
         const auto other = fixture.client.List();
         fixture.client->cancelOperation(other->ticket);
         fixture.client->cancelOperation(fixture.answer->ticket);
         fixture.answer->results = 1; // nothing more may come
     }},
};

const std::pair<const char*, std::function<SharedAnswer(Fixture& fixture)>> kRequests[] = {
    {"sign-in", [](Fixture& fixture) { return fixture.client.SignIn(fixture.cloud.Token()); }},
    {"list", [](Fixture& fixture) { return fixture.client.List(); }},
    {"info", [](Fixture& fixture) { return fixture.client.Info(kDocument); }},
    {"removal", [](Fixture& fixture) { return fixture.client.Delete(kDocument); }},
    {"quota", [](Fixture& fixture) { return fixture.client.Quota(); }},
    {"preview", [](Fixture& fixture) { return fixture.client.Preview(kDocument); }},
    {"user name", [](Fixture& fixture) { return fixture.client.UserName(); }},
    {"upload", [](Fixture& fixture) { return fixture.client.Upload(fixture.local.Path() / "local.pdf"); }},
    {"download",
     [](Fixture& fixture) { return fixture.client.Download(kDocument, fixture.local.Path() / "back.pdf"); }},
    {"download to nowhere",
     [](Fixture& fixture) {
         return fixture.client.Download(kDocument, fixture.local.Path() / "none" / "a");
     }},
};

void Check(const std::function<SharedAnswer(Fixture& fixture)>& request, const Step& action,
           std::function<void()> Answer::*callback)
{
    Fixture fixture;
    fixture.answer = request(fixture);
    bool hasActed = false;
    (*fixture.answer).*callback = [&] {
        if (!std::exchange(hasActed, true))
            action(fixture);
    };
    EXPECT_TRUE(WaitFor([&] { return fixture.isOver || fixture.answer->results > 0; }));
    EXPECT_TRUE(hasActed || callback == &Answer::onProgress);
    EXPECT_TRUE(fixture.isOver || WaitFor(fixture.client.Quota())) << "the client has come to a stop";
    fixture.client.Destroy();
    EXPECT_EQ(fixture.answer.use_count(), 1) << "the callbacks are not gone";
}

TEST(ClientCallbacksTest, MayDoAnything)
{
    for (const auto& [requestName, request] : kRequests) {
        for (const auto& [actionName, action] : kActions) {
            SCOPED_TRACE(std::string(requestName) + ": " + actionName);
            Check(request, action, &Answer::onResult);
            if (std::strstr(requestName, "load"))
                Check(request, action, &Answer::onProgress);
        }
    }
}

TEST(ClientCallbacksTest, LeaveTheEventLoopItsTurnsBetweenManyAnswers)
{
    constexpr int kAsked = 20;
    Fixture fixture;
    int turns = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++turns; });
    int answers = 0;
    for (int request = 0; request < kAsked; ++request) { // of a kind that is answered without a worker
        Client::OnImage onAnswer = [&](long long, RequestResult, const QPixmap&) {
            if (++answers == 1)
                timer.start(0);
            QThread::msleep(2);
            if (answers == kAsked)
                timer.stop();
        };
        (void)fixture.client->userPic(std::move(onAnswer));
    }
    EXPECT_TRUE(WaitFor([&] { return answers == kAsked; }));
    EXPECT_GE(turns, kAsked / 4);
}

} // namespace
} // namespace Orvane::Tests
