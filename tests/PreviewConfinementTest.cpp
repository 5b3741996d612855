#include "support/HelperStandIn.h"
#include "support/HostileDocuments.h"
#include "support/LocalFiles.h"

#include <OrvaneCloudProtocol/previews/ConfinementChoice.h>
#include <OrvaneCloudProtocol/previews/LimitedProcess.h>
#include <OrvaneCloudProtocol/previews/PageRenderer.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QProcess>
#include <QTest>

#include <gmock/gmock.h>

#include <future>
#include <thread>

#include <fcntl.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Orvane::Tests {
namespace {

using namespace Orvane::Social;
using namespace Orvane::Testing;
using namespace std::chrono_literals;
using testing::HasSubstr;
using Kind = PreviewConfinement;
namespace fs = std::filesystem;

constexpr auto kEver = 1000s;
constexpr uid_t kNobody = 65534;

ProcessLimits LimitsOf(Kind kind, std::chrono::milliseconds wallTime = kEver)
{
    return {wallTime, 100s, quint64(1) << 30, 1 << 20, kind};
}

/// Runs a function on a thread of its own, which alone is what @p become has made of it.
void OnThreadOfItsOwn(const std::function<void()>& become, const std::function<void()>& function)
{
    auto done = std::async(std::launch::async, [&] {
        become();
        function();
    });
    done.wait();
    ::prctl(PR_SET_DUMPABLE, 1); // which ends with a change of user
    done.get();
}

void BecomeNobody()
{
    ASSERT_EQ(::syscall(SYS_setresuid, kNobody, kNobody, kNobody), 0);
}

/// Waits for it, in a thread without an event loop.
bool IsAtLast(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + 60s;
    while (!condition() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(5ms);
    return condition();
}

/// Whether the system allows a kind, found out in another way than by the code under test.
bool IsPossible(Kind kind)
{
    if (kind == Kind::Bubblewrap) {
        const bool isRoot = ::syscall(SYS_geteuid) == 0;
        const auto rights = isRoot ? "--cap-drop ALL" : "--unshare-user";
        const auto line = std::string("exec bwrap --unshare-pid --unshare-net --ro-bind / / --proc /proc ") +
                          rights + " true 2>&-";
        return std::system(line.c_str()) == 0; // NOLINT: a fixed line
    }
    if (kind == Kind::Limits)
        return true;
    constexpr int kAskVersion = 1;
    const bool hasFilters = ::prctl(PR_GET_SECCOMP) >= 0;
    return kind == Kind::Seccomp
               ? hasFilters
               : hasFilters && ::syscall(SYS_landlock_create_ruleset, nullptr, 0, kAskVersion) > 0;
}

std::string NameOf(const Kind& kind)
{
    return ToText(kind).toStdString();
}

/// A kind of confinement, used by whoever runs the tests and, if that is root, by an ordinary user.
class ConfinementTest : public testing::TestWithParam<std::tuple<Kind, bool>>
{
protected:
    /// Runs it as the user. Without the kind in this system there is nothing to test.
    void Test(const std::function<void()>& function)
    {
        if (m_isOrdinary && ::geteuid() != 0)
            GTEST_SKIP() << "it needs root to become another user";
        bool isPossible = false;
        const auto become = m_isOrdinary ? BecomeNobody : [] {};
        OnThreadOfItsOwn(become, [&] {
            isPossible = IsPossible(m_kind);
            if (isPossible)
                function();
        });
        if (!isPossible)
            GTEST_SKIP() << NameOf(m_kind) << " is not to be had here";
    }

    [[nodiscard]] ProcessResult Run(const fs::path& program, const QStringList& arguments = {}) const
    {
        const Job job;
        return RunLimited(QString::fromStdString(program.string()), arguments, m_input, LimitsOf(m_kind),
                          job);
    }

    /// A folder and a file in it that anybody may change.
    fs::path NewFolder(const char* name) const
    {
        const auto folder = m_folder.Path() / name;
        fs::create_directory(folder);
        fs::permissions(folder, fs::perms::all);
        return folder;
    }

    const Kind m_kind = std::get<0>(GetParam());
    const bool m_isOrdinary = std::get<1>(GetParam());
    const TemporaryFolder m_folder;
    const fs::path m_input = m_folder.Path() / "input";
};

/// What a hostile program achieves under each kind. Those of the weaker kinds show that it can.
std::set<std::string> AchievedUnder(Kind kind, bool isRoot)
{
    std::set<std::string> achieved{"PATH=/usr/bin:/bin", "HOME=/nonexistent", "LANG=C"};
    if (kind <= Kind::Seccomp)
        achieved.insert({"reads a file", "lists a folder", "looks at processes"});
    if (kind == Kind::Limits)
        achieved.insert({"connects", "sends", "connects to a program", "talks to the kernel", "makes a pair",
                         "signals", "outlives", "makes a file", "makes a link", "makes a folder",
                         "opens for writing", "changes a mode", "changes a time", "truncates",
                         "truncates while opening", "renames"});
    if (kind == Kind::Limits && isRoot)
        achieved.insert({"forks", "clones"}); // the number of root's processes has no limit
    return achieved;
}

TEST_P(ConfinementTest, KeepsAHostileHelperFromEverythingElse)
{
    qputenv("ORVANE_TOKEN", "secret");
    Write(m_input, "input");
    const auto home = NewFolder("home");
    const auto secret = home / "secret";
    const auto helper = NewFolder("helper") / "pdftoppm";
    fs::copy_file(HOSTILE_HELPER, helper);
    Test([&] {
        Write(secret, "secret");
        const int low = ::open(secret.c_str(), O_RDWR);
        const int high = ::fcntl(low, F_DUPFD, 700);
        const auto result = Run(helper, {QString::fromStdString(secret), QString::fromStdString(home),
                                         QString::number(::gettid())});
        ::close(low);
        ::close(high);
        EXPECT_TRUE(result.hasSucceeded) << result.errorOutput.toStdString();
        std::set<std::string> achieved;
        for (const auto& line : result.output.trimmed().split('\n'))
            achieved.insert(line.toStdString());
        EXPECT_EQ(achieved, AchievedUnder(m_kind, ::syscall(SYS_geteuid) == 0));
        EXPECT_EQ(Read(secret), m_kind == Kind::Limits ? "" : "secret");
        EXPECT_FALSE(fs::exists(home / "written") && fs::file_size(home / "written") > 0);
    });
}

TEST_P(ConfinementTest, HoldsTheHelperOnAShortLeash)
{
    const ProgramStandIn helper(QStringLiteral("pdftoppm"),
                                "ulimit -Hv; ulimit -Ht; ulimit -Hc; ulimit -Hf; pwd");
    Write(m_input, "input");
    Test([&] { EXPECT_EQ(Run(helper.Beside("").toStdString()).output, "1048576\n100\n0\n0\n/\n"); });
}

TEST_P(ConfinementTest, RendersAPageWithTheSystemsFonts)
{
    const QByteArray form = "/Subtype/Form/BBox[0 0 595 842]/Resources<</Font<</T <</Type/Font/Subtype/Type1"
                            "/BaseFont/Helvetica>>>>>>";
    const QByteArray text = Documents::Stream(form, "BT /T 150 Tf 50 500 Td (Page) Tj ET");
    Write(m_input, Documents::A4Page({}, Documents::Stream({}, "/F Do"), text).toStdString());
    QProcess plain;
    plain.setStandardInputFile(QString::fromStdString(m_input));
    plain.start(QStringLiteral("pdftoppm"),
                {QStringLiteral("-cropbox"), QStringLiteral("-singlefile"), QStringLiteral("-scale-to"),
                 QStringLiteral("300"), QStringLiteral("/dev/fd/0")});
    ASSERT_TRUE(plain.waitForFinished(-1));
    const auto expected = QImage::fromData(plain.readAllStandardOutput());
    Test([&] {
        const auto page = PageRenderer({kEver, 100s, quint64(1) << 30, m_kind}).Render(m_input, 300, Job());
        EXPECT_EQ(page, expected);
        EXPECT_GT(page.convertToFormat(QImage::Format_Mono).colorCount(), 1);
    });
}

TEST_P(ConfinementTest, OpensADocumentThatIsReadableForItsUserAlone)
{
    Write(m_input, "a line\n");
    fs::permissions(m_input, fs::perms::owner_read);
    // Root reads every file.
    ASSERT_TRUE(::geteuid() != 0 || ::chown(m_input.c_str(), m_isOrdinary ? kNobody : 12345, 0) == 0);
    const ProgramStandIn helper(QStringLiteral("pdftoppm"), "exec cat \"$1\"");
    Test([&] { EXPECT_EQ(Run(helper.Beside("").toStdString(), {InputPlaceholder()}).output, "a line\n"); });
}

TEST_P(ConfinementTest, TellsACrash)
{
    const ProgramStandIn helper(QStringLiteral("pdftoppm"), "ulimit -v 100; exec cat");
    Write(m_input, "input");
    Test([&] {
        try {
            (void)Run(helper.Beside("").toStdString());
            ADD_FAILURE() << "succeeded";
        } catch (const CloudError& error) {
            EXPECT_EQ(error.GetFailure().code, FailureCode::InvalidDocument);
        }
    });
}

TEST_P(ConfinementTest, KillsTheHelperWithTheApplication)
{
    const ProgramStandIn helper(QStringLiteral("pdftoppm"), kHang);
    Write(m_input, "input");
    Test([&] {
        const pid_t application = ::fork();
        if (application == 0) {
            (void)Run(helper.Beside("").toStdString());
            ::_exit(0);
        }
        EXPECT_TRUE(IsAtLast([&] { return helper.IsRunning(); }));
        ::kill(application, SIGKILL);
        ::waitpid(application, nullptr, 0);
        EXPECT_TRUE(IsAtLast([&] { return !helper.IsRunning(); }));
    });
}

INSTANTIATE_TEST_SUITE_P(Each, ConfinementTest,
                         testing::Combine(testing::Values(Kind::Limits, Kind::Seccomp, Kind::Landlock,
                                                          Kind::Bubblewrap),
                                          testing::Bool()),
                         [](const auto& of) {
                             const bool isOrdinary = std::get<1>(of.param);
                             return NameOf(std::get<0>(of.param)) + (isOrdinary ? "AsAnOrdinaryUser" : "");
                         });

using Refusal = std::pair<int, int>; ///< a system call, and how it fails

/// From now on this thread lives in a system that lacks these.
void Refuse(const std::vector<Refusal>& refusals)
{
    const scmp_filter_ctx filter = ::seccomp_init(SCMP_ACT_ALLOW);
    for (const auto& [call, error] : refusals)
        if (call == SCMP_SYS(prctl))
            ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(error), call, 1,
                               scmp_arg_cmp{0, SCMP_CMP_EQ, PR_SET_SECCOMP, 0});
        else
            ::seccomp_rule_add(filter, SCMP_ACT_ERRNO(error), call, 0);
    EXPECT_EQ(::seccomp_load(filter), 0);
    ::seccomp_release(filter);
}

const Refusal kNoMounts{SCMP_SYS(mount), EPERM};
const Refusal kNoLandlock{SCMP_SYS(landlock_create_ruleset), EOPNOTSUPP};
const Refusal kNoFilters{SCMP_SYS(prctl), EINVAL};

TEST(ConfinementChoice, IsTheStrongestThatTheSystemAllows)
{
    const std::tuple<const char*, std::vector<Refusal>, Kind> cases[] = {
        {"no namespaces", {kNoMounts}, Kind::Landlock},
        {"no Landlock", {kNoMounts, kNoLandlock}, Kind::Seccomp},
        {"no filters", {kNoFilters}, Kind::Limits}};
    for (const auto& [name, refusals, expected] : cases) {
        SCOPED_TRACE(name);
        if (!IsPossible(Kind::Seccomp) || !IsPossible(expected))
            GTEST_SKIP() << NameOf(expected) << " is not to be had here";
        OnThreadOfItsOwn([&, lacking = refusals] { Refuse(lacking); },
                         [&, kind = expected] { EXPECT_EQ(StrongestConfinement(Job(), kEver), kind); });
    }
    if (!IsPossible(Kind::Bubblewrap))
        GTEST_SKIP() << "bubblewrap is not to be had here";
    EXPECT_EQ(StrongestConfinement(Job(), kEver), Kind::Bubblewrap);
    EXPECT_EQ(UsedPreviewConfinement(), Kind::Bubblewrap);
    const ProgramStandIn broken(QStringLiteral("bwrap"), "exit 1");
    EXPECT_EQ(UsedPreviewConfinement(), Kind::Bubblewrap);
    EXPECT_EQ(broken.Runs(), 0);
}

TEST(ConfinementChoice, TakesNoBubblewrapThatDoesNotConfine)
{
    const char* const unconfined = "while [ \"$1\" != -- ]; do shift; done; shift; "
                                   "echo '{ \"child-pid\": 1 } { \"exit-code\": 0 }' >&4; exec \"$@\"";
    for (const QByteArray script : {"exit 1", "exit 0", unconfined, kHang}) {
        SCOPED_TRACE(script.constData());
        const ProgramStandIn bubblewrap(QStringLiteral("bwrap"), script);
        EXPECT_NE(StrongestConfinement(Job(), script == kHang ? 1s : kEver), Kind::Bubblewrap);
        EXPECT_EQ(bubblewrap.Runs(), 1);
        EXPECT_FALSE(bubblewrap.IsRunning());
    }
    const ProgramStandIn anything(QStringLiteral("bwrap"), "");
    ProgramStandIn::Uninstall();
    EXPECT_NE(StrongestConfinement(Job(), kEver), Kind::Bubblewrap);
}

TEST(ConfinementChoice, EndsWithACancel)
{
    const ProgramStandIn bubblewrap(QStringLiteral("bwrap"), kHang);
    Job job;
    const auto choice = std::async(std::launch::async,
                                   [&] { EXPECT_THROW((void)StrongestConfinement(job, kEver), CloudError); });
    EXPECT_TRUE(QTest::qWaitFor([&] { return bubblewrap.IsRunning(); }, 60000));
    job.Cancel();
    choice.wait();
    EXPECT_FALSE(bubblewrap.IsRunning());
}

/// It must not count as a fault of the document, which would be remembered.
TEST(Confinement, ThatFailsIsAFaultOfTheSystem)
{
    const TemporaryFolder folder;
    const auto document = folder.Path() / "document";
    Write(document, Documents::A4Page().toStdString());
    const std::tuple<QByteArray, std::chrono::milliseconds, const char*> cases[] = {
        {"echo 'bwrap: no space' >&2; exit 1", kEver, "bwrap: no space"},
        {"echo '{ \"child-pid\": 1 }' >&4; exit 0", kEver, ""},
        {"ulimit -v 100; exec cat", kEver, ""},
        {kHang, 1s, "not started within 1000 ms"},
        {{}, kEver, "bubblewrap is not installed"}};
    for (const auto& [script, wallTime, reason] : cases) {
        SCOPED_TRACE(script.constData());
        const ProgramStandIn bubblewrap(QStringLiteral("bwrap"), script);
        if (script.isEmpty())
            ProgramStandIn::Uninstall();
        try {
            const Job job;
            (void)RunLimited(QStringLiteral("/bin/cat"), {}, document, LimitsOf(Kind::Bubblewrap, wallTime),
                             job);
            ADD_FAILURE() << "succeeded";
        } catch (const CloudError& error) {
            EXPECT_EQ(error.GetFailure().code, FailureCode::Unsupported);
            EXPECT_THAT(error.GetFailure().detail.toStdString(), HasSubstr(reason));
        }
    }
}

TEST(Confinement, ClosesDescriptorsOnAnOldKernelToo)
{
    if (!IsPossible(Kind::Seccomp))
        GTEST_SKIP() << "without filters no old kernel can be imitated";
    const TemporaryFolder folder;
    const auto input = folder.Path() / "input";
    Write(input, "input");
    const int leaked = ::open(input.c_str(), O_RDONLY);
    std::string open;
    OnThreadOfItsOwn(
        [] {
            Refuse({{SCMP_SYS(close_range), ENOSYS}});
        },
        [&] {
            const Job job;
            open = RunLimited(QStringLiteral("/bin/ls"), {QStringLiteral("/proc/self/fd")}, input,
                              LimitsOf(Kind::Limits), job)
                       .output.toStdString();
        });
    ::close(leaked);
    EXPECT_EQ(open, "0\n1\n2\n3\n"); // 3 is the folder that it lists
}

} // namespace
} // namespace Orvane::Tests
