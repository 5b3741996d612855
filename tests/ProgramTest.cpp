#include "support/HelperStandIn.h"
#include "support/PdfSamples.h"
#include "support/ProgramRun.h"
#include "support/ScriptedServer.h"

#include <QDirIterator>
#include <QImage>
#include <QJsonArray>
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

    QStringList Names(const QByteArray& options = {})
    {
        QStringList names;
        for (const QJsonValue document : user.Run("list --json " + options).Json()["documents"_q].toArray())
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
    user.Write(user.Cloud("broken.pdf"_q), "no PDF at all");
    user.RunShell(
        "mkfifo pipe; ln -s ../pipe folder.pdf/p.pdf; ln -s gone link.png; mkdir links; ln -s gone links/a.pdf"_q);
    const QStringList files = user.FilesIn(user.Work({}));
    const RunCase cases[] = {{"remove a.pdf", kUsage, "--yes"},
                             {"preview broken.pdf", kFailed, "broken.pdf"},
                             {"preview broken.pdf --to a.pdf", kConflict, "--overwrite"},
                             {"watch --interval 0", kUsage, "--interval"},
                             {"list --cloud gopher://x/", kUsage, "address"},
                             {"list --cloud https://ada:pw@host/", kUsage, "--user"},
                             {"list --cloud https://ada:p/w@host/", kUsage, "address"},
                             {"list --ca-file a.pdf", kUsage, "a.pdf"},
                             {"list --user ada:pw", kUsage, "colon"},
                             {"upload --data= a.pdf folder.pdf", kUsage, "--data="},
                             {"upload folder.pdf/p.pdf", kLocalDisk, "as a file"},
                             {"list --cloud missing", kNotFound, "cloud"},
                             {"list --token-file missing", kSignInNeeded, "token"},
                             {"list --token-file folder.pdf/a.pdf/inner", kSignInNeeded, "first line"},
                             {"preview a.pdf --to missing/a.png", kLocalDisk, "folder"},
                             {"list --data a.pdf", kLocalDisk, "data folder"},
                             {"preview a.pdf --overwrite --to pipe", kConflict, "ordinary"},
                             {"preview a.pdf --overwrite --to link.png", kConflict, "ordinary"},
                             {"download a.pdf --overwrite --to links", kConflict, "ordinary"},
                             {"download a.pdf", kConflict, "--overwrite"},
                             {"download a.pdf --overwrite --to folder.pdf", kConflict, "folder"},
                             {"download a.pdf --to missing", kNotFound, "folder"},
                             {"download a.pdf --to /sys", kLocalDisk, "a.pdf"}};
    for (const auto& refusal : cases) {
        const auto text = user.Run(refusal.words, refusal.exitCode);
        EXPECT_EQ(text.out, "");
        EXPECT_THAT(text.err, AllOf(HasSubstr(refusal.expected), Not(HasSubstr("w@host"))));
        const auto json = user.Run(QByteArray("--json ") + refusal.words, refusal.exitCode);
        EXPECT_EQ(json.err, "");
        EXPECT_EQ(json.Json()["ok"_q], QJsonValue(false));
    }
    const auto status = user.Run("status --json --cloud missing", kNotFound).Json();
    EXPECT_EQ(status["signedIn"_q], false);
    const auto last = user.Run("status --json").Json()["lastProblem"_q];
    EXPECT_EQ(last["command"_q], "download"_q);
    EXPECT_EQ(last["code"_q], "local-disk"_q);
    const auto when = QDateTime::fromString(last["when"_q].toString(), Qt::ISODate);
    EXPECT_TRUE(when.isValid() && std::abs(when.secsTo(QDateTime::currentDateTimeUtc())) < 600);
    const auto said = "(download): "_q + last["what"_q].toString() + ": "_q + last["why"_q].toString();
    EXPECT_THAT(user.Run("status").out, HasSubstr(said.toStdString()));
    user.RunShell("\"$ORVANE\" upload \"$(printf 'x\\377.pdf')\""_q, kUsage);
    user.RunShell("\"$ORVANE\" quota > /dev/full"_q, kLocalDisk);
    for (const QString& option : Words("--cloud --data --user --token-file --ca-file --to"))
        user.Run({"download"_q, "a.pdf"_q, option, {}}, kUsage);
    EXPECT_EQ(user.FilesIn(user.Work({})), files);
    EXPECT_EQ(user.FilesIn(user.Cloud()), Words("a.pdf broken.pdf"));
    EXPECT_EQ(user.Read(user.Work("a.pdf"_q)), "changed here");
}

TEST_F(ProgramTest, KeepsDocumentsFromUploadToRemoval)
{
    Upload("b.pdf A.pdf");
    const QJsonValue stored = user.Run("list --offline --json").Json()["documents"_q][0];
    EXPECT_EQ(stored["path"_q], user.Work("A.pdf"_q));

    user.Write(user.Work("A.pdf"_q), "changed here");
    user.RunShell("mkdir links; ln -s ../A.pdf links"_q);
    user.Run("download A.pdf --overwrite --to links");
    EXPECT_EQ(user.Read(user.Work("A.pdf"_q)), PdfOf("A.pdf"_q));

    user.Write(user.Work("sub/A.pdf"_q), PdfOf("X.pdf"_q)); // of the same size
    EXPECT_EQ(user.Run("upload sub/A.pdf").out, "A (2).pdf\tA (2).pdf\n");
    EXPECT_EQ(user.Read(user.Cloud("A.pdf"_q)), PdfOf("A.pdf"_q));
    EXPECT_EQ(user.Read(user.Cloud("A (2).pdf"_q)), PdfOf("X.pdf"_q));
    const QJsonValue status = user.Run("status --json").Json();
    EXPECT_EQ(status["documents"_q], 3);
    EXPECT_EQ(status["signedIn"_q], true);
    EXPECT_EQ(status["states"_q], (QJsonObject{{"synchronized"_q, 3}}));
    const auto used = status["quota"_q]["usedBytes"_q].toDouble();
    EXPECT_GT(status["quota"_q]["allowedBytes"_q].toDouble(), used);
    const auto confinement = status["previewConfinement"_q].toString().toStdString();
    EXPECT_THAT(confinement, testing::AnyOf("bubblewrap", "landlock", "seccomp", "limits"));
    EXPECT_THAT(user.Run("status").out, HasSubstr("confined by " + confinement));

    user.Write(user.Work("sub/b.pdf"_q), PdfOf("b.pdf"_q));
    user.Write(user.Work("new.pdf"_q), "new");
    user.Write(user.Work("sub/new.pdf"_q), "new");
    std::string skipped;
    const auto again = user.Run("--json upload b.pdf sub/b.pdf A.pdf sub/A.pdf new.pdf sub/new.pdf").Json();
    for (const QJsonValue result : again["results"_q].toArray())
        skipped += result["skipped"_q].toBool() ? '=' : '+';
    EXPECT_EQ(skipped, "====+=");
    EXPECT_EQ(user.FilesIn(user.Cloud()).size(), 4);
    EXPECT_EQ(user.Run("upload --quiet b.pdf").err, "");
    EXPECT_THAT(user.Run("quota").out, HasSubstr(" used of "));
    const auto quota = user.Run("quota --json").Json();
    EXPECT_GT(quota["allowedBytes"_q].toDouble(), quota["usedBytes"_q].toDouble());

    user.Write(user.Cloud("only.pdf"_q), PdfOf("only.pdf"_q));
    user.Write(user.Work("only.pdf"_q), PdfOf("only.pdf"_q));
    EXPECT_EQ(user.Run("upload only.pdf").out, "only.pdf\tonly.pdf\n");
    const QJsonValue only = user.Run("list --offline --json").Json()["documents"_q].toArray().last();
    EXPECT_EQ(only["path"_q], user.Work("only.pdf"_q)) << "what is there already is its local copy";
    user.Run("remove only.pdf --yes");

    user.RunShell("echo one > one.pdf; ln -s one.pdf two.pdf; ln -s one.pdf six.pdf"_q);
    const auto links = user.Run("--json upload one.pdf two.pdf six.pdf").Json()["results"_q].toArray();
    for (const QJsonValue result : links)
        EXPECT_EQ(result["name"_q], result["argument"_q]);

    user.Run({"remove"_q, "A.pdf"_q, "b.pdf"_q, "A (2).pdf"_q, "new.pdf"_q, "one.pdf"_q, "two.pdf"_q,
              "six.pdf"_q, "--yes"_q});
    EXPECT_EQ(user.FilesIn(user.Cloud()), QStringList());
    EXPECT_EQ(Names("--offline"), QStringList());
    EXPECT_TRUE(QFile::exists(user.Work("A.pdf"_q))) << "the local copy belongs to the user";
}

TEST_F(ProgramTest, SaysWhatAServerPromisesAndWhatItRefuses)
{
    Orvane::Tests::ScriptedServer server; // does not heed conditions of replacements
    user.SetVariable("ORVANE_CLOUD"_q, QString::fromStdString(server.origin + "/dav/"));
    EXPECT_THAT(user.Run("list", kSignInNeeded).err, HasSubstr("wants one"));
    user.SetVariable("ORVANE_CLOUD_TOKEN"_q, "secret"_q);
    EXPECT_TRUE(user.Run("status --json").Json()["protection"_q].isNull());
    Upload("a.pdf");
    EXPECT_EQ(user.Run("status --json").Json()["protection"_q],
              (QJsonObject{{"newNames"_q, true}, {"replacements"_q, false}}));
    EXPECT_THAT(user.Run("status").out,
                AllOf(HasSubstr("lose its version"), Not(HasSubstr("a new document"))));
    for (const int first : {2, 3}) { // the listing, the quota
        const QByteArray refusal = "HTTP/1.1 403 No\r\nContent-Length: 0\r\n\r\n";
        server.mutex.lock();
        server.faults = {{{}, refusal, false, true, 1 << 30, server.GoesOn, "PROPFIND", first, 1000}};
        server.mutex.unlock();
        const auto refused = user.Run("status --json", kRefused).Json();
        EXPECT_EQ(refused["signedIn"_q], true);
        EXPECT_TRUE(refused["quota"_q].isNull());
        EXPECT_TRUE(refused["error"_q]["code"_q].isString());
    }
}

TEST_F(ProgramTest, MakesPicturesOfTheSizeAskedFor)
{
    user.Write(user.Cloud("100%.pdf"_q), PdfOf("a.pdf"_q)); // which is not listed yet, like the others
    user.Write(user.Cloud("0.pdf"_q), "no PDF at all");
    user.Write(user.Cloud("1.pdf"_q), Orvane::Tests::OnePagePdf(300, 200, "lies"));
    const std::tuple<const char*, QString, int> cases[] = {
        {"preview 100%.pdf", "100%-large.png"_q, 191},
        {"preview 100%.pdf --size medium", "100%-medium.png"_q, 100},
        {"preview 100%.pdf --size small --to front.png", "front.png"_q, 40}};
    for (const auto& [words, name, edge] : cases) {
        const QString file = user.Work(name);
        EXPECT_EQ(user.Run(words).out, file.toStdString() + '\n');
        EXPECT_EQ(QImage(file).height(), edge) << "of a page of 200 x 300";
        user.Write(file, "of somebody");
        user.Run(words, kConflict);
        EXPECT_EQ(user.Read(file), "of somebody");
        const auto json = user.Run(words + QByteArray(" --json --overwrite")).Json();
        EXPECT_EQ(json["path"_q], file);
        EXPECT_EQ(json["id"_q], "100%25.pdf"_q);
        EXPECT_EQ(json["name"_q], "100%.pdf"_q);
        EXPECT_FALSE(QImage(file).isNull());
    }
}

TEST_F(ProgramTest, CompletesWordsInABash)
{
    user.RunShell("touch a.pdf b.PDF c.txt; mkdir folder"_q);
    const std::pair<QString, const char*> cases[] = {{"pre"_q, "preview\n"},
                                                     {"--user upload d"_q, "download\n"},
                                                     {"upload ./"_q, "./a.pdf ./b.PDF\n"},
                                                     {"upload --data f"_q, "folder\n"},
                                                     {"-q download x --to ''"_q, "folder\n"},
                                                     {"preview --to c"_q, "c.txt\n"},
                                                     {"preview x --size ''"_q, "large medium small\n"},
                                                     {"watch --int"_q, "--interval\n"},
                                                     {"remove --js"_q, "--json\n"},
                                                     {"--acc"_q, "--accept-empty\n"}};
    const QString line = "eval \"$(\"$ORVANE\" completion bash)\"; COMP_WORDS=(orvane-cloud %1); "
                         "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _orvane_cloud; "
                         "echo $(tr ' ' '\\n' <<< \"${COMPREPLY[*]}\" | sort -u)"_q;
    for (const auto& [words, expected] : cases)
        EXPECT_EQ(user.Finish(*user.Start({"-c"_q, line.arg(words)}, "bash"_q), kDone).out, expected)
            << words.toStdString();
    const auto script = user.Run("completion bash --json").Json()["script"_q].toString();
    EXPECT_EQ(user.Run("completion bash").out, script.toStdString() + '\n');
}

TEST_F(ProgramTest, TakesAnyNameThereAndBackInALocaleWithoutUtf8)
{
    const QString data = user.Work("dätä"_q);
    user.SetVariable("LC_ALL"_q, "de_DE"_q);
    user.SetVariable("ORVANE_CLOUD_DATA"_q, data);
    const QStringList names{"two words.pdf"_q, "100%.pdf"_q,      "a;b.pdf"_q, "%2e%2e.pdf"_q,
                            "-n.pdf"_q,        "Übergröße.PDF"_q, "#1?.pdf"_q, "new%20%1 %4line.pdf"_q};
    for (const QString& name : names)
        user.Write(user.Work(name), PdfOf(name));
    QStringList ids;
    for (const QJsonValue result : user.Run(Words("--json upload --") + names).Json()["results"_q].toArray())
        ids.append(result["id"_q].toString());
    QDir().mkdir(user.Work("back"_q));
    const auto expectResults = [&](const QByteArray& words, const QStringList& arguments,
                                   const char* folder) {
        const auto results = user.Run(Words(words) + arguments).Json()["results"_q];
        for (int at = 0; at < names.size(); ++at) {
            EXPECT_EQ(results[at]["id"_q], ids[at]);
            EXPECT_EQ(results[at]["name"_q], names[at]);
            EXPECT_EQ(results[at]["path"_q].toString(),
                      folder ? user.Work(QString::fromUtf8(folder) + names[at]) : QString());
        }
    };
    expectResults("upload --json --", names, "");
    expectResults("download --json --to back --", ids, "back/");
    for (const QString& name : names) {
        EXPECT_EQ(user.Read(data + "/cloud/"_q + name), PdfOf(name)) << name.toStdString();
        EXPECT_EQ(user.Read(user.Work("back/"_q + name)), PdfOf(name)) << name.toStdString();
    }
    user.Run("download Ü", kNotFound);
    EXPECT_THAT(user.Run("status").out, HasSubstr("\"Ü\"")) << "the last problem";
    expectResults("remove --json --yes --", ids, nullptr);
    EXPECT_EQ(user.FilesIn(user.Path("home"_q)), QStringList());
    EXPECT_EQ(user.FilesIn(data + "/cache/temporary"_q), QStringList());
}

TEST_F(ProgramTest, TwoDocumentsThatWouldBeOneFileDoNotOverwriteEachOther)
{
    const QString common(84, QLatin1Char('\\')); // written as three bytes each, which is cut at 255
    QStringList ids;
    for (const char* end : {"a.pdf", "b.pdf"}) {
        ids.append(QString(common).replace(QLatin1Char('\\'), "%5C"_q) + QLatin1String(end));
        user.Write(user.Cloud(common + QLatin1String(end)), PdfOf(ids.last()));
    }
    for (const QStringList& order : {ids, QStringList{ids[1], ids[0]}}) {
        const auto results =
            user.Run(Words("--json download --overwrite") + order, kConflict).Json()["results"_q];
        EXPECT_EQ(user.Read(results[0]["path"_q].toString()), PdfOf(order[0]));
        EXPECT_EQ(results[1]["ok"_q], false);
    }
}

TEST_F(ProgramTest, GoesOnWithTheOthersWhenOneFails)
{
    Upload("there.pdf");
    user.Write(user.Work("good.pdf"_q), PdfOf("good.pdf"_q));
    user.Write(user.Work("notes.txt"_q), "text");
    QDir().mkdir(user.Work("folder.pdf"_q));
    const RunCase cases[] = {// + done, - failed
                             {"upload notes.txt folder.pdf", kUsage, "--"},
                             {"upload gone.pdf good.pdf notes.txt ./good.pdf good.pdf", kFailed, "-+-++"},
                             {"upload notes.txt notes.txt", kUsage, "--"},
                             {"download gone.pdf there.pdf there.pdf --to folder.pdf", kNotFound, "-++"},
                             {"download there.pdf there.pdf --to folder.pdf", kConflict, "--"},
                             {"remove gone.pdf there.pdf there.pdf --yes", kNotFound, "-++"},
                             {"remove gone.pdf good.pdf", kUsage, "--"},
                             {"download there.pdf good.pdf --cloud missing", kNotFound, "--"},
                             {"upload notes.txt good.pdf there.pdf --cloud missing", kNotFound, "---"}};
    for (const auto& batch : cases) {
        const auto result = user.Run(QByteArray("--json ") + batch.words, batch.exitCode);
        const QStringList words = Words(batch.words);
        int argument = 0;
        std::string outcomes;
        for (const QJsonValue item : result.Json()["results"_q].toArray()) {
            outcomes += item["ok"_q].toBool() ? '+' : '-';
            EXPECT_EQ(item["argument"_q].toString(), words.value(++argument));
            EXPECT_EQ(item["error"_q]["code"_q].isString(), !item["ok"_q].toBool());
        }
        EXPECT_TRUE(result.Json()["error"_q]["code"_q].isString());
        EXPECT_EQ(result.Json()["command"_q], words.first());
        EXPECT_EQ(outcomes, batch.expected) << result.out;
    }
    EXPECT_FALSE(QFile::exists(user.Cloud("there.pdf"_q)));
    EXPECT_THAT(user.Run("upload --cloud missing good.pdf there.pdf", kNotFound).err,
                HasSubstr("2 of 2 arguments were done: good.pdf, there.pdf."));
    EXPECT_THAT(user.Run("upload --cloud missing good.pdf", kNotFound).err, Not(HasSubstr("arguments")));
    const auto json = user.Run("upload --cloud missing --json good.pdf", kNotFound).Json();
    EXPECT_EQ(json["results"_q][0]["error"_q]["what"_q], "\"good.pdf\" was not tried"_q);

    Upload("1.pdf 2.pdf 3.pdf 4.pdf 5.pdf 6.pdf 7.pdf 8.pdf"); // more than are in transfer at a time
    const auto failed =
        user.Run("--json download 1.pdf 2.pdf 3.pdf 4.pdf 5.pdf 6.pdf 7.pdf 8.pdf --to /sys", kLocalDisk);
    EXPECT_EQ(failed.Json()["results"_q].toArray().size(), 8);
}

TEST_F(ProgramTest, AsksBeforeItRemovesAndShowsProgressAtATerminal)
{
    if (QStandardPaths::findExecutable("script"_q).isEmpty())
        GTEST_SKIP() << "no program to make a terminal with";
    Upload("1.pdf 2.pdf 3.pdf 4.pdf 5.pdf 6.pdf 7.pdf 8.pdf 9.pdf a.pdf b.pdf");
    const QString line = "echo %1 | TERM=xterm script -qec '\"$ORVANE\" remove %2' /dev/null"_q;
    const auto all = user.RunShell(line.arg("n"_q, "*.pdf"_q), kFailed);
    EXPECT_THAT(all.out, AllOf(HasSubstr("cloud: 1.pdf, 2.pdf,"), HasSubstr("9.pdf, a.pdf, and 1 more?")));
    user.RunShell(line.arg("y"_q, "a.pdf 2> said"_q), kUsage);
    EXPECT_EQ(user.FilesIn(user.Cloud()).size(), 11);
    const auto rest = user.RunShell(line.arg("y"_q, "[1-9].pdf b.pdf"_q));
    EXPECT_THAT(rest.out, AllOf(HasSubstr("9.pdf, b.pdf?"), HasSubstr("Removed \"b.pdf\"")));
    EXPECT_EQ(user.FilesIn(user.Cloud()), Words("a.pdf"));
    const QString download = "TERM=xterm script -qec '\"$ORVANE\" download a.pdf --to links' /dev/null"_q;
    EXPECT_THAT(user.RunShell("mkdir links; "_q + download).out, HasSubstr("]   0 %  a.pdf\r\x1b[K"));
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

    for (const char* cloud : {"https://host/dav", "HTTPS://Host:443/dav/", "https://host/dav --user ada"})
        user.Run(QByteArray("list --offline --cloud ") + cloud);
    EXPECT_EQ(user.FilesIn(user.Data("clouds"_q)).size(), 4) << "a list for each user, whatever the spelling";
}

TEST_F(ProgramTest, SetsADamagedListAsideAndSaysSo)
{
    Upload("a.pdf");
    const QString folder = user.Data("clouds/"_q);
    const QString file = folder + user.FilesIn(folder).first() + "/documents.sqlite"_q;
    auto newer = user.Read(file);
    newer[63] = 99; // the lowest byte of the version
    user.Write(file, newer);
    EXPECT_EQ(user.Run("list --json", kFailed).Json()["error"_q]["code"_q], "newer-version"_q);
    user.Write(file, QByteArray(5000, 'x'));
    const auto first = user.Run("list --quiet");
    EXPECT_THAT(first.out, HasSubstr("a.pdf"));
    EXPECT_NE(first.err, "");
    EXPECT_EQ(user.Run("list --quiet").err, "");
}

TEST_F(ProgramTest, KeepsTheTokenToItself)
{
    const QByteArray token = "tok-3c1f-secret";
    user.Write(user.Work("token"_q), token + "\nsecond line\n");
    user.SetVariable("ORVANE_CLOUD_TOKEN"_q, QString::fromUtf8(token));
    Upload("a.pdf");

    user.Run("list --token-file missing", kSignInNeeded); // the variable does not stand in for it
    const auto list = user.Run("list --verbose --token-file token");
    user.RunShell("chmod 640 token"_q);
    EXPECT_THAT(user.Run("list --token-file token").err, HasSubstr("chmod 600"));
    const auto refused = user.Run("status --cloud https://ada:" + token + "@host/", kUsage);
    const std::string said = list.out + list.err + refused.out + refused.err;
    EXPECT_THAT(said, HasSubstr("Auth")) << "no log lines to look at";
    EXPECT_THAT(said, Not(HasSubstr(token.toStdString())));
    QDirIterator files(user.Path("home"_q), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext())
        EXPECT_FALSE(user.Read(files.next()).contains(token)) << files.filePath().toStdString();
}

TEST_F(ProgramTest, LetsNobodyElseSeeWhatItKeepsWhateverWasThere)
{
    user.Write(user.Work("a.pdf"_q), PdfOf("a.pdf"_q));
    user.RunShell("mkdir -p -m 755 data shared; echo mine > shared/mine.txt"_q);
    const auto use =
        "umask 0; \"$ORVANE\" %1 upload a.pdf; \"$ORVANE\" %1 preview a.pdf --overwrite --to a.png;"
        "\"$ORVANE\" %1 download gone"_q;
    const auto findOpen = "find %1 \\( -name cloud -o -name pictures \\) -prune -o -perm /077 -print"_q;
    const std::tuple<QString, QString, const char*> cases[] = {
        // how it is called, where it keeps what, what others may see there: nothing that it has made
        {"--quiet"_q, "../home/.local/share/orvane-cloud ../home/.cache/orvane-cloud"_q, ""},
        {"--data=data"_q, "data"_q, ""},
        {"--data=shared"_q, "shared"_q, "shared\nshared/mine.txt\n"},
    };
    for (const auto& [option, folders, expected] : cases) {
        user.RunShell(use.arg(option), kNotFound);
        EXPECT_EQ(user.RunShell(findOpen.arg(folders)).out, expected);
        user.RunShell("chmod -R a+rwX "_q + folders); // as an earlier version might have left it
        user.RunShell("chmod 755 shared; chmod 644 shared/mine.txt"_q);
        user.RunShell(use.arg(option), kNotFound);
        EXPECT_EQ(user.RunShell(findOpen.arg(folders)).out, expected);
    }
}

/// Of all processes whose command line names this program.
QByteArray EnvironmentsOf(const QByteArray& program)
{
    QByteArray environments;
    for (const QString& process : QDir("/proc"_q).entryList({"[1-9]*"_q}, QDir::Dirs)) {
        QFile line("/proc/"_q + process + "/cmdline"_q);
        QFile environment("/proc/"_q + process + "/environ"_q);
        if (line.open(QIODevice::ReadOnly) && line.readAll().contains(program) &&
            environment.open(QIODevice::ReadOnly))
            environments += environment.readAll();
    }
    return environments;
}

TEST_F(ProgramTest, ShowsTheTokenToNoOtherProgram)
{
    user.Write(user.Cloud("a.pdf"_q), PdfOf("a.pdf"_q));
    const Orvane::Tests::HelperStandIn renderer(Orvane::Tests::kHang);
    user.SetVariable("PATH"_q, qEnvironmentVariable("PATH"));
    user.SetVariable("ORVANE_CLOUD_TOKEN"_q, "tok-3c1f-secret"_q);
    const auto watch = user.Start(Words("watch --json"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return renderer.IsRunning(); }, kLongestRunInMs));
    const QByteArray shown = EnvironmentsOf(renderer.Beside(""));
    EXPECT_TRUE(shown.contains("HOME=/nonexistent")) << "no process to look at";
    EXPECT_FALSE(shown.contains("tok-3c1f"));
    const auto process = "/proc/%1/"_q.arg(watch->processId());
    QFile environment(process + "environ"_q); // may belong to the system by now
    environment.open(QIODevice::ReadOnly);
    EXPECT_FALSE(environment.readAll().contains("tok-3c1f"));
    EXPECT_THAT(user.Read(process + "limits"_q).toStdString(),
                testing::ContainsRegex("core file size +0 +0"));
    watch->terminate();
    user.Finish(*watch, kInterrupted);
}

TEST_F(ProgramTest, LetsNoNameDriveTheTerminal)
{
    const QString name = "\x1b]0;owned\x07\u009b2J\u202e.pdf"_q;
    user.Write(user.Cloud(name), PdfOf(name));
    const std::pair<QStringList, int> cases[] = {{Words("list"), kDone},
                                                 {Words("list --json"), kDone},
                                                 {{"download"_q, name}, kNotFound},
                                                 {{"list"_q, "--cloud"_q, name}, kNotFound}};
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
        ASSERT_TRUE(QTest::qWaitFor([&] { return user.FilesIn(folder) != before; }, kLongestRunInMs));
        kill(static_cast<pid_t>(process->processId()), signal);
        const auto json = user.Finish(*process, kInterrupted).Json();
        EXPECT_EQ(json["ok"_q], false);
        const auto what = json["results"_q][0]["error"_q]["what"_q];
        EXPECT_EQ(what, "\"large.pdf\" was still under way"_q);
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

TEST_F(ProgramTest, EndsWhenItIsInterruptedWhileItHashesAFile)
{
    const auto grow = [this](const QString& file) { // takes no space, and hours to read
        user.Write(file, {});
        ASSERT_TRUE(QFile::resize(file, qint64{4} * 1024 * 1024 * 1024 * 1024));
    };
    Upload("copy.pdf");
    grow(user.Work("copy.pdf"_q));
    grow(user.Work("new.pdf"_q));
    grow(user.Path("other/there.pdf"_q));
    const std::pair<QByteArray, QString> cases[] = {
        {"list --offline", user.Work("copy.pdf"_q)},
        {"upload new.pdf --data other --cloud " + user.Cloud().toUtf8(), user.Work("new.pdf"_q)},
        {"list --cloud ../other", user.Path("other/there.pdf"_q)},
    };
    for (const auto& [words, file] : cases) {
        for (const int signal : {SIGINT, SIGTERM}) {
            const auto process = user.Start(Words(words));
            EXPECT_TRUE(QTest::qWaitFor([&, &read = file] { return ProgramUser::IsReading(*process, read); },
                                        kLongestRunInMs));
            kill(static_cast<pid_t>(process->processId()), signal);
            EXPECT_THAT(user.Finish(*process, kInterrupted).err, HasSubstr("Interrupted")) << words.data();
        }
    }
    EXPECT_EQ(user.FilesIn(user.Cloud()), Words("copy.pdf"));
    EXPECT_EQ(user.FilesIn(user.Path("other"_q)), Words("there.pdf"));
    user.Write(user.Work("copy.pdf"_q), PdfOf("copy.pdf"_q));
    EXPECT_EQ(user.Run("list --offline --json").Json()["documents"_q][0]["state"_q], "synchronized"_q);
}

TEST_F(ProgramTest, FailsWithAReasonWhenTheSystemMakesNoThreads)
{
    Upload("a.pdf");
    for (const char* words : {"list", "upload a.pdf", "download a.pdf --overwrite", "preview a.pdf"}) {
        const auto line = "ulimit -s 200000000000; exec \"$ORVANE\" --json "_q; // KiB, also of each thread
        const auto error = user.RunShell(line + QString::fromUtf8(words), kFailed).Json()["error"_q];
        EXPECT_EQ(error["code"_q], "out-of-resources"_q) << words;
    }
}

TEST_F(ProgramTest, WatchesUntilItIsInterrupted)
{
    user.Write(user.Cloud("a.pdf"_q), PdfOf("a.pdf"_q));
    const auto watch =
        user.Start({"-c"_q, "trap '' INT; exec \"$ORVANE\" watch --interval 1 --json"_q}, "sh"_q);
    const auto nextEvent = [&watch] {
        EXPECT_TRUE(QTest::qWaitFor([&] { return watch->canReadLine(); }, kLongestRunInMs));
        const auto event = QJsonDocument::fromJson(watch->readLine());
        return event["event"_q].toString() + " "_q + event["document"_q]["name"_q].toString();
    };
    EXPECT_EQ(nextEvent(), "added a.pdf"_q);
    const QString temporary = user.Path("home/.cache/orvane-cloud/temporary/"_q);
    user.RunShell("cd '"_q + temporary +
                  "'; mkdir -p run-old/x other; touch -d '61 seconds ago' *; mkdir run-new"_q);
    QStringList expected = user.FilesIn(temporary);
    EXPECT_TRUE(expected.removeOne("run-old"_q));
    EXPECT_THAT(user.Run("list", kConflict).err, HasSubstr("in use"));
    EXPECT_EQ(user.FilesIn(temporary), expected) << "only what is old and not in use goes";
    user.Write(user.Cloud("b.pdf"_q), PdfOf("b.pdf"_q));
    EXPECT_EQ(nextEvent(), "added b.pdf"_q);
    kill(static_cast<pid_t>(watch->processId()), SIGINT); // ignored from outside
    QFile::remove(user.Cloud("a.pdf"_q));
    EXPECT_EQ(nextEvent(), "removed a.pdf"_q);
    watch->terminate();
    user.Finish(*watch, kInterrupted);
}

TEST_F(ProgramTest, LosesNothingWhenItIsKilled)
{
    const QByteArray content = PdfOf({}) + QByteArray(4 * 1024 * 1024, '%');
    const QStringList files = Words("a.pdf b.pdf c.pdf d.pdf e.pdf f.pdf g.pdf h.pdf");
    for (const QString& file : files)
        user.Write(user.Work(file), content);
    QStringList saved;
    for (int round = 0; round < 12; ++round) {
        const auto process = user.Start(Words("upload") + files);
        QTest::qSleep(QRandomGenerator::global()->bounded(1, 200));
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
