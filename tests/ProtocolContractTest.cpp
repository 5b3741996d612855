#include "support/HelperStandIn.h"
#include "support/PdfSamples.h"
#include "support/ProtocolClient.h"
#include "support/ProtocolClouds.h"

#include <QCryptographicHash>

#include <gmock/gmock.h>

#include <map>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

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
};

const QString kSample = QStringLiteral("a.pdf");
const QString kMissing = QStringLiteral("missing.pdf");

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
        for (const auto& answer : {who.Upload(local.Path() / "local.pdf"), who.List(), who.Quota()})
            answers.push_back(answer);
        for (const auto& answer : who.User())
            answers.push_back(answer);
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

    [[nodiscard]] Names LocalNames() const { return NamesIn(local.Path()); }

    [[nodiscard]] bool AreTemporariesGone() const
    {
        const auto isHidden = [](const auto& name) { return name.front() == '.'; };
        const auto here = LocalNames();
        const auto there = cloud->Names();
        return std::none_of(here.begin(), here.end(), isHidden) &&
               std::none_of(there.begin(), there.end(), isHidden);
    }

    std::unique_ptr<CloudUnderTest> cloud = GetParam().make();
    ProtocolClient client{cloud->Address()};
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
    EXPECT_FALSE(client->LastFailure(Operation::FileList));
    ExpectRefused(client.SignIn({}));
    cloud->Put("a.pdf", "x");
    expectRefusals();
    SignIn();
    EXPECT_TRUE(client->loggedIn());
    const auto again = client.SignIn(cloud->Token());
    client->logout();
    ASSERT_TRUE(WaitFor(again));
    EXPECT_EQ(again->result, RequestResult::Canceled) << "overruled by the logout";
    expectRefusals();
    LetEventsPass();
}

TEST_P(ProtocolContract, ParametersThatMakeNoSenseStartNothing)
{
    cloud->Put("a.pdf", "x");
    cloud->PutCollection("folder.pdf");
    SignIn();
    const auto source = Local("local.pdf");
    for (const char* id : {"", ".", "..", "/", "a.pdf/", "./a.pdf", "../cloud/a.pdf", "..%2Fcloud%2Fa.pdf",
                           "%61.pdf", "folder.pdf", "notes.txt", ".hidden.pdf", "https://host/a.pdf"}) {
        SCOPED_TRACE(id);
        for (const auto& answer : AskAbout(client, QString::fromUtf8(id), QString::fromUtf8(id)))
            ExpectRefused(answer);
    }
    for (const char* edge : {"", "0", "-1", "4097", "99999999999", "forty", "4.5"}) {
        ExpectRefused(client.Preview(kSample, QString::fromUtf8(edge)));
        ExpectRefused(client.Preview(kSample, QStringLiteral("9"), QString::fromUtf8(edge)));
    }
    for (const std::filesystem::path& target :
         {std::filesystem::path(), std::filesystem::path("relative.pdf"), local.Path(), local.Path() / ""})
        ExpectRefused(client.Download(kSample, target));
    for (const char* size : {"-1", "many", "1e3"})
        ExpectRefused(client.Download(kSample, local.Path() / "b.pdf", QString::fromUtf8(size)));
    ExpectRefused(client.Upload({}));
    LetEventsPass();
    EXPECT_EQ(cloud->Names(), (Names{"a.pdf", "folder.pdf"}));
    EXPECT_EQ(LocalNames(), Names{"local.pdf"});
}

TEST_P(ProtocolContract, TicketsCountUpAndEachIsAnsweredOnce)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    cloud->Put("gone.pdf", "x");
    const auto source = Local("local.pdf");
    const auto signIn = client.SignIn(cloud->Token());
    EXPECT_EQ(signIn->ticket, 1);
    ASSERT_TRUE(WaitFor(signIn));
    long long expected = 1;
    const auto answers = AskEverything(client);
    for (const auto& answer : answers) {
        EXPECT_EQ(answer->ticket, ++expected);
        EXPECT_TRUE(WaitFor(answer)) << expected;
    }
    // Nobody need listen.
    EXPECT_EQ(client->retriveFileList({}, {}), ++expected);
    EXPECT_EQ(client->userPic(Client::OnImage()), ++expected);
    EXPECT_EQ(client->uploadFile(Support::ToText(Local("b.pdf")), {}, {}, {}), ++expected);
    EXPECT_TRUE(WaitFor([this] { return cloud->Read("b.pdf") == QByteArray("x"); }));

    const auto quota = Success(client.Quota())->quota;
    ASSERT_TRUE(quota.contains(QStringLiteral("pdf")));
    const auto [used, allowed] = quota[QStringLiteral("pdf")];
    EXPECT_GE(std::min(used, allowed), 0);
    EXPECT_LE(std::max(used, allowed), 2147483647) << "what the receiver keeps";
}

TEST_P(ProtocolContract, DocumentsComeBackAsTheyWent)
{
    SignIn();
    for (const int size : {0, 1, 256 * 1024 - 1, 256 * 1024, 5 * 1024 * 1024 + 3}) {
        SCOPED_TRACE(size);
        const QByteArray bytes = Bytes(size);
        const std::string name = "Grö\xC3\x9F" + std::to_string(size) + " 100%.pdf";
        const auto up = Success(client.Upload(Local(name, bytes), {{Client::MD5_HASH, Md5(bytes)}}));
        EXPECT_EQ(cloud->Read(name), bytes);
        EXPECT_EQ(up->stored.fileName.toStdString(), name);
        EXPECT_EQ(up->stored.size, size);
        EXPECT_TRUE(up->stored.modifyTime.isValid() && up->stored.downloadUrl.isValid());

        const auto target = local.Path() / "back.pdf";
        const auto down = Success(client.Download(up->stored.id, target, QString::number(size)));
        EXPECT_EQ(ReadFile(target), bytes);
        const auto info = Success(client.Info(up->stored.id));
        EXPECT_EQ(info->file.md5Hash, Md5(bytes));
        EXPECT_EQ(info->file.versionTag, up->stored.versionTag);
        for (const auto& progress : {up->progress, down->progress}) {
            EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
            ASSERT_FALSE(progress.empty());
            EXPECT_GE(progress.front(), 0);
            EXPECT_EQ(progress.back(), 100);
            EXPECT_EQ(std::count(progress.begin(), progress.end(), 100), 1);
        }
    }
    EXPECT_EQ(cloud->Names().size(), 5U);
}

TEST_P(ProtocolContract, TheListHoldsTheDocumentsAsTheyAreNow)
{
    cloud->Put("b.pdf", "bb");
    cloud->Put("a;1.PDF", "a");
    cloud->Put("notes.txt", "no document");
    cloud->Put(".hidden.pdf", "no document");
    cloud->PutCollection("folder.pdf");
    SignIn();
    for (const char* content : {"bb", "bb", "other"}) {
        cloud->Put("b.pdf", content);
        const auto files = Success(client.List())->files;
        ASSERT_EQ(files.size(), 2);
        const CloudFile& file = files[0];
        EXPECT_EQ(file.id, QStringLiteral("a%3B1.PDF"));
        EXPECT_EQ(file.fileName, QStringLiteral("a;1.PDF"));
        EXPECT_EQ(file.size, 1);
        EXPECT_EQ(file.md5Hash, Md5("a"));
        EXPECT_EQ(files[1].id, QStringLiteral("b.pdf"));
        EXPECT_EQ(files[1].md5Hash, Md5(content));
        for (const QString& time : {file.createdAt, file.modifyTime}) {
            EXPECT_TRUE(time.endsWith(QLatin1Char('Z'))) << time.toStdString();
            const auto written = QDateTime::fromString(time, Qt::ISODate);
            EXPECT_LT(std::abs(written.secsTo(QDateTime::currentDateTimeUtc())), 600);
        }
    }
}

TEST_P(ProtocolContract, TwoClientsThatRaceForATakenNameBothKeepTheirDocuments)
{
    cloud->Put("name.pdf", "theirs");
    ProtocolClient other(cloud->Address());
    SignIn();
    SignIn(other);
    std::map<QByteArray, SharedAnswer> answers;
    for (int number = 0; number < 40; ++number) {
        const auto bytes = QByteArray::number(number);
        std::filesystem::create_directory(local.Path() / bytes.toStdString());
        const auto source = Local(bytes.toStdString() + "/name.pdf", bytes);
        answers[bytes] = (number % 2 == 0 ? client : other).Upload(source);
    }
    std::set<QString> ids{QStringLiteral("name.pdf")};
    for (const auto& [bytes, answer] : answers) {
        EXPECT_TRUE(ids.insert(Success(answer)->stored.id).second);
        EXPECT_EQ(cloud->Read(answer->stored.id.toStdString()), bytes);
    }
    EXPECT_EQ(cloud->Read("name.pdf"), QByteArray("theirs"));
    EXPECT_THAT(ids,
                testing::IsSupersetOf({QStringLiteral("name (2).pdf"), QStringLiteral("name (41).pdf")}));
    EXPECT_EQ(cloud->Names().size(), 41U);

    const auto list = Success(client.List());
    std::vector<QString> listed;
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
    for (int round = 0; round < 2; ++round) {
        Success(client.Delete(kSample));
        EXPECT_EQ(cloud->Names(), Names{"b.pdf"});
    }
    EXPECT_EQ(cloud->Read("b.pdf"), QByteArray("other"));
    ExpectFailure(client.Info(kSample), FailureCode::NotFound);
}

TEST_P(ProtocolContract, AFailedUploadLeavesNothingAndNamesNothing)
{
    cloud->Put("a.pdf", "theirs");
    SignIn();
    std::filesystem::create_directory(local.Path() / "folder.pdf");
    const std::tuple<std::filesystem::path, Parameters, FailureCode> cases[] = {
        {local.Path() / "missing.pdf", {}, FailureCode::LocalDisk},
        {local.Path() / "folder.pdf", {}, FailureCode::LocalDisk},
        {Local("notes.txt"), {}, FailureCode::Refused},
        {Local(".hidden.pdf"), {}, FailureCode::Refused},
        {Local("a.pdf"), {{Client::ID, kMissing}}, FailureCode::NotFound},
        {Local("a.pdf"), {{Client::MD5_HASH, Md5("y")}}, FailureCode::Conflict},
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
    ExpectFailure(client.Download(kMissing, target), FailureCode::NotFound);
    ExpectFailure(client.Download(kSample, local.Path() / "no folder" / "a.pdf"), FailureCode::LocalDisk);
    ExpectFailure(client.Download(kSample, target / "a.pdf"), FailureCode::LocalDisk);
    EXPECT_EQ(ReadFile(target), QByteArray("old"));

    Success(client.Download(kSample, target, QStringLiteral("9")));
    EXPECT_EQ(ReadFile(target), QByteArray("new bytes"));
    EXPECT_EQ(LocalNames(), Names{"a.pdf"});
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
    EXPECT_EQ(LocalNames(), Names{"local.pdf"});
}

TEST_P(ProtocolContract, ACloudThatRefusesChangesStaysAsItIs)
{
    cloud->Put("a.pdf", "theirs");
    const auto source = Local("b.pdf");
    std::filesystem::permissions(source, std::filesystem::perms::all);
    SignIn();
    cloud->SetReadOnly(true);
    ExpectFailure(client.Upload(source), FailureCode::Refused);
    ExpectFailure(client.Upload(source, {{Client::ID, kSample}}), FailureCode::Refused);
    ExpectFailure(client.Delete(kSample), FailureCode::Refused);
    EXPECT_EQ(Success(client.List())->files.size(), 1);
    cloud->SetReadOnly(false);
    EXPECT_EQ(cloud->Names(), Names{"a.pdf"});
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs"));
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
        const auto heard = [&] {
            return std::tuple(up->results, up->progress, down->results, down->progress);
        };
        const auto before = heard();
        for (const long long ticket : {up->ticket, down->ticket, down->ticket})
            client->cancelOperation(ticket);
        const auto atCancel = ReadFile(target);
        EXPECT_TRUE(!atCancel || atCancel == bytes);
        EXPECT_TRUE(WaitFor([&] { return AreTemporariesGone(); }));
        EXPECT_EQ(ReadFile(target), atCancel) << "arrived after the cancel";
        for (const auto& name : cloud->Names())
            EXPECT_EQ(cloud->Read(name), bytes) << name;
        EXPECT_EQ(before, heard());
        std::filesystem::remove(target);
    }
}

TEST_P(ProtocolContract, ThousandsOfWaitingRequestsCanBeCancelled)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    SignIn();
    const auto source = Local("local.pdf", Bytes(100));
    std::vector<SharedAnswer> answers;
    for (int number = 0; number < 2000; ++number) {
        answers.push_back(client.Upload(source));
        answers.push_back(client.Preview(kSample, QString::number(number % 300 + 1)));
    }
    for (const auto& answer : answers) {
        client->cancelOperation(answer->ticket);
        EXPECT_EQ(answer.use_count(), 1) << "its callbacks are not gone";
    }
    Success(client.Upload(source));
    EXPECT_LE(cloud->Names().size(), 5U) << "the two that were running may have got through";
}

TEST_P(ProtocolContract, CallbacksMayCancelAnyRequestAndStartNewOnes)
{
    SignIn();
    const auto upload = client.Upload(Local("a.pdf", Bytes(1000)));
    int reports = 0;
    upload->onProgress = [&] {
        client->cancelOperation(upload->ticket);
        ++reports;
    };
    const auto first = client.List();
    const auto second = client.List();
    SharedAnswer third;
    const auto cancelBoth = [&] {
        client->cancelOperation(second->ticket);
        client->cancelOperation(first->ticket);
        third = client.List();
    };
    first->onResult = cancelBoth;
    second->onResult = cancelBoth;
    EXPECT_TRUE(WaitFor([&] { return third && third->results == 1 && reports > 0; }));
    LetEventsPass();
    EXPECT_EQ(first->results + second->results, 1);
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(upload->results, 0);
}

TEST_P(ProtocolContract, EveryCallbackMayDeleteTheClient)
{
    for (const bool isInResult : {true, false}) {
        cloud->Put("a.pdf", Bytes(100'000));
        auto dying = std::make_unique<ProtocolClient>(cloud->Address());
        SignIn(*dying);
        for (int number = 0; number < 5; ++number)
            dying->List();
        bool isDeleted = false;
        const auto answer = dying->Download(kSample, local.Path() / "new.pdf");
        (isInResult ? answer->onResult : answer->onProgress) = [&] {
            EXPECT_FALSE(isDeleted) << "called back by a client that is gone";
            isDeleted = true;
            dying->Destroy();
        };
        ASSERT_TRUE(WaitFor([&] { return isDeleted; }));
        LetEventsPass();
    }
    EXPECT_TRUE(AreTemporariesGone());
}

TEST_P(ProtocolContract, DestructionStopsEverythingAtAnyMoment)
{
    const QByteArray former = OnePagePdf(100, 100, Bytes(3'000'000).toHex());
    const QByteArray latter = OnePagePdf(200, 100, Bytes(3'000'000).toHex());
    const auto source = Local("local.pdf", latter);
    for (int pause = 0; pause < 12; ++pause) {
        cloud->Put("a.pdf", former);
        cloud->Put("gone.pdf", "x");
        ProtocolClient dying(cloud->Address());
        SignIn(dying);
        const auto answers = AskEverything(dying);
        QTest::qWait(pause * 3);
        dying.Destroy();
        EXPECT_TRUE(AreTemporariesGone());
        EXPECT_THAT(cloud->Read("a.pdf"), testing::AnyOf(former, latter));
        for (const auto& answer : answers)
            EXPECT_EQ(answer.use_count(), 1) << "its callbacks are not gone";
    }
}

#ifdef Q_OS_LINUX
long PeakKibibytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

TEST_P(ProtocolContract, MemoryDoesNotGrowWithTheFile)
{
    SignIn();
    const auto source = Local("large.pdf");
    std::filesystem::resize_file(source, 200 * 1024 * 1024);
    const long before = PeakKibibytes();
    const auto up = Success(client.Upload(source));
    Success(client.Download(up->stored.id, local.Path() / "back.pdf"));
    EXPECT_LT(PeakKibibytes() - before, 50 * 1024);
}
#endif

TEST_P(ProtocolContract, ADocumentIsRenderedOnceForAllItsSizesUntilItChanges)
{
    const CountedHelper helper;
    cloud->Put("a.pdf", OnePagePdf(400, 200, "a"));
    cloud->Put("b.pdf", OnePagePdf(400, 200, "b"));
    SignIn();
    const auto expectRuns = [&](int expected) {
        std::vector<std::pair<SharedAnswer, QSize>> answers;
        for (const auto& id : {kSample, QStringLiteral("b.pdf")}) {
            for (const auto& [width, size] : {std::pair(20, QSize(20, 10)), std::pair(100, QSize(80, 40))})
                answers.emplace_back(client.Preview(id, QString::number(width)), size);
        }
        for (const auto& [answer, size] : answers)
            EXPECT_EQ(Success(answer)->picture.size(), size);
        EXPECT_EQ(helper.Runs(), expected);
    };
    expectRuns(2);
    expectRuns(2);
    cloud->Put("b.pdf", OnePagePdf(400, 200, "changed"));
    expectRuns(3);

    cloud->Put("a.pdf", "this is no PDF");
    ExpectFailure(client.Preview(kSample), FailureCode::InvalidDocument);
    ExpectFailure(client.Preview(kMissing), FailureCode::NotFound);
}

TEST_P(ProtocolContract, CancellingOneSizeLeavesTheOthersAndCancellingAllStopsTheRendering)
{
    const HelperStandIn hanging("printf x >> \"$0.note\"; exec sleep 600");
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    SignIn();
    const auto first = client.Preview(kSample);
    const auto second = client.Preview(kSample, QStringLiteral("100"));
    ASSERT_TRUE(WaitFor([&] { return hanging.Note() == "x"; }));
    const auto late = client.Preview(kSample, QStringLiteral("50"));
    client->cancelOperation(first->ticket);
    client->cancelOperation(second->ticket);
    // The first rendering ends only because nobody wants it any more; then the late one has its turn.
    EXPECT_TRUE(WaitFor([&] { return hanging.Note() == "xx"; }));
    client->cancelOperation(late->ticket);
    EXPECT_TRUE(WaitFor(client.Quota()));
    EXPECT_EQ(first->results + second->results + late->results, 0);
}

TEST(ProtocolAddress, ThatIsNotUnderstoodMakesAClientThatNeverSignsIn)
{
    for (const char* address : {"", "file", "file://", "file:relative", "file://host/folder", "/folder",
                                "gopher://x/", "file:///a%zz", "file:///a%2", "file:///a%00b"}) {
        SCOPED_TRACE(address);
        ProtocolClient client(address);
        EXPECT_EQ(client.SignIn(QStringLiteral("token"))->ticket, INVALID_TICKET);
        EXPECT_EQ(client.Reason(Operation::SignIn), FailureCode::InvalidAddress);
        EXPECT_EQ(client.List()->ticket, INVALID_TICKET);
        client->cancelOperation(1);
        EXPECT_TRUE(NamesIn(client.CacheFolder()).empty());
    }
}

} // namespace
} // namespace Orvane::Tests
