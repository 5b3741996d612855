#include "support/EventLoop.h"
#include "support/OwnTransports.h"
#include "support/SampleDocuments.h"
#include "support/SamplePdf.h"
#include "support/Scale.h"
#include "tests/support/HelperStandIn.h"

#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QFile>

#include <atomic>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

extern char** environ;

/// Three sizes of the first page of many documents through the client, the first time and again in another
/// run; against the renderer alone, two processes at once.
namespace Orvane::Benchmarks {
namespace {

using namespace Social;
namespace fs = std::filesystem;

using MakePdf = QByteArray (*)(int mark);

constexpr int kEdges[] = {40, 100, 191}; // those of a document list
constexpr int kRenderedEdge = 191;
constexpr int kRenderersAtOnce = 2;

[[nodiscard]] int PdfCount()
{
    return IsQuick() ? 6 : 200;
}

std::vector<fs::path> MakePdfs(MakePdf make)
{
    std::vector<fs::path> files;
    const auto folder = NewFolder();
    for (int number = 0; number < PdfCount(); ++number) {
        files.push_back(folder / (std::to_string(number) + ".pdf"));
        std::ofstream(files.back(), std::ios::binary) << make(number).toStdString();
    }
    return files;
}

/// One run of the client.
class Client
{
public:
    Client(const std::string& address, const fs::path& cache)
        : m_client(AuthInfoWith(cache), address, nullptr)
    {
        m_client.auth({{OrvaneCloudProtocol::SSO_TOKEN, QStringLiteral("token")}}, {});
        RunUntil([this] { return m_client.loggedIn(); });
    }

    /// How many documents the cloud has listed.
    [[nodiscard]] int List()
    {
        std::optional<int> count;
        m_client.retriveFileList({},
                                 [&](long long, RequestResult, const auto& files) { count = files.size(); });
        RunUntil([&] { return count.has_value(); });
        return *count;
    }

    /// How many pictures came.
    [[nodiscard]] std::size_t Preview(const std::vector<fs::path>& pdfs)
    {
        std::size_t answered = 0;
        std::size_t pictures = 0;
        const auto note = [&](long long, RequestResult, const QPixmap& picture) {
            ++answered;
            pictures += picture.isNull() ? 0 : 1;
        };
        for (const auto& pdf : pdfs)
            for (const int edge : kEdges)
                m_client.retrievePreview(WishFor(QFile::decodeName(pdf.c_str()), edge), note);
        RunUntil([&] { return answered == pdfs.size() * std::size(kEdges); });
        return pictures;
    }

private:
    static OAuth2::AuthInfo AuthInfoWith(const fs::path& cache)
    {
        OAuth2::AuthInfo authInfo;
        authInfo.cacheFolder = QFile::decodeName(cache.c_str());
        return authInfo;
    }

    static QMap<QString, QString> WishFor(const QString& id, int edge)
    {
        return {{OrvaneCloudProtocol::ID, id},
                {OrvaneCloudProtocol::FILE_PREVIEW_WIDTH, QString::number(edge)},
                {OrvaneCloudProtocol::FILE_PREVIEW_HEIGHT, QString::number(edge)}};
    }

    OrvaneCloudProtocol m_client;
};

/// Seconds until all pictures of these documents have come.
double SecondsToPreview(benchmark::State& state, const std::vector<fs::path>& pdfs, const fs::path& cache)
{
    Client client("nothing:", cache);
    std::size_t pictures = 0;
    const double seconds = SecondsOf([&] { pictures = client.Preview(pdfs); });
    if (pictures != pdfs.size() * std::size(kEdges))
        state.SkipWithError("pictures are missing");
    return seconds;
}

void PreviewFirst(benchmark::State& state, MakePdf make)
{
    const auto pdfs = MakePdfs(make);
    for (auto _ : state)
        state.SetIterationTime(SecondsToPreview(state, pdfs, NewFolder()));
    state.SetItemsProcessed(PdfCount());
}

void PreviewAgain(benchmark::State& state, MakePdf make)
{
    const auto pdfs = MakePdfs(make);
    const auto cache = NewFolder();
    (void)SecondsToPreview(state, pdfs, cache);
    const Tests::CountedHelper renderer;
    const int fetchesBefore = FetchesForRendering();
    for (auto _ : state)
        state.SetIterationTime(SecondsToPreview(state, pdfs, cache));
    state.SetItemsProcessed(PdfCount());
    state.counters["renderings"] = renderer.Runs();
    state.counters["fetches"] = FetchesForRendering() - fetchesBefore;
}

/// The renderer as the client runs it, but nothing is done with its picture.
void RenderOne(const fs::path& program, const fs::path& pdf)
{
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, pdf.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    auto edge = std::to_string(kRenderedEdge);
    std::string arguments[] = {"pdftoppm", "-cropbox", "-singlefile", "-f", "1",
                               "-l",       "1",        "-scale-to",   edge, "/dev/fd/0"};
    std::vector<char*> pointers;
    for (auto& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t process = 0;
    if (::posix_spawn(&process, program.c_str(), &files, nullptr, pointers.data(), environ) == 0)
        ::waitpid(process, nullptr, 0);
    posix_spawn_file_actions_destroy(&files);
}

void RenderAlone(benchmark::State& state, MakePdf make)
{
    const auto pdfs = MakePdfs(make);
    const fs::path program =
        QFile::encodeName(QStandardPaths::findExecutable(QStringLiteral("pdftoppm"))).toStdString();
    const auto render = [&](std::atomic<std::size_t>& next) {
        for (auto at = next++; at < pdfs.size(); at = next++)
            RenderOne(program, pdfs[at]);
    };
    for (auto _ : state) {
        std::atomic<std::size_t> next{0};
        state.SetIterationTime(SecondsOf([&] {
            std::vector<std::thread> threads;
            for (int thread = 0; thread < kRenderersAtOnce; ++thread)
                threads.emplace_back([&] { render(next); });
            for (auto& thread : threads)
                thread.join();
        }));
    }
    state.SetItemsProcessed(PdfCount());
}

BENCHMARK_CAPTURE(PreviewFirst, "", TextPage)->Name("previews-page/ours")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(PreviewAgain, "", TextPage)->Name("previews-page/again")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(RenderAlone, "", TextPage)->Name("previews-page/floor")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(PreviewFirst, "", HundredPhotographs)
    ->Name("previews-photographs/ours")
    ->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(PreviewAgain, "", HundredPhotographs)
    ->Name("previews-photographs/again")
    ->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(RenderAlone, "", HundredPhotographs)
    ->Name("previews-photographs/floor")
    ->Apply(OnceByOwnClock);

/// A folder whose documents' hashes are remembered.
void ListAsWorkGrows(benchmark::State& state)
{
    const auto folder = NewFolder();
    const auto address = "file://" + folder.u8string();
    const auto cache = NewFolder();
    const int count = static_cast<int>(state.range(0));
    (void)MakeFiles(folder, count, 1);
    LetFilesSettle();
    (void)Client(address, cache).List();
    for (auto _ : state) {
        Client client(address, cache);
        int listed = 0;
        state.SetIterationTime(SecondsOf([&] { listed = client.List(); }));
        if (listed != count)
            state.SkipWithError("documents are missing");
    }
    state.SetItemsProcessed(count);
}
BENCHMARK(ListAsWorkGrows)->Name("growth-list/ours")->Apply(Growing);

} // namespace
} // namespace Orvane::Benchmarks
