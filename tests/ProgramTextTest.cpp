#include "support/Journal.h"

#include <cli/DocumentChanges.h>
#include <cli/DocumentNames.h>
#include <cli/DocumentTable.h>
#include <cli/FailureText.h>
#include <cli/PrintableText.h>
#include <cli/ProgressBar.h>
#include <cli/QuotaText.h>
#include <cli/SafeFileName.h>

#include <QSet>

namespace {

using namespace Orvane::CommandLine;
using Orvane::Social::FailureCode;
using Orvane::Social::Operation;
using Orvane::Tests::operator""_q;

DocumentRow Row(const char* id, const char* name, qint64 size = 1)
{
    DocumentRow row;
    row.id = QString::fromUtf8(id);
    row.name = QString::fromUtf8(name);
    row.size = size;
    return row;
}

TEST(FailureTextTest, TurnsEveryCodeIntoItsExitCodeAndAFullSentence)
{
    const std::pair<FailureCode, int> cases[] = {
        {FailureCode::SignInNeeded, 4},    {FailureCode::InvalidRequest, 1}, {FailureCode::InvalidAddress, 2},
        {FailureCode::NotFound, 3},        {FailureCode::Refused, 5},        {FailureCode::Conflict, 6},
        {FailureCode::QuotaExceeded, 7},   {FailureCode::Network, 5},        {FailureCode::TimedOut, 5},
        {FailureCode::Protocol, 5},        {FailureCode::LocalDisk, 8},      {FailureCode::Unsupported, 1},
        {FailureCode::InvalidDocument, 1}, {FailureCode::Canceled, 1}};
    QSet<QString> names;
    for (const auto& [code, exitCode] : cases) {
        for (int operation = 0; operation <= static_cast<int>(Operation::Preview); ++operation) {
            const auto problem =
                DescribeFailure(static_cast<Operation>(operation), "100%1.pdf"_q, {code, "raw detail"_q});
            EXPECT_EQ(static_cast<int>(problem.exitCode), exitCode);
            EXPECT_TRUE(problem.what.startsWith("Could not "_q)) << problem.what.toStdString();
            EXPECT_TRUE(problem.why.endsWith(" (raw detail)"_q)) << problem.why.toStdString();
            EXPECT_TRUE(problem.next.contains(QLatin1Char(' '))) << problem.next.toStdString();
            names.insert(problem.code);
        }
    }
    EXPECT_EQ(names.size(), static_cast<int>(std::size(cases))) << "scripts could not tell the codes apart";

    const auto gone = DescribeFailure(Operation::Download, "100%1.pdf"_q, {FailureCode::NotFound, {}});
    EXPECT_TRUE(gone.what.contains("\"100%1.pdf\""_q)) << gone.what.toStdString();
    EXPECT_NE(gone.why, DescribeFailure(Operation::SignIn, {}, {FailureCode::NotFound, {}}).why);
}

using TextCase = std::pair<QString, QString>;

TEST(SafeFileNameTest, KeepsANameInsideItsFolder)
{
    const QString longStem = "ä"_q.repeated(200);
    const TextCase cases[] = {{"a:b;c%2F.pdf"_q, "a:b;c%2F.pdf"_q},
                              {"../../x.pdf"_q, "_.._.._x.pdf"_q},
                              {"..\\x.pdf"_q, "_.._x.pdf"_q},
                              {".."_q, "_.."_q},
                              {{}, "_"_q},
                              {".hidden.pdf"_q, "_.hidden.pdf"_q},
                              {"a\nb\x1b[m.pdf"_q, "a_b_[m.pdf"_q},
                              {"nul\0.pdf"_q, "nul_.pdf"_q},
                              {longStem + ".pdf"_q, longStem.left(125) + ".pdf"_q},
                              {"😀"_q.repeated(70), "😀"_q.repeated(63)}};
    for (const auto& [name, expected] : cases)
        EXPECT_EQ(ToSafeFileName(name), expected) << name.toStdString();
}

TEST(PrintableTextTest, EscapesWhatDrivesATerminal)
{
    const TextCase cases[] = {{"Übergröße 😀 👩‍💻"_q, "Übergröße 😀 👩‍💻"_q},
                              {"a\nb\tc\r"_q, "a\\nb\\tc\\r"_q},
                              {"\x1b[2J\u009b"_q, "\\u{1b}[2J\\u{9b}"_q},
                              {"\u202e\u2028"_q, "\\u{202e}\\u{2028}"_q}};
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(ToPrintable(text), expected);
    EXPECT_EQ(ToPrintableJson("{\"a\":\"\xc2\x9b\x7f\xc3\xa4\"}"), "{\"a\":\"\\u009b\\u007f\xc3\xa4\"}");
}

TEST(DocumentNamesTest, FindsByIdThenByUniqueName)
{
    const QVector<DocumentRow> rows{Row("1", "a.pdf"), Row("2", "a.pdf"), Row("3", "b.pdf"),
                                    Row("b.pdf", "c.pdf")};
    const auto idOf = [&](const QString& text) { return std::get<DocumentRow>(FindDocument(rows, text)).id; };
    EXPECT_EQ(idOf("2"_q), "2"_q);
    EXPECT_EQ(idOf("c.pdf"_q), "b.pdf"_q);
    EXPECT_EQ(idOf("b.pdf"_q), "b.pdf"_q) << "an id goes before a name";

    const auto problemOf = [&](const QString& text) { return std::get<Problem>(FindDocument(rows, text)); };
    EXPECT_EQ(problemOf("A.pdf"_q).exitCode, ExitCode::NotFound);
    EXPECT_EQ(problemOf({}).exitCode, ExitCode::NotFound);
    EXPECT_EQ(problemOf("a.pdf"_q).exitCode, ExitCode::Usage);
    EXPECT_TRUE(problemOf("a.pdf"_q).next.contains("1, 2"_q));
}

TEST(DocumentChangesTest, TellsWhatHasBecomeOfTheList)
{
    using Kind = DocumentChange::Kind;
    const QVector<DocumentRow> before{Row("same", "s.pdf"), Row("gone", "g.pdf"), Row("moved", "m.pdf", 1)};
    const QVector<DocumentRow> after{Row("moved", "m.pdf", 2), Row("new", "n.pdf"), Row("same", "s.pdf")};
    std::vector<std::pair<Kind, QString>> told;
    for (const auto& change : CompareRows(before, after))
        told.emplace_back(change.kind, change.document.id);
    const decltype(told) expected{
        {Kind::Changed, "moved"_q}, {Kind::Added, "new"_q}, {Kind::Removed, "gone"_q}};
    EXPECT_EQ(told, expected);
}

TEST(DocumentTableTest, AlignsColumnsWhateverTheNames)
{
    const auto lines =
        RenderTable({Row("i\n1", "a.pdf", 1024), Row("2", "a longer name.pdf", 0)}, TableHeader::Shown);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].indexOf("STATE"_q), lines[1].indexOf("unknown"_q));
    EXPECT_TRUE(lines[1].contains("1.0 KiB"_q) && lines[1].endsWith("i\\n1"_q)) << lines[1].toStdString();
}

TEST(ProgressBarTest, FitsTheTerminal)
{
    for (const int width : {0, 3, 20, 50, 79})
        EXPECT_LE(
            ProgressBar::Render({50, 1, 3, "a name that is rather long for a terminal.pdf"_q}, width).size(),
            width);
    EXPECT_EQ(ProgressBar::Render({50, 0, 1, "a\x1b.pdf"_q}, 79),
              "[############............]  50 %  a\\u{1b}.pdf"_q);
    EXPECT_TRUE(ProgressBar::Render({250, 0, 1, {}}, 79).startsWith("[########################]"_q));
}

TEST(QuotaTextTest, HasAFormForUnknown)
{
    EXPECT_EQ(ToText(Quota{1536, 3072}), "1.5 MiB used of 3.0 MiB (50 %)"_q);
    EXPECT_EQ(ToText(Quota{1536, 0}), "1.5 MiB used, limit unknown"_q);
    EXPECT_TRUE(ToJson(Quota{1, 0})["allowedBytes"_q].isNull());
    EXPECT_EQ(ToJson(Quota{2147483647, 2147483647})["usedBytes"_q].toDouble(), 2147483647.0 * 1024);
}

} // namespace
