#include "support/SampleDocuments.h"
#include "support/Scale.h"
#include "support/Stopwatch.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloudHost/LocalFileSystem.h>
#include <OrvaneCloudHost/Md5HashCalculator.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include <QFile>

#include <sys/stat.h>

/// Constructing the list as a program does at its start: the stored records have been read, each local copy
/// is there, and nothing has changed since its hash was remembered.
namespace Orvane::Benchmarks {
namespace {

using namespace PDF::Cloud;
namespace fs = std::filesystem;

constexpr std::uintmax_t kBytes = 50'000;

/// A stored list with a file behind each record, and their remembered hashes.
class StoredList
{
public:
    explicit StoredList(int count)
        : m_folder(NewFolder())
        , m_files(MakeFiles(NewFolder(), count, kBytes))
    {
        Save();
        LetFilesSettle();
        // Twice: the first time hashes each file, and what it finds is saved when the list goes.
        (void)Construct();
        (void)Construct();
    }

    [[nodiscard]] const std::vector<fs::path>& Files() const { return m_files; }

    /// Seconds to construct the list.
    [[nodiscard]] double Construct() const
    {
        const auto storage = OpenStorage();
        std::unique_ptr<OrvaneCloudFilesManager> list;
        return SecondsOf([&] {
            const auto hashes = std::make_shared<Md5HashCalculator>(NameIn("hashes.sqlite"));
            list = std::make_unique<OrvaneCloudFilesManager>(storage, std::make_shared<LocalFileSystem>(),
                                                             hashes);
        });
    }

private:
    [[nodiscard]] QString NameIn(const char* name) const
    {
        return QFile::decodeName((m_folder / name).c_str());
    }

    [[nodiscard]] std::shared_ptr<SqliteCloudInfoStorage> OpenStorage() const
    {
        return std::make_shared<SqliteCloudInfoStorage>(NameIn("documents.sqlite"));
    }

    void Save() const
    {
        const auto none = std::make_shared<NoFiles>();
        OrvaneCloudFilesManager list(std::make_shared<SavingStorage>(OpenStorage()), none, none);
        for (std::size_t number = 0; number < m_files.size(); ++number)
            list.Add(MakeDocument(static_cast<int>(number), 0, m_files[number]));
    }

    const fs::path m_folder;
    const std::vector<fs::path> m_files;
};

StoredList& TheStoredList()
{
    static StoredList list(DocumentCount());
    return list;
}

void Construct(benchmark::State& state)
{
    const auto& stored = TheStoredList();
    for (auto _ : state)
        state.SetIterationTime(stored.Construct());
    state.SetItemsProcessed(state.iterations() * DocumentCount());
}
BENCHMARK(Construct)->Name("list-construction/ours")->Apply(OnceByOwnClock);

void StatEachFile(benchmark::State& state)
{
    const auto& files = TheStoredList().Files();
    for (auto _ : state) {
        state.SetIterationTime(SecondsOf([&] {
            for (const auto& file : files) {
                struct stat status = {};
                benchmark::DoNotOptimize(::stat(file.c_str(), &status));
            }
        }));
    }
    state.SetItemsProcessed(state.iterations() * DocumentCount());
}
BENCHMARK(StatEachFile)->Name("list-construction/floor")->Apply(OnceByOwnClock);

void HashEachFile(benchmark::State& state)
{
    const auto& files = TheStoredList().Files();
    for (auto _ : state) {
        Md5HashCalculator nothingRemembered;
        state.SetIterationTime(SecondsOf([&] {
            for (const auto& file : files)
                benchmark::DoNotOptimize(nothingRemembered.CalculateFileHash(ioPath(file.u8string())));
        }));
    }
    state.SetItemsProcessed(state.iterations() * DocumentCount());
}
BENCHMARK(HashEachFile)->Name("list-construction/hashing")->Apply(OnceByOwnClock);

} // namespace
} // namespace Orvane::Benchmarks
