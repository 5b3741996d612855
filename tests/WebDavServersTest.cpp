#include "support/PdfSamples.h"
#include "support/ProtocolClient.h"
#include "support/ScriptedServer.h"
#include "support/WebDavClouds.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Orvane::Tests {
namespace {

namespace fs = std::filesystem;

/// The reason why the request fails; nothing when it does not.
std::optional<FailureCode> FailureOf(const ProtocolClient& client, const SharedAnswer& answer)
{
    const bool isSuccess = WaitFor(answer) && answer->IsSuccess();
    return isSuccess ? std::nullopt : std::make_optional(client.Reason(answer->operation));
}

struct SignedInClient : ProtocolClient
{
    explicit SignedInClient(const WebDavCloud& cloud, const std::string& place = "dav")
        : ProtocolClient(cloud.AddressAt(place), cloud.Account())
    {
        EXPECT_EQ(FailureOf(*this, SignIn(cloud.Token())), std::nullopt);
    }

    const Testing::TemporaryFolder local;
};

/// The size of the largest file under a hidden name.
std::uintmax_t PartIn(const fs::path& folder)
{
    std::uintmax_t largest = 0;
    for (const auto& name : NamesIn(folder)) {
        std::error_code isNoFile;
        const auto size = fs::file_size(folder / name, isNoFile);
        largest = name.front() == '.' && !isNoFile ? std::max(largest, size) : largest;
    }
    return largest;
}

class WebDavServers : public testing::TestWithParam<const char*>
{};

INSTANTIATE_TEST_SUITE_P(Kinds, WebDavServers, testing::Values("apache", "rclone"));

TEST_P(WebDavServers, KilledInTheMiddleLeaveNothingHalfAndServeTheSameRequestOnceTheyAreBack)
{
    const std::string bytes(40'000'000, 'x');
    for (const bool isUpload : {true, false}) {
        for (bool isInTheMiddle = false; !isInTheMiddle;) {
            const WebDavCloud cloud(GetParam());
            SignedInClient client(cloud);
            const auto source = (isUpload ? client.local.Path() : cloud.Folder()) / "a.pdf";
            const auto target = (isUpload ? cloud.Folder() : client.local.Path()) / "a.pdf";
            Testing::Write(source, bytes);
            const auto answer =
                isUpload ? client.Upload(source) : client.Download(QStringLiteral("a.pdf"), target);
            while (PartIn(target.parent_path()) == 0 && answer->results == 0)
                QTest::qWait(1);
            cloud.server.Tell("kill");
            const auto part = PartIn(target.parent_path());
            isInTheMiddle = part > 0 && part < bytes.size() && answer->results == 0;
            EXPECT_TRUE(!isInTheMiddle || !fs::exists(target));
            cloud.server.Tell("start");
            EXPECT_EQ(FailureOf(client, answer), std::nullopt);
            EXPECT_TRUE(Testing::Read(target) == bytes);
        }
    }
}

TEST_P(WebDavServers, ATokenThatIsWrongOrRevokedEndsTheSignInAndIsWrittenNowhere)
{
    WebDavCloud cloud(GetParam());
    SignedInClient client(cloud);
    const QString token = cloud.Token();
    cloud.Put("a.pdf", OnePagePdf(100, 100));
    EXPECT_EQ(FailureOf(client, client.Preview(QStringLiteral("a.pdf"))), std::nullopt);
    Testing::Write(cloud.server.folder / "token", token.toStdString() + '2');
    cloud.server.Tell("kill"); // rclone reads it at the start only
    cloud.server.Tell("start");
    for (const bool isSignIn : {false, true}) {
        const auto answer = isSignIn ? client.SignIn(token) : client.List();
        ASSERT_EQ(FailureOf(client, answer), FailureCode::SignInNeeded);
        EXPECT_FALSE(client->loggedIn());
        EXPECT_FALSE(client->LastFailure(answer->operation)->detail.contains(token));
    }
    for (const auto& file : fs::recursive_directory_iterator(client.CacheFolder())) {
        const auto content = file.is_regular_file() ? Testing::Read(file) : std::string();
        EXPECT_EQ(content.find(token.toStdString()), std::string::npos) << file;
    }
}

TEST_P(WebDavServers, AreOfUseAfterMoreFailuresThanTransfersRunAtOnce)
{
    WebDavCloud cloud(GetParam());
    SignedInClient client(cloud);
    cloud.Put("a.pdf", "whole");
    std::vector<SharedAnswer> failing;
    for (int number = 0; number < 7; ++number)
        failing.push_back(client.Download(QStringLiteral("none.pdf"), client.local.Path() / "none.pdf"));
    const auto last = client.Download(QStringLiteral("a.pdf"), client.local.Path() / "a.pdf");
    for (const auto& answer : failing)
        EXPECT_TRUE(WaitFor(answer) && !answer->IsSuccess());
    EXPECT_EQ(FailureOf(client, last), std::nullopt);
}

TEST_P(WebDavServers, AreFoundToBeAsTheyAre)
{
    const std::map<std::string, const char*> expected{
        {"apache", "honoursIfOnMove keepsOverwriteRule keepsProperties keepsTagOnMove readsEscapes "
                   "reportsCreation servesRanges"},
        {"rclone", "keepsOverwriteRule keepsTagOnMove readsEscapes reportsCreation servesRanges"}};
    const WebDavCloud cloud(GetParam());
    SignedInClient client(cloud);
    Testing::Write(client.local.Path() / "a.pdf", "x");
    EXPECT_EQ(FailureOf(client, client.Upload(client.local.Path() / "a.pdf")), std::nullopt);
    const auto folder = client.CacheFolder() / "servers";
    const auto learnt = QJsonDocument::fromJson(ReadFile(folder / *NamesIn(folder).begin()).value()).object();
    QStringList traits;
    for (auto trait = learnt.begin(); trait != learnt.end(); ++trait)
        if (trait->toBool())
            traits.append(trait.key());
    EXPECT_EQ(traits.join(QLatin1Char(' ')).toStdString(), expected.at(GetParam()));
    EXPECT_EQ(cloud.Names(), std::set<std::string>{"a.pdf"});
}

TEST_P(WebDavServers, AreSweptOfOldTemporariesOnly)
{
    WebDavCloud cloud(GetParam());
    const std::set<std::string> staying{".orvane-cloud-fedcba9876543210.part", ".somebody.part"};
    for (const char* name : {".orvane-cloud-0123456789abcdef.part", ".somebody.part"}) {
        cloud.Put(name, "old");
        fs::last_write_time(cloud.Folder() / name, fs::file_time_type::clock::now() - std::chrono::hours(25));
    }
    cloud.Put(*staying.begin(), "young");
    fs::last_write_time(cloud.Folder() / *staying.begin(),
                        fs::file_time_type::clock::now() - std::chrono::hours(23));
    SignedInClient client(cloud);
    EXPECT_EQ(FailureOf(client, client.List()), std::nullopt);
    EXPECT_EQ(cloud.Names(), staying);
}

TEST(WebDavServer, WhoseCertificateIsSignedByNobodyKnownIsNotTrusted)
{
    const WebDavCloud cloud("apache-tls");
    ProtocolClient client(cloud.Address());
    EXPECT_EQ(FailureOf(client, client.SignIn(cloud.Token())), FailureCode::Untrusted);
}

TEST(WebDavServer, IsNotFollowedFromHttpsToHttp)
{
    const WebDavCloud cloud("apache-tls");
    ProtocolClient client(cloud.AddressAt("plain"), cloud.Account());
    EXPECT_EQ(FailureOf(client, client.SignIn(cloud.Token())), FailureCode::Protocol);
    EXPECT_TRUE(client->LastFailure(Operation::SignIn)->detail.contains(QStringLiteral("307")));
}

TEST(WebDavServer, ThatRefusesAnUploadIsQuotedAndKeepsNothing)
{
    const WebDavCloud cloud("apache");
    for (const char* place : {"ro", "small"}) {
        SignedInClient client(cloud, place);
        Testing::Write(client.local.Path() / "a.pdf", std::string(3'000'000, 'x'));
        EXPECT_EQ(FailureOf(client, client.Upload(client.local.Path() / "a.pdf")), FailureCode::Refused)
            << place;
    }
    EXPECT_TRUE(cloud.Names().empty());
}

TEST(WebDavServer, ThatIgnoresTheRuleOnTakenNamesReplacesNothingAllTheSame)
{
    WebDavCloud cloud("apache");
    cloud.Put("a.pdf", "of somebody else");
    SignedInClient client(cloud, "loose");
    Testing::Write(client.local.Path() / "a.pdf", "ours");
    EXPECT_EQ(FailureOf(client, client.Upload(client.local.Path() / "a.pdf")), std::nullopt);
    EXPECT_EQ(cloud.Names(), (std::set<std::string>{"a (2).pdf", "a.pdf"}));
    EXPECT_EQ(cloud.Read("a.pdf"), QByteArray("of somebody else"));
}

TEST(WebDavServer, TellsOthersTheHashOfADocumentUntilSomebodyOverwritesIt)
{
    WebDavCloud cloud("apache");
    SignedInClient client(cloud), other(cloud);
    Testing::Write(client.local.Path() / "a.pdf", "abc");
    EXPECT_EQ(FailureOf(client, client.Upload(client.local.Path() / "a.pdf")), std::nullopt);
    for (const char* hash : {"900150983cd24fb0d6963f7d28e17f72", ""}) {
        for (auto* const asking : {&client, &other}) {
            const auto list = asking->List();
            EXPECT_EQ(FailureOf(*asking, list), std::nullopt);
            EXPECT_EQ(list->files.value(0).md5Hash, QString::fromUtf8(hash));
        }
        cloud.Put("a.pdf", "xyz");
    }
}

TEST(WebDavServer, ThatIsTooBusyForATransferIsWaitedForAndThatIsSaid)
{
    ScriptedServer server;
    ProtocolClient client(server.origin + "/dav/");
    EXPECT_EQ(FailureOf(client, client.SignIn(QStringLiteral("secret"))), std::nullopt);
    server.documents["old.pdf"] = "old";
    server.faults = {{{}, "HTTP/1.1 503\r\nContent-Length: 0\r\n\r\n"}};
    server.faults[0].method = "GET";
    std::vector<std::pair<long long, FailureCode>> waited;
    QObject::connect(client.operator->(), &Client::Waiting,
                     [&](long long ticket, const auto& why, int) { waited.emplace_back(ticket, why.code); });
    const Testing::TemporaryFolder local;
    const auto answer = client.Download(QStringLiteral("old.pdf"), local.Path() / "target.pdf");
    EXPECT_EQ(FailureOf(client, answer), std::nullopt);
    EXPECT_EQ(waited, (decltype(waited){{answer->ticket, FailureCode::Unavailable}}));
}

} // namespace
} // namespace Orvane::Tests
