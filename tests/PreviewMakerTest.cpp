#include "support/HelperStandIn.h"
#include "support/HostileDocuments.h"
#include "support/LocalFiles.h"
#include "support/PdfSamples.h"

#include <OrvaneCloudProtocol/previews/PreviewMaker.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <QTest>

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace Orvane::Social;
using namespace Orvane::Testing;
using namespace Orvane::Tests;
using namespace std::chrono_literals;
using testing::ElementsAre;
namespace fs = std::filesystem;

const std::vector<QSize> kThreeSizes = {{40, 40}, {100, 100}, {191, 191}};
const auto kSizesOfPortrait = ElementsAre(QSize(28, 40), QSize(71, 100), QSize(135, 191));
const QByteArray kHelper = R"(echo $$ > "$0.note"; pixel() { printf 'P6\n1 1\n255\nabc'; }; )";

bool IsRunning(const QByteArray& pid)
{
    return ::kill(pid.trimmed().toInt(), 0) == 0; // true for a zombie and for no pid, too
}

class PreviewMakerTest : public testing::Test
{
protected:
    PreviewMakerTest() { Restart(); }

    void Restart(const RenderLimits& limits = {}) { m_maker.emplace(m_folder.Path() / "cache", limits); }

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
    const std::pair<const char*, QByteArray> cases[] = {
        {"empty", {}},
        {"no PDF", QByteArray(5000, 'a')},
        {"cut short", OnePagePdf(595, 842).left(150)},
        {"no pages", OnePagePdf(595, 842).replace("[3 0 R]/Count 1", "[     ]/Count 0")},
        {"locked by a password", OnePagePdf(595, 842).replace("/Root", lock + "/Root")},
        {"content bomb", Documents::ContentBomb()}};
    for (const auto& [name, document] : cases) {
        SCOPED_TRACE(name);
        m_fetch = [this, bytes = document] { return Save(bytes); };
        Restart({15s, 1s});
        Make(kThreeSizes, name);
        Restart();
        const auto failure = std::get<Failure>(Make({{40, 40}}, name).front());
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
        EXPECT_FALSE(failure.detail.isEmpty());
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

TEST_F(PreviewMakerTest, HoldsTheHelperOnAShortLeash)
{
    qputenv("ORVANE_TOKEN", "secret");
    const HelperStandIn helper(
        R"(echo "memory $(ulimit -v) cpu $(ulimit -t) core $(ulimit -c) token [$ORVANE_TOKEN]" >&2; exit 1)");
    EXPECT_EQ(std::get<Failure>(Show(m_portrait)).detail,
              QStringLiteral("memory 1048576 cpu 10 core 0 token []"));
}

TEST_F(PreviewMakerTest, TakesNothingButOneWholePictureInTimeForAnAnswer)
{
    Restart({1s});
    for (const char* script :
         {"exit 0", "echo blah",
          R"(printf 'P6\n2 2\n255\n123456789')", // cut short
          R"(printf 'P6\n60000 60000\n255\n')",  // 14 GB
          "pixel; kill -SEGV $$", "pixel; exit 1", "pixel; exec head -c 1000000 /dev/zero",
          "pixel; exec sleep 60", "pixel; exec >&-; exec sleep 60", "pixel; exec timeout 60 yes >&2"}) {
        SCOPED_TRACE(script);
        const HelperStandIn helper(kHelper + script);
        const auto failure = std::get<Failure>(Show(m_portrait));
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
        EXPECT_FALSE(failure.detail.isEmpty());
        EXPECT_FALSE(IsRunning(helper.Note()));
    }
}

TEST_F(PreviewMakerTest, CancelEndsTheHelperAndTheWaitForATurn)
{
    Restart({1000s});
    const HelperStandIn helper(kHelper + "exec sleep 60");
    const auto start = [this](Job& job) {
        return std::async(std::launch::async,
                          [&] { EXPECT_THROW(m_maker->Make("1", kThreeSizes, m_fetch, job), CloudError); });
    };
    const auto rendering = start(m_job);
    EXPECT_TRUE(QTest::qWaitFor([&] { return helper.Note().endsWith('\n'); }, 60000));

    Job canceled;
    const auto waiting = start(canceled);
    std::this_thread::sleep_for(50ms); // long enough to get in line
    canceled.Cancel();
    EXPECT_EQ(waiting.wait_for(30s), std::future_status::ready);

    m_job.Cancel();
    rendering.wait();
    EXPECT_FALSE(IsRunning(helper.Note()));
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
    std::atomic<int> most{0};
    m_fetch = [&] {
        most = std::max<int>(most, ++running);
        std::this_thread::sleep_for(50ms); // long enough for a third to show
        --running;
        return m_portrait;
    };
    std::vector<std::future<void>> requests;
    for (const char* version : {"1", "1", "2", "2", "3", "3", "4", "4"})
        requests.push_back(std::async(std::launch::async, [=] { Make(kThreeSizes, version); }));
    requests.clear(); // waits for each
    EXPECT_EQ(m_helper.Runs(), 4);
    EXPECT_LE(most, 2);
}

} // namespace
