#include "support/ScriptedCloud.h"

#include <OrvaneCloudProtocol/transports/webdav/SeenVersions.h>

#include <QCryptographicHash>

namespace Orvane::Social {
namespace {

using WebDavTransportTest = Tests::ScriptedCloudTest;

QByteArray Md5(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex();
}

TEST_F(WebDavTransportTest, NoTextOfTheServerBecomesAHeaderOfOurs)
{
    constexpr int kCut = -50; // a download resumes then, with the tag that it was given
    const std::pair<const char*, Fault> wordsOfTheServer[] = {
        {"PROPFIND", {"<getetag>\"", "<getetag>\"&#13;&#10;Evil: 1&#13;&#10;"}},
        {"PROPFIND", Says("302\r\nLocation: /dav/old.pdf\rEvil: 1")},
        {"GET", {"ETag: \"", "ETag: \"\rEvil: 1\r", true, true, kCut, Tests::ScriptedServer::Closes}},
        {"GET", Says("302\r\nLocation: /dav/old.pdf?\rEvil: 1")},
    };
    server.honoursIf = true;
    for (const auto& [method, words] : wordsOfTheServer) {
        server.faults.clear();
        for (const char* name : {"old.pdf", "old%0D%0AEvil%3A%201.pdf"})
            server.documents[name] = QByteArray(100, 'x');
        OpenKnowing({true, true, true, true, true, true, true, true});
        SetFault(words, method, *method == 'G' ? 1 : 1'000);
        Outcome([this] { return std::to_string(cloud->List(job).size()); });
        for (const auto& id : {kOld, QStringLiteral("old%0D%0AEvil%3A 1.pdf")}) {
            Fetch(id);
            Store(id);
            Remove(id);
        }
        EXPECT_FALSE(server.heard.replace('\r', '\n').contains("\nEvil: 1")) << words.to.data();
    }
}

TEST_F(WebDavTransportTest, ADocumentIsFetchedInTheSizeThatIsExpected)
{
    const QByteArray longer = "somebody has made it longer";
    server.documents["old.pdf"] = longer;
    EXPECT_EQ(Fetch(kOld, 3), Code(FailureCode::Conflict));
    EXPECT_EQ(Heard("GET"), 1) << "it was not asked for again";
    Open();
    EXPECT_EQ(Fetch(kOld, 3), Code(FailureCode::Conflict));
    EXPECT_EQ(Heard("GET"), 1);
    EXPECT_EQ(Fetch(kOld, longer.size()), longer.toStdString());
    server.documents["old.pdf"] = longer + longer;
    EXPECT_EQ(Fetch(), (longer + longer).toStdString()) << "it was listed with another size, but has changed";
    SetFault({"<getcontentlength>", "<getcontentlength>-"}, "PROPFIND", 1'000);
    SetFault({"Content-Length", "X-Length", true, true, 1 << 30, Tests::ScriptedServer::Closes}, "GET",
             1'000);
    Open();
    EXPECT_EQ(Fetch(), (longer + longer).toStdString()) << "no size is known";
}

TEST_F(WebDavTransportTest, WhatSomebodyElseChangesIsNeitherReplacedNorRemoved)
{
    const QByteArray theirs = "of somebody else";
    for (const bool honoursIf : {true, false}) {
        server.honoursIf = honoursIf;
        for (const bool isKnownToHeed : {true, false}) {
            OpenKnowing({true, true, isKnownToHeed && honoursIf, true, true, true, true, true});
            server.onRequest = nullptr;
            server.documents["old.pdf"] = theirs; // between the listing and the change
            EXPECT_EQ(Store(kOld), Code(FailureCode::Conflict));
            EXPECT_EQ(Remove(), Code(FailureCode::Conflict));

            server.documents["old.pdf"] = "old";
            Open();
            server.onRequest = [&](const QByteArray& method, const QByteArray&) {
                if (method == "PUT") // while the replacement is sent
                    server.documents["old.pdf"] = theirs;
            };
            EXPECT_EQ(Store(kOld), Code(FailureCode::Conflict));
            EXPECT_EQ(server.documents["old.pdf"], theirs);
            EXPECT_EQ(server.documents.size(), 2) << "nothing of ours is left";
            server.documents["old.pdf"] = "old";
            (void)cloud->List(job);
            server.onRequest = [&](const QByteArray& method, const QByteArray&) {
                if (method == "DELETE" && honoursIf) // without that nothing can help it
                    server.documents["old.pdf"] = theirs;
            };
            EXPECT_EQ(Remove(), honoursIf ? Code(FailureCode::Conflict) : "removed");
            server.documents["old.pdf"] = "old";
        }
    }
}

TEST_F(WebDavTransportTest, AnUploadFailsWhenTheServerHasStoredOtherBytes)
{
    OpenKnowing({true, true, true, true, true, true, true, true});
    for (const auto& replaced : {QString(), kOld}) {
        server.faults.clear();
        SetFault({"<getetag>", "<checksums xmlns=\"http://owncloud.org/ns\"><checksum>MD5:"
                               "d41d8cd98f00b204e9800998ecf8427e</checksum></checksums><getetag>"},
                 "PROPFIND", 1'000);
        EXPECT_EQ(Store(replaced), Code(FailureCode::Protocol));
        EXPECT_EQ(server.documents, (Tests::ScriptedServer::Texts{{"", ""}, {"old.pdf", "old"}}));
    }
}

TEST_F(WebDavTransportTest, ANumberedNameHasNoMoreBytesThanAServerTakes)
{
    OpenKnowing({true, true, true, true, true, true, true, true});
    std::string accented = "ab";
    for (int letters = 0; letters < 124; ++letters)
        accented += "\u00e9";
    const std::pair<std::string, std::string> cases[] = {
        {std::string(251, 'a') + ".pdf", std::string(247, 'a') + " (2).pdf"},
        {accented + "c.pdf", accented.substr(0, 246) + " (2).pdf"}, // no half of a letter
    };
    for (const auto& [name, numbered] : cases) {
        ASSERT_EQ(name.size(), 255);
        Testing::Write(local.Path() / name, "new bytes");
        EXPECT_EQ(Store({}, name), name);
        EXPECT_EQ(Store({}, name), numbered);
    }
}

TEST_F(WebDavTransportTest, AFullCloudIsNotOneWithoutALimit)
{
    struct Figures
    {
        QByteArray properties;
        std::pair<qint64, qint64> shown; ///< KiB used and allowed
    };
    const auto used = [](const char* bytes) {
        return QByteArray("<quota-used-bytes>") + bytes + "</quota-used-bytes>";
    };
    const auto available = [](const char* bytes) {
        return QByteArray("<quota-available-bytes>") + bytes + "</quota-available-bytes>";
    };
    const Figures cases[] = {
        {used("4096") + available("0"), {4, 4}},
        {used("0") + available("0"), {0, 1}}, // 0 would mean "without a limit"
        {used("4096") + available("-3"), {4, 0}},
        {used("4096"), {4, 0}},
        {used("-1") + available("1024"), {3, 4}}, // the sum of the sizes
        {available("1024"), {3, 4}},
        {used("") + available("x"), {3, 0}},
        {used("9223372036854775807") + available("9223372036854775807"), {2147483647, 2147483647}},
    };
    server.documents["old.pdf"] = QByteArray(3'072, 'x');
    for (const auto& [properties, shown] : cases) {
        server.faults.clear();
        SetFault({"<resourcetype>", properties + "<resourcetype>"}, "PROPFIND", 1'000);
        EXPECT_EQ(cloud->Quota(job), shown) << properties.data();
    }
}

TEST_F(WebDavTransportTest, WhateverComesBetweenTheWholeArrivesAndItsHashIsRemembered)
{
    const QByteArray bytes(40'000, 'x');
    const Fault betweens[] = {
        Says("206\r\nETag: \"9\"\r\nContent-Range: bytes 39900-39999/40000", QByteArray(100, 'y')),
        Says("404"),
        Says("200\r\nETag: \"40000\"", bytes),
    };
    server.documents["old.pdf"] = bytes;
    for (const auto& between : betweens) {
        server.faults.clear();
        server.heard.clear();
        cloud.reset();
        std::filesystem::remove_all(cache);
        Open();
        SetFault({{}, {}, true, true, -100, Tests::ScriptedServer::Closes}, "GET");
        SetFault(between, "GET", 1, 2);
        EXPECT_EQ(Fetch(), bytes.toStdString());
        EXPECT_EQ(server.heard.count("\r\nRange: bytes=39900-\r\n"), 1);
        Open();
        EXPECT_EQ(cloud->Info(kOld, job).md5Hash.toLatin1(), Md5(bytes)) << "of what has arrived before";
    }
}

TEST_F(WebDavTransportTest, ADownloadThatGetsOnMayBreakAnyNumberOfTimes)
{
    const QByteArray bytes(4'000'000, 'x');
    server.documents["old.pdf"] = bytes;
    limits.stall = NetworkLimits::Milliseconds(20'000); // none of it is to look like a stall
    Open();
    SetFault({{}, {}, true, true, 1'200'000, Tests::ScriptedServer::Closes}, "GET", 3);
    EXPECT_EQ(Fetch(), bytes.toStdString());
    EXPECT_EQ(Heard("GET"), 4);
}

TEST_F(WebDavTransportTest, AReplacementThatCouldNotBeLookedAtIsNoChangeOfSomebodyElse)
{
    OpenKnowing({true, true, true, true, true, true, true, true});
    SetFault(Says("403"), "PROPFIND", 1, 4); // the look at the outcome
    EXPECT_EQ(Store(kOld), Code(FailureCode::Refused));
    EXPECT_EQ(server.documents["old.pdf"], "new bytes");
    EXPECT_EQ(Store(kOld), "old.pdf");
}

TEST_F(WebDavTransportTest, AnotherDocumentOfTheSameSizeIsNotTakenForTheOneThatWasMoved)
{
    using Faults = std::vector<Fault>;
    const auto dated = [](const QByteArray& day, int first) {
        const auto date = "<getlastmodified>" + day + " Feb 2024 23:59:59 GMT</getlastmodified>";
        Fault fault{"<getetag>\"", date + "<getetag>none"};
        std::tie(fault.method, fault.times, fault.first) = std::tuple("PROPFIND", 1'000, first);
        return fault;
    };
    Fault otherTag{"<getetag>\"", "<getetag>\"9"}, refusal = Says("403");
    std::tie(otherTag.method, otherTag.times, otherTag.first) = std::tuple("PROPFIND", 1'000, 2);
    std::tie(refusal.method, refusal.first) = std::tuple("PROPFIND", 2);
    const std::pair<Faults, std::string> cases[] = {
        {{otherTag}, "new (2).pdf"},
        {{dated("Wed, 28", 1), dated("Thu, 29", 2)}, "new (2).pdf"}, // a server without tags
        {{otherTag, refusal}, Code(FailureCode::Refused)},
    };
    for (const auto& [faults, outcome] : cases) {
        OpenKnowing({true, true, true, true, true, false, true, true});
        server.faults = faults;
        bool isMoved = false;
        server.onRequest = [&](const QByteArray& method, const QByteArray&) {
            if (std::exchange(isMoved, method == "MOVE"))
                server.documents["new.pdf"] = "bytes new"; // somebody else's
        };
        EXPECT_EQ(Store(), outcome);
        EXPECT_EQ(server.documents["new.pdf"], "bytes new");
        server.onRequest = nullptr;
        server.documents = {{"", ""}, {"old.pdf", "old"}};
    }
}

TEST_F(WebDavTransportTest, WhatTheServerStoresOnlyAfterItsConnectionBrokeIsSweptLater)
{
    OpenKnowing({true, true, true, true, true, true, true, true});
    for (const bool isLarger : {false, true}) { // then it is not what was sent
        QByteArray temporary;
        server.onRequest = [&](const QByteArray& method, const QByteArray& name) {
            if (method == "PUT")
                temporary = name;
        };
        SetFault({{}, {}, false, true, 0, Tests::ScriptedServer::Closes}, "PUT", 1'000);
        EXPECT_EQ(Store(), Code(FailureCode::Network));
        server.faults.clear();
        server.documents[temporary] = isLarger ? "not the new bytes" : "new";
        Open();
        EXPECT_EQ(server.documents.contains(temporary), isLarger);
        EXPECT_EQ(server.documents.size(), isLarger ? 3 : 2);
    }
}

TEST_F(WebDavTransportTest, AListingHoldsWhatIsThereAndNothingOfAnotherHost)
{
    const QByteArray found = "<status>HTTP/1.1 200 x</status></propstat></response>";
    const auto self = "<response><href>/dav/</href><propstat><prop><resourcetype><collection/>"
                      "</resourcetype></prop>" +
                      found;
    const auto member = [&](const QByteArray& origin) {
        return "<response><href>" + origin +
               "/dav/a.pdf</href><propstat><prop><creationdate>2001-02-03T04:05:06Z</creationdate>"
               "<getlastmodified>Thu, 29 Feb 2024 23:59:59 GMT</getlastmodified></prop>" +
               found;
    };
    const auto unreadable = [](const QByteArray& status) {
        return "<response><href>/dav/a.pdf</href><status>HTTP/1.1 " + status + " x</status></response>";
    };
    const std::pair<QByteArray, std::string> cases[] = {
        {self + member(""), "2001-02-03T04:05:06Z 2024-02-29T23:59:59Z"},
        {member("http://elsewhere.test") + self, ""},
        {self + unreadable("404"), ""},
        {self + unreadable("403"), Code(FailureCode::Unavailable)},
    };
    for (const auto& [responses, outcome] : cases) {
        server.faults.clear();
        SetFault(Says("207", "<multistatus xmlns=\"DAV:\">" + responses + "</multistatus>"), "PROPFIND");
        const auto list = [this] {
            const auto file = cloud->List(job).value(0);
            return file.id.isEmpty() ? ""
                                     : (file.createdAt + QLatin1Char(' ') + file.modifyTime).toStdString();
        };
        EXPECT_EQ(Outcome(list), outcome) << responses.data();
    }
}

TEST_F(WebDavTransportTest, ASignInThatFailsLeavesTheOneBefore)
{
    server.documents["x/"] = "";
    const auto signIn = [this](const char* token) {
        return Outcome([&] { return cloud->SignIn(QString::fromUtf8(token), job), std::string("done"); });
    };
    SetFault(Says("302\r\nLocation: /dav/x/"), "PROPFIND");
    SetFault({"<resourcetype>", "<resourcetype><collection/>"}, "PROPFIND", 1'000, 2);
    EXPECT_EQ(signIn("secret"), Code(FailureCode::NotFound)) << "uploads would not follow";
    server.faults.clear();
    EXPECT_EQ(signIn("wrong"), Code(FailureCode::SignInNeeded));
    EXPECT_EQ(Fetch(), "old");
}

TEST(SeenVersions, AreThoseOfTheListingButForWhatWasNotedMeanwhile)
{
    const auto version = [](qint64 size) {
        DocumentVersion made;
        made.size = size;
        return made;
    };
    const auto sizeOf = [](const std::optional<DocumentVersion>& seen) {
        return seen ? seen->size.value_or(-1) : 0;
    };
    SeenVersions seen;
    for (const char* name : {"before", "gone", "forgotten"})
        seen.Note(name, version(1));
    auto listing = seen.BeginListing();
    for (const char* name : {"before", "meanwhile"})
        EXPECT_TRUE(listing.Add(name, version(2)));
    seen.Note("meanwhile", version(3));
    seen.Forget("forgotten");
    EXPECT_EQ(sizeOf(seen.Find("forgotten")), 0);
    seen.NoteListing(std::move(listing));
    const std::tuple<const char*, qint64, qint64> expected[] = {
        {"before", 2, 2}, {"gone", 0, 0}, {"meanwhile", 3, 0}};
    for (const auto& [name, known, listed] : expected) {
        EXPECT_EQ(sizeOf(seen.Find(name)), known) << name;
        EXPECT_EQ(sizeOf(seen.TakeListed(name)), listed) << name;
        EXPECT_EQ(sizeOf(seen.TakeListed(name)), 0) << name << " is asked for again";
    }
}

TEST(WebDavRedirect, TellsNothingToAHostWhoseNameOnlyBeginsLikeTheServers)
{
    using Server = Tests::ScriptedServer;
    for (const char* method : {"PROPFIND", "GET", "PUT", "MOVE", "DELETE"}) {
        std::unique_ptr<Server> trap, server;
        do {
            trap = std::make_unique<Server>();
            server = std::make_unique<Server>(trap->port / 10); // the trap's without its last digit
        } while (server->origin.empty());
        const Testing::TemporaryFolder local;
        const auto address = QByteArray::fromStdString(server->origin + "/dav/");
        KnownTraits('\0' + address, local.Path() / "cache").Remember({});
        WebDavTransport cloud({}, *WebDavAddress::Parse(address.toStdString()), local.Path() / "cache");
        Job job;
        server->documents["old.pdf"] = trap->documents["old.pdf"] = "old";
        cloud.SignIn(QStringLiteral("secret"), job);
        Testing::Write(local.Path() / "new.pdf", "new");
        Server::Fault redirect{{}, "HTTP/1.1 307\r\nContent-Length: 0\r\nLocation: ", false};
        redirect.to += QByteArray::fromStdString(trap->origin) + "/dav/old.pdf\r\n\r\n";
        std::tie(redirect.method, redirect.times) = std::tuple(method, 1'000);
        server->faults = {redirect};
        const auto whole = [&] {
            cloud.Fetch({QStringLiteral("old.pdf"), local.Path() / "target.pdf", 0}, job);
            cloud.Store({local.Path() / "new.pdf", {}, {}}, job);
            cloud.Remove(QStringLiteral("old.pdf"), job);
        };
        EXPECT_THROW(whole(), CloudError) << method;
        EXPECT_EQ(trap->heard, "");
        EXPECT_EQ(server->documents.size(), 2 + (*method == 'D')) << method;
    }
}

} // namespace
} // namespace Orvane::Social
