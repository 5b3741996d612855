#include "support/HelperStandIn.h"
#include "support/PdfSamples.h"
#include "support/ProtocolClient.h"
#include "support/ProtocolClouds.h"

#include <QCryptographicHash>
#include <QElapsedTimer>

#include <gmock/gmock.h>

#include <map>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

namespace Orvane::Tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

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

/// Whether a temporary file is among them.
bool HoldsHidden(const std::set<std::string>& names)
{
    return std::any_of(names.begin(), names.end(), [](const auto& name) { return name.front() == '.'; });
}

class ProtocolContract : public testing::TestWithParam<CloudKind>
{
protected:
    void SignIn(ProtocolClient& who)
    {
        const auto answer = who.SignIn(cloud->Token());
        ASSERT_TRUE(WaitFor(answer));
        ASSERT_TRUE(answer->IsSuccess());
    }

    void SignIn() { SignIn(client); }

    /// A local file.
    std::filesystem::path Local(const std::string& name, const QByteArray& bytes) const
    {
        WriteFile(local.Path() / name, bytes);
        return local.Path() / name;
    }

    template <typename Payload>
    void ExpectFailure(const SharedAnswer<Payload>& answer, Operation operation, FailureCode reason)
    {
        ASSERT_NE(answer->ticket, INVALID_TICKET);
        ASSERT_TRUE(WaitFor(answer));
        EXPECT_EQ(answer->result, RequestResult::Error);
        EXPECT_EQ(client.Reason(operation), reason);
    }

    template <typename Payload>
    void ExpectRefused(const SharedAnswer<Payload>& answer, Operation operation, FailureCode reason)
    {
        EXPECT_EQ(answer->ticket, INVALID_TICKET);
        EXPECT_EQ(client.Reason(operation), reason);
        EXPECT_EQ(answer->results, 0);
    }

    [[nodiscard]] std::set<std::string> LocalNames() const { return NamesIn(local.Path()); }

    std::unique_ptr<CloudUnderTest> cloud = GetParam().make();
    ProtocolClient client{cloud->Address()};
    Testing::TemporaryFolder local;
};

INSTANTIATE_TEST_SUITE_P(Clouds, ProtocolContract, testing::ValuesIn(kCloudKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

/// One request of each kind, each of which succeeds on a cloud that holds "a.pdf" and "gone.pdf".
using Requests =
    std::map<std::string, std::function<std::shared_ptr<int>(ProtocolClient&, const std::filesystem::path&)>>;

template <typename Payload>
std::shared_ptr<int> ResultsOf(const SharedAnswer<Payload>& answer)
{
    return {answer, &answer->results};
}

const QString kSample = QStringLiteral("a.pdf");

const Requests kRequests{
    {"list", [](auto& client, const auto&) { return ResultsOf(client.List()); }},
    {"info", [](auto& client, const auto&) { return ResultsOf(client.Info(kSample)); }},
    {"upload",
     [](auto& client, const auto& folder) { return ResultsOf(client.Upload(folder / "local.pdf")); }},
    {"download", [](auto& client,
                    const auto& folder) { return ResultsOf(client.Download(kSample, folder / "new.pdf")); }},
    {"delete",
     [](auto& client, const auto&) { return ResultsOf(client.Delete(QStringLiteral("gone.pdf"))); }},
    {"quota", [](auto& client, const auto&) { return ResultsOf(client.Quota()); }},
    {"preview",
     [](auto& client, const auto&) {
         return ResultsOf(client.Preview(kSample, QStringLiteral("40"), QStringLiteral("40")));
     }},
    {"user name", [](auto& client, const auto&) { return ResultsOf(client.UserName()); }},
    {"user profile", [](auto& client, const auto&) { return ResultsOf(client.UserProfile()); }},
    {"picture", [](auto& client, const auto&) { return ResultsOf(client.UserPicture()); }},
    {"picture text", [](auto& client, const auto&) { return ResultsOf(client.UserPictureText()); }},
};

TEST_P(ProtocolContract, NothingStartsBeforeSignInOrAfterLogout)
{
    const auto expectRefusal = [this] {
        EXPECT_FALSE(client->loggedIn());
        ExpectRefused(client.List(), Operation::FileList, FailureCode::SignInNeeded);
        ExpectRefused(client.Info(kSample), Operation::FileInfo, FailureCode::SignInNeeded);
        ExpectRefused(client.Upload(Local("a.pdf", "x")), Operation::Upload, FailureCode::SignInNeeded);
        ExpectRefused(client.Download(kSample, local.Path() / "b.pdf"), Operation::Download,
                      FailureCode::SignInNeeded);
        ExpectRefused(client.Delete(kSample), Operation::Remove, FailureCode::SignInNeeded);
        ExpectRefused(client.Quota(), Operation::Quota, FailureCode::SignInNeeded);
        ExpectRefused(client.Preview(kSample, QStringLiteral("40"), QStringLiteral("40")), Operation::Preview,
                      FailureCode::SignInNeeded);
        ExpectRefused(client.UserName(), Operation::UserInfo, FailureCode::SignInNeeded);
        ExpectRefused(client.UserProfile(), Operation::UserInfo, FailureCode::SignInNeeded);
        ExpectRefused(client.UserPicture(), Operation::UserInfo, FailureCode::SignInNeeded);
        ExpectRefused(client.UserPictureText(), Operation::UserInfo, FailureCode::SignInNeeded);
    };
    EXPECT_FALSE(client->LastFailure(Operation::FileList));
    cloud->Put("a.pdf", "x");
    expectRefusal();
    SignIn();
    client->logout();
    expectRefusal();
    LetEventsPass();
}

TEST_P(ProtocolContract, SignInNeedsAToken)
{
    ExpectRefused(client.SignIn({}), Operation::SignIn, FailureCode::InvalidRequest);
    EXPECT_EQ(client->auth({}, {}), INVALID_TICKET);
    SignIn();
    EXPECT_TRUE(client->loggedIn());
}

TEST_P(ProtocolContract, LogoutOverrulesASignInUnderWay)
{
    const auto answer = client.SignIn(cloud->Token());
    client->logout();
    ASSERT_TRUE(WaitFor(answer));
    EXPECT_EQ(answer->result, RequestResult::Canceled);
    EXPECT_FALSE(client->loggedIn());
}

TEST_P(ProtocolContract, ParametersThatMakeNoSenseStartNothing)
{
    cloud->Put("a.pdf", "x");
    cloud->PutCollection("folder.pdf");
    SignIn();
    for (const char* id :
         {"", ".", "..", "/", "a.pdf/", "./a.pdf", "../cloud/a.pdf", "..%2Fcloud%2Fa.pdf", "%61.pdf",
          "folder.pdf", "folder.pdf/", "notes.txt", ".hidden.pdf", "https://host/a.pdf"}) {
        const QString text = QString::fromUtf8(id);
        SCOPED_TRACE(id);
        ExpectRefused(client.Delete(text), Operation::Remove, FailureCode::InvalidRequest);
        ExpectRefused(client.Info(text), Operation::FileInfo, FailureCode::InvalidRequest);
        ExpectRefused(client.Download(text, local.Path() / "b.pdf"), Operation::Download,
                      FailureCode::InvalidRequest);
        ExpectRefused(client.Preview(text, QStringLiteral("9"), QStringLiteral("9")), Operation::Preview,
                      FailureCode::InvalidRequest);
        ExpectRefused(client.Upload(Local("a.pdf", "x"), {{Client::ID, text}}), Operation::Upload,
                      FailureCode::InvalidRequest);
    }
    for (const char* edge : {"", "0", "-1", "4097", "99999999999", "forty", "4.5"}) {
        const QString text = QString::fromUtf8(edge);
        ExpectRefused(client.Preview(kSample, text, QStringLiteral("9")), Operation::Preview,
                      FailureCode::InvalidRequest);
        ExpectRefused(client.Preview(kSample, QStringLiteral("9"), text), Operation::Preview,
                      FailureCode::InvalidRequest);
    }
    for (const std::filesystem::path& target :
         {std::filesystem::path(), std::filesystem::path("relative.pdf"), local.Path(), local.Path() / ""})
        ExpectRefused(client.Download(kSample, target), Operation::Download, FailureCode::InvalidRequest);
    for (const char* size : {"-1", "many", "1e3"})
        ExpectRefused(client.Download(kSample, local.Path() / "b.pdf", QString::fromUtf8(size)),
                      Operation::Download, FailureCode::InvalidRequest);
    ExpectRefused(client.Upload({}), Operation::Upload, FailureCode::InvalidRequest);
    EXPECT_EQ(cloud->Names(), (std::set<std::string>{"a.pdf", "folder.pdf"}));
    EXPECT_EQ(LocalNames(), std::set<std::string>{"a.pdf"});
}

TEST_P(ProtocolContract, TicketsCountUpAndEachIsAnsweredOnce)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    cloud->Put("gone.pdf", "x");
    const auto signIn = client.SignIn(cloud->Token());
    EXPECT_EQ(signIn->ticket, 1);
    ASSERT_TRUE(WaitFor(signIn));
    Local("local.pdf", "x");
    std::vector<std::shared_ptr<int>> results;
    for (const auto& [name, request] : kRequests)
        results.push_back(request(client, local.Path()));
    const auto isAnswered = [](const auto& count) { return *count == 1; };
    EXPECT_TRUE(WaitFor([&] { return std::all_of(results.begin(), results.end(), isAnswered); }));
    LetEventsPass();
    EXPECT_EQ(client.Quota()->ticket, 2 + static_cast<long long>(kRequests.size()));
}

TEST_P(ProtocolContract, CallbacksMayBeEmpty)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    SignIn();
    EXPECT_GT(client->retriveFileList({}, {}), 0);
    EXPECT_GT(client->uploadFile(Support::ToText(Local("b.pdf", "x")), {}, {}, {}), 0);
    EXPECT_GT(client->userPic(Client::OnImage()), 0);
    const auto last = client.Quota();
    EXPECT_TRUE(WaitFor(last));
    EXPECT_TRUE(WaitFor([this] { return cloud->Read("b.pdf") == QByteArray("x"); }));
}

TEST_P(ProtocolContract, DocumentsComeBackAsTheyWent)
{
    SignIn();
    for (const int size : {0, 1, 256 * 1024 - 1, 256 * 1024, 5 * 1024 * 1024 + 3}) {
        const QByteArray bytes = Bytes(size);
        const std::string name = "Grö\xC3\x9F" + std::to_string(size) + " 100%.pdf";
        const auto source = Local(name, bytes);
        const auto up = client.Upload(source, {{Client::MD5_HASH, Md5(bytes)},
                                               {Client::FILE_MIME_TYPE, QStringLiteral("application/pdf")}});
        ASSERT_TRUE(WaitFor(up));
        ASSERT_TRUE(up->IsSuccess()) << size;
        EXPECT_EQ(cloud->Read(name), bytes);
        EXPECT_EQ(up->payload.fileName.toStdString(), name);
        EXPECT_EQ(up->payload.size, size);
        EXPECT_TRUE(up->payload.isPrivate);
        EXPECT_TRUE(up->payload.modifyTime.isValid());
        EXPECT_TRUE(up->payload.downloadUrl.isValid());

        const auto info = client.Info(up->payload.id);
        const auto down = client.Download(up->payload.id, local.Path() / "back.pdf", QString::number(size));
        ASSERT_TRUE(WaitFor(info) && WaitFor(down));
        EXPECT_EQ(info->payload.md5Hash, Md5(bytes));
        EXPECT_EQ(info->payload.versionTag, up->payload.versionTag);
        EXPECT_TRUE(down->IsSuccess());
        EXPECT_EQ(ReadFile(local.Path() / "back.pdf"), bytes);
        for (const auto& progress : {up->progress, down->progress}) {
            EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
            EXPECT_THAT(progress, testing::Each(testing::AllOf(testing::Ge(0), testing::Le(100))));
            ASSERT_FALSE(progress.empty());
            EXPECT_EQ(progress.back(), 100);
            EXPECT_EQ(std::count(progress.begin(), progress.end(), 100), 1);
        }
    }
    EXPECT_EQ(cloud->Names().size(), 5U);
}

TEST_P(ProtocolContract, TheListHoldsTheDocumentsInOrderOfTheirIds)
{
    cloud->Put("b.pdf", "bb");
    cloud->Put("a;1.PDF", "a");
    cloud->Put("notes.txt", "no document");
    cloud->Put(".hidden.pdf", "no document");
    cloud->PutCollection("folder.pdf");
    SignIn();
    for (int round = 0; round < 2; ++round) {
        const auto list = client.List();
        ASSERT_TRUE(WaitFor(list));
        ASSERT_EQ(list->payload.size(), 2);
        const CloudFile& file = list->payload[0];
        EXPECT_EQ(file.id, QStringLiteral("a%3B1.PDF"));
        EXPECT_EQ(file.fileName, QStringLiteral("a;1.PDF"));
        EXPECT_EQ(file.size, 1);
        EXPECT_EQ(file.md5Hash, Md5("a"));
        EXPECT_EQ(list->payload[1].id, QStringLiteral("b.pdf"));
        for (const QString& time : {file.createdAt, file.modifyTime}) {
            EXPECT_TRUE(time.endsWith(QLatin1Char('Z'))) << time.toStdString();
            EXPECT_LT(
                std::abs(QDateTime::fromString(time, Qt::ISODate).secsTo(QDateTime::currentDateTimeUtc())),
                600);
        }
    }
    cloud->Put("b.pdf", "other");
    const auto list = client.List();
    ASSERT_TRUE(WaitFor(list));
    EXPECT_EQ(list->payload.value(1).md5Hash, Md5("other"));
}

TEST_P(ProtocolContract, AnUploadNeverOverwrites)
{
    cloud->Put("name.pdf", "theirs");
    SignIn();
    std::vector<QString> ids;
    for (const char* bytes : {"first", "second"}) {
        const auto answer = client.Upload(Local("name.pdf", bytes));
        ASSERT_TRUE(WaitFor(answer));
        ids.push_back(answer->payload.id);
    }
    EXPECT_THAT(ids, ElementsAre(QStringLiteral("name (2).pdf"), QStringLiteral("name (3).pdf")));
    EXPECT_EQ(cloud->Read("name.pdf"), QByteArray("theirs"));
    EXPECT_EQ(cloud->Read("name (2).pdf"), QByteArray("first"));
    EXPECT_EQ(cloud->Read("name (3).pdf"), QByteArray("second"));
}

TEST_P(ProtocolContract, TwoClientsThatRaceForOneNameBothKeepTheirDocuments)
{
    ProtocolClient other(cloud->Address());
    SignIn();
    SignIn(other);
    std::map<QByteArray, SharedAnswer<Social::OrvaneCloudSharingResult>> answers;
    for (int number = 0; number < 40; ++number) {
        const auto bytes = QByteArray::number(number);
        const auto folder = local.Path() / bytes.toStdString();
        std::filesystem::create_directory(folder);
        WriteFile(folder / "name.pdf", bytes);
        answers[bytes] = (number % 2 == 0 ? client : other).Upload(folder / "name.pdf");
    }
    std::set<QString> ids;
    for (const auto& [bytes, answer] : answers) {
        ASSERT_TRUE(WaitFor(answer));
        EXPECT_TRUE(answer->IsSuccess());
        EXPECT_TRUE(ids.insert(answer->payload.id).second);
        EXPECT_EQ(cloud->Read(answer->payload.id.toStdString()), bytes);
    }
    EXPECT_EQ(cloud->Names().size(), 40U);

    const auto list = client.List();
    ASSERT_TRUE(WaitFor(list));
    std::vector<QString> listed;
    for (const CloudFile& file : list->payload)
        listed.push_back(file.id);
    EXPECT_THAT(listed, testing::ElementsAreArray(ids)) << "in ascending order";
}

TEST_P(ProtocolContract, AnUploadWithAnIdReplacesExactlyThatDocument)
{
    cloud->Put("a.pdf", "old");
    cloud->Put("b.pdf", "other");
    SignIn();
    const auto tagOf = [this] {
        const auto info = client.Info(kSample);
        WaitFor(info);
        return info->payload.versionTag;
    };
    const QString before = tagOf();
    const auto answer = client.Upload(Local("b.pdf", "new"), {{Client::ID, kSample}});
    ASSERT_TRUE(WaitFor(answer));
    EXPECT_TRUE(answer->IsSuccess());
    EXPECT_EQ(answer->payload.id, kSample);
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("new"));
    EXPECT_EQ(cloud->Read("b.pdf"), QByteArray("other"));
    EXPECT_NE(tagOf(), before);

    const auto missing = client.Upload(Local("b.pdf", "new"), {{Client::ID, QStringLiteral("missing.pdf")}});
    ExpectFailure(missing, Operation::Upload, FailureCode::NotFound);
    EXPECT_TRUE(missing->payload.id.isEmpty());
    EXPECT_EQ(cloud->Names(), (std::set<std::string>{"a.pdf", "b.pdf"}));
}

TEST_P(ProtocolContract, AFailedUploadLeavesNothingAndNamesNothing)
{
    cloud->Put("a.pdf", "theirs");
    SignIn();
    std::filesystem::create_directory(local.Path() / "folder.pdf");
    const std::tuple<std::filesystem::path, QMap<QString, QString>, FailureCode> cases[] = {
        {local.Path() / "missing.pdf", {}, FailureCode::LocalDisk},
        {local.Path() / "folder.pdf", {}, FailureCode::LocalDisk},
        {Local("notes.txt", "x"), {}, FailureCode::Refused},
        {Local(".hidden.pdf", "x"), {}, FailureCode::Refused},
        {Local("a.pdf", "x"), {{Client::MD5_HASH, Md5("y")}}, FailureCode::Conflict},
        {Local("a.pdf", "x"), {{Client::MD5_HASH, Md5("y")}, {Client::ID, kSample}}, FailureCode::Conflict},
    };
    for (const auto& [path, parameters, reason] : cases) {
        SCOPED_TRACE(path);
        const auto answer = client.Upload(path, parameters);
        ExpectFailure(answer, Operation::Upload, reason);
        EXPECT_TRUE(answer->payload.id.isEmpty());
        EXPECT_THAT(answer->progress, testing::Not(Contains(100)));
    }
    EXPECT_EQ(cloud->Names(), std::set<std::string>{"a.pdf"});
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs"));
}

TEST_P(ProtocolContract, AFailedDownloadLeavesTheTargetAsItWas)
{
    cloud->Put("a.pdf", "new bytes");
    SignIn();
    const auto target = Local("a.pdf", "old");
    ExpectFailure(client.Download(kSample, target, QStringLiteral("3")), Operation::Download,
                  FailureCode::Conflict);
    ExpectFailure(client.Download(QStringLiteral("missing.pdf"), target), Operation::Download,
                  FailureCode::NotFound);
    ExpectFailure(client.Download(kSample, local.Path() / "no folder" / "a.pdf"), Operation::Download,
                  FailureCode::LocalDisk);
    ExpectFailure(client.Download(kSample, target / "a.pdf"), Operation::Download, FailureCode::LocalDisk);
    EXPECT_EQ(ReadFile(target), QByteArray("old"));
    EXPECT_EQ(LocalNames(), std::set<std::string>{"a.pdf"});

    const auto answer = client.Download(kSample, target, QStringLiteral("9"));
    ASSERT_TRUE(WaitFor(answer));
    EXPECT_EQ(ReadFile(target), QByteArray("new bytes"));
    EXPECT_EQ(LocalNames(), std::set<std::string>{"a.pdf"});
}

TEST_P(ProtocolContract, DeletingTakesOneDocumentAndMayBeRepeated)
{
    cloud->Put("a.pdf", "x");
    cloud->Put("b.pdf", "x");
    SignIn();
    for (int round = 0; round < 2; ++round) {
        const auto answer = client.Delete(kSample);
        ASSERT_TRUE(WaitFor(answer));
        EXPECT_TRUE(answer->IsSuccess());
        EXPECT_EQ(cloud->Names(), std::set<std::string>{"b.pdf"});
    }
    ExpectFailure(client.Info(kSample), Operation::FileInfo, FailureCode::NotFound);
}

TEST_P(ProtocolContract, ACloudThatIsAwayIsAnErrorAndNotAnEmptyCloud)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    SignIn();
    cloud->TakeAway();
    ExpectFailure(client.List(), Operation::FileList, FailureCode::NotFound);
    ExpectFailure(client.Info(kSample), Operation::FileInfo, FailureCode::NotFound);
    ExpectFailure(client.Upload(Local("b.pdf", "x")), Operation::Upload, FailureCode::NotFound);
    ExpectFailure(client.Upload(Local("b.pdf", "x"), {{Client::ID, kSample}}), Operation::Upload,
                  FailureCode::NotFound);
    ExpectFailure(client.Download(kSample, local.Path() / "c.pdf"), Operation::Download,
                  FailureCode::NotFound);
    ExpectFailure(client.Delete(kSample), Operation::Remove, FailureCode::NotFound);
    ExpectFailure(client.Quota(), Operation::Quota, FailureCode::NotFound);
    ExpectFailure(client.Preview(kSample, QStringLiteral("9"), QStringLiteral("9")), Operation::Preview,
                  FailureCode::NotFound);
    ExpectFailure(client.SignIn(cloud->Token()), Operation::SignIn, FailureCode::NotFound);
    EXPECT_EQ(LocalNames(), std::set<std::string>{"b.pdf"});
}

TEST_P(ProtocolContract, ACloudThatRefusesChangesStaysAsItIs)
{
    cloud->Put("a.pdf", "theirs");
    const auto source = Local("b.pdf", "x");
    std::filesystem::permissions(source, std::filesystem::perms::all);
    SignIn();
    cloud->SetReadOnly(true);
    ExpectFailure(client.Upload(source), Operation::Upload, FailureCode::Refused);
    ExpectFailure(client.Upload(source, {{Client::ID, kSample}}), Operation::Upload, FailureCode::Refused);
    ExpectFailure(client.Delete(kSample), Operation::Remove, FailureCode::Refused);
    const auto list = client.List();
    ASSERT_TRUE(WaitFor(list));
    EXPECT_EQ(list->payload.size(), 1);
    cloud->SetReadOnly(false);
    EXPECT_EQ(cloud->Names(), std::set<std::string>{"a.pdf"});
    EXPECT_EQ(cloud->Read("a.pdf"), QByteArray("theirs"));
}

TEST_P(ProtocolContract, QuotaFitsWhatTheReceiverKeeps)
{
    SignIn();
    const auto quota = client.Quota();
    ASSERT_TRUE(WaitFor(quota));
    ASSERT_TRUE(quota->payload.contains(QStringLiteral("pdf")));
    const auto [used, allowed] = quota->payload.value(QStringLiteral("pdf"));
    EXPECT_GE(used, 0);
    EXPECT_GE(allowed, 0);
    EXPECT_LE(std::max(used, allowed), 2147483647);
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
        QElapsedTimer elapsed;
        elapsed.start();
        WaitFor([&] { return elapsed.elapsed() >= pause; });
        const auto heard = [&] {
            return std::tuple(up->results, up->progress, down->results, down->progress);
        };
        const auto before = heard();
        for (const long long ticket : {up->ticket, down->ticket, down->ticket})
            client->cancelOperation(ticket);
        const auto atCancel = ReadFile(target);
        EXPECT_TRUE(!atCancel || atCancel == bytes);
        EXPECT_TRUE(WaitFor([&] { return !HoldsHidden(LocalNames()) && !HoldsHidden(cloud->Names()); }));
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
    std::vector<SharedAnswer<Social::OrvaneCloudSharingResult>> uploads;
    std::vector<SharedAnswer<QPixmap>> previews;
    for (int number = 0; number < 2000; ++number) {
        uploads.push_back(client.Upload(source));
        previews.push_back(client.Preview(kSample, QString::number(number % 300 + 1), QStringLiteral("40")));
    }
    for (std::size_t index = 0; index < uploads.size(); ++index) {
        client->cancelOperation(uploads[index]->ticket);
        client->cancelOperation(previews[index]->ticket);
    }
    const auto last = client.Upload(source);
    ASSERT_TRUE(WaitFor(last));
    EXPECT_TRUE(last->IsSuccess());
    LetEventsPass();
    for (std::size_t index = 0; index < uploads.size(); ++index)
        EXPECT_EQ(uploads[index]->results + previews[index]->results, 0);
    EXPECT_LE(cloud->Names().size(), 5U) << "the two that were running may have got through";
}

TEST_P(ProtocolContract, ACallbackMayCancelOtherRequestsAndStartNewOnes)
{
    SignIn();
    const auto first = client.List();
    const auto second = client.List();
    SharedAnswer<QList<CloudFile>> third;
    first->then = [&] {
        client->cancelOperation(second->ticket);
        client->cancelOperation(first->ticket);
        third = client.List();
    };
    second->then = [&] { client->cancelOperation(first->ticket); };
    EXPECT_TRUE(WaitFor([&] { return third ? third->results == 1 : second->results == 1; }));
    LetEventsPass();
    EXPECT_EQ(first->results + second->results, 1);
}

TEST_P(ProtocolContract, AProgressCallbackMayCancelItsOwnRequest)
{
    SignIn();
    const auto source = Local("a.pdf", Bytes(1000));
    auto ticket = std::make_shared<long long>(0);
    int calls = 0;
    *ticket = client->uploadFile(
        Support::ToText(source), {},
        [&](long long, RequestResult, const auto&) { ADD_FAILURE() << "answered after its cancel"; },
        [&calls, ticket, this](long long, int) {
            client->cancelOperation(*ticket);
            ++calls;
        });
    EXPECT_TRUE(WaitFor([&] { return calls > 0; }));
    LetEventsPass();
    EXPECT_EQ(calls, 1);
}

TEST_P(ProtocolContract, EveryCallbackMayDeleteTheClient)
{
    for (const bool isInResult : {true, false}) {
        cloud->Put("a.pdf", Bytes(100'000));
        auto dying = std::make_unique<ProtocolClient>(cloud->Address());
        SignIn(*dying);
        for (int number = 0; number < 5; ++number)
            (*dying)->retriveFileList({}, [](auto...) {});
        bool isDeleted = false;
        const auto destroy = [&] {
            EXPECT_FALSE(isDeleted) << "called back by a client that is gone";
            isDeleted = true;
            dying->Destroy();
        };
        Client::Files::FileFieldData file;
        file.fields = {{Client::ID, kSample}, {Client::FILE_NAME, Support::ToText(local.Path() / "new.pdf")}};
        (*dying)->downloadFile(
            file, [&](auto...) { destroy(); },
            [&](auto...) {
                if (!isInResult)
                    destroy();
            });
        ASSERT_TRUE(WaitFor([&] { return isDeleted; }));
        LetEventsPass();
    }
    EXPECT_THAT(LocalNames(), testing::AnyOf(IsEmpty(), ElementsAre("new.pdf")));
}

TEST_P(ProtocolContract, DestructionStopsEverythingAtAnyMoment)
{
    cloud->Put("a.pdf", OnePagePdf(100, 100, Bytes(3'000'000).toHex()));
    cloud->Put("gone.pdf", "x");
    Local("local.pdf", Bytes(6'000'000));
    for (int pause = 0; pause < 12; ++pause) {
        ProtocolClient dying(cloud->Address());
        SignIn(dying);
        std::vector<std::shared_ptr<int>> results;
        for (const auto& [name, request] : kRequests)
            results.push_back(request(dying, local.Path()));
        QTest::qWait(pause * 3);
        dying.Destroy();
        std::vector<int> before;
        for (const auto& count : results)
            before.push_back(*count);
        EXPECT_FALSE(HoldsHidden(LocalNames()));
        EXPECT_FALSE(HoldsHidden(cloud->Names()));
        LetEventsPass();
        for (std::size_t index = 0; index < results.size(); ++index)
            EXPECT_EQ(*results[index], before[index]);
    }
}

TEST_P(ProtocolContract, CallbacksLiveAndDieOnTheClientsThread)
{
    cloud->Put("a.pdf", "x");
    SignIn();
    int deaths = 0;
    const auto watched = [&deaths] {
        return std::shared_ptr<int>(new int(0), [&deaths](int* number) {
            EXPECT_EQ(QThread::currentThread(), qApp->thread());
            ++deaths;
            delete number;
        });
    };
    client->retriveFileList({}, [held = watched()](auto...) {});
    const auto ticket = client->retriveFileList({}, [held = watched()](auto...) {});
    client->cancelOperation(ticket);
    EXPECT_EQ(deaths, 1);
    EXPECT_TRUE(WaitFor([&] { return deaths == 2; }));
    client->retriveFileList({}, [held = watched()](auto...) {});
    client.Destroy();
    EXPECT_EQ(deaths, 3);
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
    const auto source = Local("large.pdf", "x");
    std::filesystem::resize_file(source, 200 * 1024 * 1024);
    const long before = PeakKibibytes();
    const auto up = client.Upload(source);
    ASSERT_TRUE(WaitFor(up));
    ASSERT_TRUE(up->IsSuccess());
    const auto down = client.Download(up->payload.id, local.Path() / "back.pdf");
    ASSERT_TRUE(WaitFor(down));
    EXPECT_TRUE(down->IsSuccess());
    EXPECT_EQ(std::filesystem::file_size(local.Path() / "back.pdf"), 200U * 1024 * 1024);
    EXPECT_LT(PeakKibibytes() - before, 50 * 1024);
}
#endif

TEST_P(ProtocolContract, APreviewFitsItsBoxAndKeepsThePagesShape)
{
    cloud->Put("a.pdf", OnePagePdf(400, 200));
    SignIn();
    const auto wide = client.Preview(kSample, QStringLiteral("100"), QStringLiteral("40"));
    const auto tall = client.Preview(kSample, QStringLiteral("20"), QStringLiteral("40"));
    ASSERT_TRUE(WaitFor(wide) && WaitFor(tall));
    EXPECT_EQ(wide->payload.size(), QSize(80, 40));
    EXPECT_EQ(tall->payload.size(), QSize(20, 10));
}

TEST_P(ProtocolContract, ADocumentIsRenderedOnceForAllItsSizesUntilItChanges)
{
    const CountedHelper helper;
    for (const char* name : {"a.pdf", "b.pdf", "c.pdf"})
        cloud->Put(name, OnePagePdf(100, 200, name));
    SignIn();
    const auto askForAll = [this] {
        std::vector<SharedAnswer<QPixmap>> answers;
        for (const char* id : {"a.pdf", "b.pdf", "c.pdf"}) {
            for (const int edge : {40, 100, 191})
                answers.push_back(
                    client.Preview(QString::fromUtf8(id), QString::number(edge), QString::number(edge)));
        }
        for (const auto& answer : answers)
            EXPECT_TRUE(WaitFor(answer) && answer->IsSuccess() && !answer->payload.isNull());
    };
    askForAll();
    EXPECT_EQ(helper.Runs(), 3);
    askForAll();
    EXPECT_EQ(helper.Runs(), 3);
    cloud->Put("b.pdf", OnePagePdf(200, 100, "changed"));
    askForAll();
    EXPECT_EQ(helper.Runs(), 4);
}

TEST_P(ProtocolContract, ABrokenDocumentHasNoPreviewAndSaysSo)
{
    cloud->Put("a.pdf", "this is no PDF");
    SignIn();
    ExpectFailure(client.Preview(kSample, QStringLiteral("40"), QStringLiteral("40")), Operation::Preview,
                  FailureCode::InvalidDocument);
    ExpectFailure(client.Preview(QStringLiteral("missing.pdf"), QStringLiteral("40"), QStringLiteral("40")),
                  Operation::Preview, FailureCode::NotFound);
}

TEST_P(ProtocolContract, CancellingOneSizeLeavesTheOthersAndCancellingAllStopsTheRendering)
{
    const HelperStandIn hanging("printf x >> \"$0.note\"; exec sleep 600");
    cloud->Put("a.pdf", OnePagePdf(100, 100));
    cloud->Put("b.pdf", OnePagePdf(100, 100));
    SignIn();
    std::vector<SharedAnswer<QPixmap>> answers;
    for (const char* edge : {"40", "100", "191"})
        answers.push_back(client.Preview(kSample, QString::fromUtf8(edge), QString::fromUtf8(edge)));
    ASSERT_TRUE(WaitFor([&] { return hanging.Note() == "x"; }));
    const auto late = client.Preview(kSample, QStringLiteral("50"), QStringLiteral("50"));
    for (const auto& answer : answers)
        client->cancelOperation(answer->ticket);
    // The first rendering ends only because nobody wants it any more; then the late one has its turn.
    EXPECT_TRUE(WaitFor([&] { return hanging.Note() == "xx"; }));
    client->cancelOperation(late->ticket);
    const auto quota = client.Quota();
    EXPECT_TRUE(WaitFor(quota));
    for (const auto& answer : answers)
        EXPECT_EQ(answer->results, 0);
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
