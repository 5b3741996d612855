#include <cli/DocumentChanges.h>
#include <cli/DocumentNames.h>
#include <cli/DocumentTable.h>
#include <cli/FailureText.h>
#include <cli/PrintableText.h>
#include <cli/ProgressBar.h>
#include <cli/QuotaText.h>
#include <cli/SafeFileName.h>

#include <QSet>

#include <gtest/gtest.h>

namespace {

using namespace Orvane::CommandLine;
using Orvane::Social::Failure;
using Orvane::Social::FailureCode;
using Orvane::Social::Operation;

DocumentRow Row(const char* id, const char* name, qint64 size = 1)
{
    DocumentRow row;
    row.id = QString::fromUtf8(id);
    row.name = QString::fromUtf8(name);
    row.size = size;
    return row;
}

struct ExitCase
{
    FailureCode code;
    int exitCode;
};

TEST(FailureTextTest, TurnsEveryCodeIntoItsExitCodeAndAFullSentence)
{
    const ExitCase cases[] = {
        {FailureCode::SignInNeeded, 4},    {FailureCode::InvalidRequest, 1}, {FailureCode::InvalidAddress, 2},
        {FailureCode::NotFound, 3},        {FailureCode::Refused, 5},        {FailureCode::Conflict, 6},
        {FailureCode::QuotaExceeded, 7},   {FailureCode::Network, 5},        {FailureCode::TimedOut, 5},
        {FailureCode::Protocol, 5},        {FailureCode::LocalDisk, 8},      {FailureCode::Unsupported, 1},
        {FailureCode::InvalidDocument, 1}, {FailureCode::Canceled, 1},
    };
    QSet<QString> names;
    for (const auto& expected : cases) {
        for (int operation = 0; operation <= static_cast<int>(Operation::Preview); ++operation) {
            const Problem problem =
                DescribeFailure(static_cast<Operation>(operation), QStringLiteral("%1.pdf"),
                                {expected.code, QStringLiteral("raw detail")});
            EXPECT_EQ(static_cast<int>(problem.exitCode), expected.exitCode);
            EXPECT_TRUE(problem.what.startsWith(QStringLiteral("Could not "))) << problem.what.toStdString();
            EXPECT_TRUE(problem.why.endsWith(QStringLiteral(" (raw detail)"))) << problem.why.toStdString();
            EXPECT_TRUE(problem.next.contains(QLatin1Char(' '))) << problem.next.toStdString();
            names.insert(problem.code);
        }
    }
    EXPECT_EQ(names.size(), static_cast<int>(std::size(cases))) << "scripts could not tell the codes apart";
}

TEST(FailureTextTest, NamesTheSubjectAndTheNextStep)
{
    const Failure missing{FailureCode::Unsupported, {}};
    const Problem preview = DescribeFailure(Operation::Preview, QStringLiteral("100%1.pdf"), missing);
    EXPECT_TRUE(preview.what.contains(QStringLiteral("\"100%1.pdf\""))) << preview.what.toStdString();
    EXPECT_TRUE(preview.next.contains(QStringLiteral("poppler-utils")));
    EXPECT_FALSE(preview.why.contains(QLatin1Char('(')));

    const Failure gone{FailureCode::NotFound, {}};
    EXPECT_NE(DescribeFailure(Operation::Download, {}, gone).why,
              DescribeFailure(Operation::SignIn, {}, gone).why);
}

struct TextCase
{
    QString input;
    QString expected;
};

TEST(SafeFileNameTest, KeepsANameInsideItsFolder)
{
    const QString longStem = QString::fromUtf8("ä").repeated(200);
    const TextCase cases[] = {
        {QStringLiteral("report (2).pdf"), QStringLiteral("report (2).pdf")},
        {QStringLiteral("a:b;c%2F.pdf"), QStringLiteral("a:b;c%2F.pdf")},
        {QStringLiteral("../../x.pdf"), QStringLiteral("_.._.._x.pdf")},
        {QStringLiteral("..\\x.pdf"), QStringLiteral("_.._x.pdf")},
        {QStringLiteral("/etc/x.pdf"), QStringLiteral("_etc_x.pdf")},
        {QStringLiteral(".."), QStringLiteral("_..")},
        {QStringLiteral("."), QStringLiteral("_.")},
        {QString(), QStringLiteral("_")},
        {QStringLiteral(".hidden.pdf"), QStringLiteral("_.hidden.pdf")},
        {QStringLiteral("a\nb\x1b[m.pdf"), QStringLiteral("a_b_[m.pdf")},
        {QStringLiteral("nul") + QChar(0) + QStringLiteral(".pdf"), QStringLiteral("nul_.pdf")},
        {longStem + QStringLiteral(".pdf"), longStem.left(125) + QStringLiteral(".pdf")},
        {QString::fromUtf8("😀").repeated(70), QString::fromUtf8("😀").repeated(63)},
    };
    for (const auto& name : cases)
        EXPECT_EQ(ToSafeFileName(name.input), name.expected) << name.input.toStdString();
}

TEST(PrintableTextTest, EscapesWhatDrivesATerminal)
{
    const TextCase cases[] = {
        {QString::fromUtf8("Übergröße 😀 👩‍💻"),
         QString::fromUtf8("Übergröße 😀 👩‍💻")},
        {QStringLiteral("a\nb\tc\r"), QStringLiteral("a\\nb\\tc\\r")},
        {QStringLiteral("\x1b[2J"), QStringLiteral("\\u{1b}[2J")},
        {QString(QChar(0x9b)), QStringLiteral("\\u{9b}")},
        {QString(QChar(0x202e)), QStringLiteral("\\u{202e}")},
        {QString(QChar(0x2028)), QStringLiteral("\\u{2028}")},
    };
    for (const auto& text : cases)
        EXPECT_EQ(ToPrintable(text.input), text.expected);
    EXPECT_EQ(ToPrintableJson("{\"a\":\"\xc2\x9b\x7f\xc3\xa4\"}"), "{\"a\":\"\\u009b\\u007f\xc3\xa4\"}");
}

TEST(DocumentNamesTest, FindsById_ThenByUniqueName)
{
    const QVector<DocumentRow> rows{Row("1", "a.pdf"), Row("2", "a.pdf"), Row("3", "b.pdf"),
                                    Row("b.pdf", "c.pdf")};
    const auto idOf = [&](const char* text) {
        const auto found = FindDocument(rows, QString::fromLatin1(text));
        const auto* row = std::get_if<DocumentRow>(&found);
        return row ? row->id
                   : QString::number(static_cast<int>(std::get<Problem>(found).exitCode))
                         .prepend(QLatin1Char('!'));
    };
    EXPECT_EQ(idOf("2"), QStringLiteral("2"));
    EXPECT_EQ(idOf("c.pdf"), QStringLiteral("b.pdf"));
    EXPECT_EQ(idOf("b.pdf"), QStringLiteral("b.pdf")) << "an id goes before a name";
    EXPECT_EQ(idOf("A.pdf"), QStringLiteral("!3"));
    EXPECT_EQ(idOf(""), QStringLiteral("!3"));
    EXPECT_EQ(idOf("a.pdf"), QStringLiteral("!2"));
    const Problem ambiguous = std::get<Problem>(FindDocument(rows, QStringLiteral("a.pdf")));
    EXPECT_TRUE(ambiguous.next.contains(QStringLiteral("1, 2"))) << ambiguous.next.toStdString();
}

TEST(DocumentChangesTest, TellsWhatHasBecomeOfTheList)
{
    const QVector<DocumentRow> before{Row("same", "s.pdf"), Row("gone", "g.pdf"), Row("moved", "m.pdf", 1)};
    const QVector<DocumentRow> after{Row("moved", "m.pdf", 2), Row("new", "n.pdf"), Row("same", "s.pdf")};
    const auto changes = CompareRows(before, after);
    QStringList told;
    for (const auto& change : changes)
        told.append(QString::number(static_cast<int>(change.kind)) + change.document.id);
    EXPECT_EQ(told, (QStringList{QStringLiteral("1moved"), QStringLiteral("0new"), QStringLiteral("2gone")}));
    EXPECT_TRUE(CompareRows(after, after).isEmpty());
}

TEST(DocumentTableTest, AlignsColumnsWhateverTheNames)
{
    const auto lines =
        RenderTable({Row("i\n1", "a.pdf", 1024), Row("2", "a longer name.pdf", 0)}, TableHeader::Shown);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].indexOf(QStringLiteral("STATE")), lines[1].indexOf(QStringLiteral("unknown")));
    EXPECT_TRUE(lines[1].endsWith(QStringLiteral("i\\n1")));
    EXPECT_TRUE(lines[1].contains(QStringLiteral("1.0 KiB")));
    EXPECT_TRUE(RenderTable({}, TableHeader::Shown).isEmpty());
}

TEST(ProgressBarTest, FitsTheTerminal)
{
    const QString name = QStringLiteral("a name that is rather long for a terminal.pdf");
    for (const int width : {0, 3, 20, 50, 79}) {
        const QString bar = ProgressBar::Render({50, 1, 3, name}, width);
        EXPECT_LE(bar.size(), width);
    }
    EXPECT_EQ(ProgressBar::Render({50, 0, 1, QStringLiteral("a\x1b.pdf")}, 79),
              QStringLiteral("[############............]  50 %  a\\u{1b}.pdf"));
    EXPECT_TRUE(
        ProgressBar::Render({250, 0, 1, {}}, 79).startsWith(QStringLiteral("[########################]")));
}

TEST(QuotaTextTest, HasAFormForUnknown)
{
    EXPECT_EQ(ToText(Quota{1536, 3072}), QStringLiteral("1.5 MiB used of 3.0 MiB (50 %)"));
    EXPECT_EQ(ToText(Quota{1536, 0}), QStringLiteral("1.5 MiB used, limit unknown"));
    EXPECT_TRUE(ToJson(Quota{1, 0}).value(QStringLiteral("allowedBytes")).isNull());
    EXPECT_EQ(ToJson(Quota{2147483647, 2147483647}).value(QStringLiteral("usedBytes")).toDouble(),
              2147483647.0 * 1024);
}

} // namespace
