#include "support/HelperStandIn.h"
#include "support/PdfSamples.h"
#include "support/ProtocolClient.h"
#include "support/ScriptedServer.h"
#include "support/WebDavClouds.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

#include <map>
#include <sys/stat.h>

namespace Orvane::Tests {
namespace {

using testing::Contains;
using Names = std::set<std::string>;

/// The clouds that must all behave alike.
struct CloudKind
{
    const char* name;
    std::function<std::unique_ptr<CloudUnderTest>()> make;
};

void PrintTo(const CloudKind& kind, std::ostream* stream)
{
    *stream << kind.name;
}

const CloudKind kCloudKinds[] = {
    {"Folder", [] { return std::make_unique<FolderCloud>(); }},
    {"Apache", [] { return std::make_unique<WebDavCloud>("apache"); }},
    {"ApacheTls", [] { return std::make_unique<WebDavCloud>("apache-tls"); }},
    {"Rclone", [] { return std::make_unique<WebDavCloud>("rclone"); }},
};

const QString kSample = QStringLiteral("a.pdf");

QByteArray Bytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int index = 0; index < size; ++index)
        bytes[index] = static_cast<char>(index * 7 + index / 251);
    return bytes;
}

QString Md5(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex());
}

class ProtocolContract : public testing::TestWithParam<CloudKind>
{
protected:
    void SignIn(ProtocolClient& who) { Success(who.SignIn(cloud->Token())); }

    void SignIn() { SignIn(client); }

    /// A local file.
    std::filesystem::path Local(const std::string& name, const QByteArray& bytes = "x") const
    {
        Testing::Write(local.Path() / name, bytes.toStdString());
        return local.Path() / name;
    }

    /// One request of each kind that names a document.
    std::vector<SharedAnswer> AskAbout(ProtocolClient& who, const QString& id, const QString& deletedId) const
    {
        return {who.Download(id, local.Path() / "new.pdf"),
                who.Upload(local.Path() / "local.pdf", {{Client::ID, id}}), who.Preview(id), who.Info(id),
                who.Delete(deletedId)};
    }

    std::vector<SharedAnswer> AskEverything(ProtocolClient& who) const
    {
        auto answers = AskAbout(who, kSample, QStringLiteral("gone.pdf"));
        const auto others = {who.Upload(local.Path() / "local.pdf"), who.List(), who.Quota(), who.UserName(),
                             who.UserPicture()};
        answers.insert(answers.end(), others);
        return answers;
    }

    /// Waits for an answer that must not be a failure.
    static SharedAnswer Success(const SharedAnswer& answer)
    {
        EXPECT_TRUE(WaitFor(answer) && answer->IsSuccess());
        return answer;
    }

    void ExpectFailure(const SharedAnswer& answer, FailureCode reason)
    {
        ASSERT_NE(answer->ticket, INVALID_TICKET);
        ASSERT_TRUE(WaitFor(answer));
        EXPECT_EQ(answer->result, RequestResult::Error);
        EXPECT_EQ(client.Reason(answer->operation), reason);
        EXPECT_THAT(answer->progress, testing::Not(Contains(100)));
        EXPECT_TRUE(answer->stored.id.isEmpty());
    }

    void ExpectRefused(const SharedAnswer& answer, FailureCode reason = FailureCode::InvalidRequest)
    {
        EXPECT_EQ(answer->ticket, INVALID_TICKET);
        EXPECT_EQ(client.Reason(answer->operation), reason);
    }

    /// What an earlier request had to say by mistake would come before the answers of these, of which each
    /// kind waits for its own workers.
    void ExpectNothingElseIsAnswered()
    {
        SignIn();
        cloud->Put("a.pdf", OnePagePdf(100, 100));
        for (int round = 0; round < 3; ++round) { // as many as may run at once
            const auto answers = {client.List(), client.Download(kSample, local.Path() / "last.pdf"),
                                  client.Preview(kSample)};
            for (const auto& answer : answers)
                Success(answer);
        }
    }

    [[nodiscard]] bool AreTemporariesGone() const
    {
        const auto isHidden = [](const auto& name) { return name.front() == '.'; };
        auto names = cloud->Names();
        names.merge(NamesIn(local.Path()));
        return std::none_of(names.begin(), names.end(), isHidden);
    }

    std::unique_ptr<CloudUnderTest> cloud = GetParam().make();
    ProtocolClient client{cloud->Address(), cloud->Account()};
    Testing::TemporaryFolder local;
};

INSTANTIATE_TEST_SUITE_P(Clouds, ProtocolContract, testing::ValuesIn(kCloudKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(ProtocolContract, NothingStartsBeforeSignInOrAfterLogout)
{
    const auto expectRefusals = [this] {
        EXPECT_FALSE(client->loggedIn());
        for (const auto& answer : AskEverything(client))
            ExpectRefused(answer, FailureCode::SignInNeeded);
    };
    ExpectRefused(client.SignIn({}));
    cloud->Put("a.pdf", "x");
    expectRefusals();
    SignIn();
    EXPECT_TRUE(client->loggedIn());
    ExpectFailure(client.UserPicture(), FailureCode::Unsupported);
    const auto again = client.SignIn(cloud->Token());
    client->logout();
    ASSERT_TRUE(WaitFor(again));
    EXPECT_EQ(again->result, RequestResult::Canceled) << "overruled by the logout";
    expectRefusals();
    ExpectNothingElseIsAnswered();
}

TEST_P(ProtocolContract, ParametersThatMakeNoSenseStartNothing)
{
    cloud->Put("a.pdf", "x");
    SignIn();
    Local("local.pdf");
    for (const char* id : {"", "..", "a.pdf/", "../cloud/a.pdf", "..%2Fcloud%2Fa.pdf", "%61.pdf", "notes.txt",
                           ".hidden.pdf"}) {
        SCOPED_TRACE(id);
        for (const auto& answer : AskAbout(client, QString::fromUtf8(id), QString::fromUtf8(id)))
            ExpectRefused(answer);
    }
    for (const char* edge : {"", "0", "-1", "4097", "99999999999", "forty"})
        ExpectRefused(client.Preview(kSample, QString::fromUtf8(edge)));
    ExpectRefused(client.Download(kSample, "relative.pdf"));
    ExpectRefused(client.Download(kSample, local.Path() / ""));
    for (const char* size : {"-1", "many"})
        ExpectRefused(client.Download(kSample, local.Path() / "b.pdf", QString::fromUtf8(size)));
    ExpectRefused(client.Upload({}));
    ExpectNothingElseIsAnswered();
    EXPECT_EQ(cloud->Names(), Names{"a.pdf"});
    EXPECT_EQ(NamesIn(local.Path()), (Names{"last.pdf", "local.pdf"}));
}

TEST_P(ProtocolContract, TicketsCountUpAndEachIsAnsweredOnce)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    cloud->Put("gone.pdf", "x");
    Local("local.pdf");
    const auto signIn = client.SignIn(cloud->Token());
    EXPECT_EQ(signIn->ticket, 1);
    ASSERT_TRUE(WaitFor(signIn));
    long long expected = 1;
    for (const auto& answer : AskEverything(client)) {
        EXPECT_EQ(answer->ticket, ++expected);
        EXPECT_TRUE(WaitFor(answer)) << expected;
    }
    const auto quota = Success(client.Quota())->quota;
    ASSERT_TRUE(quota.contains(QStringLiteral("pdf")));
    const auto [used, allowed] = quota[QStringLiteral("pdf")];
    EXPECT_GE(std::min(used, allowed), 0);
    EXPECT_LE(std::max(used, allowed), 2147483647) << "what the receiver keeps";
}

TEST_P(ProtocolContract, DocumentsComeBackAsTheyWent)
{
    SignIn();
    for (const int size : {0, 256 * 1024 - 1, 256 * 1024, 5 * 1024 * 1024 + 3}) {
        SCOPED_TRACE(size);
        const QByteArray bytes = Bytes(size);
        const std::string name = "Grö\xC3\x9F" + std::to_string(size) + " 100%.pdf";
        const auto up =
            Success(client.Upload(Local(name, bytes), {{Client::MD5_HASH, Md5(bytes).toUpper()}}));
        EXPECT_EQ(cloud->Read(name), bytes);
        EXPECT_EQ(up->stored.fileName.toStdString(), name);
        EXPECT_EQ(up->stored.size, size);

        const auto target = local.Path() / "back.pdf";
        const auto down = Success(client.Download(up->stored.id, target, QString::number(size)));
        EXPECT_EQ(ReadFile(target), bytes);
        const auto info = Success(client.Info(up->stored.id));
        EXPECT_EQ(info->file.md5Hash, Md5(bytes));
        EXPECT_EQ(info->file.versionTag, up->stored.versionTag);
        EXPECT_EQ(QDateTime::fromString(info->file.modifyTime, Qt::ISODate), up->stored.modifyTime);
        EXPECT_EQ(up->stored.downloadUrl.fileName(QUrl::FullyDecoded).toStdString(), name);
        for (const auto& progress : {up->progress, down->progress}) {
            ASSERT_FALSE(progress.empty());
            EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
            EXPECT_EQ(progress.back(), 100);
        }
    }
}

TEST_P(ProtocolContract, TheListHoldsTheDocumentsAsTheyAreNow)
{
    const std::string name = cloud->TakesAnyBytesInNames() ? "a;\xE9.PDF" : "a;%E9.PDF";
    cloud->Put("b.pdf", "bb");
    cloud->Put(name, "a");
    cloud->Put("notes.txt", "no document");
    cloud->Put(".hidden.pdf", "no document");
    SignIn();
    for (const char* content : {"bb", "other"}) {
        cloud->Put("b.pdf", content);
        const auto files = Success(client.List())->files;
        ASSERT_EQ(files.size(), 2);
        const CloudFile& file = files[0];
        EXPECT_EQ(QByteArray::fromPercentEncoding(file.id.toUtf8()).toStdString(), name);
        EXPECT_EQ(file.fileName, QStringLiteral("a;%E9.PDF"));
        EXPECT_EQ(file.size, 1);
        EXPECT_EQ(files[1].id, QStringLiteral("b.pdf"));
        EXPECT_EQ(files[1].md5Hash, cloud->KnowsHashesOfForeignFiles() ? Md5(content) : QString());
        EXPECT_TRUE(file.modifyTime.endsWith(QLatin1Char('Z')));
        const auto written = QDateTime::fromString(file.modifyTime, Qt::ISODate);
        EXPECT_LT(std::abs(written.secsTo(QDateTime::currentDateTimeUtc())), 600);
    }
}

TEST_P(ProtocolContract, TwoClientsThatRaceForATakenNameBothKeepTheirDocuments)
{
    cloud->Put("name.pdf", "theirs");
    ProtocolClient other(cloud->Address(), cloud->Account());
    ProtocolClient& rival = cloud->GivesANameToOneOnly() ? other : client;
    SignIn();
    SignIn(other);
    std::map<QByteArray, SharedAnswer> answers;
    for (int number = 0; number < 40; ++number) {
        const auto bytes = QByteArray::number(number);
        std::filesystem::create_directory(local.Path() / bytes.toStdString());
        const auto source = Local(bytes.toStdString() + "/name.pdf", bytes);
        answers[bytes] = (number % 2 == 0 ? client : rival).Upload(source);
    }
    std::set<QString> ids{QStringLiteral("name.pdf")};
    for (const auto& [bytes, answer] : answers) {
        EXPECT_TRUE(ids.insert(Success(answer)->stored.id).second);
        EXPECT_EQ(cloud->Read(answer->stored.id.toStdString()), bytes);
    }
    EXPECT_EQ(cloud->Read("name.pdf"), QByteArray("theirs"));
    EXPECT_THAT(ids, Contains(QStringLiteral("name (41).pdf")));

    std::vector<QString> listed;
    const auto list = Success(client.List());
    for (const CloudFile& file : list->files)
        listed.push_back(file.id);
    EXPECT_THAT(listed, testing::ElementsAreArray(ids)) << "in ascending order";
}

TEST_P(ProtocolContract, ReplacingAndDeletingTakeExactlyOneDocument)
{
    cloud->Put("a.pdf", "old");
    cloud->Put("b.pdf", "other");
    SignIn();
    const auto before = Success(client.Info(kSample));
    const auto answer = Success(client.Upload(Local("b.pdf", "new"), {{Client::ID, kSample}}));
    EXPECT_EQ(answer->stored.id, kSample);
    EXPECT_NE(answer->stored.versionTag, before->file.versionTag);
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("new"));
    EXPECT_EQ(cloud->Names(), (Names{"a.pdf", "b.pdf"}));
    for (int round = 0; round < 2; ++round)
        Success(client.Delete(kSample));
    EXPECT_EQ(cloud->Names(), Names{"b.pdf"});
    EXPECT_EQ(cloud->Read("b.pdf"), QByteArray("other"));
    ExpectFailure(client.Info(kSample), FailureCode::NotFound);
}

TEST_P(ProtocolContract, WhatSomebodyChangedSinceItWasSeenIsNeitherReplacedNorRemoved)
{
    const auto source = Local("mine.pdf", "mine");
    const std::function<SharedAnswer()> looks[] = {
        [&] { return client.List(); },
        [&] { return client.Info(kSample); },
        [&] { return client.Download(kSample, local.Path() / "seen.pdf"); },
        [&] {
            return client.Upload(source, {{Client::ID, kSample}});
        },
    };
    for (const auto& look : looks) {
        cloud->Put("a.pdf", "old");
        SignIn();
        Success(look());
        cloud->Put("a.pdf", "theirs, and longer");
        ExpectFailure(client.Upload(source, {{Client::ID, kSample}}), FailureCode::Conflict);
        ExpectFailure(client.Delete(kSample), FailureCode::Conflict);
        EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs, and longer"));
        EXPECT_EQ(cloud->Names(), Names{"a.pdf"});
        Success(client.List());
        Success(client.Upload(source, {{Client::ID, kSample}}));
        Success(client.Delete(kSample));
    }
    cloud->Put("a.pdf", "theirs");
    ProtocolClient unaware(cloud->Address(), cloud->Account());
    SignIn(unaware);
    const QString size = QStringLiteral("6");
    std::vector<Parameters> otherVersions{
        {{Client::KNOWN_SIZE, QStringLiteral("3")}},
        {{Client::KNOWN_SIZE, size}, {Client::KNOWN_MODIFY_TIME, QStringLiteral("2001-02-03T04:05:06Z")}}};
    if (cloud->KnowsHashesOfForeignFiles())
        otherVersions.push_back({{Client::KNOWN_SIZE, size}, {Client::KNOWN_MD5, Md5("thesis")}});
    const auto expectConflict = [&](const SharedAnswer& answer) {
        EXPECT_TRUE(WaitFor(answer) && answer->result == RequestResult::Error);
        EXPECT_EQ(unaware.Reason(answer->operation), FailureCode::Conflict);
        EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs"));
    };
    for (auto known : otherVersions) {
        expectConflict(unaware.Delete(kSample, known));
        known[Client::ID] = kSample;
        expectConflict(unaware.Upload(source, known));
    }
    Success(unaware.Upload(source, {{Client::ID, kSample}, {Client::KNOWN_SIZE, size}}));
}

TEST_P(ProtocolContract, AFailedUploadLeavesNothingAndNamesNothing)
{
    cloud->Put("a.pdf", "theirs");
    SignIn();
    const std::tuple<std::filesystem::path, Parameters, FailureCode> cases[] = {
        {local.Path() / "missing.pdf", {}, FailureCode::LocalDisk},
        {Local("notes.txt"), {}, FailureCode::Refused},
        {Local(".hidden.pdf"), {}, FailureCode::Refused},
        {Local("a.pdf"), {{Client::ID, QStringLiteral("missing.pdf")}}, FailureCode::NotFound},
        {Local("a.pdf"), {{Client::MD5_HASH, Md5("y")}, {Client::ID, kSample}}, FailureCode::Conflict},
    };
    for (const auto& [path, parameters, reason] : cases) {
        SCOPED_TRACE(path);
        ExpectFailure(client.Upload(path, parameters), reason);
    }
    EXPECT_EQ(cloud->Names(), Names{"a.pdf"});
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs"));
}

TEST_P(ProtocolContract, AFailedDownloadLeavesTheTargetAsItWas)
{
    cloud->Put("a.pdf", "new bytes");
    SignIn();
    const auto target = Local("a.pdf", "old");
    ExpectFailure(client.Download(kSample, target, QStringLiteral("3")), FailureCode::Conflict);
    ExpectFailure(client.Download(QStringLiteral("missing.pdf"), target), FailureCode::NotFound);
    for (const auto& noPlace : {local.Path(), local.Path() / "no folder" / "a.pdf"})
        ExpectFailure(client.Download(kSample, noPlace), FailureCode::LocalDisk);
    EXPECT_EQ(ReadFile(target), QByteArray("old"));

    Success(client.Download(kSample, target, QStringLiteral("9")));
    EXPECT_EQ(ReadFile(target), QByteArray("new bytes"));
    EXPECT_EQ(NamesIn(local.Path()), Names{"a.pdf"});
}

TEST_P(ProtocolContract, ADownloadDoesWithAnExistingFileWhatItWasTold)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        // what is to become of it, the name asked for, the name got ("": refused)
        {"refuse", "new", "new"},
        {"refuse", "new", ""},
        {"refuse", "dangling.pdf", ""},
        {"keep_both", "other.pdf", "other.pdf"},
        {"keep_both", "other.pdf", "other (2).pdf"},
        {"keep_both", "other.pdf", "other (3).pdf"},
        {"keep_both", "new", "new (2)"},
        {"keep_both", "dangling.pdf", "dangling (2).pdf"},
        {"replace", "other.pdf", "other.pdf"},
        {"replace", "link.pdf", "linked.txt"},
    };
    cloud->Put("a.pdf", "bytes");
    SignIn();
    std::filesystem::create_symlink(local.Path() / "nowhere.pdf", local.Path() / "dangling.pdf");
    std::filesystem::create_symlink(Local("linked.txt", "old"), local.Path() / "link.pdf");
    for (const auto& [existing, asked, got] : cases) {
        SCOPED_TRACE(std::string(existing) + ' ' + asked);
        const auto rule = QString::fromUtf8(existing);
        const auto answer = client.Download(kSample, local.Path() / asked, {}, rule);
        if (!*got) {
            ExpectFailure(answer, FailureCode::Conflict);
            continue;
        }
        Success(answer);
        EXPECT_EQ(client->LastDownloadedFile().toStdString(), local.Path() / got);
        EXPECT_EQ(ReadFile(local.Path() / got), QByteArray("bytes"));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(local.Path() / "link.pdf"));
    ASSERT_EQ(::mkfifo((local.Path() / "pipe.pdf").c_str(), 0600), 0);
    for (const char* name : {"pipe.pdf", "dangling.pdf"})
        ExpectFailure(client.Download(kSample, local.Path() / name), FailureCode::LocalDisk);
    ExpectRefused(client.Download(kSample, local.Path() / "b.pdf", {}, QStringLiteral("append")));
    EXPECT_EQ(NamesIn(local.Path()).size(), 10U) << "nothing but what was asked for";
}

TEST_P(ProtocolContract, ACloudThatIsAwayIsAnErrorAndNotAnEmptyCloud)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    Local("local.pdf");
    SignIn();
    cloud->TakeAway();
    for (const auto& answer : AskEverything(client)) {
        if (answer->operation != Operation::UserInfo)
            ExpectFailure(answer, FailureCode::NotFound);
    }
    ExpectFailure(client.SignIn(cloud->Token()), FailureCode::NotFound);
    EXPECT_EQ(NamesIn(local.Path()), Names{"local.pdf"});
}

TEST_P(ProtocolContract, ACancelledTransferIsSilentAndLeavesNothingHalf)
{
    const QByteArray bytes = Bytes(2 * 1024 * 1024);
    const auto target = local.Path() / "new.pdf";
    const auto source = Local("local.pdf", bytes);
    cloud->Put("a.pdf", bytes);
    SignIn();
    for (int pause = 0; pause < 30; ++pause) {
        const auto up = client.Upload(source);
        const auto down = client.Download(kSample, target);
        QTest::qWait(pause);
        for (const auto& answer : {up, down}) {
            client->cancelOperation(answer->ticket);
            answer->onResult = answer->onProgress = [] { ADD_FAILURE() << "after the cancel"; };
        }
        const auto atCancel = ReadFile(target);
        EXPECT_TRUE(!atCancel || atCancel == bytes);
        EXPECT_TRUE(WaitFor([&] { return AreTemporariesGone(); }));
        EXPECT_EQ(ReadFile(target), atCancel) << "arrived after the cancel";
        for (const auto& name : cloud->Names()) {
            const bool isTemporary = name.front() == '.'; // of a worker that is only about to notice
            EXPECT_EQ(isTemporary ? bytes : cloud->Read(name).value_or(bytes), bytes) << name;
        }
        EXPECT_TRUE(WaitFor([&] { return AreTemporariesGone(); }));
        std::filesystem::remove(target);
    }
}

TEST_P(ProtocolContract, CallbacksMayCancelAnyRequestStartNewOnesAndRunAnEventLoop)
{
    SignIn();
    const auto upload = client.Upload(Local("a.pdf", Bytes(1000)));
    upload->onProgress = [&] { client->cancelOperation(upload->ticket); };
    const auto first = client.List();
    const auto second = client.List();
    SharedAnswer third;
    const auto cancelBoth = [&] {
        client->cancelOperation(second->ticket);
        client->cancelOperation(first->ticket);
        third = Success(client.List());
    };
    first->onResult = cancelBoth;
    second->onResult = cancelBoth;
    EXPECT_TRUE(WaitFor([&] { return third && !upload->progress.empty(); }));
    ExpectNothingElseIsAnswered();
    EXPECT_EQ(first->results + second->results, 1);
    EXPECT_EQ(upload->progress.size(), 1U);
    EXPECT_EQ(upload->results, 0);
}

TEST_P(ProtocolContract, DestructionStopsEverythingAtAnyMomentEvenInACallback)
{
    const QByteArray former = OnePagePdf(100, 100, Bytes(3'000'000).toHex());
    const QByteArray latter = OnePagePdf(200, 100, Bytes(3'000'000).toHex());
    const auto source = Local("local.pdf", latter);
    for (int pause = 0; pause < 12; ++pause) {
        cloud->Put("a.pdf", former);
        cloud->Put("gone.pdf", "x");
        ProtocolClient dying(cloud->Address(), cloud->Account());
        SignIn(dying);
        const auto answers = AskEverything(dying);
        auto& callback = pause % 2 == 0 ? answers[0]->onResult : answers[0]->onProgress;
        callback = [&dying] { dying.Destroy(); };
        QTest::qWait(pause * pause);
        dying.Destroy();
        EXPECT_TRUE(AreTemporariesGone());
        EXPECT_THAT(cloud->Read("a.pdf"), testing::AnyOf(former, latter));
        for (const auto& answer : answers)
            EXPECT_EQ(answer.use_count(), 1) << "its callbacks are not gone";
    }
}

TEST_P(ProtocolContract, ADocumentIsRenderedOnceForAllItsSizesUntilItChanges)
{
    const CountedHelper helper;
    cloud->Put("a.pdf", OnePagePdf(400, 200, "a"));
    SignIn();
    const auto expectRuns = [&](int expected) {
        const auto small = client.Preview(kSample, QStringLiteral("20"));
        const auto large = client.Preview(kSample, QStringLiteral("100"));
        EXPECT_EQ(Success(small)->picture.size(), QSize(20, 10));
        EXPECT_EQ(Success(large)->picture.size(), QSize(80, 40));
        EXPECT_EQ(helper.Runs(), expected);
    };
    expectRuns(1);
    expectRuns(1);
    cloud->Put("a.pdf", OnePagePdf(400, 200, "changed"));
    expectRuns(2);

    cloud->Put("a.pdf", "this is no PDF");
    ExpectFailure(client.Preview(kSample), FailureCode::InvalidDocument);
    ExpectFailure(client.Preview(QStringLiteral("missing.pdf")), FailureCode::NotFound);
}

TEST_P(ProtocolContract, CancellingOneSizeLeavesTheOthersAndCancellingAllStopsTheRendering)
{
    const HelperStandIn hanging(kHang);
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    SignIn();
    const auto first = client.Preview(kSample);
    const auto second = client.Preview(kSample, QStringLiteral("100"));
    ASSERT_TRUE(WaitFor([&] { return hanging.Runs() == 1; }));
    const auto late = client.Preview(kSample, QStringLiteral("50"));
    client->cancelOperation(first->ticket);
    client->cancelOperation(second->ticket);
    // The first rendering ends only because nobody wants it any more; then the late one has its turn.
    EXPECT_TRUE(WaitFor([&] { return hanging.Runs() == 2; }));
    client->cancelOperation(late->ticket);
    EXPECT_TRUE(WaitFor(client.Quota()));
    EXPECT_EQ(first->results + second->results + late->results, 0);
}

TEST_P(ProtocolContract, CancellingWhatIsNoLongerUnderWayIsIgnored)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    cloud->Put("b.pdf", "x");
    SignIn();
    const auto list = Success(client.List());
    for (const bool isAnswered : {false, true}) {
        const auto first = client.Preview(kSample);
        const auto second = client.Preview(kSample, QStringLiteral("4096")); // the widest
        const auto removal = client.Delete(QStringLiteral("b.pdf"));
        if (isAnswered)
            Success(first);
        for (int round = 0; round < 2; ++round) {
            for (const long long ticket : {first->ticket, list->ticket, removal->ticket + 1, 0LL, -1LL})
                client->cancelOperation(ticket);
        }
        EXPECT_EQ(Success(second)->picture.width(), 40);
        Success(removal);
        EXPECT_EQ(first->results, isAnswered ? 1 : 0);
    }
}

TEST(ServerProtocol, PreviewsAreOfTheirOwnDocumentAndCloudThoughTheVersionsLookAlike)
{
    ScriptedServer servers[2]; // their version tags are sizes
    const QByteArray upright = OnePagePdf(100, 200);
    const QByteArray wide = OnePagePdf(200, 100);
    servers[0].documents = {{"", ""}, {"a.pdf", upright}, {"b.pdf", wide}};
    servers[1].documents = {{"", ""}, {"a.pdf", wide}};
    const Testing::TemporaryFolder cache;
    Social::OAuth2::AuthInfo account;
    account.cacheFolder = Support::ToText(cache.Path());
    for (const auto& [server, name, width] :
         {std::tuple(0, "a.pdf", 20), std::tuple(0, "b.pdf", 40), std::tuple(1, "a.pdf", 40)}) {
        ProtocolClient client(servers[server].origin + "/dav/", account);
        ASSERT_TRUE(WaitFor(client.SignIn(QStringLiteral("secret"))));
        const auto preview = client.Preview(QString::fromUtf8(name));
        ASSERT_TRUE(WaitFor(preview));
        EXPECT_EQ(preview->picture.width(), width) << server << name;
    }
}

TEST(ServerProtocol, ARefusalOfWhatWasAskedBeforeASignInDoesNotEndIt)
{
    ScriptedServer server;
    ProtocolClient client(server.origin + "/dav/");
    const QString token = QStringLiteral("secret");
    ASSERT_TRUE(WaitFor(client.SignIn(token)));
    std::promise<int> asked;
    server.takesOver = [&, isFirst = true](const QByteArray&, int socket) mutable {
        const bool isTaken = std::exchange(isFirst, false);
        if (isTaken)
            asked.set_value(::dup(socket));
        return isTaken;
    };
    const auto list = client.List();
    auto connection = asked.get_future();
    ASSERT_TRUE(
        WaitFor([&] { return connection.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    const auto signIn = client.SignIn(token);
    EXPECT_TRUE(WaitFor(signIn) && signIn->IsSuccess());
    const int held = connection.get();
    const QByteArray refusal = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
    EXPECT_EQ(::send(held, refusal.constData(), size_t(refusal.size()), MSG_NOSIGNAL), refusal.size());
    ::close(held);
    EXPECT_TRUE(WaitFor(list));
    EXPECT_EQ(client.Reason(Operation::FileList), FailureCode::SignInNeeded);
    EXPECT_TRUE(client->loggedIn());
}

TEST(FolderProtocol, RefusesToDeleteAFolderAtOnce)
{
    const Testing::TemporaryFolder cloud;
    std::filesystem::create_directory(cloud.Path() / "folder.pdf");
    ProtocolClient client("file://" + cloud.Path().string());
    ASSERT_TRUE(WaitFor(client.SignIn(QStringLiteral("token"))));
    EXPECT_EQ(client.Delete(QStringLiteral("folder.pdf"))->ticket, INVALID_TICKET);
    EXPECT_EQ(client.Reason(Operation::Remove), FailureCode::InvalidRequest);
}

TEST(ProtocolAddress, ThatIsNotUnderstoodMakesAClientThatNeverSignsIn)
{
    for (const char* address : {"", "file://", "file:relative", "file://host/folder", "/folder",
                                "gopher://x/", "file:///a%zz", "file:///a%2", "file:///a%00b"}) {
        SCOPED_TRACE(address);
        ProtocolClient client(address);
        EXPECT_EQ(client.SignIn(QStringLiteral("token"))->ticket, INVALID_TICKET);
        EXPECT_EQ(client.Reason(Operation::SignIn), FailureCode::InvalidAddress);
    }
}

} // namespace
} // namespace Orvane::Tests
