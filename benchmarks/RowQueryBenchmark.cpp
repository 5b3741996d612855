#include "support/AllocationCount.h"
#include "support/SampleDocuments.h"
#include "support/Scale.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>

#include <QUrl>
#include <QVariantMap>

#include <sys/stat.h>

/// What a row of a view costs, value by value, and what it allocates; against making the same value from the
/// same record without the list.
namespace Orvane::Benchmarks {
namespace {

using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudFilesManager;

/// A list of documents with local copies, and the same documents beside it.
struct Rows
{
    Rows()
    {
        const auto files = MakeFiles(NewFolder(), DocumentCount(), 1);
        for (int row = 0; row < DocumentCount(); ++row) {
            plain.push_back(MakeDocument(row, 0, files[static_cast<std::size_t>(row)]));
            previews.push_back(plain.back()->GetPreviewsSet());
        }
        for (auto document = plain.rbegin(); document != plain.rend(); ++document)
            list.Add(*document);
    }

    [[nodiscard]] FileInfo& Plain(int row) const { return *plain[static_cast<std::size_t>(row)]; }
    [[nodiscard]] FileInfo::CloudInfo& Cloud(int row) const { return *Plain(row).GetRedactableCloudInfo(); }

    const std::shared_ptr<NoFiles> none = std::make_shared<NoFiles>();
    OrvaneCloudFilesManager list{std::make_shared<NoStorage>(), none, none};
    std::vector<Document> plain;
    std::vector<FileInfo::PreviewsSet> previews;
};

const Rows& TheRows()
{
    static const Rows rows;
    return rows;
}

QString KeyOf(FileInfo::PreviewSize size)
{
    switch (size) {
    case FileInfo::PreviewSize::Small:
        return QStringLiteral("Small");
    case FileInfo::PreviewSize::Medium:
        return QStringLiteral("Medium");
    case FileInfo::PreviewSize::Large:
        break;
    }
    return QStringLiteral("Large");
}

QVariantMap UrlsOf(const FileInfo::PreviewsSet& previews)
{
    QVariantMap urls;
    for (const auto& [size, path] : previews)
        urls.insert(KeyOf(size), QUrl::fromLocalFile(QString::fromStdString(path.utf8string())));
    return urls;
}

int SizeOf(const ioPath& path)
{
    struct stat status = {};
    return ::stat(path.utf8string().c_str(), &status) == 0 ? static_cast<int>(status.st_size) : 0;
}

template <typename Ask>
void AskRowByRow(benchmark::State& state, Ask ask)
{
    const auto& rows = TheRows();
    int row = 0;
    const auto before = AllocationCount();
    for (auto _ : state) {
        row = (row + 1) % DocumentCount();
        benchmark::DoNotOptimize(ask(rows, row));
    }
    state.counters["allocations"] = benchmark::Counter(static_cast<double>(AllocationCount() - before),
                                                       benchmark::Counter::kAvgIterations);
}

template <typename Ours, typename Floor>
void Register(const std::string& value, Ours ours, Floor floor)
{
    const auto name = "row-" + value;
    benchmark::RegisterBenchmark((name + "/ours").c_str(), AskRowByRow<Ours>, ours);
    benchmark::RegisterBenchmark((name + "/floor").c_str(), AskRowByRow<Floor>, floor);
}

[[maybe_unused]] const bool isRegistered = [] {
    Register(
        "name", [](const Rows& rows, int row) { return rows.list.GetDocumentName(row); },
        [](const Rows& rows, int row) { return QString::fromStdString(rows.Cloud(row).GetFileName()); });
    Register(
        "previews", [](const Rows& rows, int row) { return rows.list.GetPreviewsSet(row); },
        [](const Rows& rows, int row) { return UrlsOf(rows.previews[static_cast<std::size_t>(row)]); });
    Register(
        "id", [](const Rows& rows, int row) { return rows.list.GetDocumentId(row); },
        [](const Rows& rows, int row) { return QString::fromStdString(rows.Plain(row).GetId()); });
    Register(
        "path", [](const Rows& rows, int row) { return rows.list.GetDocumentPath(row); },
        [](const Rows& rows, int row) {
            return QString::fromStdString(rows.Plain(row).GetPath().utf8string());
        });
    Register(
        "date", [](const Rows& rows, int row) { return rows.list.GetModifiedDateTime(row); },
        [](const Rows& rows, int row) { return rows.Cloud(row).GetModifyTime(); });
    Register(
        "state", [](const Rows& rows, int row) { return rows.list.GetDocumentState(row); },
        [](const Rows& rows, int row) { return static_cast<int>(rows.Plain(row).GetCloudStatus()); });
    Register(
        "size", [](const Rows& rows, int row) { return rows.list.GetFileSize(row); },
        [](const Rows& rows, int row) { return SizeOf(rows.Plain(row).GetPath()); });
    return true;
}();

} // namespace
} // namespace Orvane::Benchmarks
