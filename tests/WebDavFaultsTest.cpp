#include "support/ScriptedCloud.h"

#include <OrvaneCloudProtocol/transports/http/RetryPolicy.h>

#include <gtest/gtest.h>

namespace Orvane::Social {
namespace {

using Server = Tests::ScriptedServer;

// ---- When a fault strikes: at one request of one operation.

enum class Operation
{
    SignIn,
    List,
    Info,
    Quota,
    Version,
    Fetch,
    Store,
    Replace,
    Remove
};

struct Moment
{
    const char* name;
    Operation operation;
    QByteArray method;
    int number = 1; ///< which of the operation's requests with this method
};

const Moment kSignIn{"signing in", Operation::SignIn, "PROPFIND"};
const Moment kList{"listing", Operation::List, "PROPFIND"};
const Moment kInfo{"asking for one document", Operation::Info, "PROPFIND"};
const Moment kQuota{"asking for the quota", Operation::Quota, "PROPFIND"};
const Moment kVersion{"asking for a version", Operation::Version, "PROPFIND"};
const Moment kFetch{"fetching", Operation::Fetch, "GET"};
const Moment kResume{"resuming a download that broke", Operation::Fetch, "GET", 2};
const Moment kProveSignIn{"looking before sending", Operation::Store, "PROPFIND"};
const Moment kSend{"sending", Operation::Store, "PUT"};
const Moment kVerify{"looking at what was sent", Operation::Store, "PROPFIND", 2};
const Moment kNote{"storing the checksum", Operation::Store, "PROPPATCH"};
const Moment kName{"giving a new document its name", Operation::Store, "MOVE"};
const Moment kConfirm{"looking at the new document", Operation::Store, "PROPFIND", 3};
const Moment kLookToReplace{"looking at what is to be replaced", Operation::Replace, "PROPFIND"};
const Moment kSendReplacement{"sending a replacement", Operation::Replace, "PUT"};
const Moment kReplace{"replacing", Operation::Replace, "MOVE"};
const Moment kLookToRemove{"looking at what is to be removed", Operation::Remove, "PROPFIND"};
const Moment kRemove{"removing", Operation::Remove, "DELETE"};

using Moments = std::vector<const Moment*>;

const Moments kQuestions = {&kSignIn,      &kList,   &kInfo,    &kQuota,         &kVersion,
                            &kProveSignIn, &kVerify, &kConfirm, &kLookToReplace, &kLookToRemove};
const Moments kDownloads = {&kFetch, &kResume};
const Moments kChanges = {&kSend, &kNote, &kName, &kSendReplacement, &kReplace, &kRemove};

// ---- What is to come of it: a failure, or success.

using Outcome = std::optional<FailureCode>;
const Outcome kSuccess = std::nullopt;

/// Moments that are not mentioned are not tried: the fault cannot strike there, or has no right outcome.
using Outcomes = std::map<const Moment*, Outcome>;

Outcomes With(Outcomes outcomes, const Moments& moments, const Outcome& outcome)
{
    for (const auto* moment : moments)
        outcomes[moment] = outcome;
    return outcomes;
}

Outcomes Without(Outcomes outcomes, const Moments& moments)
{
    for (const auto* moment : moments)
        outcomes.erase(moment);
    return outcomes;
}

Outcomes OfQuestions(const Outcome& outcome)
{
    return With({}, kQuestions, outcome);
}

Outcomes Everywhere(const Outcome& outcome)
{
    return With(With(OfQuestions(outcome), kDownloads, outcome), kChanges, outcome);
}

/// The server does nothing of what it is asked. A document is worth more than the note of its checksum.
Outcomes NothingIsDone(FailureCode failure)
{
    return With(Everywhere(failure), {&kNote}, kSuccess);
}

/// The server does what it is asked, and the client does not hear of it: it looks what has come of it.
Outcomes AnswerIsLost(FailureCode failure)
{
    return With(Everywhere(failure), kChanges, kSuccess);
}

struct FaultCase
{
    std::string name;
    Server::Fault fault;
    Outcomes outcomes;    ///< while the fault lasts
    bool isFinal = false; ///< the failure is so clear that nothing is asked again
};

void PrintTo(const FaultCase& one, std::ostream* stream)
{
    *stream << one.name;
}

/// By default the fault may pass: when it strikes just once, the operation may succeed all the same, and must
/// if the cloud was only away or too busy.
bool MustPass(const Outcome& outcome)
{
    return outcome == FailureCode::Network || outcome == FailureCode::Unavailable;
}

// ---- The faults.

/// What lies in the cloud, and what is uploaded, which is more than the sockets between hold.
const QByteArray kOldBytes(40'000, 'x'), kNewBytes(3'000'000, 'n');

constexpr bool kIsRead = true, kIsDone = true;
constexpr int kWhole = 1 << 30;

/// The answer, without doing anything.
Server::Fault Says(const QByteArray& status, const QByteArray& body = {})
{
    return {{}, "HTTP/1.1 " + status + "\r\nContent-Length: @\r\n\r\n" + body, !kIsDone};
}

/// Does what it is asked, and writes something else into its answer.
Server::Fault Writes(const QByteArray& right, const QByteArray& wrong, int ending = Server::GoesOn)
{
    return {right, wrong, kIsDone, kIsRead, kWhole, ending};
}

std::vector<FaultCase> Refusals()
{
    using Code = FailureCode;
    const QByteArray page = "<html/>";
    std::vector<FaultCase> cases = {
        {"403", Says("403"), With(NothingIsDone(Code::Refused), {&kSignIn}, Code::SignInNeeded)},
        {"404", Says("404"),
         Without(With(NothingIsDone(Code::NotFound), {&kVerify}, Code::Protocol),
                 {&kConfirm, &kLookToRemove, &kRemove})},
        {"405", Says("405"), With(NothingIsDone(Code::Refused), {&kSignIn}, Code::Protocol)},
        {"412", Says("412"), Without(NothingIsDone(Code::Conflict), {&kName})},
        {"200 with a page", Says("200", page),
         Without(With(NothingIsDone(Code::Protocol), {&kName, &kReplace}, Code::Conflict), {&kRemove})},
        {"503 for an hour", Says("503\r\nRetry-After: 3600"), NothingIsDone(Code::Unavailable), true},
        {"302 to nowhere", Says("302\r\nLocation: #"), NothingIsDone(Code::Protocol)},
        {"307 to another port", Says("307\r\nLocation: http://127.0.0.1:9/"), NothingIsDone(Code::Protocol)},
        {"308 to another host", Says("308\r\nLocation: //x/"), NothingIsDone(Code::Protocol)},
    };
    const std::pair<const char*, Code> statuses[] = {
        {"207", Code::Protocol},    {"400", Code::Protocol},    {"401", Code::SignInNeeded},
        {"409", Code::Conflict},    {"413", Code::Refused},     {"416", Code::Protocol},
        {"423", Code::Refused},     {"429", Code::Unavailable}, {"500", Code::Unavailable},
        {"502", Code::Unavailable}, {"503", Code::Unavailable}, {"507", Code::QuotaExceeded},
    };
    for (const auto& [status, code] : statuses)
        cases.push_back({status, Says(status), NothingIsDone(code)});
    return cases;
}

std::vector<FaultCase> WrongAnswers()
{
    using Code = FailureCode;
    const auto nonsense =
        With(NothingIsDone(Code::Protocol), {&kName, &kReplace, &kRemove}, kSuccess); // it was done
    const QByteArray empty = "<multistatus xmlns=\"DAV:\"/>";
    const Outcomes resumes = {{&kResume, kSuccess}};
    return {
        {"no HTTP", Writes("HTTP/1.1", "SSH-2.0"), nonsense},
        {"a negative length", Writes("Length: ", "Length: -"), nonsense},
        {"two lengths", Writes("Length: @", "Length: @\r\nContent-Length: 9@"), nonsense},
        {"no length", Writes("Content-Length", "X-Length", Server::Closes), Everywhere(kSuccess)},
        {"a length too large", Writes("Length: ", "Length: 9", Server::Closes),
         With(AnswerIsLost(Code::Network), {&kFetch}, Code::Protocol)},
        {"a length too small", Writes("Length: ", "Length: 1\r\nX: "),
         With(AnswerIsLost(Code::Protocol), {&kResume}, Code::Network)},
        {"malformed XML", Writes("</href>", "</herf>", Server::Closes), OfQuestions(Code::Protocol)},
        {"another collection", Writes("/dav/", "/vad/"), OfQuestions(Code::Protocol)},
        {"nothing listed", Says("207", empty), OfQuestions(Code::Protocol)},
        {"trouble behind a listing", Says("207", empty + "Internal Server Error"),
         OfQuestions(Code::Unavailable)},
        {"a byte is missing", Writes(">3000000<", ">2999999<"), {{&kVerify, Code::Protocol}}},
        {"another part", Writes("bytes ", "bytes 9"), resumes},
        {"a part of another version", Writes("ETag: \"", "ETag: \"9"), resumes},
        {"all again", Says("200\r\nETag: \"40000\"", kOldBytes), resumes},
        {"a version that is not listed", Says("200\r\nETag: \"3000000\"", kNewBytes),
         With({}, kDownloads, Code::Protocol)},
    };
}

/// How far the server gets, and what becomes of the connection then.
std::vector<FaultCase> BrokenConnections()
{
    using Code = FailureCode;
    struct Place
    {
        const char* name;
        bool isDone, isRead;
        int kept; ///< bytes of the answer; negative: that are not
    };
    const Place places[] = {{"with the request unread", !kIsDone, !kIsRead, 0},
                            {"with the request read", !kIsDone, kIsRead, 0},
                            {"with the request done", kIsDone, kIsRead, 0},
                            {"in the status line", kIsDone, kIsRead, 10},
                            {"in the head", kIsDone, kIsRead, 25},
                            {"in the body", kIsDone, kIsRead, -100}};
    const std::tuple<const char*, int, Code> endings[] = {{"closed", Server::Closes, Code::Network},
                                                          {"reset", Server::Resets, Code::Network},
                                                          {"stalled", Server::Waits, Code::TimedOut},
                                                          {"dripping", Server::Drips, Code::TimedOut},
                                                          {"canceled", Server::Cancels, Code::Canceled}};
    std::vector<FaultCase> cases;
    for (const auto& place : places) {
        for (const auto& [name, ending, code] : endings) {
            if (ending == Server::Drips && place.kept >= 0 && place.kept <= 10)
                continue; // it would be no HTTP
            const auto lost = place.isDone ? AnswerIsLost(code) : NothingIsDone(code);
            cases.push_back({std::string(name) + ' ' + place.name,
                             {{}, {}, place.isDone, place.isRead, place.kept, ending},
                             ending == Server::Cancels ? Everywhere(code) : lost});
        }
    }
    return cases;
}

// ---- One operation that meets one fault.

struct Trial : Tests::ScriptedCloud
{
    explicit Trial(const Moment& moment, bool isStall)
        : where(moment)
    {
        for (const char* name : {"../x.pdf", "..%2fx.pdf", "x%2Fx.pdf", "x%00.pdf", "old.pdf"})
            server.documents[name] = kOldBytes;
        Testing::Write(target, "precious");
        Testing::Write(local.Path() / "new.pdf", kNewBytes.toStdString());
        server.onCancel = [this] { job.Cancel(); };
        // Too little patience makes a busy machine look like one that stalls.
        const NetworkLimits::Milliseconds patience(isStall ? 800 : 20'000);
        limits.connect = limits.stall = limits.answer = patience;
        OpenKnowing({true, true, false, true, true, true, true, true});
    }

    void Run()
    {
        switch (where.operation) {
        case Operation::SignIn:
            return cloud->SignIn(QStringLiteral("secret"), job);
        case Operation::List:
            EXPECT_EQ(cloud->List(job).size(), 1) << "what has no name of a direct member is none";
            return;
        case Operation::Info:
            EXPECT_EQ(cloud->Info(kOld, job).size, kOldBytes.size());
            return;
        case Operation::Quota:
            cloud->Quota(job);
            return;
        case Operation::Version:
            EXPECT_EQ(cloud->VersionTag(kOld, job), cloud->VersionTag(kOld, job));
            return;
        case Operation::Fetch:
            cloud->Fetch({kOld, target, 0}, job);
            return;
        case Operation::Store:
            cloud->Store({local.Path() / "new.pdf", {}, {}}, job);
            return;
        case Operation::Replace:
            cloud->Store({local.Path() / "new.pdf", kOld, {}}, job);
            return;
        case Operation::Remove:
            return cloud->Remove(kOld, job);
        }
    }

    /// All that is in the cloud, and what is here.
    Server::Texts State()
    {
        const std::lock_guard lock(server.mutex);
        auto all = server.documents;
        all["old.pdf"]; // is nothing when it is gone
        all["target"] = *Tests::ReadFile(target);
        all["local"].setNum(int(Tests::NamesIn(local.Path()).size()));
        return all;
    }

    /// @param state  before the operation
    Server::Texts StateWhenDone(Server::Texts state) const
    {
        if (where.operation == Operation::Fetch)
            state["target"] = kOldBytes;
        if (where.operation == Operation::Store)
            state["new.pdf"] = kNewBytes;
        if (where.operation == Operation::Replace)
            state["old.pdf"] = kNewBytes;
        if (where.operation == Operation::Remove)
            state["old.pdf"] = "";
        return state;
    }

    void SetFaults(Server::Fault fault, bool isOnce)
    {
        const std::lock_guard lock(server.mutex);
        server.faults.clear();
        if (&where == &kResume)
            SetFault({{}, {}, kIsDone, kIsRead, -100, Server::Closes}, "GET");
        SetFault(std::move(fault), where.method, isOnce ? 1 : 1'000'000, where.number);
    }

    /// What cannot be looked at is not deleted before the next sign-in.
    void SignInLater()
    {
        {
            const std::lock_guard lock(server.mutex);
            server.faults.clear();
        }
        Job sweeping;
        cloud.reset();
        Connect();
        cloud->SignIn(QStringLiteral("secret"), sweeping);
    }

    const Moment& where;
    const std::filesystem::path target = local.Path() / "target.pdf";
};

std::string Text(const Outcome& outcome)
{
    return outcome ? "failure " + std::to_string(static_cast<int>(*outcome)) : "success";
}

void Check(const FaultCase& one, const Moment& moment, const Outcome& expected, bool isOnce)
{
    const auto what = std::string(moment.name) + (isOnce ? ", once" : "");
    Trial trial(moment, expected == FailureCode::TimedOut);
    const auto before = trial.State();
    const auto done = trial.StateWhenDone(before);
    trial.SetFaults(one.fault, isOnce);
    Outcome outcome;
    bool isLeftBehind = false;
    try {
        trial.Run();
    } catch (const CloudError& error) {
        outcome = error.GetFailure().code;
        isLeftBehind = dynamic_cast<const LeftBehindError*>(&error) != nullptr;
    }
    if (moment.method == "PROPFIND" && !isOnce)
        trial.SignInLater();
    const auto now = trial.State();
    const bool mayPass = (isOnce && !one.isFinal) || expected == FailureCode::Canceled;
    const auto wanted = isOnce && !one.isFinal && MustPass(expected) ? kSuccess : expected;
    EXPECT_TRUE(outcome == wanted || (mayPass && outcome == kSuccess))
        << what << ": " << Text(outcome) << " instead of " << Text(wanted);
    EXPECT_TRUE(now == done || (now == before && outcome != kSuccess))
        << what << ": neither done nor undone: " << now.keys().join(' ').data();
    EXPECT_EQ(isLeftBehind, moment.operation == Operation::Store && now == done && outcome != kSuccess)
        << what;
}

// ---- Whatever goes wrong: an operation is done, or has failed with the right reason and left nothing.

class WebDavFaults : public testing::TestWithParam<FaultCase>
{};

TEST_P(WebDavFaults, EndWell)
{
    std::vector<std::future<void>> checks; // each is waited for at its end
    for (const auto& [moment, outcome] : GetParam().outcomes)
        for (const bool isOnce : {true, false})
            checks.push_back(
                std::async(std::launch::async, Check, GetParam(), std::cref(*moment), outcome, isOnce));
}

std::string NameOf(const testing::TestParamInfo<FaultCase>& info)
{
    auto name = info.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Refusals, WebDavFaults, testing::ValuesIn(Refusals()), NameOf);
INSTANTIATE_TEST_SUITE_P(WrongAnswers, WebDavFaults, testing::ValuesIn(WrongAnswers()), NameOf);
INSTANTIATE_TEST_SUITE_P(BrokenConnections, WebDavFaults, testing::ValuesIn(BrokenConnections()), NameOf);

TEST(WebDavListing, ThatIsCutAnywhereIsNone)
{
    for (int kept = 1; kept < 1'000; kept += 13) {
        const FaultCase cut{"", {{}, {}, kIsDone, kIsRead, kept, Server::Closes}, {}};
        for (const bool isOnce : {true, false})
            Check(cut, kList, FailureCode::Network, isOnce);
    }
}

TEST(RetryDelay, GrowsObeysTheServerAndEnds)
{
    using std::chrono::seconds;
    const NetworkLimits limits; // half a second first, three times
    const std::tuple<int, std::optional<seconds>, double, int> cases[] = {
        {0, {}, 0.0, 250}, {0, {}, 1.0, 750},          {1, {}, 0.5, 1000},        {2, {}, 0.5, 2000},
        {3, {}, 0.5, -1},  {0, seconds(7), 0.5, 7000}, {0, seconds(0), 0.5, 500}, {0, seconds(61), 0.5, -1}};
    for (const auto& [repetitions, retryAfter, jitter, expected] : cases) {
        const auto delay = RetryDelay(limits, limits.retries, repetitions, retryAfter, jitter);
        EXPECT_EQ(delay ? delay->count() : -1, expected) << repetitions;
    }
}

} // namespace
} // namespace Orvane::Social
