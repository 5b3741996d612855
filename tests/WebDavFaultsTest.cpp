#include "support/ProtocolClouds.h"
#include "support/ScriptedServer.h"

#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>
#include <OrvaneCloudProtocol/transports/webdav/KnownTraits.h>
#include <OrvaneCloudProtocol/transports/webdav/WebDavTransport.h>

#include <gtest/gtest.h>

namespace Orvane::Social {
namespace {

using Server = Tests::ScriptedServer;

/// What goes wrong at some moment, for good or just once; the letter of the failure that it makes, by
/// FailureCode as in Check, or "!" when nothing is asked again after it; and for each of kMoments what comes
/// of it: "*" is that failure, "." is success, "-" stands for what cannot be or has no right answer. Of a "U"
/// or "W" that passes, nothing comes.
using Trouble = std::tuple<QByteArray, Server::Fault, char, QByteArray>;

/// The operation (sign-in, list, info, quota, version, fetch, store, replace, remove), and which of its
/// requests with that method.
const std::tuple<int, QByteArray, int> kMoments[] = {
    {0, "PROPFIND", 1},  {1, "PROPFIND", 1}, {2, "PROPFIND", 1}, {3, "PROPFIND", 1}, {4, "PROPFIND", 1},
    {5, "GET", 1},       {5, "GET", 2},      {6, "PROPFIND", 1}, {6, "PUT", 1},      {6, "PROPFIND", 2},
    {6, "PROPPATCH", 1}, {6, "MOVE", 1},     {6, "PROPFIND", 3}, {7, "PROPFIND", 1}, {7, "PUT", 1},
    {7, "MOVE", 1},      {8, "PROPFIND", 1}, {8, "DELETE", 1}};

// What usually comes of it: nothing is done; all is done, and the answer is lost; the user gives up
// meanwhile; an answer of properties is no good.
constexpr auto kUndone = "***** ** ***.** *** **";
constexpr auto kDone = "***** ** *.*..* *.. *.";
constexpr auto kCanceled = "***** ** ****** *** **";
constexpr auto kListing = "***** -- *-*--* *-- *-";

/// What lies in the cloud, and what is uploaded, which is more than the sockets between hold.
const QByteArray kOld(40'000, 'x'), kNew(3'000'000, 'n');

/// The whole answer, without doing anything.
Server::Fault Says(const QByteArray& status, const QByteArray& body = {})
{
    return {{}, "HTTP/1.1 " + status + "\r\nContent-Length: @\r\n\r\n" + body, false};
}

std::vector<Trouble> Troubles()
{
    std::vector<Trouble> troubles = {
        {"403", Says("403"), 'R', "S**** ** ***.** *** **"},
        {"404", Says("404"), 'N', "***** ** **P.*- *** --"},
        {"405", Says("405"), 'R', "P**** ** ***.** *** **"},
        {"412", Says("412"), 'C', "***** ** ***.-* *** **"},
        {"200", Says("200", "<html/>"), 'P', "***** ** ***.C* **C *-"},
        {"503 for an hour", Says("503\r\nRetry-After: 3600"), '!', "UUUUU UU UUU.UU UUU UU"},
        {"no HTTP", {"HTTP/1.1", "SSH-2.0"}, 'P', "***** ** ***..* **. *."},
        {"no length", {"Content-Length", "X-Length", true, true, 1 << 30, Server::Closes}, '.', kDone},
        {"negative length", {"Length: ", "Length: -"}, 'P', "***** ** ***..* **. *."},
        {"two lengths", {"Length: @", "Length: @\r\nContent-Length: 9@"}, 'P', "***** ** ***..* **. *."},
        {"length too large", {"Length: ", "Length: 9", true, true, 1 << 30, Server::Closes}, 'W', kDone},
        {"length too small", {"Length: ", "Length: 1\r\nX: "}, 'P', "***** *W *.*..* *.. *."},
        {"malformed", {"</href>", "</herf>", true, true, 1 << 30, Server::Closes}, 'P', kListing},
        {"another collection", {"/dav/", "/vad/"}, 'P', kListing},
        {"trouble told behind", Says("207", "<multistatus xmlns=\"DAV:\"/>Internal Server Error"), 'U',
         kListing},
        {"nothing listed", Says("207", "<multistatus xmlns=\"DAV:\"/>"), 'P', kListing},
        {"a byte missing", {">3000000<", ">2999999<"}, 'P', "----- -- --*--- --- --"},
        {"another part", {"bytes ", "bytes 9"}, '.', "----- -* ------ --- --"},
        {"a part of another version", {"ETag: \"", "ETag: \"9"}, '.', "----- -* ------ --- --"},
        {"another version", Says("200\r\nETag: \"3000000\"", kNew), 'P', "----- ** ------ --- --"},
        {"all again", Says("200\r\nETag: \"40000\"", kOld), '.', "----- -* ------ --- --"},
    };
    const QByteArray said =
        "P400|S401|C409|R413|P416|R423|U429|U500|U502|U503|Q507|P207|"
        "P302\r\nLocation: #|P307\r\nLocation: http://127.0.0.1:9/|P308\r\nLocation: //x/";
    for (const auto& status : said.split('|'))
        troubles.push_back({status, Says(status.mid(1)), status[0], kUndone});
    const char* const endings[] = {"", "closed ", "reset ", "stalled ", "dripping ", "canceled "};
    const std::tuple<QByteArray, bool, bool, int> places[] = {
        {"unread", false, false, 0}, {"read", false, true, 0}, {"done", true, true, 0},
        {"status", true, true, 10},  {"head", true, true, 25}, {"body", true, true, -100}};
    for (const auto& [place, isDone, isRead, kept] : places) {
        for (int ending = Server::Closes; ending <= Server::Cancels; ++ending) {
            const auto outcomes = ending == Server::Cancels ? kCanceled : isDone ? kDone : kUndone;
            const Server::Fault fault{{}, {}, isDone, isRead, kept, ending};
            if (ending != Server::Drips || kept > 10 || kept < 0) // else it is no HTTP
                troubles.emplace_back(endings[ending] + place, fault, "-WWTTX"[ending], outcomes);
        }
    }
    Server::Fault cut{{}, {}, true, true, 1, Server::Closes};
    for (; cut.kept < 1'000; cut.kept += 13)
        troubles.emplace_back(QByteArray::number(cut.kept), cut, 'W', "-*--- -- ------ --- --");
    return troubles;
}

void Check(const Trouble& trouble, std::size_t at, bool isOnce)
{
    auto [what, fault, letter, outcomes] = trouble;
    const auto& [operation, method, number] = kMoments[at];
    const char expected = outcomes.replace(" ", "").replace("*", QByteArray(1, letter))[int(at)];
    if (expected == '-')
        return;
    Server server;
    Job job;
    const Testing::TemporaryFolder local, cache;
    // Too little patience makes a busy machine look like one that stalls.
    const NetworkLimits::Milliseconds patience(letter == 'T' ? 800 : 20'000), brief(600);
    const auto address = QByteArray::fromStdString(server.origin + "/dav/");
    KnownTraits('\0' + address, cache.Path()).Remember({true, true, false, true, true, true, true, true});
    const NetworkLimits limits{patience, patience, patience, brief, brief / 600, 2};
    const auto open = [&] {
        return std::make_unique<WebDavTransport>(
            OAuth2::AuthInfo(), *WebDavAddress::Parse(address.toStdString()), cache.Path(), limits);
    };
    auto cloud = open();
    const Transport::Download download{QStringLiteral("old.pdf"), local.Path() / "target.pdf", 0};
    const Transport::Upload upload{local.Path() / "new.pdf", operation == 6 ? QString() : download.id, {}};
    const std::tuple<std::function<void()>, QByteArray, QByteArray> operations[] = {
        {[&] { cloud->SignIn(QStringLiteral("secret"), job); }, "", ""},
        {[&] { EXPECT_EQ(cloud->List(job).size(), 1); }, "", ""},
        {[&] { EXPECT_EQ(cloud->Info(download.id, job).size, kOld.size()); }, "", ""},
        {[&] { cloud->Quota(job); }, "", ""},
        {[&] { EXPECT_EQ(cloud->VersionTag(download.id, job), cloud->VersionTag(download.id, job)); }, "",
         ""},
        {[&] { cloud->Fetch(download, job); }, "target", kOld},
        {[&] { cloud->Store(upload, job); }, "new.pdf", kNew},
        {[&] { cloud->Store(upload, job); }, "old.pdf", kNew},
        {[&] { cloud->Remove(download.id, job); }, "old.pdf", ""},
    };
    const auto state = [&] {
        auto all = server.documents;
        all["old.pdf"]; // is nothing when it is gone
        all["target"] = *Tests::ReadFile(download.target);
        all["local"].setNum(int(Tests::NamesIn(local.Path()).size()));
        return all;
    };
    for (const char* name : {"../x.pdf", "..%2fx.pdf", "x%2Fx.pdf", "x%00.pdf", "old.pdf"})
        server.documents[name] = kOld;
    Testing::Write(download.target, "precious");
    Testing::Write(upload.source, kNew.toStdString());
    std::get<0>(operations[0])();
    std::get<0>(operations[1])();

    std::unique_lock lock(server.mutex);
    auto before = state(), after = before;
    const auto& [run, changed, into] = operations[operation];
    after[changed] = into;
    std::tie(fault.method, fault.first, fault.times) = std::tuple(method, number, isOnce ? 1 : 1'000'000);
    server.faults = {{{}, {}, true, true, -100, Server::Closes, at == 6 ? "GET" : ""}, fault};
    server.onCancel = [&job] { job.Cancel(); };
    lock.unlock();
    char outcome = '.';
    bool isLeftBehind = false;
    try {
        run();
    } catch (const CloudError& error) {
        outcome = "S??NRCQWTU?P???X"[int(error.GetFailure().code)];
        isLeftBehind = dynamic_cast<const LeftBehindError*>(&error) != nullptr;
    }
    lock.lock();
    if (method == "PROPFIND" && !isOnce) { // what cannot be looked at is not deleted before the next sign-in
        server.faults.clear();
        lock.unlock();
        cloud.reset();
        Job sweeping;
        open()->SignIn(QStringLiteral("secret"), sweeping);
        lock.lock();
    }
    const auto now = state();
    const char wanted = isOnce && (letter == 'U' || letter == 'W') ? '.' : expected; // which is tried again
    what += (isOnce ? " once, " : ", ") + method + char('0' + operation) + outcome + now.keys().join(' ');
    const bool mayEndWell = letter == 'X' || (isOnce && letter != '!');
    EXPECT_TRUE(outcome == wanted || (mayEndWell && outcome == '.')) << what.data();
    EXPECT_TRUE(now == after || (now == before && outcome != '.')) << what.data();
    EXPECT_EQ(isLeftBehind, operation == 6 && now == after && outcome != '.') << what.data();
}

TEST(WebDavFaults, EndWell)
{
    for (const auto& trouble : Troubles()) {
        std::vector<std::future<void>> checks; // each is waited for at its end
        for (std::size_t i = 0; i < 2 * std::size(kMoments); ++i)
            checks.push_back(std::async(std::launch::async, Check, trouble, i / 2, i % 2 == 0));
    }
}

TEST(WebDavFaults, NothingIsToldToWhomARedirectNames)
{
    for (const char* method : {"PROPFIND", "GET", "PUT", "MOVE", "DELETE"}) {
        Server server, trap;
        const Testing::TemporaryFolder local;
        WebDavTransport cloud({}, *WebDavAddress::Parse(server.origin + "/dav/"), local.Path() / "cache");
        KnownTraits('\0' + QByteArray::fromStdString(server.origin + "/dav/"), local.Path() / "cache")
            .Remember({});
        Job job;
        server.documents["old.pdf"] = trap.documents["old.pdf"] = kOld;
        cloud.SignIn(QStringLiteral("secret"), job);
        Testing::Write(local.Path() / "new.pdf", "new");
        server.faults = {Says("307\r\nLocation: " + QByteArray::fromStdString(trap.origin) + "/dav/old.pdf")};
        std::tie(server.faults[0].method, server.faults[0].times) = std::tuple(method, 1'000);
        const auto whole = [&] {
            cloud.Fetch({QStringLiteral("old.pdf"), local.Path() / "target.pdf", 0}, job);
            cloud.Store({local.Path() / "new.pdf", {}, {}}, job);
            cloud.Remove(QStringLiteral("old.pdf"), job);
        };
        EXPECT_THROW(whole(), CloudError) << method;
        EXPECT_EQ(trap.heard, "");
        EXPECT_EQ(server.documents.size(), 2 + (*method == 'D')) << method;
    }
}

TEST(WebDavFaults, ThePartOfAnotherVersionIsNotTakenForTheRest)
{
    Server server;
    const Testing::TemporaryFolder local;
    WebDavTransport cloud({}, *WebDavAddress::Parse(server.origin + "/dav/"), local.Path() / "cache");
    Job job;
    server.documents["old.pdf"] = kOld;
    cloud.SignIn(QStringLiteral("secret"), job);
    server.faults = {
        {{}, {}, true, true, -100, Server::Closes, "GET"},
        Says("206\r\nETag: \"9\"\r\nContent-Range: bytes 39900-39999/40000", QByteArray(100, 'y'))};
    std::tie(server.faults[1].method, server.faults[1].first) = std::tuple("GET", 2);
    cloud.Fetch({QStringLiteral("old.pdf"), local.Path() / "target.pdf", 0}, job);
    EXPECT_EQ(*Tests::ReadFile(local.Path() / "target.pdf"), kOld);
    EXPECT_EQ(server.heard.count("\r\nRange: bytes=39900-\r\n"), 1);
}

TEST(WebDavFaults, WhatHasChangedSinceItWasSeenIsNeitherReplacedNorRemoved)
{
    Server server;
    const Testing::TemporaryFolder local;
    WebDavTransport cloud({}, *WebDavAddress::Parse(server.origin + "/dav/"), local.Path() / "cache");
    Job job;
    server.documents["old.pdf"] = kOld;
    Testing::Write(local.Path() / "new.pdf", "new");
    cloud.SignIn(QStringLiteral("secret"), job);
    cloud.List(job);
    server.documents["old.pdf"] = "of somebody else";
    const auto expectConflict = [](const std::function<void()>& step) {
        try {
            step();
            ADD_FAILURE() << "it was done";
        } catch (const CloudError& error) {
            EXPECT_EQ(error.GetFailure().code, FailureCode::Conflict);
        }
    };
    expectConflict([&] { cloud.Store({local.Path() / "new.pdf", QStringLiteral("old.pdf"), {}}, job); });
    expectConflict([&] { cloud.Remove(QStringLiteral("old.pdf"), job); });
    EXPECT_EQ(server.documents["old.pdf"], "of somebody else");
}

TEST(RetryDelay, GrowsObeysTheServerAndEnds)
{
    using std::chrono::seconds;
    const NetworkLimits limits; // half a second first, three times
    const std::tuple<int, std::optional<seconds>, double, int> cases[] = {
        {0, {}, 0.0, 250}, {0, {}, 1.0, 750},          {1, {}, 0.5, 1000},        {2, {}, 0.5, 2000},
        {3, {}, 0.5, -1},  {0, seconds(7), 0.5, 7000}, {0, seconds(0), 0.5, 500}, {0, seconds(61), 0.5, -1}};
    for (const auto& [repetitions, retryAfter, jitter, expected] : cases) {
        const auto delay = RetryDelay(limits, repetitions, retryAfter, jitter);
        EXPECT_EQ(delay ? delay->count() : -1, expected) << repetitions;
    }
}

} // namespace
} // namespace Orvane::Social
