#include "Command.h"

#include "../Console.h"
#include "../FailureText.h"
#include "../LastProblem.h"
#include "../Locations.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../Token.h"

#include <glog/logging.h>

#include <utility>

namespace Orvane::CommandLine {

using PDF::Cloud::CloudSession;
using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;

namespace {

constexpr int kLeastToldPauseInMs = 1000;

} // namespace

Command::Command(const Surroundings& surroundings)
    : m_surroundings(surroundings)
{
    FollowSession();
}

Command::~Command() = default;

void Command::FollowSession()
{
    const auto runOnce = [this](Continuation& continuation) {
        if (!continuation)
            return;
        StopWaiting();
        std::exchange(continuation, {})();
    };
    connect(&m_patience, &Patience::Tried, this, [this](int seconds) { ShowWaiting(seconds); });
    connect(&Session(), &CloudSession::OperationFailed, this, &Command::OnOperationFailed);
    connect(&Session(), &CloudSession::DocumentsRefreshed, this, [=] { runOnce(m_afterRefresh); });
    connect(&Session(), &CloudSession::Waiting, this,
            [this](const QString&, const Social::Failure& why, int milliseconds) {
                TellPause(why, milliseconds);
            });
    connect(&Session().Cloud(), &OrvaneCloudManager::AuthorizationCompleted, this,
            [=] { runOnce(m_afterSignIn); });
    connect(&Session().Cloud(), &OrvaneCloudManager::AuthorizationRequired, this, &Command::OnSignInLost);
}

void Command::Interrupt()
{
    if (m_isFinished)
        return;
    const Problem interruption = Interruption();
    GetConsole().Show(interruption);
    Finish(interruption.exitCode, interruption);
}

void Command::OnOperationFailed(const OperationFailure& failure)
{
    const bool isAwaitedSignIn = failure.operation == Operation::SignIn && m_afterSignIn;
    const bool isAwaitedRefresh = failure.operation == Operation::FileList && m_afterRefresh;
    if (!isAwaitedSignIn && !isAwaitedRefresh)
        return;
    StopWaiting();
    m_afterSignIn = {};
    m_afterRefresh = {};
    OnPreparationFailed(DescribeFailure(failure.operation, {}, failure.failure));
}

void Command::OnEnding(const Problem& /*problem*/) {}

void Command::OnPreparationFailed(const Problem& problem)
{
    Fail(problem);
}

void Command::OnSignInLost()
{
    const Social::Failure failure{FailureCode::SignInNeeded, QStringLiteral("the sign-in has ended")};
    Fail(DescribeFailure(Operation::SignIn, {}, failure));
}

// Several requests pause at once when the cloud is away: one line is enough.
void Command::TellPause(const Social::Failure& why, int milliseconds)
{
    if (milliseconds < kLeastToldPauseInMs || !m_endOfToldPause.hasExpired())
        return;
    m_endOfToldPause.setRemainingTime(milliseconds);
    GetConsole().Tell(DescribePause(why, milliseconds));
}

void Command::SignInThen(Continuation next)
{
    if (m_surroundings.token.isEmpty() && Session().IsTokenNeeded()) {
        OnPreparationFailed(TokenMissing());
        return;
    }
    m_afterSignIn = std::move(next);
    Await();
    Session().SignIn(m_surroundings.token);
}

void Command::RefreshThen(Continuation next)
{
    m_afterRefresh = std::move(next);
    Await();
    Session().Cloud().RetrieveFilesList();
}

void Command::Await()
{
    if (GetConsole().CanShowBar() && !m_isFinished)
        m_patience.Begin();
}

void Command::StopWaiting()
{
    m_patience.End();
    GetConsole().HideBar();
}

void Command::ShowWaiting(int seconds)
{
    GetConsole().ShowBar(QStringLiteral("Waiting for the cloud (%1 s)").arg(seconds));
}

void Command::Report(const Problem& problem)
{
    LOG(ERROR) << ToPrintable(problem.what + QStringLiteral(": ") + problem.why).toStdString();
    GetConsole().Show(problem);
    RememberProblem(GetLocations().sessionFolder,
                    {QDateTime::currentDateTimeUtc(), GetOptions().command, problem});
}

void Command::Finish(ExitCode exitCode, const std::optional<Problem>& problem)
{
    if (std::exchange(m_isFinished, true))
        return;
    StopWaiting();
    if (problem)
        OnEnding(*problem);
    QJsonObject document = Results();
    document.insert(QStringLiteral("ok"), exitCode == ExitCode::Done);
    document.insert(QStringLiteral("command"), GetOptions().command);
    if (problem)
        document.insert(QStringLiteral("error"), ToJson(*problem));
    GetConsole().Print(document);
    Q_EMIT Finished(exitCode);
}

void Command::Fail(const Problem& problem)
{
    if (m_isFinished)
        return;
    Report(problem);
    Finish(problem.exitCode, problem);
}

} // namespace Orvane::CommandLine
