#include "support/ScriptedCloud.h"

namespace Orvane::Social {
namespace {

using WebDavTransportTest = Tests::ScriptedCloudTest;

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

TEST_F(WebDavTransportTest, ThePartOfAnotherVersionIsNotTakenForTheRest)
{
    server.documents["old.pdf"] = QByteArray(40'000, 'x');
    Open();
    SetFault({{}, {}, true, true, -100, Tests::ScriptedServer::Closes}, "GET");
    SetFault(Says("206\r\nETag: \"9\"\r\nContent-Range: bytes 39900-39999/40000", QByteArray(100, 'y')),
             "GET", 1, 2);
    EXPECT_EQ(Fetch(), std::string(40'000, 'x'));
    EXPECT_EQ(server.heard.count("\r\nRange: bytes=39900-\r\n"), 1);
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
