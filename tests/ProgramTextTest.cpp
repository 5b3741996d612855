#include "support/FilesManagerFixture.h"

#include <cli/DocumentChanges.h>
#include <cli/DocumentNames.h>
#include <cli/DocumentTable.h>
#include <cli/FailureText.h>
#include <cli/Options.h>
#include <cli/PrintableText.h>
#include <cli/ProgressBar.h>
#include <cli/QuotaText.h>
#include <cli/SafeFileName.h>
#include <cli/Token.h>
#include <cli/WebAddress.h>

#include <support/Wiping.h>

#include <QJsonValue>
#include <QSet>

#include <cstdlib>
#include <limits>

namespace {

using namespace Orvane::CommandLine;
using namespace Orvane::Tests;
using Orvane::PDF::FileInfo;
using Orvane::Social::FailureCode;
using Orvane::Social::Operation;
using Status = FileInfo::CloudStatus;
using testing::HasSubstr;

TEST(FailureTextTest, TurnsEveryCodeIntoItsExitCodeAndAFullSentence)
{
    const std::pair<FailureCode, int> cases[] = {
        {FailureCode::SignInNeeded, 4},    {FailureCode::InvalidRequest, 1}, {FailureCode::InvalidAddress, 2},
        {FailureCode::NotFound, 3},        {FailureCode::Refused, 5},        {FailureCode::Conflict, 6},
        {FailureCode::QuotaExceeded, 7},   {FailureCode::Network, 5},        {FailureCode::TimedOut, 5},
        {FailureCode::Protocol, 5},        {FailureCode::LocalDisk, 8},      {FailureCode::Unsupported, 1},
        {FailureCode::InvalidDocument, 1}, {FailureCode::Canceled, 1},       {FailureCode::Unavailable, 5},
        {FailureCode::Untrusted, 5},       {FailureCode::OutOfResources, 1}};
    QSet<QString> names;
    for (const auto& [code, exitCode] : cases) {
        const auto problem = DescribeFailure(Operation::Download, "100%1.pdf"_q, {code, "raw detail"_q});
        const auto pause = DescribePause({code, "raw detail"_q}, 3001);
        EXPECT_TRUE(pause.endsWith("; trying again in 4 s."_q) && pause[0].isUpper()) << pause.toStdString();
        EXPECT_EQ(static_cast<int>(problem.exitCode), exitCode);
        EXPECT_TRUE(problem.what.contains("\"100%1.pdf\""_q)) << problem.what.toStdString();
        EXPECT_TRUE(problem.why.endsWith(" (raw detail)"_q)) << problem.why.toStdString();
        EXPECT_NE(problem.next, QString());
        names.insert(problem.code);
    }
    EXPECT_EQ(names.size(), static_cast<int>(std::size(cases))) << "scripts could not tell the codes apart";

    const auto whyOf = [](Operation operation, const QString& detail) {
        return DescribeFailure(operation, "a.pdf"_q, {FailureCode::NotFound, detail}).why;
    };
    EXPECT_EQ(whyOf(Operation::FileList, {}), "the cloud is not there"_q);
    EXPECT_EQ(whyOf(Operation::Remove, "it is no longer in the cloud"_q), "it is no longer in the cloud"_q);
}

using TextCase = std::pair<QString, QString>;

TEST(SafeFileNameTest, KeepsANameInsideItsFolder)
{
    const QString longStem = "ä"_q.repeated(200);
    const TextCase cases[] = {{"a:b;c%2F.pdf"_q, "a:b;c%2F.pdf"_q},
                              {"../../x.pdf"_q, "_.._.._x.pdf"_q},
                              {"..\\x.pdf"_q, "_.._x.pdf"_q},
                              {{}, "_"_q},
                              {"a\nb\x1b[m\0.pdf"_q, "a_b_[m_.pdf"_q},
                              {longStem + ".pdf"_q, longStem.left(125) + ".pdf"_q},
                              {"😀"_q.repeated(70), "😀"_q.repeated(63)},
                              {"a"_q.repeated(251) + ".pdf"_q, "a"_q.repeated(251) + ".pdf"_q},
                              {"a"_q.repeated(250) + ".7654321"_q, "a"_q.repeated(247) + ".7654321"_q},
                              {"a"_q.repeated(250) + ".87654321"_q, "a"_q.repeated(250) + ".8765"_q},
                              {".pdf"_q.repeated(70), "_"_q + ".pdf"_q.repeated(62) + ".p.pdf"_q}};
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(ToSafeFileName(name), expected) << name.toStdString();
}

TEST(PrintableTextTest, EscapesWhatDrivesATerminal)
{
    const TextCase cases[] = {
        {"Übergröße 😀 👩‍💻 \u200c"_q, "Übergröße 😀 👩‍💻 \u200c"_q},
        {"a\nb\r\t\x1b[2J\u009b"_q, "a\\nb\\r\\t\\u{1b}[2J\\u{9b}"_q},
        {"\u202e\u2028"_q, "\\u{202e}\\u{2028}"_q}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(ToPrintable(text), expected);
    EXPECT_EQ(ToPrintableJson("{\"a\":\"\xc2\x9b\x7f\xc3\xa4\"}"), "{\"a\":\"\\u009b\\u007f\xc3\xa4\"}");
}

TEST(WebAddressTest, SpellsOneCloudOneWay)
{
    const TextCase cases[] = {
        {"HTTPS://Host.Example:443/Dav"_q, "https://host.example/Dav/"_q},
        {"http://host:80"_q, "http://host/"_q},
        {"https://host:80//a//b"_q, "https://host:80/a/b/"_q},
        {"https://[::1]/me@x/Ü %7e%c3%9c%2f"_q, "https://[::1]/me@x/%C3%9C%20~%C3%9C%2F/"_q}};
    for (const auto& [address, expected] : cases) {
        EXPECT_FALSE(CheckAddress(address)) << address.toStdString();
        EXPECT_EQ(ToOneSpelling(address), expected);
    }
    for (const char* address : {"https:", "https://", "http://h:0/", "http://h/?a", "http://h/#a",
                                "http://ada@h/", "https://ada:pw@h/", "file://ada@h/"})
        EXPECT_TRUE(CheckAddress(QString::fromUtf8(address))) << address;
    EXPECT_FALSE(CheckAddress("/srv/ada@home#1"_q) || CheckAddress("http-files"_q));
}

TEST(TokenTest, TakesAPasswordAsItIsAndABearerTokenAsItCanBeSent)
{
    const auto take = [](const char* text, TokenKind kind) {
        qputenv("ORVANE_CLOUD_TOKEN", text);
        const auto token = TakeToken({}, kind);
        return std::holds_alternative<Problem>(token) ? "none"_q : std::get<QString>(token);
    };
    EXPECT_EQ(take(" two  wörds \r\n", TokenKind::Password), " two  wörds "_q);
    EXPECT_EQ(take(" abc-_~+/= \n", TokenKind::Bearer), "abc-_~+/="_q);
    EXPECT_EQ(take("wört", TokenKind::Bearer), "none"_q);
    for (const char* text : {"a\tb", "a\nb", "a\x7f", "a\xff", "a\u009b"})
        EXPECT_EQ(take(text, TokenKind::Password), "none"_q) << text;
}

TEST(TokenTest, LeavesNoCopyOfATokenInMemory)
{
    char variable[] = "ORVANE_CLOUD_TOKEN=secret";
    ::putenv(variable);
    EXPECT_EQ(std::get<QString>(TakeToken({}, TokenKind::Bearer)), "secret"_q);
    EXPECT_EQ(std::string(std::begin(variable), std::end(variable)).find("secret"), std::string::npos);
    EXPECT_FALSE(qEnvironmentVariableIsSet("ORVANE_CLOUD_TOKEN"));

    QByteArray bytes("secret");
    QByteArray shared = bytes;
    const char* const memory = bytes.constData();
    Orvane::Support::Wipe(bytes);
    EXPECT_EQ(std::string(memory), "secret") << "somebody's who still needs it";
    shared.reserve(64);
    Orvane::Support::Wipe(shared.data(), 3);
    EXPECT_EQ(shared, QByteArray("\0\0\0ret", 6));
}

TEST(DocumentNamesTest, FindsByIdThenByUniqueName)
{
    const std::pair<QString, QString> documents[] = {
        {"1"_q, "a.pdf"_q},         {"2"_q, "a.pdf"_q},   {"3"_q, "b.pdf"_q},  {"b.pdf"_q, "c.pdf"_q},
        {"\u202e4"_q, "d\u202e"_q}, {"5"_q, "e\u202e"_q}, {"6"_q, "e\u202e"_q}};
    QVector<DocumentRow> rows;
    for (const auto& [id, name] : documents) {
        rows.append(DocumentRow());
        rows.last().id = id;
        rows.last().name = name;
    }
    for (const auto& [text, id] : {TextCase{"2"_q, "2"_q},
                                   {"c.pdf"_q, "b.pdf"_q},
                                   {"b.pdf"_q, "b.pdf"_q},
                                   {"d\\u{202e}"_q, "\u202e4"_q},
                                   {"\\u{202e}4"_q, "\u202e4"_q}})
        EXPECT_EQ(std::get<DocumentRow>(FindDocument(rows, text)).id, id);

    const auto problemOf = [&](const QString& text) { return std::get<Problem>(FindDocument(rows, text)); };
    EXPECT_EQ(problemOf("A.pdf"_q).exitCode, ExitCode::NotFound);
    EXPECT_EQ(problemOf("a.pdf"_q).exitCode, ExitCode::Usage);
    EXPECT_TRUE(problemOf("a.pdf"_q).next.contains("1, 2"_q));
    EXPECT_TRUE(problemOf("e\\u{202e}"_q).next.contains("5, 6"_q));
}

TEST(QuotaTextTest, TellsAFullCloudFromOneWithoutALimit)
{
    constexpr int kMost = std::numeric_limits<int>::max();
    const std::tuple<Quota, QString, QJsonValue> cases[] = {
        {{1536, 0}, "1.5 MiB used, limit unknown"_q, {}},
        {{0, 1}, "0 bytes used of 1.0 KiB (0 %)"_q, 1024},
        {{1, 1}, "1.0 KiB used of 1.0 KiB (100 %)"_q, 1024},
        {{kMost - 1, kMost - 1}, "2.0 TiB used of 2.0 TiB (100 %)"_q, 1024.0 * (kMost - 1)},
        {{kMost, kMost}, "at least 2.0 TiB used of at least 2.0 TiB"_q, 1024.0 * kMost}};
    for (const auto& [quota, text, allowed] : cases) {
        EXPECT_EQ(ToText(quota), text);
        EXPECT_EQ(ToJson(quota),
                  (QJsonObject{{"usedBytes"_q, 1024.0 * quota.usedInKiB}, {"allowedBytes"_q, allowed}}));
    }
}

TEST(ProgressBarTest, StaysWithinItsWidth)
{
    const std::tuple<int, int, int, QString> cases[] = {
        // percent, count, width, line
        {0, 1, 40, "[........................]   0 %  a.pdf"_q},
        {99, 2, 50, "[#######################.]  99 %  1 of 2  a.pdf"_q},
        {100, 1, 39, "[########################] 100 %  a.pdf"_q},
        {100, 1, 38, "[########################] 100 %  a..."_q},
        {100, 1, 37, "[########################] 100 %  "_q},
        {100, 1, 30, "[########################] ..."_q}};
    for (const auto& [percent, count, width, line] : cases)
        EXPECT_EQ(ProgressBar::Render({percent, 1, count, "a.pdf"_q}, width), line);
}

class DocumentRowTest : public FilesManagerFixture
{};

TEST_F(DocumentRowTest, ListIsOrderedByNameThenIdAndKeepsLargeSizes)
{
    Add(CloudDocument("2", "B.pdf"));
    Add(CloudDocument("3", "c.pdf"));
    Add(CloudDocument("1", "b.pdf"));
    Add(std::make_shared<FileInfo>(CloudSide("4", "A.pdf", 5'000'000'000)));
    Add(DocumentWithoutCloudSide("5"));
    QStringList ids;
    for (const auto& row : ReadRows(*m_list))
        ids.append(row.id + " "_q + QString::number(row.size));
    EXPECT_EQ(ids.join(","_q), "5 0,4 5000000000,1 5000,2 5000,3 5000"_q);
}

TEST_F(DocumentRowTest, RowsAreShownInColumnsAndAsJson)
{
    const QDateTime modified({2020, 2, 29}, {1, 4, 5}, Qt::OffsetFromUTC, 3 * 3600);
    const auto local = modified.toLocalTime().toString("yyyy-MM-dd HH:mm"_q);
    const DocumentRow first{"1"_q, "a.pdf"_q, 1536, modified, Status::Synchronized, "/a.pdf"_q};
    const DocumentRow second{"%0A"_q, "\n.pdf"_q, 0, {}, Status::CloudChanged, {}};
    EXPECT_EQ(RenderTable({first, second}, TableHeader::Shown),
              (QStringList{"NAME       SIZE  MODIFIED          STATE             ID"_q,
                           "a.pdf   1.5 KiB  "_q + local + "  synchronized      1"_q,
                           "\\n.pdf  0 bytes  -                 changed in cloud  %0A"_q}));
    EXPECT_EQ(RenderTable({second}, TableHeader::Hidden).join("|"_q),
              "\\n.pdf  0 bytes  -  changed in cloud  %0A"_q);
    EXPECT_EQ(RenderTable({}, TableHeader::Shown), QStringList());
    EXPECT_EQ(ToJson(first), (QJsonObject{{"id"_q, "1"_q},
                                          {"name"_q, "a.pdf"_q},
                                          {"size"_q, 1536},
                                          {"modified"_q, "2020-02-28T22:04:05Z"_q},
                                          {"state"_q, "synchronized"_q},
                                          {"path"_q, "/a.pdf"_q}}));
    EXPECT_TRUE(ToJson(second)["modified"_q].isNull() && ToJson(second)["path"_q].isNull());
    QStringList states;
    for (int status = 0; status <= 8; ++status)
        states.append(StateText(static_cast<Status>(status)));
    EXPECT_EQ(states.join(","_q),
              "synchronized,cloud only,changed here,changed in cloud,unknown,not uploaded,"
              "in transfer,conflict,unknown"_q);
}

TEST(DocumentChangesTest, EveryDifferenceIsToldOnceAndTheRemovedLast)
{
    const auto row = [](const char* id, const char* name) {
        return DocumentRow{QString::fromUtf8(id), QString::fromUtf8(name), 1, {}, Status::CloudOnly, {}};
    };
    auto moved = row("e", "e"), grown = row("f", "f");
    moved.localPath = "/e"_q;
    grown.size = 2;
    QStringList told;
    for (const auto& [kind, document] :
         CompareRows({row("a", "a"), row("b", "b"), row("c", "c"), row("e", "e"), row("f", "f")},
                     {row("b", "new"), row("d", "d"), row("c", "c"), moved, grown}))
        told.append("+*-"_q.at(static_cast<int>(kind)) + document.id + document.name);
    EXPECT_EQ(told.join(","_q), "*bnew,+dd,*ee,*ff,-aa"_q);
}

// What the program takes a command line for: every option that is not as usual, or why it is refused.
QString Understood(const QByteArray& line)
{
    const auto words = line.split(' ');
    std::vector<const char*> arguments{"orvane-cloud"};
    for (const auto& word : words)
        arguments.push_back(word.constData());
    const auto parsed = Parser().Parse(static_cast<int>(arguments.size()), arguments.data());
    if (const auto* problem = std::get_if<Problem>(&parsed))
        return "refused: "_q + problem->why;
    if (std::holds_alternative<Information>(parsed))
        return "text"_q;
    const auto& options = std::get<Options>(parsed);
    QStringList all{options.command};
    for (const auto& text : {options.cloud, options.data, options.user, options.caFile, options.tokenFile,
                             options.documents.join("+"_q), options.target, options.shell})
        all.append(text.isEmpty() ? "-"_q : text);
    all.append(options.files.isEmpty() ? "-"_q : QString::fromLatin1(options.files.join('+')));
    for (const bool flag :
         {options.isInsecureHttpAllowed, options.isEmptiedFolderAccepted, options.isJson, options.isQuiet,
          options.isVerbose, options.isOverwritingAllowed, options.isRemovalConfirmed, options.isOffline})
        all.last() += flag ? "1"_q : "0"_q;
    all.append(QString::fromStdString(FileInfo::previewSizetoString(options.previewSize)));
    all.append(QString::number(options.intervalInSeconds));
    return all.join(" "_q);
}

TEST(OptionsTest, EveryOptionReachesItsPlace)
{
    const std::pair<const char*, const char*> variables[] = {{"ORVANE_CLOUD", "ec"},
                                                             {"ORVANE_CLOUD_DATA", "ed"},
                                                             {"ORVANE_CLOUD_USER", "eu"},
                                                             {"ORVANE_CLOUD_CA_FILE", "ea"}};
    for (const auto& [name, value] : variables)
        qputenv(name, value);
    const std::pair<const char*, const char*> cases[] = {
        {"status", "status ec ed eu ea - - - - -00000000 Large 30"},
        {"--cloud c --data d --user u --ca-file a --token-file t quota",
         "quota c d u a t - - - -00000000 Large 30"},
        {"-q upload -- a -b --to=", "upload ec ed eu ea - - - - a+-b+--to=00010000 Large 30"},
        {"download a b --to t --overwrite", "download ec ed eu ea - a+b t - -00000100 Large 30"},
        {"remove a -y --allow-insecure-http", "remove ec ed eu ea - a - - -10000010 Large 30"},
        {"list --offline --json --accept-empty", "list ec ed eu ea - - - - -01100001 Large 30"},
        {"preview a --size small -v", "preview ec ed eu ea - a - - -00001000 Small 30"},
        {"preview a --size medium", "preview ec ed eu ea - a - - -00000000 Medium 30"},
        {"watch --interval 86400", "watch ec ed eu ea - - - - -00000000 Large 86400"},
        {"completion zsh", "completion ec ed eu ea - - - zsh -00000000 Large 30"},
        {"--version", "text"},
    };
    for (const auto& [line, understood] : cases)
        EXPECT_EQ(Understood(line).toStdString(), understood) << line;
    for (const char* line : {"", "upload", "preview a b", "preview a --size huge", "watch --interval 86401",
                             "watch --interval 0", "list --to=", "--user a:b list", "list x", "list quota"})
        EXPECT_THAT(Understood(line).toStdString(), HasSubstr("refused")) << line;
    for (const auto& [name, value] : variables)
        qunsetenv(name);
}

} // namespace
