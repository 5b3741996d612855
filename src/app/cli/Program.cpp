#include "Program.h"

#include "CaFile.h"
#include "Completion.h"
#include "Console.h"
#include "Interrupt.h"
#include "Locations.h"
#include "Logging.h"
#include "Options.h"
#include "PrivateTemporaryFolder.h"
#include "ProcessSetup.h"
#include "Token.h"
#include "WebAddress.h"
#include "commands/Commands.h"

#include <OrvaneCloudHost/StorageError.h>
#include <support/PathText.h>
#include <support/Wiping.h>

#include <QGuiApplication>
#include <QTimer>

#include <algorithm>
#include <cstring>

namespace Orvane::CommandLine {

using PDF::Cloud::CloudSession;
using PDF::Cloud::StorageError;
using Support::ToText;

namespace {

ExitCode Fail(Console& console, const QString& command, const Problem& problem)
{
    console.Show(problem);
    console.Print(QJsonObject{{QStringLiteral("ok"), false},
                              {QStringLiteral("command"), command},
                              {QStringLiteral("error"), ToJson(problem)}});
    return problem.exitCode;
}

Problem FolderProblem(const std::filesystem::filesystem_error& error)
{
    return {ExitCode::LocalDisk, QStringLiteral("local-disk"),
            QStringLiteral("The data folder cannot be used"), QString::fromLocal8Bit(error.what()),
            QStringLiteral("Check that you may write there, or choose another with --data FOLDER.")};
}

Problem StorageProblem(const StorageError& error)
{
    const QString what = QStringLiteral("The list of documents cannot be opened");
    const QString why = QString::fromStdString(error.what());
    switch (error.GetReason()) {
    case StorageError::Reason::Locked:
        return {
            ExitCode::Conflict, QStringLiteral("in-use"), what, why,
            QStringLiteral("Wait until the other program has ended, or choose another folder with --data.")};
    case StorageError::Reason::NewerVersion:
        return {ExitCode::Failed, QStringLiteral("newer-version"), what, why,
                QStringLiteral("Use the newer version of orvane-cloud, or another folder with --data.")};
    case StorageError::Reason::NotWritable:
    case StorageError::Reason::DiskFull:
    case StorageError::Reason::Unusable:
        break;
    }
    return {ExitCode::LocalDisk, QStringLiteral("local-disk"), what, why,
            QStringLiteral("Make it usable, or choose another folder with --data.")};
}

/// @param sentence  with a full stop, which the console adds by itself
Problem NotSaved(const QString& sentence)
{
    return {ExitCode::LocalDisk, QStringLiteral("local-disk"),
            QStringLiteral("The list of documents could not be saved"), sentence.chopped(1),
            QStringLiteral("The list is as it was before. Make room, then run: orvane-cloud list")};
}

CloudSession::Setup SetupFor(const Options& options, const Locations& locations)
{
    CloudSession::Setup setup;
    setup.cloudAddress = locations.cloudAddress;
    setup.dataFolder = ToText(locations.sessionFolder);
    setup.authInfo.userName = options.user;
    setup.authInfo.caFile = options.caFile;
    setup.authInfo.isInsecureHttpAllowed = options.isInsecureHttpAllowed;
    setup.authInfo.isEmptiedFolderAccepted = options.isEmptiedFolderAccepted;
    setup.authInfo.cacheFolder = ToText(locations.cacheFolder);
    setup.isInterrupted = &IsInterruptRequested;
    return setup;
}

ExitCode RunCommand(const Surroundings& surroundings)
{
    const auto command = MakeCommand(surroundings);
    QObject::connect(
        command.get(), &Command::Finished, command.get(),
        [](ExitCode exitCode) { QCoreApplication::exit(static_cast<int>(exitCode)); }, Qt::QueuedConnection);
    const Interrupt interrupt;
    QObject::connect(&interrupt, &Interrupt::Requested, command.get(), &Command::Interrupt);
    // Interrupted while the list was opened, it knows nothing of the local copies that were not hashed.
    QTimer::singleShot(0, command.get(), IsInterruptRequested() ? &Command::Interrupt : &Command::Start);
    return static_cast<ExitCode>(QCoreApplication::exec());
}

ExitCode RunSession(const Options& options, const Locations& locations, Console& console,
                    const QString& token)
{
    const Logging logging(locations.dataFolder,
                          options.isVerbose ? Logging::Echo::ToStderr : Logging::Echo::None);
    const PrivateTemporaryFolder temporaryFolder(locations.temporaryFolder);
    char name[] = "orvane-cloud";
    char* arguments[] = {name, nullptr};
    int argumentCount = 1;
    const QGuiApplication application(argumentCount, arguments);

    CloudSession session(SetupFor(options, locations));
    if (const QString notice = session.StorageNotice(); !notice.isEmpty())
        console.Warn(notice);
    const ExitCode exitCode = RunCommand({options, locations, console, session, token});
    const QString notSaved = session.Close();
    if (notSaved.isEmpty())
        return exitCode;
    console.Show(NotSaved(notSaved));
    return exitCode == ExitCode::Done ? ExitCode::LocalDisk : exitCode;
}

/// What can be told to be wrong before anything is asked or made.
std::optional<Problem> CheckOptions(const Options& options)
{
    const auto problem = CheckAddress(options.cloud);
    return problem ? problem : CheckCaFile(options.caFile);
}

ExitCode RunWithCloud(const Options& options, Console& console)
{
    CatchInterrupts();
    if (const auto problem = CheckOptions(options))
        return Fail(console, options.command, *problem);
    if (IsTokenGiven(options.tokenFile))
        KeepMemoryPrivate();
    auto taken =
        TakeToken(options.tokenFile, options.user.isEmpty() ? TokenKind::Bearer : TokenKind::Password);
    if (const auto* problem = std::get_if<Problem>(&taken))
        return Fail(console, options.command, *problem);
    auto& token = std::get<QString>(taken);
    const Support::WipedAtEnd wiped(token);
    if (const QString warning = TokenFileWarning(options.tokenFile); !warning.isEmpty())
        console.Warn(warning);
    try {
        const Locations locations = FindLocations(options);
        MakeFolders(locations);
        return RunSession(options, locations, console, token);
    } catch (const std::filesystem::filesystem_error& error) {
        return Fail(console, options.command, FolderProblem(error));
    } catch (const StorageError& error) {
        return Fail(console, options.command, StorageProblem(error));
    }
}

ExitCode PrintCompletion(const Parser& parser, const QString& shell, Console& console)
{
    const QString script = CompletionScript(parser.Definition(), shell);
    console.Print(script);
    console.Print(QJsonObject{{QStringLiteral("ok"), true},
                              {QStringLiteral("command"), QStringLiteral("completion")},
                              {QStringLiteral("shell"), shell},
                              {QStringLiteral("script"), script}});
    return ExitCode::Done;
}

ExitCode RunOptions(const Parser& parser, const Options& options)
{
    Console console(options.isJson ? Console::Form::Json : Console::Form::Text,
                    options.isQuiet ? Console::Volume::Quiet : Console::Volume::Normal);
    const bool isCompletion = options.command == QStringLiteral("completion");
    const ExitCode exitCode =
        isCompletion ? PrintCompletion(parser, options.shell, console) : RunWithCloud(options, console);
    if (console.IsOutputComplete())
        return exitCode;
    console.Show({ExitCode::LocalDisk, QStringLiteral("output"), QStringLiteral("The output is incomplete"),
                  QStringLiteral("stdout does not take any more"),
                  QStringLiteral("Check where it goes: a full disk, or a program that has ended.")});
    return exitCode == ExitCode::Done ? ExitCode::LocalDisk : exitCode;
}

/// A command line that is not understood cannot say in which form it wants to hear that.
Console::Form FormAskedFor(int argc, char** argv)
{
    const bool isJson = std::any_of(
        argv, argv + argc, [](const char* argument) { return std::strcmp(argument, "--json") == 0; });
    return isJson ? Console::Form::Json : Console::Form::Text;
}

} // namespace

ExitCode RunProgram(int argc, char** argv)
{
    SetUpProcess();
    Parser parser;
    const auto parsed = parser.Parse(argc, argv);
    if (const auto* options = std::get_if<Options>(&parsed))
        return RunOptions(parser, *options);

    Console console(FormAskedFor(argc, argv), Console::Volume::Normal);
    if (const auto* problem = std::get_if<Problem>(&parsed))
        return Fail(console, {}, *problem);
    Console(Console::Form::Text, Console::Volume::Normal).Print(std::get<Information>(parsed).text.trimmed());
    return ExitCode::Done;
}

} // namespace Orvane::CommandLine
