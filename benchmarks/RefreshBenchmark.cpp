#include "support/EventLoop.h"
#include "support/SampleDocuments.h"
#include "support/SamplePdf.h"
#include "support/Scale.h"
#include "tests/support/HelperStandIn.h"

#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>
#include <OrvaneCloudHost/CloudSession.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>
#include <OrvaneCloudProtocol/OrvaneCloudProtocol.h>

#include <QFile>

#include <fstream>
#include <limits>
#include <map>
#include <optional>

/// Retrieving the list of a cloud in a folder and merging it into the document list: the whole of it, from
/// the call to DocumentsRefreshed, with previews arriving meanwhile and after.
namespace Orvane::Benchmarks {
namespace {

using namespace PDF::Cloud;
using PDF::FileInfo;
namespace fs = std::filesystem;

constexpr int kBytes = 100;
constexpr int kPreviewEdges[] = {40, 100, 191};
constexpr int kShareThatChanges = 20; // one in so many

QString NameOf(const fs::path& path)
{
    return QFile::decodeName(path.c_str());
}

struct Measured
{
    Block handler;
    double merged = 0;
    double settled = 0;
    Block longestBlock;
    int added = 0;
    int updated = 0;
    int removed = 0;
};

enum class Until
{
    Merged,
    PreviewsSettled
};

/// One life of the session.
class Session
{
public:
    Session(const fs::path& cloud, const fs::path& data)
        : m_session({QStringLiteral("file://") + NameOf(cloud), NameOf(data), {}})
    {
        auto& manager = m_session.Cloud();
        QObject::connect(&manager, &OrvaneCloudManager::RetrieveFilePreviewStarted,
                         [this] { NoteBeginningOfHandler(); });
        QObject::connect(&manager, &OrvaneCloudManager::RetrievingFilesListFinished,
                         [this](const QList<Document>& listed) { NoteEndOfHandler(listed); });
        QObject::connect(&m_session, &CloudSession::DocumentsRefreshed,
                         [this](int added, int updated, int removed) {
                             m_isMerged = true;
                             m_measured.added = added;
                             m_measured.updated = updated;
                             m_measured.removed = removed;
                         });
        QObject::connect(&m_session, &CloudSession::PreviewsSettled, [this] { m_isSettled = true; });
        m_session.SignIn();
        RunUntil([&] { return manager.IsLoggedIn(); });
    }

    /// What the cloud has listed.
    const QList<Document>& Retrieve()
    {
        m_session.Cloud().RetrieveFilesList();
        RunUntil([this] { return m_isListed; });
        return m_listed;
    }

    Measured Refresh(Until until)
    {
        const Stopwatch stopwatch;
        LoopWatch watch;
        m_watch = &watch;
        Retrieve();
        RunUntil([this] { return m_isMerged; });
        m_measured.merged = stopwatch.Seconds();
        RunUntil([&] { return m_isSettled || until == Until::Merged; });
        m_measured.settled = stopwatch.Seconds();
        m_measured.longestBlock = watch.Longest();
        m_watch = nullptr;
        return m_measured;
    }

    [[nodiscard]] const Measured& SoFar() const { return m_measured; }

private:
    // The handler of a retrieved list begins with the first preview, and ends by handing the list out.
    void NoteBeginningOfHandler()
    {
        if (!std::exchange(m_isInHandler, true))
            m_handler = BlockWatch();
    }

    void NoteEndOfHandler(const QList<Document>& listed)
    {
        m_measured.handler = m_isInHandler ? m_handler.Length() : Block();
        m_listed = listed;
        m_isListed = true;
        if (m_watch)
            m_watch->Leave(m_measured.handler);
    }

    CloudSession m_session;
    LoopWatch* m_watch = nullptr;
    BlockWatch m_handler;
    Measured m_measured;
    QList<Document> m_listed;
    bool m_isInHandler = false;
    bool m_isListed = false;
    bool m_isMerged = false;
    bool m_isSettled = false;
};

/// A cloud in a folder, and a stored list of its documents, of which every second one has a local copy.
class World
{
public:
    explicit World(int count)
        : m_files(MakeFiles(m_cloud, count, kBytes))
        , m_localCopies(MakeFiles(NewFolder(), count, kBytes))
    {
        StoreList(ListedDocuments());
        LetFilesSettle();
    }

    [[nodiscard]] Session NewSession() const { return Session(m_cloud, m_data); }

    /// A twentieth of the documents changes, another goes, and as many are new.
    void Change()
    {
        ++m_generation;
        for (std::size_t at = 0; at + 1 < m_files.size(); at += kShareThatChanges) {
            std::ofstream(m_files[at]) << "changed " << m_generation;
            auto renamed =
                m_cloud / ("new " + std::to_string(m_generation) + ' ' + std::to_string(at) + ".pdf");
            fs::rename(m_files[at + 1], renamed);
            m_files[at + 1] = std::move(renamed);
        }
    }

    /// Takes away the documents that stand last in the list.
    void RemoveLast(std::size_t count)
    {
        for (std::size_t at = 0; at < count; ++at)
            fs::remove(m_files.at(at));
    }

    [[nodiscard]] QList<Document> ListedDocuments() const
    {
        auto session = NewSession();
        return session.Retrieve();
    }

    [[nodiscard]] const fs::path& Cloud() const { return m_cloud; }

    [[nodiscard]] Session NewSessionWithoutList() const { return Session(m_cloud, NewFolder()); }

private:
    void StoreList(const QList<Document>& documents) const
    {
        const auto none = std::make_shared<NoFiles>();
        const auto storage = std::make_shared<SqliteCloudInfoStorage>(NameOf(m_data / "documents.sqlite"));
        OrvaneCloudFilesManager list(std::make_shared<SavingStorage>(storage), none, none);
        for (int at = 0; at < documents.size(); ++at) {
            if (at % 2 == 0)
                documents[at]->SetPath(ioPath(m_localCopies[static_cast<std::size_t>(at)].u8string()),
                                       documents[at]->GetCloudInfo()->GetMd5Hash());
            list.Add(documents[at]);
        }
    }

    const fs::path m_cloud = NewFolder();
    const fs::path m_data = NewFolder();
    std::vector<fs::path> m_files;
    const std::vector<fs::path> m_localCopies;
    int m_generation = 0;
};

void Report(benchmark::State& state, double time, const Measured& measured)
{
    state.SetIterationTime(time);
    ReportLongest(state, measured.longestBlock);
    state.counters["handler_ms"] = measured.handler.seconds * 1000;
    state.counters["added"] = measured.added;
    state.counters["updated"] = measured.updated;
    state.counters["removed"] = measured.removed;
}

/// The world of this size, made once: repetitions change it, and leave as many documents in it.
World& SharedWorld(int count)
{
    static std::map<int, World> worlds;
    return worlds.try_emplace(count, count).first->second;
}

/// A picture of a page for every document, as quickly as can be.
class QuickRenderer
{
public:
    QuickRenderer()
        : m_standIn("exec cat \"$0.page\"") // it may read nothing elsewhere
    {
        std::filesystem::copy_file(RenderedTextPage(), m_standIn.Beside(".page").toStdString());
    }

private:
    const Tests::HelperStandIn m_standIn;
};

/// Without the program that renders, every preview fails soon.
class NoRenderer
{
public:
    NoRenderer() { m_standIn.Uninstall(); }

private:
    const Tests::HelperStandIn m_standIn{""};
};

void RefreshAsUsual(benchmark::State& state, World& world)
{
    for (auto _ : state) {
        world.Change();
        const auto measured = world.NewSession().Refresh(Until::PreviewsSettled);
        Report(state, measured.merged, measured);
        state.counters["settled_ms"] = measured.settled * 1000;
    }
}

void Refresh(benchmark::State& state)
{
    const NoRenderer renderer;
    RefreshAsUsual(state, SharedWorld(DocumentCount()));
}
BENCHMARK(Refresh)->Name("refresh/ours")->Apply(OnceByOwnClock);

/// With fewer documents, because each needs a picture first.
void RefreshWithPictures(benchmark::State& state)
{
    const QuickRenderer renderer;
    auto& world = SharedWorld(DocumentCount() / 10);
    [[maybe_unused]] static const auto firstTime = world.NewSession().Refresh(Until::PreviewsSettled);
    RefreshAsUsual(state, world);
}
BENCHMARK(RefreshWithPictures)->Name("refresh/with-pictures")->Apply(OnceByOwnClock);

void RefreshIntoNothing(benchmark::State& state)
{
    const NoRenderer renderer;
    const auto& world = SharedWorld(DocumentCount());
    for (auto _ : state) {
        const auto measured = world.NewSessionWithoutList().Refresh(Until::PreviewsSettled);
        Report(state, measured.merged, measured);
    }
}
BENCHMARK(RefreshIntoNothing)->Name("refresh-first/ours")->Apply(OnceByOwnClock);

void RefreshAfterRemoval(benchmark::State& state, int removed)
{
    const NoRenderer renderer;
    for (auto _ : state) {
        World world(DocumentCount());
        world.RemoveLast(static_cast<std::size_t>(removed));
        const auto measured = world.NewSession().Refresh(Until::PreviewsSettled);
        Report(state, measured.merged, measured);
    }
}
BENCHMARK_CAPTURE(RefreshAfterRemoval, "", DocumentCount())
    ->Name("refresh-emptied/ours")
    ->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(RefreshAfterRemoval, "", DocumentCount() / 2)
    ->Name("refresh-emptied/half")
    ->Apply(OnceByOwnClock);

void RefreshAsWorkGrows(benchmark::State& state)
{
    const NoRenderer renderer;
    auto& world = SharedWorld(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        world.Change();
        const auto measured = world.NewSession().Refresh(Until::Merged);
        Report(state, measured.merged, measured);
    }
    state.SetItemsProcessed(state.range(0));
}
BENCHMARK(RefreshAsWorkGrows)->Name("growth-refresh/ours")->Apply(Growing);

using Entry = Social::Ability::File<Social::OrvaneCloudSharingResult>::FileInfo;

void HandleList(benchmark::State& state)
{
    const NoRenderer renderer;
    const auto& world = SharedWorld(DocumentCount());
    for (auto _ : state) {
        auto session = world.NewSession();
        session.Retrieve();
        state.SetIterationTime(session.SoFar().handler.seconds);
    }
}
BENCHMARK(HandleList)->Name("refresh-handler/ours")->Apply(OnceByOwnClock);

QList<Entry> EntriesLike(const QList<Document>& documents)
{
    QList<Entry> entries;
    for (const auto& document : documents) {
        const auto cloudInfo = *document->GetCloudInfo();
        Entry entry;
        entry.id = QString::fromStdString(cloudInfo.GetId());
        entry.fileName = QString::fromStdString(cloudInfo.GetFileName());
        entry.size = static_cast<qint64>(cloudInfo.GetSize());
        entry.md5Hash = QString::fromStdString(cloudInfo.GetMd5Hash());
        entry.createdAt = cloudInfo.GetCreatedAt().toString(Qt::ISODate);
        entry.modifyTime = cloudInfo.GetModifyTime().toString(Qt::ISODate);
        entries.append(entry);
    }
    return entries;
}

Document RecordOf(const Entry& entry)
{
    return std::make_shared<FileInfo>(FileInfo::CloudInfo(
        entry.id.toStdString(), entry.fileName.toStdString(), static_cast<unsigned long long>(entry.size),
        true, QUrl(), QDateTime::fromString(entry.createdAt, Qt::ISODate),
        QDateTime::fromString(entry.modifyTime, Qt::ISODate), std::numeric_limits<int>::max(),
        entry.md5Hash.toStdString()));
}

void BuildRecords(benchmark::State& state)
{
    const NoRenderer renderer;
    const auto entries = EntriesLike(SharedWorld(DocumentCount()).ListedDocuments());
    for (auto _ : state) {
        QList<Document> documents;
        documents.reserve(entries.size());
        state.SetIterationTime(SecondsOf([&] {
            for (const auto& entry : entries)
                documents.append(RecordOf(entry));
        }));
    }
}
BENCHMARK(BuildRecords)->Name("refresh-handler/floor")->Apply(OnceByOwnClock);

/// A cloud that holds these documents and answers nothing else.
class OnlyAList : public OrvaneCloudProtocolProxy
{
public:
    explicit OnlyAList(QList<Entry> entries)
        : OrvaneCloudProtocolProxy({}, {})
        , m_entries(std::move(entries))
    {}

    void Answer() { m_onFileList(1, Social::RequestResult::Success, m_entries); }

    void cancelOperation(long long) override {}
    bool loggedIn() override { return true; }
    long long retriveFileList(const FileFieldData&, OnFileList&& onResult) override
    {
        m_onFileList = std::move(onResult);
        return ++m_ticket;
    }
    long long retrievePreview(const QMap<QString, QString>&, OnPreview&&) override { return ++m_ticket; }

private:
    const QList<Entry> m_entries;
    OnFileList m_onFileList;
    long long m_ticket = 0;
};

class NeverRefreshing : public PDF::Settings::ICloudAccountSettings
{
public:
    bool IsAutoRefreshEnabled() override { return false; }
    int GetAutoRefreshInterval() override { return 0; }
};

/// What the handler cannot do without: the records, and three requests for each with their parameters,
/// signals and tickets, of which nothing comes.
void HandleListOfNoClient(benchmark::State& state)
{
    const NoRenderer renderer;
    const auto entries = EntriesLike(SharedWorld(DocumentCount()).ListedDocuments());
    const auto none = std::make_shared<NoFiles>();
    for (auto _ : state) {
        const auto cloud = std::make_shared<OnlyAList>(entries);
        OrvaneCloudManager manager(cloud, none, none, std::make_shared<NeverRefreshing>());
        QList<Document> listed;
        QObject::connect(&manager, &OrvaneCloudManager::RetrievingFilesListFinished,
                         [&](const QList<Document>& documents) { listed = documents; });
        manager.RetrieveFilesList();
        state.SetIterationTime(SecondsOf([&] { cloud->Answer(); }));
        if (listed.size() != entries.size())
            state.SkipWithError("not everything was listed");
    }
}
BENCHMARK(HandleListOfNoClient)->Name("refresh-handler/no-client")->Apply(OnceByOwnClock);

/// The same records, and the requests for their previews straight to the client.
void BuildRecordsAndAskForPreviews(benchmark::State& state)
{
    const NoRenderer renderer;
    using Client = Social::OrvaneCloudProtocol;
    const auto& world = SharedWorld(DocumentCount());
    const auto entries = EntriesLike(world.ListedDocuments());
    Social::OAuth2::AuthInfo authInfo;
    authInfo.cacheFolder = NameOf(NewFolder());
    for (auto _ : state) {
        Client client(authInfo, "file://" + world.Cloud().u8string(), nullptr);
        client.auth({{Client::SSO_TOKEN, QStringLiteral("token")}}, {});
        RunUntil([&] { return client.loggedIn(); });
        std::vector<Document> documents;
        state.SetIterationTime(SecondsOf([&] {
            for (const auto& entry : entries) {
                documents.push_back(RecordOf(entry));
                for (const int edge : kPreviewEdges)
                    client.retrievePreview({{Client::ID, entry.id},
                                            {Client::FILE_PREVIEW_HEIGHT, QString::number(edge)},
                                            {Client::FILE_PREVIEW_WIDTH, QString::number(edge)}},
                                           {});
            }
        }));
    }
}
BENCHMARK(BuildRecordsAndAskForPreviews)->Name("refresh-handler/requests")->Apply(OnceByOwnClock);

} // namespace
} // namespace Orvane::Benchmarks
