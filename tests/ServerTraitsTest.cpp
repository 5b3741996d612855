#include "support/ScriptedCloud.h"

namespace Orvane::Social {
namespace {

using ServerTraitsTest = Tests::ScriptedCloudTest;
using Fault = Tests::ScriptedServer::Fault;

TEST_F(ServerTraitsTest, AreLearntOnceAndAgainWhenTheyAreOldOrContradicted)
{
    for (const bool keepsRule : {true, false}) {
        for (const bool honoursIf : {true, false}) {
            server.keepsOverwriteRule = keepsRule;
            server.honoursIf = honoursIf;
            cloud.reset();
            std::filesystem::remove_all(cache);
            Open();
            Store();
            const auto traits = *Traits().Find();
            EXPECT_EQ(traits.keepsOverwriteRule, keepsRule);
            EXPECT_EQ(traits.honoursIfOnMove, honoursIf);
            EXPECT_TRUE(traits.reportsCreation && traits.keepsTagOnMove && traits.servesRanges);
            EXPECT_FALSE(traits.keepsProperties || traits.tellsQuota) << "the server only says so";
        }
    }
    const auto requestsOfOneUpload = [this] {
        Open();
        const int before = Heard("PUT");
        Store();
        return Heard("PUT") - before;
    };
    EXPECT_EQ(requestsOfOneUpload(), 1) << "a later client with the same cache";
    for (const auto trait : {&ServerTraits::servesRanges, &ServerTraits::keepsTagOnMove})
        Traits().Contradict(trait);
    EXPECT_EQ(requestsOfOneUpload(), 1) << "not within an hour, however often it is contradicted";
    using std::chrono::hours;
    Traits().Remember(*Traits().Find(), KnownTraits::Clock::now() - hours(7 * 24 + 1));
    EXPECT_GT(requestsOfOneUpload(), 1);
    Traits().Remember(*Traits().Find(), KnownTraits::Clock::now() - hours(2));
    Traits().Contradict(&ServerTraits::servesRanges);
    EXPECT_GT(requestsOfOneUpload(), 1);
    EXPECT_TRUE(Traits().Has(&ServerTraits::servesRanges));
    Traits().Remember(*Traits().Find(), KnownTraits::Clock::now() + hours(1));
    EXPECT_GT(requestsOfOneUpload(), 1) << "the clock has been set back";
    const auto file = cache / "servers" / *Tests::NamesIn(cache / "servers").begin();
    EXPECT_EQ(int(std::filesystem::status(file).permissions()), 0600);
    Testing::Write(file, "{\"learntAt\": 1");
    EXPECT_EQ(Traits().Find(), std::nullopt);
}

TEST_F(ServerTraitsTest, WithoutTheOverwriteRuleATakenNameStaysWithItsDocument)
{
    server.keepsOverwriteRule = false;
    server.documents["new.pdf"] = "of somebody else";
    EXPECT_EQ(Store(), "new (2).pdf");
    EXPECT_EQ(server.documents["new.pdf"], "of somebody else");
}

TEST_F(ServerTraitsTest, AServerThatDoesNotReadEscapesGetsNoNamesThatNeedThem)
{
    server.readsEscapes = false;
    EXPECT_EQ(Store(), "new.pdf");
    EXPECT_EQ(Store(), Code(FailureCode::Unsupported)) << "\"new (2).pdf\" has a space";
    EXPECT_EQ(server.documents.size(), 3) << "nothing of ours is left";
}

TEST_F(ServerTraitsTest, ADocumentThatIsReplacedInTheSameMomentByAnotherClientIsKept)
{
    server.honoursIf = true;
    ASSERT_EQ(Store(), "new.pdf");
    server.onRequest = [this](const QByteArray& method, const QByteArray&) {
        if (method == "MOVE")
            server.documents["old.pdf"] = "of somebody else";
    };
    EXPECT_EQ(Store(kOld), Code(FailureCode::Conflict));
    EXPECT_EQ(server.documents["old.pdf"], "of somebody else");
}

TEST_F(ServerTraitsTest, AServerThatRefusesItsOwnTagsIsStillOfUse)
{
    server.honoursIf = true;
    ASSERT_EQ(Store(), "new.pdf");
    SetFault(Says("412"), "MOVE");
    EXPECT_EQ(Store(kOld), "old.pdf");
    EXPECT_EQ(server.documents["old.pdf"], "new bytes");
    EXPECT_FALSE(Traits().Has(&ServerTraits::honoursIfOnMove));
    SetFault(Says("412"), "DELETE");
    EXPECT_EQ(Remove(), "removed");
    EXPECT_FALSE(server.documents.contains("old.pdf"));
}

TEST_F(ServerTraitsTest, AnUploadThatShowsAServerToBeOtherwiseIsRemembered)
{
    OpenKnowing({true, true, true, true, true, true, true, true});
    server.keepsOverwriteRule = false;
    server.documents["new.pdf"] = "of somebody else"; // nothing can help it this time
    SetFault({"<getetag>\"", "<getetag>\"9"}, "PROPFIND", 1'000, 2);
    EXPECT_EQ(Store(), "new.pdf");
    for (const auto trait :
         {&ServerTraits::keepsOverwriteRule, &ServerTraits::keepsTagOnMove, &ServerTraits::keepsProperties})
        EXPECT_FALSE(Traits().Has(trait));
    server.documents["new.pdf"] = "of somebody else again";
    EXPECT_EQ(Remove(QStringLiteral("new.pdf")), Code(FailureCode::Conflict)) << "another one was uploaded";
}

TEST_F(ServerTraitsTest, AFailureInsideAMultiStatusCounts)
{
    const auto says = [](const QByteArray& status) {
        return Says("207", "<multistatus xmlns=\"DAV:\"><response><href>/dav/a</href>"
                           "<status>HTTP/1.1 424 Failed Dependency</status></response><response>"
                           "<href>/dav/b</href><status>HTTP/1.1 " +
                               status + " x</status></response></multistatus>");
    };
    ASSERT_EQ(Store(), "new.pdf");
    server.documents.remove("new.pdf");
    SetFault(says("412"), "MOVE");
    EXPECT_EQ(Store(), "new (2).pdf") << "the server has said that the first name is taken";
    SetFault(says("507"), "MOVE");
    EXPECT_EQ(Store(), Code(FailureCode::QuotaExceeded));
    SetFault(says("403"), "DELETE");
    EXPECT_EQ(Remove(), Code(FailureCode::Refused));
    SetFault({{}, Says("207", "no multi-status").to}, "DELETE");
    EXPECT_EQ(Remove(), "removed") << "it has been asked what has become of it";
}

TEST_F(ServerTraitsTest, ARivalThatComesWhileAChangeWaitsIsSeen)
{
    ASSERT_EQ(Store(), "new.pdf");
    server.keepsOverwriteRule = false;
    for (const char* busy : {"503", "423"}) {
        Traits().Remember({false, true});
        Open();
        int changes = 0;
        server.onRequest = [&](const QByteArray& method, const QByteArray&) {
            if ((method == "MOVE" || method == "DELETE") && ++changes == 1)
                server.documents["old.pdf"] = "of somebody else";
        };
        server.documents["old.pdf"] = "old";
        (void)cloud->List(job);
        SetFault(Says(busy), "MOVE");
        EXPECT_EQ(Store(kOld), Code(FailureCode::Conflict));
        changes = 0;
        server.documents["old.pdf"] = "old";
        (void)cloud->List(job);
        SetFault(Says(busy), "DELETE");
        EXPECT_EQ(Remove(), Code(FailureCode::Conflict));
        EXPECT_EQ(server.documents["old.pdf"], "of somebody else");

        server.documents.remove("new.pdf");
        server.onRequest = [&](const QByteArray& method, const QByteArray&) {
            if (method == "MOVE")
                server.documents["new.pdf"] = "of somebody else";
        };
        SetFault(Says(busy), "MOVE");
        EXPECT_EQ(Store(), "new (2).pdf");
        EXPECT_EQ(server.documents["new.pdf"], "of somebody else");
        server.documents = {{"", ""}};
    }
}

TEST_F(ServerTraitsTest, NothingIsDeletedWithoutALook)
{
    Traits().Remember({});
    Open();
    const int before = Heard("DELETE");
    SetFault(Says("405"), "PUT", 100);
    EXPECT_EQ(Store(), Code(FailureCode::Refused)) << "a refusal has stored nothing";

    server.faults.clear();
    const Fault isACollection{"<resourcetype></resourcetype>", "<resourcetype><collection/></resourcetype>"};
    const Fault isTooLarge{"<getcontentlength>", "<getcontentlength>999"};
    const Fault isOfNoSize{"getcontentlength>", "length>"}, isOfNoType{"resourcetype>", "type>"};
    for (const auto& found : {isACollection, isTooLarge, isOfNoSize, isOfNoType}) {
        server.faults.clear();
        SetFault({{}, {}, true, true, 0, Tests::ScriptedServer::Closes}, "PUT", 100);
        SetFault(found, "PROPFIND", 100);
        EXPECT_NE(Store(), "new.pdf");
    }
    server.faults.clear();
    server.mapsUnknownNames = true;
    Open();
    SetFault(Says("500"), "PUT", 100);
    EXPECT_EQ(Store(), Code(FailureCode::Unavailable));
    EXPECT_EQ(Heard("DELETE"), before);
    EXPECT_EQ(server.documents["old.pdf"], "old");
}

} // namespace
} // namespace Orvane::Social
