#include "support/HelperStandIn.h"
#include "support/HostileDocuments.h"
#include "support/LocalFiles.h"
#include "support/PdfSamples.h"

#include <OrvaneCloudProtocol/previews/PreviewMaker.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QTest>

#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Orvane::Social;
using namespace Orvane::Testing;
using namespace Orvane::Tests;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

const std::vector<QSize> kThreeSizes = {{40, 40}, {100, 100}, {191, 191}};
const auto kSizesOfPortrait = ElementsAre(QSize(28, 40), QSize(71, 100), QSize(135, 191));
constexpr auto kEver = 1000s;

bool WaitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 60000);
}

/// How often a thread of this process has gone to sleep.
int Sleeps(pid_t thread)
{
    const QByteArray status =
        QByteArray::fromStdString(Read("/proc/self/task/" + std::to_string(thread) + "/status"));
    const QByteArray title = "\nvoluntary_ctxt_switches:";
    const int at = status.indexOf(title) + title.size();
    return status.mid(at, status.indexOf('\n', at) - at).trimmed().toInt();
}

/// Waits until the thread does nothing but wait for its turn, which makes it go to sleep again and again.
bool WaitUntilInLine(pid_t thread)
{
    const int before = Sleeps(thread);
    return WaitFor([&] { return Sleeps(thread) > before + 10; });
}

/// A call on a thread of its own.
struct Call
{
    template <typename Function>
    explicit Call(Function function)
        : done(std::async(std::launch::async, [this, function] {
            thread = ::gettid();
            function();
        }))
    {}

    /// Whether it waits for its turn, and goes on doing so.
    [[nodiscard]] bool IsInLine() const
    {
        return WaitFor([this] { return thread != 0; }) && WaitUntilInLine(thread);
    }

    std::atomic<pid_t> thread{0};
    std::future<void> done;
};

class PreviewMakerTest : public testing::Test
{
protected:
    PreviewMakerTest() { Restart(); }

    void Restart(const RenderLimits& limits = {kEver}) { m_maker.emplace(m_folder.Path() / "cache", limits); }

    fs::path Save(const QByteArray& document, const std::string& name = "document.pdf")
    {
        Write(m_folder.Path() / name, document.toStdString());
        return m_folder.Path() / name;
    }

    std::vector<Preview> Make(const std::vector<QSize>& boxes = kThreeSizes, const QByteArray& version = "1")
    {
        return m_maker->Make(version, boxes, m_fetch, m_job);
    }

    std::vector<QSize> Sizes(const std::vector<QSize>& boxes = kThreeSizes, const QByteArray& version = "1")
    {
        std::vector<QSize> sizes;
        for (const Preview& preview : Make(boxes, version))
            sizes.push_back(std::get<QImage>(preview).size());
        return sizes;
    }

    /// A document that was never asked for.
    Preview Show(const fs::path& file)
    {
        m_fetch = [=] { return file; };
        return Make({{191, 191}}, "shown " + QByteArray::number(++m_shown)).front();
    }

    const TemporaryFolder m_folder;
    const fs::path m_portrait = Save(OnePagePdf(595, 842), "portrait.pdf");
    PreviewMaker::FetchFile m_fetch = [this] { return m_portrait; };
    const CountedHelper m_helper;
    Job m_job;
    std::optional<PreviewMaker> m_maker;
    int m_shown = 0;
};

TEST_F(PreviewMakerTest, ShowsAPageAsLongAsTheEdge)
{
    const QByteArray formEntries = "/Subtype/Form/BBox[0 0 600 900]/Resources<</XObject<</F 5 0 R>>>>";
    const std::tuple<const char*, QByteArray, QSize> cases[] = {
        {"turned", Documents::A4Page("/Rotate 90"), {191, 135}},
        {"cropped", Documents::A4Page("/CropBox[0 0 400 100]"), {191, 48}},
        {"enormous", OnePagePdf(10000000, 10000000), {191, 191}},
        {"thread", OnePagePdf(1, 100000), {1, 191}},
        {"form that draws itself",
         Documents::A4Page({}, Documents::Stream({}, "/F Do"), Documents::Stream(formEntries, "/F Do /F Do")),
         {135, 191}},
        {"huge image", Documents::HugeImage(), {135, 191}}};
    for (const auto& [name, document, size] : cases)
        EXPECT_EQ(std::get<QImage>(Show(Save(document))).size(), size) << name;

    const auto page = std::get<QImage>(Show(Save(Documents::A4Page())));
    EXPECT_EQ(page.pixelColor(30, 160), QColor(Qt::red));
    EXPECT_EQ(page.pixelColor(100, 30), QColor(Qt::white));
}

TEST_F(PreviewMakerTest, RefusesAndRemembersWhatCannotBeShown)
{
    const QByteArray key = '(' + QByteArray(32, 'x') + ')';
    const QByteArray lock =
        "/ID[<00><00>]/Encrypt<</Filter/Standard/V 1/R 2/P -4/O" + key + "/U" + key + ">>";
    const std::tuple<const char*, QByteArray, const char*> cases[] = {
        {"empty", {}, "Document stream is empty"},
        {"no PDF", QByteArray(5000, 'a'), "May not be a PDF file"},
        {"cut short", OnePagePdf(595, 842).left(150), "trailer"},
        {"no pages", OnePagePdf(595, 842).replace("[3 0 R]/Count 1", "[     ]/Count 0"), "page count"},
        {"locked", OnePagePdf(595, 842).replace("/Root", lock + "/Root"), "password"},
        {"content bomb", Documents::ContentBomb(), "processor time"}};
    for (const auto& [name, document, reason] : cases) {
        SCOPED_TRACE(name);
        m_fetch = [this, bytes = document] { return Save(bytes); };
        Restart({kEver, 1s});
        Make(kThreeSizes, name);
        Restart();
        const auto failure = std::get<Failure>(Make({{40, 40}}, name).front());
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
        EXPECT_THAT(failure.detail.toStdString(), HasSubstr(reason));
    }
    EXPECT_EQ(m_helper.Runs(), 6);
}

TEST_F(PreviewMakerTest, OpensRegularFilesOfAnyNameAndNothingElse)
{
    for (const char* name :
         {"-v", "a\nb.pdf", "{input}", "%d\\\"'$(id).pdf", "no utf8 \xff\xfe.pdf", "\xd0\x9f.pdf"})
        EXPECT_FALSE(std::get<QImage>(Show(Save(OnePagePdf(595, 842), name))).isNull()) << name;

    const fs::path pipe = m_folder.Path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ::alarm(60); // ends this program if it opens a file that blocks
    for (const fs::path& file : {pipe, m_folder.Path(), m_folder.Path() / "missing", fs::path("/dev/zero")})
        EXPECT_EQ(std::get<Failure>(Show(file)).code, FailureCode::LocalDisk) << file;
    ::alarm(0);
}

TEST_F(PreviewMakerTest, TakesNothingButOneWholePictureInTimeForAnAnswer)
{
    const char* const noPicture = "made no picture";
    const std::tuple<const char*, RenderLimits, const char*> cases[] = {
        {"exit 0", {kEver}, noPicture},
        {"echo blah", {kEver}, noPicture},
        {R"(printf 'P6\n2 2\n255\n123456789')", {kEver}, noPicture}, // cut short
        {R"(printf 'P6\n60000 60000\n255\n')", {kEver}, noPicture},  // 14 GB
        {"pixel; exit 1", {kEver}, noPicture},
        {"pixel; ulimit -v 100; exec cat", {kEver}, "crashed"},
        {"pixel; while :; do :; done", {kEver, 1s}, "processor time"},
        {"pixel; exec head -c 1000000 /dev/zero", {kEver}, "more output"},
        {"pixel; exec sleep 600", {1s}, "not done within"},
        {"pixel; exec >&-; exec sleep 600", {1s}, "not done within"},
        {"pixel; exec yes >&2", {1s}, "not done within"}};
    for (auto [script, limits, reason] : cases) {
        SCOPED_TRACE(script);
        limits.confinement = PreviewConfinement::Limits; // which takes no time to start
        Restart(limits);
        const HelperStandIn helper(QByteArray("pixel() { printf 'P6\\n1 1\\n255\\nabc'; }; ") + script);
        const auto failure = std::get<Failure>(Show(m_portrait));
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
        EXPECT_THAT(failure.detail.toStdString(), HasSubstr(reason));
        EXPECT_EQ(helper.Runs(), 1);
        EXPECT_FALSE(helper.IsRunning());
    }
}

TEST_F(PreviewMakerTest, CancelEndsTheHelperAndTheWaitForATurn)
{
    const HelperStandIn helper(kHang);
    const auto expectCanceled = [this](Job& job) {
        EXPECT_THROW(m_maker->Make("1", kThreeSizes, m_fetch, job), CloudError);
    };
    Job canceled;
    const Call rendering([&] { expectCanceled(m_job); });
    EXPECT_TRUE(WaitFor([&] { return helper.IsRunning(); }));
    const Call waiting([&] { expectCanceled(canceled); });
    EXPECT_TRUE(waiting.IsInLine());
    canceled.Cancel();
    EXPECT_EQ(waiting.done.wait_for(kEver), std::future_status::ready);
    EXPECT_TRUE(helper.IsRunning());
    m_job.Cancel();
    rendering.done.wait();
    EXPECT_FALSE(helper.IsRunning());
    EXPECT_EQ(helper.Runs(), 1);
}

TEST_F(PreviewMakerTest, RendersOnceForAllSizesAndAgainForALargerOneANewVersionOrWithoutCache)
{
    for (const QSize& size : kThreeSizes)
        Make({size});
    EXPECT_THAT(Sizes(), kSizesOfPortrait);
    Restart();
    m_fetch = [this] { return Save(OnePagePdf(1, 100000)); };
    EXPECT_THAT(Sizes(), kSizesOfPortrait);
    EXPECT_EQ(m_helper.Runs(), 1);

    EXPECT_THAT(Sizes({{40, 40}, {1, 1}, {1000000, 1000000}}),
                ElementsAre(QSize(1, 40), QSize(1, 1), QSize(1, 2048)));
    EXPECT_THAT(Sizes({{40, 40}}, "2"), ElementsAre(QSize(1, 40)));
    m_maker.emplace(m_portrait / "no folder");
    EXPECT_THAT(Sizes({{40, 40}}, "2"), ElementsAre(QSize(1, 40)));
    EXPECT_EQ(m_helper.Runs(), 4);
}

TEST_F(PreviewMakerTest, ForgetsWhatMayGoBetterNextTime)
{
    std::optional<HelperStandIn> helper(std::in_place, "", "/no/such/shell");
    EXPECT_EQ(std::get<Failure>(Make().front()).code, FailureCode::Unsupported);
    helper->Uninstall();
    const auto failure = std::get<Failure>(Make().front());
    EXPECT_EQ(failure.code, FailureCode::Unsupported);
    EXPECT_TRUE(failure.detail.contains(QStringLiteral("pdftoppm"))) << failure.detail.toStdString();
    helper.reset();

    const auto fail = []() -> fs::path { throw CloudError(FailureCode::Network, QStringLiteral("cut")); };
    EXPECT_THROW(m_maker->Make("1", kThreeSizes, fail, m_job), CloudError);

    Job canceled;
    canceled.Cancel();
    const auto fetchForNobody = [&] { return ADD_FAILURE(), m_portrait; };
    EXPECT_THROW(m_maker->Make("1", kThreeSizes, fetchForNobody, canceled), CloudError);
    EXPECT_THAT(Sizes(), kSizesOfPortrait);
}

TEST_F(PreviewMakerTest, RendersTwoDocumentsAtOnceAndEachOnlyOnce)
{
    std::atomic<int> running{0};
    std::promise<void> go;
    m_fetch = [&, going = go.get_future().share()] {
        ++running;
        going.wait();
        return m_portrait;
    };
    std::vector<std::unique_ptr<Call>> calls;
    const auto isSettled = [&] {
        const auto started = static_cast<int>(calls.size());
        return started <= 2 ? WaitFor([&] { return running == started; }) : calls.back()->IsInLine();
    };
    bool areAllSettled = true;
    for (const char* version : {"1", "2", "1", "2", "3", "3", "4", "4"}) {
        calls.push_back(std::make_unique<Call>([=] { Make(kThreeSizes, version); }));
        areAllSettled = areAllSettled && isSettled(); // after a failure it does not wait again
    }
    EXPECT_TRUE(areAllSettled);
    EXPECT_EQ(running, 2);
    go.set_value();
    calls.clear(); // waits for each
    EXPECT_EQ(running, 4);
    EXPECT_EQ(m_helper.Runs(), 4);
}

} // namespace
