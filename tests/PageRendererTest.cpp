#include "support/HelperStandIn.h"
#include "support/HostileDocuments.h"

#include <OrvaneCloudProtocol/previews/PageRenderer.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace Orvane::Social;
using namespace Orvane::Tests;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr int kEdge = 191;

Failure FailureOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const CloudError& error) {
        return error.GetFailure();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

class PageRendererTest : public testing::Test
{
protected:
    fs::path Write(const QByteArray& bytes, const std::string& name = "document.pdf")
    {
        const fs::path file = Folder() / name;
        std::ofstream(file, std::ios::binary).write(bytes.constData(), bytes.size());
        return file;
    }
    [[nodiscard]] fs::path Folder() const { return m_folder.path().toStdString(); }

    QImage Render(const fs::path& file) { return PageRenderer(m_limits).Render(file, kEdge, m_job); }
    Failure FailureFor(const fs::path& file)
    {
        return FailureOf([&] { Render(file); });
    }

    RenderLimits m_limits;
    Job m_job;

private:
    const QTemporaryDir m_folder;
};

struct Case
{
    const char* name;
    QByteArray (*makeDocument)();
    QSize size;
};

class ShownDocument : public PageRendererTest, public testing::WithParamInterface<Case>
{};

TEST_P(ShownDocument, IsAsLongAsTheEdge)
{
    EXPECT_EQ(Render(Write(GetParam().makeDocument())).size(), GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, ShownDocument,
    testing::Values(Case{"Portrait", Documents::Portrait, {135, 191}},
                    Case{"Landscape", Documents::Landscape, {191, 135}},
                    Case{"Turned", Documents::Turned, {191, 135}},
                    Case{"Cropped", Documents::Cropped, {191, 48}},
                    Case{"Enormous", Documents::Enormous, {191, 191}},
                    Case{"Thread", Documents::Thread, {1, 191}},
                    Case{"FormThatCallsItself", Documents::FormThatCallsItself, {135, 191}},
                    Case{"HugeImage", Documents::HugeImage, {135, 191}}),
    [](const auto& test) { return test.param.name; });

class RefusedDocument : public PageRendererTest, public testing::WithParamInterface<Case>
{};

TEST_P(RefusedDocument, IsInvalidForAReason)
{
    m_limits.cpuTime = 1s;
    const Failure failure = FailureFor(Write(GetParam().makeDocument()));
    EXPECT_EQ(failure.code, FailureCode::InvalidDocument);
    EXPECT_FALSE(failure.detail.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Documents, RefusedDocument,
                         testing::Values(Case{"Empty", [] { return QByteArray(); }, {}},
                                         Case{"NoPdf", [] { return QByteArray(5000, 'a'); }, {}},
                                         Case{"CutShort", Documents::CutShort, {}},
                                         Case{"NoPages", Documents::NoPages, {}},
                                         Case{"LockedByPassword", Documents::LockedByPassword, {}},
                                         Case{"ContentBomb", Documents::ContentBomb, {}}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PageRendererTest, ShowsWhatIsOnThePage)
{
    const QImage page = Render(Write(Documents::Portrait()));
    EXPECT_EQ(page.pixelColor(30, 160), QColor(Qt::red));
    EXPECT_EQ(page.pixelColor(100, 30), QColor(Qt::white));
}

TEST_F(PageRendererTest, ReadsFilesOfAnyName)
{
    for (const char* name :
         {"-v", "a\nb.pdf", "{input}", "%d\\\"'$(id).pdf", "no utf8 \xff\xfe.pdf", "\xd0\x9f.pdf"}) {
        const fs::path file = Write(Documents::Portrait(), name);
        EXPECT_FALSE(Render(file).isNull()) << name;
        fs::remove(file); // QTemporaryDir cannot remove every name
    }
}

TEST_F(PageRendererTest, OpensOnlyRegularFiles)
{
    const fs::path pipe = Folder() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const fs::path& file : {pipe, Folder(), Folder() / "missing", fs::path("/dev/zero")})
        EXPECT_EQ(FailureFor(file).code, FailureCode::LocalDisk) << file;
}

TEST_F(PageRendererTest, SaysWhenTheHelperIsNotInstalled)
{
    const ScopedVariable path("PATH", "/nowhere");
    const Failure failure = FailureFor(Write(Documents::Portrait()));
    EXPECT_EQ(failure.code, FailureCode::Unsupported);
    EXPECT_TRUE(failure.detail.contains(QStringLiteral("pdftoppm"))) << failure.detail.toStdString();
}

TEST_F(PageRendererTest, SaysWhenTheHelperDoesNotStart)
{
    const HelperStandIn helper("");
    QFile(QStandardPaths::findExecutable(QStringLiteral("pdftoppm"))).resize(0);
    std::ofstream(QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).toStdString())
        << "#!/no/such/shell\n";
    EXPECT_EQ(FailureFor(Write(Documents::Portrait())).code, FailureCode::Unsupported);
}

TEST_F(PageRendererTest, HoldsTheHelperOnAShortLeash)
{
    const ScopedVariable secret("ORVANE_TOKEN", "secret");
    const HelperStandIn helper(
        R"(echo "memory $(ulimit -v) cpu $(ulimit -t) core $(ulimit -c) token [$ORVANE_TOKEN]" >&2; exit 1)");
    EXPECT_EQ(FailureFor(Write(Documents::Portrait())).detail,
              QStringLiteral("memory 1048576 cpu 10 core 0 token []"));
}

TEST_F(PageRendererTest, TakesNothingButOneWholePictureForAnAnswer)
{
    const char* const scripts[] = {
        "exit 0",
        "kill -SEGV $$",
        "echo blah",
        R"(printf 'P6\n2 2\n255\n123456789')",   // cut short
        R"(printf 'P6\n60000 60000\n255\n')",    // 14 GB
        R"(printf 'P6\n1 1\n255\nabc'; exit 1)", // a failure, for all its picture
        "exec yes",                              // never ends
    };
    for (const char* script : scripts) {
        const HelperStandIn helper(script);
        const Failure failure = FailureFor(Write(Documents::Portrait()));
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument) << script;
        EXPECT_FALSE(failure.detail.isEmpty()) << script;
    }
}

bool IsRunning(const QByteArray& pid)
{
    return ::kill(pid.trimmed().toInt(), 0) == 0; // true for a zombie, too
}

TEST_F(PageRendererTest, EndsAHelperThatDoesNotEnd)
{
    m_limits.wallTime = 500ms;
    for (const char* waiting : {"exec sleep 1000", "exec >&-; exec sleep 1000", "exec yes >&2"}) {
        const HelperStandIn helper(QByteArray("echo $$ > \"$0.note\"; ") + waiting);
        const Failure failure = FailureFor(Write(Documents::Portrait()));
        EXPECT_EQ(failure.code, FailureCode::InvalidDocument) << waiting;
        ASSERT_FALSE(helper.Note().isEmpty());
        EXPECT_FALSE(IsRunning(helper.Note())) << waiting;
    }
}

TEST_F(PageRendererTest, CancelEndsTheHelper)
{
    const HelperStandIn helper("echo $$ > \"$0.note\"; exec sleep 1000");
    m_limits.wallTime = 1000s;
    std::thread canceler([&] {
        while (!helper.Note().endsWith('\n'))
            std::this_thread::sleep_for(1ms);
        m_job.Cancel();
    });
    EXPECT_EQ(FailureFor(Write(Documents::Portrait())).code, FailureCode::Canceled);
    canceler.join();
    EXPECT_FALSE(IsRunning(helper.Note()));
}

} // namespace
