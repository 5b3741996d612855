#pragma once

#include "../ExitCode.h"
#include "../Patience.h"
#include "../Problem.h"

#include <OrvaneCloudHost/CloudSession.h>

#include <QDeadlineTimer>
#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

namespace Orvane::CommandLine {

class Console;
struct Locations;
struct Options;

/// What a command works with. Everything outlives it.
struct Surroundings
{
    const Options& options;
    const Locations& locations;
    Console& console;
    PDF::Cloud::CloudSession& session;
    QString token; ///< empty when none was given
};

/// One run of one command: started from the event loop, ends itself with one Finished.
class Command : public QObject
{
    Q_OBJECT

public:
    explicit Command(const Surroundings& surroundings);
    ~Command() override;

    virtual void Start() = 0;

    /// Ends the command now, because somebody pressed Ctrl-C. What still runs is left to the end of the
    /// session, which cancels it without touching anything that stood there before.
    void Interrupt();

Q_SIGNALS:
    void Finished(Orvane::CommandLine::ExitCode exitCode);

protected:
    using OperationFailure = PDF::Cloud::CloudSession::OperationFailure;
    using Continuation = std::function<void()>;

    /// What the command has to say in JSON form, beside "ok", "command" and "error".
    [[nodiscard]] virtual QJsonObject Results() const { return {}; }

    /// The command ends because of @p problem. To be overridden to account for what has not been done; called
    /// once, before Results.
    virtual void OnEnding(const Problem& problem);

    /// Any failure that the session tells of. Those of a sign-in or a refresh that the command waits for end
    /// the command, others pass.
    virtual void OnOperationFailed(const OperationFailure& failure);

    /// The sign-in, or the refresh, that the command waits for has failed: ends the command.
    virtual void OnPreparationFailed(const Problem& problem);

    void SignInThen(Continuation next);

    /// Needs to be signed in. Previews may still be on the way when @p next runs.
    void RefreshThen(Continuation next);

    /// The command waits for the cloud from now on, or something has come from there. While nothing comes, a
    /// person at a terminal is told so; sign-ins and refreshes see to that themselves.
    void Await();
    void StopWaiting();

    /// Nothing has come for a while. Shows it on the console's bar.
    virtual void ShowWaiting(int seconds);

    /// Shows the problem, writes it to the log, and remembers it for `status`.
    void Report(const Problem& problem);

    /// Ends the command; the problem, if any, has been reported.
    void Finish(ExitCode exitCode, const std::optional<Problem>& problem = std::nullopt);

    /// Reports the problem and ends the command.
    void Fail(const Problem& problem);

    [[nodiscard]] const Options& GetOptions() const { return m_surroundings.options; }
    [[nodiscard]] const Locations& GetLocations() const { return m_surroundings.locations; }
    [[nodiscard]] Console& GetConsole() const { return m_surroundings.console; }
    [[nodiscard]] PDF::Cloud::CloudSession& Session() const { return m_surroundings.session; }

private:
    void FollowSession();
    void OnSignInLost();
    void TellPause(const Social::Failure& why, int milliseconds);

    const Surroundings m_surroundings;
    Continuation m_afterSignIn;
    Continuation m_afterRefresh;
    Patience m_patience;
    QDeadlineTimer m_endOfToldPause;
    bool m_isFinished = false;
};

} // namespace Orvane::CommandLine

Q_DECLARE_METATYPE(Orvane::CommandLine::ExitCode)
