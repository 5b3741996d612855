#include "support/Journal.h"

#include <cli/DocumentNames.h>
#include <cli/FailureText.h>
#include <cli/PrintableText.h>
#include <cli/SafeFileName.h>
#include <cli/Token.h>
#include <cli/WebAddress.h>

#include <QSet>

namespace {

using namespace Orvane::CommandLine;
using Orvane::Social::FailureCode;
using Orvane::Social::Operation;
using Orvane::Tests::operator""_q;

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
        EXPECT_EQ(static_cast<int>(problem.exitCode), exitCode);
        EXPECT_TRUE(problem.what.contains("\"100%1.pdf\""_q)) << problem.what.toStdString();
        EXPECT_TRUE(problem.why.endsWith(" (raw detail)"_q)) << problem.why.toStdString();
        EXPECT_NE(problem.next, QString());
        names.insert(problem.code);
    }
    EXPECT_EQ(names.size(), static_cast<int>(std::size(cases))) << "scripts could not tell the codes apart";
}

using TextCase = std::pair<QString, QString>;

TEST(SafeFileNameTest, KeepsANameInsideItsFolder)
{
    const QString longStem = "ä"_q.repeated(200);
    const TextCase cases[] = {
        {"a:b;c%2F.pdf"_q, "a:b;c%2F.pdf"_q},    {"../../x.pdf"_q, "_.._.._x.pdf"_q},
        {"..\\x.pdf"_q, "_.._x.pdf"_q},          {{}, "_"_q},
        {"a\nb\x1b[m\0.pdf"_q, "a_b_[m_.pdf"_q}, {longStem + ".pdf"_q, longStem.left(125) + ".pdf"_q},
        {"😀"_q.repeated(70), "😀"_q.repeated(63)}};
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(ToSafeFileName(name), expected) << name.toStdString();
}

TEST(PrintableTextTest, EscapesWhatDrivesATerminal)
{
    const TextCase cases[] = {{"Übergröße 😀 👩‍💻"_q, "Übergröße 😀 👩‍💻"_q},
                              {"a\nb\x1b[2J\u009b"_q, "a\\nb\\u{1b}[2J\\u{9b}"_q},
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

} // namespace
