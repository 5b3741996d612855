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
using testing::HasSubstr;
using testing::Not;

QByteArray PdfOf(const QString& name)
{
    return Orvane::Tests::OnePagePdf(200, 300, name.toUtf8().toHex());
}

class ProgramTest : public testing::Test
{
protected:
    void Upload(const QByteArray& names)
    {
        for (const QString& name : Words(names))
            user.Write(user.Work(name), PdfOf(name));
        EXPECT_EQ(user.Run("upload " + names).err, "");
    }

    QJsonArray Documents(const QByteArray& options = {})
    {
        return user.Run("list --json " + options).Json()["documents"_q].toArray();
    }

    QStringList Names(const QByteArray& options = {})
    {
        QStringList names;
        for (const QJsonValue document : Documents(options))
            names.append(document["name"_q].toString());
        return names;
    }

    ProgramUser user;
};

struct RunCase
{
    const char* words;
    int exitCode;
    const char* expected;
};

TEST_F(ProgramTest, RefusesWhatMakesNoSenseOrWouldLoseSomething)
{
    Upload("a.pdf");
    user.Write(user.Work("a.pdf"_q), "changed here");
    user.Write(user.Work("folder.pdf/a.pdf/inner"_q), {});
    user.Write(user.Work("empty"_q), "\n");
    user.Write(user.Work("binary"_q), QByteArray("a\0b\n", 4));
    user.Write(user.Cloud("broken.pdf"_q), "no PDF at all");
    const QStringList files = user.FilesIn(user.Work({}));
    const RunCase cases[] = {{"", kUsage, "command"},
                             {"list --wrong", kUsage, "--wrong"},
                             {"upload", kUsage, "FILE"},
                             {"download", kUsage, "DOCUMENT"},
                             {"remove a.pdf", kUsage, "--yes"},
                             {"preview a b", kUsage, "DOCUMENT"},
                             {"preview a --size huge", kUsage, "huge"},
                             {"preview broken.pdf", kFailed, "broken.pdf"},
                             {"watch --interval 0", kUsage, "--interval"},
                             {"completion tcsh", kUsage, "tcsh"},
                             {"list --cloud gopher://x/", kUsage, "address"},
                             {"list --cloud missing", kNotFound, "cloud"},
                             {"list --token-file missing", kSignInNeeded, "token"},
                             {"list --token-file empty", kSignInNeeded, "token"},
                             {"list --token-file binary", kSignInNeeded, "token"},
                             {"list --data a.pdf", kLocalDisk, "data folder"},
                             {"download a.pdf", kConflict, "--overwrite"},
                             {"download a.pdf --overwrite --to folder.pdf", kConflict, "folder"},
                             {"download a.pdf --to /sys", kLocalDisk, "a.pdf"}};
    for (const auto& refusal : cases) {
        const auto text = user.Run(refusal.words, refusal.exitCode);
        EXPECT_EQ(text.out, "");
        EXPECT_THAT(text.err, HasSubstr(refusal.expected));
        const auto json = user.Run(QByteArray("--json ") + refusal.words, refusal.exitCode);
        EXPECT_EQ(json.err, "");
        EXPECT_EQ(json.Json()["ok"_q], QJsonValue(false));
        EXPECT_NE(json.Json()["error"_q]["next"_q].toString(), QString()) << refusal.words;
    }
    const QString notUtf8 = "exec \"$ORVANE\" %1 \"$(printf 'x\\377.pdf')\""_q;
    for (const QString& command : Words("upload download preview"))
        EXPECT_THAT(user.RunShell("sh"_q, notUtf8.arg(command), kUsage).err, HasSubstr("UTF-8"));
    user.RunShell("sh"_q, "\"$ORVANE\" quota > /dev/full"_q, kLocalDisk);
    EXPECT_EQ(user.FilesIn(user.Work({})), files);
    EXPECT_EQ(user.FilesIn(user.Cloud()), Words("a.pdf broken.pdf"));
    EXPECT_EQ(user.Read(user.Work("a.pdf"_q)), "changed here");
}

TEST_F(ProgramTest, ExplainsEveryCommandWithAnExample)
{
    const std::string overview = user.Run("--help").out;
    for (const QString& name : Words("status list upload download remove quota preview watch completion")) {
        EXPECT_THAT(user.Run({name, "--help"_q}).out, HasSubstr("Example:\n  "));
        EXPECT_THAT(overview, HasSubstr("  " + name.toStdString() + ' '));
    }
    EXPECT_THAT(user.Run("--version").out, HasSubstr("orvane-cloud "));
    EXPECT_FALSE(QFile::exists(user.Data())) << "help has made a data folder";
}

TEST_F(ProgramTest, CompletesInEveryShell)
{
    for (const QString& shell : Words("bash zsh fish")) {
        const std::string script = user.Run({"completion"_q, shell}).out;
        EXPECT_THAT(script, HasSubstr("offline"));
        user.Write(user.Work("script"_q), QByteArray::fromStdString(script));
        if (!QStandardPaths::findExecutable(shell).isEmpty())
            user.RunShell(shell, shell + " -n script"_q);
    }
    user.Write(user.Work("my report.pdf"_q), {});
    user.Write(user.Work("my notes.txt"_q), {});
    const std::pair<const char*, const char*> cases[] = {
        {"--data here dow", "download\n"},  {"list --off", "--offline\n"}, {"list --js", "--json\n"},
        {"preview x --size m", "medium\n"}, {"completion z", "zsh\n"},     {"upload my", "my report.pdf\n"}};
    const QString line = "source <(\"$ORVANE\" completion bash); COMP_WORDS=(orvane-cloud %1); "
                         "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
                         "_orvane_cloud; printf '%s\\n' \"${COMPREPLY[@]}\""_q;
    for (const auto& [words, completion] : cases)
        EXPECT_EQ(user.RunShell("bash"_q, line.arg(QLatin1String(words))).out, completion);
}

TEST_F(ProgramTest, KeepsDocumentsFromUploadToRemoval)
{
    Upload("b.pdf A.pdf");
    EXPECT_EQ(Names(), Words("A.pdf b.pdf"));
    const QJsonValue stored = Documents("--offline").first();
    EXPECT_EQ(stored["path"_q], user.Work("A.pdf"_q));
    EXPECT_EQ(stored["size"_q], PdfOf("A.pdf"_q).size());
    EXPECT_EQ(stored["state"_q], "synchronized"_q);

    user.Write(user.Work("A.pdf"_q), "changed here");
    user.Run("download A.pdf --overwrite");
    EXPECT_EQ(user.Read(user.Work("A.pdf"_q)), PdfOf("A.pdf"_q));

    user.Write(user.Work("sub/A.pdf"_q), "another");
    const auto second = user.Run("upload sub/A.pdf");
    EXPECT_EQ(second.out, "A (2).pdf\tA (2).pdf\n");
    EXPECT_THAT(second.err, HasSubstr("A (2).pdf"));
    EXPECT_EQ(user.Read(user.Cloud("A.pdf"_q)), PdfOf("A.pdf"_q));
    EXPECT_EQ(user.Read(user.Cloud("A (2).pdf"_q)), "another");

    user.Run({"remove"_q, "A.pdf"_q, "b.pdf"_q, "A (2).pdf"_q, "--yes"_q});
    EXPECT_EQ(user.FilesIn(user.Cloud()), QStringList());
    EXPECT_EQ(Names("--offline"), QStringList());
    EXPECT_TRUE(QFile::exists(user.Work("A.pdf"_q))) << "the local copy belongs to the user";
}

TEST_F(ProgramTest, TakesAnyNameThereAndBackInALocaleWithoutUtf8)
{
    const QString data = user.Work("dätä"_q);
    user.SetVariable("LC_ALL"_q, "de_DE"_q);
    user.SetVariable("ORVANE_CLOUD_DATA"_q, data);
    const QStringList names{"two words.pdf"_q,   "100%.pdf"_q, "a;b.pdf"_q,       "%2e%2e.pdf"_q,
                            "line\nbreak.pdf"_q, "-n.pdf"_q,   "Übergröße.PDF"_q, "#1?.pdf"_q,
                            "list.pdf"_q,        "[a,b].pdf"_q};
    for (const QString& name : names)
        user.Write(user.Work(name), PdfOf(name));
    QStringList ids;
    for (const QJsonValue result : user.Run(Words("--json upload --") + names).Json()["results"_q].toArray())
        ids.append(result["id"_q].toString());
    QDir().mkdir(user.Work("back"_q));
    const auto downloaded = user.Run(Words("--json download --to back --") + ids).Json()["results"_q];
    for (int index = 0; index < names.size(); ++index) {
        const QString& name = names[index];
        EXPECT_EQ(user.Read(data + "/cloud/"_q + name), PdfOf(name)) << name.toStdString();
        EXPECT_EQ(user.Read(downloaded[index]["path"_q].toString()), PdfOf(name)) << name.toStdString();
    }
    EXPECT_EQ(user.FilesIn(user.Work("back"_q)).size(), names.size());
    user.Run("download Ü", kNotFound);
    EXPECT_THAT(user.Run("status").out, HasSubstr("\"Ü\"")) << "the last problem";
    EXPECT_EQ(user.FilesIn(user.Work({})).size(), names.size() + 2);
    EXPECT_EQ(user.FilesIn(user.Path("home"_q)), QStringList());
    EXPECT_EQ(user.FilesIn(data + "/cache/temporary"_q), QStringList());
}

TEST_F(ProgramTest, GoesOnWithTheOthersWhenOneFails)
{
    Upload("there.pdf");
    user.Write(user.Work("good.pdf"_q), PdfOf("good.pdf"_q));
    user.Write(user.Work("notes.txt"_q), "text");
    QDir().mkdir(user.Work("folder.pdf"_q));
    const RunCase cases[] = {// + done, - failed
                             {"upload gone.pdf good.pdf", kNotFound, "-+"},
                             {"upload gone.pdf alsogone.pdf", kNotFound, "--"},
                             {"upload notes.txt folder.pdf", kUsage, "--"},
                             {"upload gone.pdf notes.txt good.pdf", kFailed, "--+"},
                             {"upload good.pdf good.pdf", kDone, "+"},
                             {"download gone.pdf there.pdf --to folder.pdf", kNotFound, "-+"},
                             {"download there.pdf gone.pdf --to folder.pdf", kFailed, "--"},
                             {"remove gone.pdf there.pdf --yes", kNotFound, "-+"}};
    for (const auto& batch : cases) {
        const auto result = user.Run(QByteArray("--json ") + batch.words, batch.exitCode);
        std::string outcomes;
        for (const QJsonValue item : result.Json()["results"_q].toArray())
            outcomes += item["ok"_q].toBool() ? '+' : '-';
        EXPECT_EQ(outcomes, batch.expected) << result.out;
    }
    EXPECT_FALSE(QFile::exists(user.Cloud("there.pdf"_q)));
}

TEST_F(ProgramTest, AsksAndDrawsABarOnATerminalOnly)
{
    if (QStandardPaths::findExecutable("script"_q).isEmpty())
        GTEST_SKIP() << "no program to make a terminal with";
    const auto runOnTerminal = [this](const char* words, int exitCode, const char* typing = "") {
        const QString line = "%1 TERM=xterm script -qec '\"$ORVANE\" %2' /dev/null"_q;
        return user.RunShell("sh"_q, line.arg(QLatin1String(typing), QLatin1String(words)), exitCode).out;
    };
    Upload("a.pdf b.pdf");
    runOnTerminal("remove a.pdf", kFailed, "echo n |");
    runOnTerminal("remove b.pdf", kDone, "echo y |");
    EXPECT_EQ(user.FilesIn(user.Cloud()), Words("a.pdf"));
    EXPECT_THAT(runOnTerminal("upload a.pdf", kDone), HasSubstr("% "));
    EXPECT_THAT(runOnTerminal("upload a.pdf --quiet", kDone), Not(HasSubstr("\x1b")));
    EXPECT_THAT(runOnTerminal("upload a.pdf --json", kDone), Not(HasSubstr("\x1b")));
}

TEST_F(ProgramTest, MakesAPictureOfTheFirstPage)
{
    if (QStandardPaths::findExecutable("pdftoppm"_q).isEmpty())
        GTEST_SKIP() << "no program to render with";
    Upload("a.pdf");
    EXPECT_EQ(user.Run("preview a.pdf").out, user.Work("a-large.png\n"_q).toStdString());
    EXPECT_EQ(QImage(user.Work("a-large.png"_q)).height(), 191);
    user.Run("preview a.pdf", kConflict);
    user.Run("preview a.pdf --size small --to s.png");
    EXPECT_EQ(QImage(user.Work("s.png"_q)).height(), 40);
}

TEST_F(ProgramTest, TellsHowThingsStand)
{
    Upload("a.pdf");
    user.Run("download gone.pdf", kNotFound);
    const auto status = user.Run("status --json").Json();
    EXPECT_EQ(status["signedIn"_q], true);
    EXPECT_EQ(status["documents"_q], 1);
    EXPECT_EQ(status["lastProblem"_q]["command"_q], "download"_q);
    EXPECT_GT(user.Run("quota --json").Json()["usedBytes"_q].toDouble(), 0);
    EXPECT_THAT(user.Run("status --cloud missing", kNotFound).out, HasSubstr("Signed in:    no"));
    EXPECT_FALSE(QFile::exists(user.Work("missing"_q))) << "a cloud that is named is never made";
}

TEST_F(ProgramTest, KeepsOneListForEachCloudHoweverItIsSpelled)
{
    const QString other = user.Work("other %20 ö"_q);
    QDir().mkpath(other);
    QFile::link(other, user.Work("link"_q));
    Upload("a.pdf");
    user.Write(user.Work("b.pdf"_q), PdfOf("b.pdf"_q));
    user.Run({"--cloud"_q, other, "upload"_q, "b.pdf"_q});

    const QString url = QUrl::fromLocalFile(other + QLatin1Char('/')).toString(QUrl::FullyEncoded);
    for (const QString& spelling : {other, url, "link"_q, "./link/"_q}) {
        user.SetVariable("ORVANE_CLOUD"_q, spelling);
        EXPECT_EQ(Names("--offline"), Words("b.pdf")) << spelling.toStdString();
    }
    EXPECT_EQ(Names("--cloud " + user.Cloud().toUtf8()), Words("a.pdf"));
}

TEST_F(ProgramTest, SweepsTemporaryFoldersOfRunsThatCrashed)
{
    const QString parent = user.Path("home/.cache/orvane-cloud/temporary/"_q);
    user.Write(parent + "run-crashed/preview.png"_q, "left");
    user.Write(parent + "run-living/preview.png"_q, "in use");
    QLockFile lock(parent + "run-living/lock"_q);
    lock.setStaleLockTime(0);
    ASSERT_TRUE(lock.tryLock());
    user.RunShell("sh"_q, "touch -d '1 hour ago' '%1'run-*"_q.arg(parent));
    EXPECT_EQ(Names(), QStringList());
    EXPECT_EQ(user.FilesIn(parent), Words("run-living"));
}

TEST_F(ProgramTest, SetsADamagedListAsideAndSaysSo)
{
    Upload("a.pdf");
    const QString folder = user.Data("clouds/"_q);
    user.Write(folder + user.FilesIn(folder).first() + "/documents.sqlite"_q, QByteArray(5000, 'x'));
    const auto first = user.Run("list --quiet");
    EXPECT_THAT(first.out, HasSubstr("a.pdf"));
    EXPECT_NE(first.err, "");
    EXPECT_EQ(user.Run("list --quiet").err, "");
}

TEST_F(ProgramTest, KeepsTheTokenToItself)
{
    const QByteArray token = "tok-3c1f-secret";
    const QString environment = user.Path("home/environment"_q);
    const QString helper = user.Path("bin/pdftoppm"_q);
    user.Write(helper, "#!/bin/sh\nenv > '" + environment.toUtf8() + "'\nexit 1\n");
    QFile::setPermissions(helper, QFile::ReadOwner | QFile::ExeOwner);
    user.Write(user.Work("token"_q), token + "\nsecond line\n");
    user.SetVariable("PATH"_q, user.Path("bin:"_q) + qEnvironmentVariable("PATH"));
    user.SetVariable("ORVANE_CLOUD_TOKEN"_q, QString::fromUtf8(token));
    Upload("a.pdf");

    const auto preview = user.Run("preview a.pdf --verbose --token-file token", kFailed);
    const auto status = user.Run("status --verbose --token-file token --cloud missing", kNotFound);
    const std::string said = preview.out + preview.err + status.out + status.err;
    EXPECT_THAT(said, HasSubstr("Auth")) << "no log lines to look at";
    EXPECT_THAT(said, Not(HasSubstr(token.toStdString())));
    EXPECT_FALSE(user.Read(environment).isEmpty());
    QDirIterator files(user.Path("home"_q), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext())
        EXPECT_FALSE(user.Read(files.next()).contains(token)) << files.filePath().toStdString();
}

TEST_F(ProgramTest, LetsNoNameDriveTheTerminal)
{
    const QString name = "\x1b]0;owned\x07\u009b2J\u202e.pdf"_q;
    user.Write(user.Cloud(name), PdfOf(name));
    const std::pair<QStringList, int> cases[] = {{Words("list"), kDone},
                                                 {Words("list --json"), kDone},
                                                 {{"upload"_q, name}, kNotFound},
                                                 {{"download"_q, name}, kNotFound},
                                                 {{"list"_q, "--cloud"_q, name}, kNotFound},
                                                 {{"list"_q, name}, kUsage}};
    for (const auto& [arguments, exitCode] : cases) {
        const auto result = user.Run(arguments, exitCode);
        EXPECT_THAT(result.out + result.err, HasSubstr("owned"));
        for (const char* sequence : {"\x1b", "\x07", "\u009b", "\u202e"})
            EXPECT_THAT(result.out + result.err, Not(HasSubstr(sequence)));
    }
}

TEST_F(ProgramTest, LeavesNothingOfAnInterruptedTransfer)
{
    const auto interrupt = [&](const QByteArray& words, const QString& folder, int signal) {
        const QStringList before = user.FilesIn(folder);
        const auto process = user.Start(Words(words));
        ASSERT_TRUE(WaitUntil([&] { return user.FilesIn(folder) != before; })) << "it never began";
        kill(static_cast<pid_t>(process->processId()), signal);
        const auto error = user.Finish(*process, kInterrupted).Json()["error"_q];
        EXPECT_EQ(error["code"_q], "interrupted"_q);
        EXPECT_EQ(user.FilesIn(folder), before);
    };
    EXPECT_EQ(Names(), QStringList());
    user.Write(user.Work("large.pdf"_q), {});
    QFile::resize(user.Work("large.pdf"_q), 200 * 1024 * 1024);
    interrupt("upload large.pdf --json", user.Cloud(), SIGINT);
    EXPECT_EQ(Names("--offline"), QStringList());

    QFile::rename(user.Work("large.pdf"_q), user.Cloud("large.pdf"_q));
    user.Write(user.Work("to/large.pdf"_q), "earlier copy");
    interrupt("download large.pdf --to to --overwrite --json", user.Work("to"_q), SIGTERM);
    EXPECT_EQ(user.Read(user.Work("to/large.pdf"_q)), "earlier copy");
}

TEST_F(ProgramTest, WatchesUntilItIsInterrupted)
{
    user.Write(user.Cloud("a.pdf"_q), PdfOf("a.pdf"_q));
    const auto watch = user.Start(Words("watch --interval 1 --json"));
    QStringList events;
    const auto nextEvent = [&] {
        const bool isThere = WaitUntil([&] { return watch->canReadLine(); });
        const auto event = QJsonDocument::fromJson(watch->readLine());
        events.append(event["event"_q].toString() + QLatin1Char(' ') +
                      event["document"_q]["name"_q].toString());
        return isThere;
    };
    ASSERT_TRUE(nextEvent());
    EXPECT_THAT(user.Run("list", kConflict).err, HasSubstr("in use"));
    user.Write(user.Cloud("b.pdf"_q), PdfOf("b.pdf"_q));
    ASSERT_TRUE(nextEvent());
    QFile::remove(user.Cloud("a.pdf"_q));
    ASSERT_TRUE(nextEvent());
    EXPECT_EQ(events, (QStringList{"added a.pdf"_q, "added b.pdf"_q, "removed a.pdf"_q}));
    watch->terminate();
    EXPECT_EQ(user.Finish(*watch, kInterrupted).Json()["ok"_q], false);
}

// Set ORVANE_KILL_ROUNDS for a longer run.
TEST_F(ProgramTest, LosesNothingWhenItIsKilled)
{
    const int asked = qEnvironmentVariableIntValue("ORVANE_KILL_ROUNDS");
    const QByteArray content = PdfOf({}) + QByteArray(4 * 1024 * 1024, '%');
    QStringList upload{"upload"_q};
    for (int file = 0; file < 8; ++file) {
        upload.append("file%1.pdf"_q.arg(file));
        user.Write(user.Work(upload.last()), content);
    }
    QStringList saved;
    for (int round = 0; round < (asked > 0 ? asked : 12); ++round) {
        const auto process = user.Start(upload);
        QTest::qSleep(QRandomGenerator::global()->bounded(200));
        process->kill();
        process->waitForFinished();

        const QStringList stored = Names("--offline");
        for (const QString& name : saved)
            EXPECT_TRUE(stored.contains(name)) << name.toStdString() << " was lost in round " << round;
        saved = Names();
        EXPECT_EQ(user.FilesIn(user.Cloud()), saved) << "something was left in round " << round;
        for (const QString& name : saved)
            EXPECT_TRUE(user.Read(user.Cloud(name)) == content) << name.toStdString();
    }
}

} // namespace
