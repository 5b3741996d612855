#include "support/PdfSamples.h"
#include "support/ProgramRun.h"

#include <QDirIterator>
#include <QImage>
#include <QJsonArray>
#include <QLockFile>
#include <QRandomGenerator>
#include <QStandardPaths>

namespace {

using namespace Orvane::Testing;
using Orvane::Tests::OnePagePdf;

const qint64 kLarge = qint64{1024} * 1024 * 1024;

QByteArray Pdf(const QString& comment)
{
    return OnePagePdf(200, 300, comment.toUtf8().toHex());
}

QJsonObject ErrorOf(const QJsonObject& document)
{
    EXPECT_EQ(document.value(QStringLiteral("ok")), QJsonValue(false));
    return document.value(QStringLiteral("error")).toObject();
}

class ProgramTest : public testing::Test
{
protected:
    RunResult Upload(const QStringList& names)
    {
        for (const QString& name : names)
            user.Write(user.Work(name), Pdf(name));
        return user.Run(QStringList{QStringLiteral("upload")} + names);
    }

    QJsonArray Documents(const QStringList& arguments = {})
    {
        const auto result =
            user.Run(QStringList{QStringLiteral("list"), QStringLiteral("--json")} + arguments);
        EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(result);
        return result.Json().value(QStringLiteral("documents")).toArray();
    }

    QStringList Names(const QStringList& arguments = {})
    {
        QStringList names;
        for (const auto& document : Documents(arguments))
            names.append(document.toObject().value(QStringLiteral("name")).toString());
        return names;
    }

    ProgramUser user;
};

struct UsageCase
{
    QStringList arguments;
    const char* complaint;
};

TEST_F(ProgramTest, RefusesCommandLinesThatMakeNoSense)
{
    const UsageCase cases[] = {
        {{}, "command"},
        {{QStringLiteral("lits")}, "command"},
        {{QStringLiteral("list"), QStringLiteral("--wrong")}, "--wrong"},
        {{QStringLiteral("list"), QStringLiteral("extra")}, "extra"},
        {{QStringLiteral("upload")}, "FILE"},
        {{QStringLiteral("download")}, "DOCUMENT"},
        {{QStringLiteral("remove"), QStringLiteral("--yes")}, "DOCUMENT"},
        {{QStringLiteral("preview"), QStringLiteral("a"), QStringLiteral("b")}, "DOCUMENT"},
        {{QStringLiteral("preview"), QStringLiteral("a"), QStringLiteral("--size"), QStringLiteral("huge")},
         "huge"},
        {{QStringLiteral("watch"), QStringLiteral("--interval"), QStringLiteral("0")}, "--interval"},
        {{QStringLiteral("completion"), QStringLiteral("tcsh")}, "tcsh"},
        {{QStringLiteral("list"), QStringLiteral("--cloud")}, "--cloud"},
        {{QStringLiteral("list"), QStringLiteral("--cloud"), QStringLiteral("gopher://x/")}, "address"},
    };
    for (const auto& usage : cases) {
        const auto result = user.Run(usage.arguments);
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(result);
        EXPECT_TRUE(result.out.isEmpty()) << testing::PrintToString(result);
        EXPECT_TRUE(result.err.contains(usage.complaint)) << testing::PrintToString(result);

        const auto json = user.Run(QStringList{QStringLiteral("--json")} + usage.arguments);
        EXPECT_EQ(json.exitCode, 2);
        EXPECT_TRUE(json.err.isEmpty()) << testing::PrintToString(json);
        EXPECT_FALSE(ErrorOf(json.Json()).value(QStringLiteral("next")).toString().isEmpty());
    }
}

TEST_F(ProgramTest, ExplainsEveryCommandWithAnExample)
{
    for (const char* name :
         {"status", "list", "upload", "download", "remove", "quota", "preview", "watch", "completion"}) {
        const QString command = QLatin1String(name);
        const auto help = user.Run({command, QStringLiteral("--help")});
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_TRUE(help.out.contains(QByteArray("orvane-cloud ") + name)) << testing::PrintToString(help);
        EXPECT_TRUE(help.out.contains("Example")) << testing::PrintToString(help);
        EXPECT_TRUE(user.Run({QStringLiteral("--help")}).out.contains(QByteArray("  ") + name + ' '));
    }
    EXPECT_TRUE(user.Run({QStringLiteral("--version")}).out.startsWith("orvane-cloud "));
    EXPECT_FALSE(QFile::exists(user.Data())) << "help has made a data folder";
}

TEST_F(ProgramTest, RefusesArgumentsThatAreNotUtf8)
{
    for (const auto* command : {"upload", "download", "preview"}) {
        const auto result = user.RunShell(
            QStringLiteral("sh"),
            QStringLiteral("exec \"$ORVANE\" %1 \"$(printf 'x\\377.pdf')\"").arg(QLatin1String(command)));
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(result);
        EXPECT_TRUE(result.err.contains("UTF-8")) << testing::PrintToString(result);
    }
}

struct CompletionCase
{
    const char* words; ///< the last one is being typed
    const char* expected;
};

TEST_F(ProgramTest, CompletesInBash)
{
    user.Write(user.Work(QStringLiteral("my report.pdf")), Pdf({}));
    user.Write(user.Work(QStringLiteral("my notes.txt")), "text");
    const CompletionCase cases[] = {
        {"orvane-cloud up", "upload"},
        {"orvane-cloud --data here dow", "download"},
        {"orvane-cloud list --off", "--offline"},
        {"orvane-cloud list --js", "--json"},
        {"orvane-cloud preview x --size m", "medium"},
        {"orvane-cloud completion z", "zsh"},
        {"orvane-cloud upload my", "my report.pdf"},
    };
    for (const auto& completion : cases) {
        const auto result = user.RunShell(
            QStringLiteral("bash"),
            QStringLiteral(
                "source <(\"$ORVANE\" completion bash); COMP_WORDS=(%1); "
                "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orvane_cloud; printf '%s\\n' \"${COMPREPLY[@]}\"")
                .arg(QLatin1String(completion.words)));
        EXPECT_EQ(result.out.trimmed(), completion.expected) << testing::PrintToString(result);
    }
}

TEST_F(ProgramTest, MakesCompletionForShellsThatAreHere)
{
    for (const auto* shell : {"bash", "zsh", "fish"}) {
        const auto script = user.Run({QStringLiteral("completion"), QLatin1String(shell)});
        EXPECT_TRUE(script.out.contains("offline") && script.out.contains("upload"));
        if (QStandardPaths::findExecutable(QLatin1String(shell)).isEmpty())
            continue;
        user.Write(user.Work(QStringLiteral("script")), script.out);
        const auto check =
            user.RunShell(QLatin1String(shell), QStringLiteral("%1 -n script").arg(QLatin1String(shell)));
        EXPECT_EQ(check.exitCode, 0) << testing::PrintToString(check);
    }
}

TEST_F(ProgramTest, KeepsDocumentsFromUploadToRemoval)
{
    const auto uploaded = Upload({QStringLiteral("b.pdf"), QStringLiteral("A.pdf")});
    ASSERT_EQ(uploaded.exitCode, 0) << testing::PrintToString(uploaded);
    EXPECT_TRUE(uploaded.err.isEmpty()) << testing::PrintToString(uploaded);
    EXPECT_EQ(user.Read(user.Cloud(QStringLiteral("A.pdf"))), Pdf(QStringLiteral("A.pdf")));
    EXPECT_EQ(Names(), (QStringList{QStringLiteral("A.pdf"), QStringLiteral("b.pdf")}));

    const QJsonObject stored = Documents({QStringLiteral("--offline")}).first().toObject();
    EXPECT_EQ(stored.value(QStringLiteral("path")).toString(), user.Work(QStringLiteral("A.pdf")));
    EXPECT_EQ(stored.value(QStringLiteral("size")).toInt(), Pdf(QStringLiteral("A.pdf")).size());
    EXPECT_EQ(stored.value(QStringLiteral("state")).toString(), QStringLiteral("synchronized"));

    QDir(user.Work({})).mkdir(QStringLiteral("back"));
    const auto downloaded = user.Run({QStringLiteral("download"), QStringLiteral("A.pdf"),
                                      QStringLiteral("--to"), QStringLiteral("back")});
    ASSERT_EQ(downloaded.exitCode, 0) << testing::PrintToString(downloaded);
    EXPECT_EQ(user.Read(QString::fromUtf8(downloaded.out.trimmed())), Pdf(QStringLiteral("A.pdf")));

    const auto removed = user.Run({QStringLiteral("remove"), QStringLiteral("A.pdf"), QStringLiteral("b.pdf"),
                                   QStringLiteral("--yes")});
    EXPECT_EQ(removed.exitCode, 0) << testing::PrintToString(removed);
    EXPECT_TRUE(user.FilesIn(user.Cloud()).isEmpty());
    EXPECT_TRUE(Documents({QStringLiteral("--offline")}).isEmpty());
    EXPECT_TRUE(QFile::exists(user.Work(QStringLiteral("A.pdf")))) << "the local copy belongs to the user";
}

class ProgramNameTest : public ProgramTest, public testing::WithParamInterface<QString>
{};

TEST_P(ProgramNameTest, SurvivesTheWayThereAndBackInAnyLocale)
{
    user.SetVariable("LC_ALL", QStringLiteral("C"));
    user.Write(user.Work(GetParam()), Pdf(GetParam()));
    const auto uploaded =
        user.Run({QStringLiteral("--json"), QStringLiteral("upload"), QStringLiteral("--"), GetParam()});
    ASSERT_EQ(uploaded.exitCode, 0) << testing::PrintToString(uploaded);
    EXPECT_EQ(user.Read(user.Cloud(GetParam())), Pdf(GetParam()));

    const auto result = uploaded.Json().value(QStringLiteral("results")).toArray().first().toObject();
    QDir(user.Work({})).mkdir(QStringLiteral("back"));
    const auto downloaded = user.Run({QStringLiteral("--json"), QStringLiteral("download"),
                                      QStringLiteral("--to"), QStringLiteral("back"), QStringLiteral("--"),
                                      result.value(QStringLiteral("id")).toString()});
    ASSERT_EQ(downloaded.exitCode, 0) << testing::PrintToString(downloaded);
    const QStringList names = user.FilesIn(user.Work(QStringLiteral("back")));
    ASSERT_EQ(names.size(), 1);
    EXPECT_EQ(user.Read(user.Work(QStringLiteral("back/") + names.first())), Pdf(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Names, ProgramNameTest,
                         testing::Values(QStringLiteral("two words.pdf"), QStringLiteral("100%.pdf"),
                                         QStringLiteral("a;b.pdf"), QStringLiteral("%2e%2e.pdf"),
                                         QStringLiteral("line\nbreak.pdf"), QStringLiteral("-n.pdf"),
                                         QString::fromUtf8("Übergröße.PDF"), QStringLiteral("#1?.pdf"),
                                         QStringLiteral("list.pdf"), QStringLiteral("[a,b].pdf")));

TEST_F(ProgramTest, NeverOverwritesInTheCloud)
{
    Upload({QStringLiteral("a.pdf")});
    user.Write(user.Work(QStringLiteral("sub/a.pdf")), "another");
    const auto second = user.Run({QStringLiteral("upload"), QStringLiteral("sub/a.pdf")});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_EQ(second.out, "a (2).pdf\ta (2).pdf\n");
    EXPECT_TRUE(second.err.contains("a (2).pdf")) << testing::PrintToString(second);
    EXPECT_EQ(user.Read(user.Cloud(QStringLiteral("a.pdf"))), Pdf(QStringLiteral("a.pdf")));
    EXPECT_EQ(user.Read(user.Cloud(QStringLiteral("a (2).pdf"))), "another");
}

TEST_F(ProgramTest, OverwritesLocallyOnlyWhenTold)
{
    Upload({QStringLiteral("a.pdf")});
    user.Write(user.Work(QStringLiteral("a.pdf")), "changed here");
    const auto refused = user.Run({QStringLiteral("download"), QStringLiteral("a.pdf")});
    EXPECT_EQ(refused.exitCode, 6) << testing::PrintToString(refused);
    EXPECT_TRUE(refused.err.contains("--overwrite"));
    EXPECT_EQ(user.Read(user.Work(QStringLiteral("a.pdf"))), "changed here");

    const auto told =
        user.Run({QStringLiteral("download"), QStringLiteral("a.pdf"), QStringLiteral("--overwrite")});
    EXPECT_EQ(told.exitCode, 0) << testing::PrintToString(told);
    EXPECT_EQ(user.Read(user.Work(QStringLiteral("a.pdf"))), Pdf(QStringLiteral("a.pdf")));

    QDir(user.Work({})).mkpath(QStringLiteral("folder/a.pdf"));
    const auto folder =
        user.Run({QStringLiteral("download"), QStringLiteral("a.pdf"), QStringLiteral("--overwrite"),
                  QStringLiteral("--to"), QStringLiteral("folder")});
    EXPECT_EQ(folder.exitCode, 6) << testing::PrintToString(folder);
}

struct BatchCase
{
    QStringList arguments;
    int exitCode;
    QList<bool> outcomes;
};

TEST_F(ProgramTest, GoesOnWithTheOthersWhenOneFails)
{
    Upload({QStringLiteral("there.pdf")});
    user.Write(user.Work(QStringLiteral("good.pdf")), Pdf({}));
    user.Write(user.Work(QStringLiteral("notes.txt")), "text");
    QDir(user.Work({})).mkdir(QStringLiteral("folder.pdf"));
    QDir(user.Work({})).mkdir(QStringLiteral("to"));
    const auto split = [](const char* words) { return QString::fromLatin1(words).split(QLatin1Char(' ')); };
    const BatchCase cases[] = {
        {split("upload gone.pdf good.pdf"), 3, {false, true}},
        {split("upload gone.pdf alsogone.pdf"), 3, {false, false}},
        {split("upload notes.txt folder.pdf"), 2, {false, false}},
        {split("upload gone.pdf notes.txt good.pdf"), 1, {false, false, true}},
        {split("upload good.pdf good.pdf"), 0, {true}},
        {split("download gone.pdf there.pdf --to to"), 3, {false, true}},
        {split("download there.pdf gone.pdf --to to"), 1, {false, false}},
        {split("remove gone.pdf there.pdf --yes"), 3, {false, true}},
    };
    for (const auto& batch : cases) {
        const auto result = user.Run(QStringList{QStringLiteral("--json")} + batch.arguments);
        EXPECT_EQ(result.exitCode, batch.exitCode) << testing::PrintToString(result);
        QList<bool> outcomes;
        for (const auto& item : result.Json().value(QStringLiteral("results")).toArray())
            outcomes.append(item.toObject().value(QStringLiteral("ok")).toBool());
        EXPECT_EQ(outcomes, batch.outcomes) << testing::PrintToString(result);
    }
    EXPECT_FALSE(QFile::exists(user.Cloud(QStringLiteral("there.pdf"))));
}

TEST_F(ProgramTest, AsksBeforeItRemoves)
{
    Upload({QStringLiteral("a.pdf"), QStringLiteral("b.pdf")});
    const auto unasked = user.Run({QStringLiteral("remove"), QStringLiteral("a.pdf")});
    EXPECT_EQ(unasked.exitCode, 2);
    EXPECT_TRUE(unasked.err.contains("--yes")) << testing::PrintToString(unasked);
    EXPECT_TRUE(QFile::exists(user.Cloud(QStringLiteral("a.pdf"))));

    if (QStandardPaths::findExecutable(QStringLiteral("script")).isEmpty())
        GTEST_SKIP() << "no program to make a terminal with";
    const QString onTerminal = QStringLiteral("echo %1 | script -qec '\"$ORVANE\" remove %2.pdf' /dev/null");
    const auto no =
        user.RunShell(QStringLiteral("sh"), onTerminal.arg(QStringLiteral("n"), QStringLiteral("a")));
    EXPECT_EQ(no.exitCode, 1) << testing::PrintToString(no);
    const auto yes =
        user.RunShell(QStringLiteral("sh"), onTerminal.arg(QStringLiteral("y"), QStringLiteral("b")));
    EXPECT_EQ(yes.exitCode, 0) << testing::PrintToString(yes);
    EXPECT_EQ(user.FilesIn(user.Cloud()), QStringList{QStringLiteral("a.pdf")});
}

TEST_F(ProgramTest, DrawsABarOnATerminalOnly)
{
    if (QStandardPaths::findExecutable(QStringLiteral("script")).isEmpty())
        GTEST_SKIP() << "no program to make a terminal with";
    user.Write(user.Work(QStringLiteral("a.pdf")), Pdf({}));
    const auto shown = user.RunShell(
        QStringLiteral("sh"), QStringLiteral("TERM=xterm script -qec '\"$ORVANE\" upload a.pdf' /dev/null"));
    EXPECT_TRUE(shown.out.contains("% ")) << testing::PrintToString(shown);
    for (const auto* words : {"upload a.pdf --quiet", "upload a.pdf --json"}) {
        const auto hidden = user.RunShell(
            QStringLiteral("sh"),
            QStringLiteral("TERM=xterm script -qec '\"$ORVANE\" %1' /dev/null").arg(QLatin1String(words)));
        EXPECT_FALSE(hidden.out.contains('\x1b')) << testing::PrintToString(hidden);
    }
}

TEST_F(ProgramTest, MakesAPictureOfTheFirstPage)
{
    if (QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).isEmpty())
        GTEST_SKIP() << "no program to render with";
    Upload({QStringLiteral("a.pdf")});
    const QStringList preview{QStringLiteral("preview"), QStringLiteral("a.pdf")};
    const auto made = user.Run(preview);
    ASSERT_EQ(made.exitCode, 0) << testing::PrintToString(made);
    EXPECT_EQ(made.out, user.Work(QStringLiteral("a-large.png")).toUtf8() + '\n');
    EXPECT_EQ(QImage(user.Work(QStringLiteral("a-large.png"))).height(), 191);
    EXPECT_EQ(user.Run(preview).exitCode, 6) << "the picture was already there";

    const auto small = user.Run(preview + QStringList{QStringLiteral("--size"), QStringLiteral("small"),
                                                      QStringLiteral("--to"), QStringLiteral("s.png")});
    EXPECT_EQ(small.exitCode, 0) << testing::PrintToString(small);
    EXPECT_EQ(QImage(user.Work(QStringLiteral("s.png"))).height(), 40);

    user.Write(user.Cloud(QStringLiteral("broken.pdf")), "no PDF at all");
    const auto broken =
        user.Run({QStringLiteral("preview"), QStringLiteral("broken.pdf"), QStringLiteral("--json")});
    EXPECT_EQ(broken.exitCode, 1) << testing::PrintToString(broken);
    EXPECT_EQ(ErrorOf(broken.Json()).value(QStringLiteral("code")).toString(),
              QStringLiteral("invalid-document"));
}

TEST_F(ProgramTest, TellsHowThingsStand)
{
    Upload({QStringLiteral("a.pdf")});
    const auto failed = user.Run({QStringLiteral("download"), QStringLiteral("gone.pdf")});
    EXPECT_EQ(failed.exitCode, 3);
    const auto status = user.Run({QStringLiteral("status"), QStringLiteral("--json")}).Json();
    EXPECT_EQ(status.value(QStringLiteral("signedIn")), QJsonValue(true));
    EXPECT_EQ(status.value(QStringLiteral("documents")), QJsonValue(1));
    EXPECT_EQ(
        status.value(QStringLiteral("lastProblem")).toObject().value(QStringLiteral("command")).toString(),
        QStringLiteral("download"));

    const auto quota = user.Run({QStringLiteral("quota"), QStringLiteral("--json")});
    EXPECT_EQ(quota.exitCode, 0) << testing::PrintToString(quota);
    EXPECT_GT(quota.Json().value(QStringLiteral("usedBytes")).toDouble(), 0);

    const auto away =
        user.Run({QStringLiteral("status"), QStringLiteral("--cloud"), user.Work(QStringLiteral("away"))});
    EXPECT_EQ(away.exitCode, 3);
    EXPECT_TRUE(away.out.contains("Signed in:    no")) << testing::PrintToString(away);
}

TEST_F(ProgramTest, NeverMakesACloudThatWasNamed)
{
    const QString missing = user.Work(QStringLiteral("missing"));
    const auto result =
        user.Run({QStringLiteral("list"), QStringLiteral("--cloud"), missing, QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 3) << testing::PrintToString(result);
    EXPECT_EQ(ErrorOf(result.Json()).value(QStringLiteral("code")).toString(), QStringLiteral("not-found"));
    EXPECT_FALSE(QFile::exists(missing));
}

TEST_F(ProgramTest, KeepsOneListForEachCloudHoweverItIsSpelled)
{
    const QString other = user.Work(QString::fromUtf8("other %20 ö"));
    QDir().mkpath(other);
    QFile::link(other, user.Work(QStringLiteral("link")));
    Upload({QStringLiteral("a.pdf")});
    user.Write(user.Work(QStringLiteral("b.pdf")), Pdf({}));
    EXPECT_EQ(user.Run({QStringLiteral("--cloud"), other, QStringLiteral("upload"), QStringLiteral("b.pdf")})
                  .exitCode,
              0);

    const QString url = QUrl::fromLocalFile(other + QLatin1Char('/')).toString(QUrl::FullyEncoded);
    for (const QString& spelling : {other, url, QStringLiteral("link"), QStringLiteral("./link/")})
        EXPECT_EQ(Names({QStringLiteral("--offline"), QStringLiteral("--cloud"), spelling}),
                  QStringList{QStringLiteral("b.pdf")})
            << spelling.toStdString();
    EXPECT_EQ(Names(), QStringList{QStringLiteral("a.pdf")});
    user.SetVariable("ORVANE_CLOUD", other);
    EXPECT_EQ(Names(), QStringList{QStringLiteral("b.pdf")});
}

TEST_F(ProgramTest, KeepsEverythingBelowTheDataFolderItIsGivenInAnyLocale)
{
    const QString data = user.Work(QString::fromUtf8("dätä"));
    user.SetVariable("LC_ALL", QStringLiteral("de_DE"));
    user.SetVariable("ORVANE_CLOUD_DATA", data);
    EXPECT_EQ(Upload({QStringLiteral("a.pdf")}).exitCode, 0);
    EXPECT_EQ(Names({QStringLiteral("--offline")}), QStringList{QStringLiteral("a.pdf")});
    EXPECT_EQ(user.Run({QStringLiteral("download"), QStringLiteral("gone.pdf")}).exitCode, 3);
    EXPECT_TRUE(user.Run({QStringLiteral("status")}).out.contains("gone.pdf")) << "the last problem";
    EXPECT_EQ(user.FilesIn(user.Work({})), (QStringList{QStringLiteral("a.pdf"), QString::fromUtf8("dätä")}));
    EXPECT_TRUE(user.FilesIn(user.Path(QStringLiteral("home"))).isEmpty());
    EXPECT_TRUE(user.FilesIn(data + QStringLiteral("/cache/temporary")).isEmpty());
}

TEST_F(ProgramTest, SweepsTemporaryFoldersOfRunsThatCrashed)
{
    const QString parent = user.Path(QStringLiteral("home/.cache/orvane-cloud/temporary/"));
    user.Write(parent + QStringLiteral("run-crashed/preview.png"), "left");
    user.Write(parent + QStringLiteral("run-living/preview.png"), "in use");
    QLockFile lock(parent + QStringLiteral("run-living/lock"));
    lock.setStaleLockTime(0);
    ASSERT_TRUE(lock.tryLock());
    const auto aged =
        user.RunShell(QStringLiteral("sh"), QStringLiteral("touch -d '1 hour ago' '%1'run-*").arg(parent));
    ASSERT_EQ(aged.exitCode, 0) << testing::PrintToString(aged);
    EXPECT_TRUE(Documents().isEmpty());
    EXPECT_EQ(user.FilesIn(parent), QStringList{QStringLiteral("run-living")});
}

TEST_F(ProgramTest, TellsWhenADiskCannotBeWritten)
{
    const auto full = user.RunShell(QStringLiteral("sh"),
                                    QStringLiteral("\"$ORVANE\" --version; \"$ORVANE\" quota > /dev/full"));
    EXPECT_EQ(full.exitCode, 8) << testing::PrintToString(full);

    user.Write(user.Work(QStringLiteral("file")), "in the way");
    const auto data =
        user.Run({QStringLiteral("list"), QStringLiteral("--data"), user.Work(QStringLiteral("file"))});
    EXPECT_EQ(data.exitCode, 8) << testing::PrintToString(data);
}

TEST_F(ProgramTest, TellsWhenTheTargetFolderCannotBeWritten)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root may write anywhere";
    Upload({QStringLiteral("a.pdf")});
    const QString folder = user.Work(QStringLiteral("readonly"));
    QDir().mkpath(folder);
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner);
    const auto result =
        user.Run({QStringLiteral("download"), QStringLiteral("a.pdf"), QStringLiteral("--to"), folder});
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    EXPECT_EQ(result.exitCode, 8) << testing::PrintToString(result);
    EXPECT_TRUE(user.FilesIn(folder).isEmpty());
}

TEST_F(ProgramTest, SetsADamagedListAsideAndSaysSo)
{
    Upload({QStringLiteral("a.pdf")});
    QDirIterator files(user.Data(QStringLiteral("clouds")), {QStringLiteral("documents.sqlite")}, QDir::Files,
                       QDirIterator::Subdirectories);
    user.Write(files.next(), QByteArray(5000, 'x'));
    const auto first = user.Run({QStringLiteral("list"), QStringLiteral("--quiet")});
    EXPECT_EQ(first.exitCode, 0) << testing::PrintToString(first);
    EXPECT_TRUE(first.out.contains("a.pdf")) << testing::PrintToString(first);
    EXPECT_FALSE(first.err.isEmpty());
    EXPECT_TRUE(user.Run({QStringLiteral("list"), QStringLiteral("--quiet")}).err.isEmpty());
}

TEST_F(ProgramTest, KeepsTheTokenToItself)
{
    const QString token = QStringLiteral("tok-3c1f-secret");
    const QString file = user.Work(QStringLiteral("token"));
    user.Write(file, token.toUtf8() + "\nsecond line\n");
    user.SetVariable("ORVANE_CLOUD_TOKEN", token);
    Upload({QStringLiteral("a.pdf")});
    QByteArray said;
    for (const QString& cloud : {user.Cloud(), user.Work(QStringLiteral("missing"))}) {
        const auto result =
            user.Run({QStringLiteral("status"), QStringLiteral("--verbose"), QStringLiteral("--token-file"),
                      file, QStringLiteral("--cloud"), cloud});
        said += result.out + result.err;
    }
    EXPECT_TRUE(said.contains("Auth")) << "no log lines to look at";
    EXPECT_FALSE(said.contains(token.toUtf8()));
    QDirIterator files(user.Path(QStringLiteral("home")), QDir::Files | QDir::Hidden,
                       QDirIterator::Subdirectories);
    while (files.hasNext())
        EXPECT_FALSE(user.Read(files.next()).contains(token.toUtf8())) << files.filePath().toStdString();
}

TEST_F(ProgramTest, HandsTheTokenToNoHelper)
{
    const QString helper = user.Path(QStringLiteral("bin/pdftoppm"));
    user.Write(helper,
               "#!/bin/sh\nenv > '" + user.Work(QStringLiteral("environment")).toUtf8() + "'\nexit 1\n");
    QFile::setPermissions(helper, QFile::ReadOwner | QFile::ExeOwner);
    user.SetVariable("PATH", user.Path(QStringLiteral("bin:")) + qEnvironmentVariable("PATH"));
    user.SetVariable("ORVANE_CLOUD_TOKEN", QStringLiteral("tok-3c1f-secret"));
    Upload({QStringLiteral("a.pdf")});
    const auto result = user.Run({QStringLiteral("preview"), QStringLiteral("a.pdf")});
    EXPECT_EQ(result.exitCode, 1) << testing::PrintToString(result);
    const QByteArray environment = user.Read(user.Work(QStringLiteral("environment")));
    EXPECT_FALSE(environment.isEmpty());
    EXPECT_FALSE(environment.contains("tok-3c1f-secret"));
}

TEST_F(ProgramTest, RefusesATokenFileWithoutAToken)
{
    user.Write(user.Work(QStringLiteral("empty")), "\n");
    user.Write(user.Work(QStringLiteral("binary")), QByteArray("a\0b\n", 4));
    for (const auto* file : {"missing", "empty", "binary", "."}) {
        const auto result = user.Run({QStringLiteral("list"), QStringLiteral("--token-file"),
                                      QLatin1String(file), QStringLiteral("--json")});
        EXPECT_EQ(result.exitCode, 4) << testing::PrintToString(result);
        EXPECT_EQ(ErrorOf(result.Json()).value(QStringLiteral("code")).toString(),
                  QStringLiteral("sign-in-needed"));
    }
}

TEST_F(ProgramTest, LetsNoNameDriveTheTerminal)
{
    const QString name = QString::fromUtf8("\x1b]0;owned\x07\u009b2J\u202e.pdf");
    user.Write(user.Cloud(name), Pdf({}));
    for (const QStringList& arguments :
         {QStringList{QStringLiteral("list")}, QStringList{QStringLiteral("list"), QStringLiteral("--json")},
          QStringList{QStringLiteral("upload"), name}, QStringList{QStringLiteral("download"), name},
          QStringList{QStringLiteral("list"), QStringLiteral("--cloud"), name},
          QStringList{QStringLiteral("list"), name}}) {
        const auto result = user.Run(arguments);
        const QString said = QString::fromUtf8(result.out + result.err);
        for (const QChar character : {QChar(0x1b), QChar(0x07), QChar(0x9b), QChar(0x202e)})
            EXPECT_FALSE(said.contains(character)) << testing::PrintToString(result);
    }
}

TEST_F(ProgramTest, LeavesNothingOfAnInterruptedUpload)
{
    user.WriteSparse(user.Work(QStringLiteral("large.pdf")), kLarge);
    EXPECT_TRUE(Documents().isEmpty());
    const auto process =
        user.Start({QStringLiteral("upload"), QStringLiteral("large.pdf"), QStringLiteral("--json")});
    ASSERT_TRUE(WaitUntil([&] { return !user.FilesIn(user.Cloud()).isEmpty(); })) << "the upload never began";
    user.Signal(*process, SIGINT);
    const auto result = user.Finish(*process);
    EXPECT_EQ(result.exitCode, 130) << testing::PrintToString(result);
    EXPECT_EQ(ErrorOf(result.Json()).value(QStringLiteral("code")).toString(), QStringLiteral("interrupted"));
    EXPECT_EQ(user.FilesIn(user.Cloud()), QStringList());
    EXPECT_TRUE(Documents({QStringLiteral("--offline")}).isEmpty());
}

TEST_F(ProgramTest, LeavesTheEarlierCopyOfAnInterruptedDownload)
{
    user.WriteSparse(user.Cloud(QStringLiteral("large.pdf")), kLarge);
    const QString folder = user.Work(QStringLiteral("to"));
    user.Write(folder + QStringLiteral("/large.pdf"), "earlier copy");
    const auto process = user.Start({QStringLiteral("download"), QStringLiteral("large.pdf"),
                                     QStringLiteral("--to"), folder, QStringLiteral("--overwrite")});
    ASSERT_TRUE(WaitUntil([&] { return user.FilesIn(folder).size() > 1; })) << "the download never began";
    user.Signal(*process, SIGTERM);
    const auto result = user.Finish(*process);
    EXPECT_EQ(result.exitCode, 130) << testing::PrintToString(result);
    EXPECT_EQ(user.FilesIn(folder), QStringList{QStringLiteral("large.pdf")});
    EXPECT_EQ(user.Read(folder + QStringLiteral("/large.pdf")), "earlier copy");
}

TEST_F(ProgramTest, WatchesUntilItIsInterrupted)
{
    user.Write(user.Cloud(QStringLiteral("a.pdf")), Pdf({}));
    const auto watch = user.Start({QStringLiteral("watch"), QStringLiteral("--interval"), QStringLiteral("1"),
                                   QStringLiteral("--json")});
    QList<QByteArray> lines;
    const auto nextLine = [&] {
        return WaitUntil([&] {
            watch->waitForReadyRead(20);
            if (!watch->canReadLine())
                return false;
            lines.append(watch->readLine());
            return true;
        });
    };
    ASSERT_TRUE(nextLine());
    const auto second = user.Run({QStringLiteral("list")});
    EXPECT_EQ(second.exitCode, 6) << testing::PrintToString(second);
    EXPECT_TRUE(second.err.contains("in use")) << testing::PrintToString(second);

    user.Write(user.Cloud(QStringLiteral("b.pdf")), Pdf({}));
    ASSERT_TRUE(nextLine());
    QFile::remove(user.Cloud(QStringLiteral("a.pdf")));
    ASSERT_TRUE(nextLine());
    user.Signal(*watch, SIGINT);
    ASSERT_TRUE(nextLine());
    EXPECT_EQ(user.Finish(*watch).exitCode, 130);

    const QStringList expected{QStringLiteral("added a.pdf"), QStringLiteral("added b.pdf"),
                               QStringLiteral("removed a.pdf"), QStringLiteral(" ")};
    QStringList events;
    for (const QByteArray& line : lines) {
        const auto event = RunResult{0, line, {}}.Json();
        events.append(
            event.value(QStringLiteral("event")).toString() + QLatin1Char(' ') +
            event.value(QStringLiteral("document")).toObject().value(QStringLiteral("name")).toString());
    }
    EXPECT_EQ(events, expected);
}

// Set ORVANE_KILL_ROUNDS for a longer run.
TEST_F(ProgramTest, LosesNothingWhenItIsKilled)
{
    const int rounds = qEnvironmentVariableIsSet("ORVANE_KILL_ROUNDS")
                           ? qEnvironmentVariableIntValue("ORVANE_KILL_ROUNDS")
                           : 12;
    const QByteArray content = Pdf({}) + QByteArray(4 * 1024 * 1024, '%');
    QStringList upload{QStringLiteral("upload")};
    for (int file = 0; file < 8; ++file) {
        upload.append(QStringLiteral("file%1.pdf").arg(file));
        user.Write(user.Work(upload.last()), content);
    }
    QStringList saved;
    for (int round = 0; round < rounds; ++round) {
        const auto process = user.Start(upload);
        QThread::msleep(QRandomGenerator::global()->bounded(200));
        user.Signal(*process, SIGKILL);
        process->waitForFinished();

        const QStringList stored = Names({QStringLiteral("--offline")});
        for (const QString& name : saved)
            EXPECT_TRUE(stored.contains(name)) << name.toStdString() << " was lost in round " << round;
        saved = Names();
        EXPECT_EQ(user.FilesIn(user.Cloud()), saved) << "something was left in round " << round;
        for (const QString& name : saved)
            EXPECT_EQ(user.Read(user.Cloud(name)).size(), content.size()) << name.toStdString();
    }
}

} // namespace
