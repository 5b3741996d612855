#include "support/EventLoop.h"
#include "support/SampleDocuments.h"
#include "support/Scale.h"

#include <OrvaneCloud/OrvaneCloudManager.h>
#include <OrvaneCloud/OrvaneCloudProtocolProxy.h>

#include <QThread>

/// Start, progress and finish of many downloads, all asked for at once, through the manager and the client,
/// in which the transport has nothing to do; against as many calls queued through Qt.
namespace Orvane::Benchmarks {
namespace {

using namespace PDF::Cloud;

[[nodiscard]] int RequestCount()
{
    return IsQuick() ? 300 : 30'000;
}

class NoRefreshing : public PDF::Settings::ICloudAccountSettings
{
public:
    bool IsAutoRefreshEnabled() override { return false; }
    int GetAutoRefreshInterval() override { return 0; }
};

/// How often each thing has been told.
struct Told
{
    int started = 0;
    int progressed = 0;
    int finished = 0;
};

void Follow(const OrvaneCloudManager& manager, Told& told)
{
    using Manager = OrvaneCloudManager;
    QObject::connect(&manager, &Manager::DownloadingStarted, [&told] { ++told.started; });
    QObject::connect(&manager, &Manager::DownloadingProgressValueChanged, [&told] { ++told.progressed; });
    QObject::connect(&manager, &Manager::DownloadingFinished, [&told] { ++told.finished; });
}

void Download(benchmark::State& state)
{
    const int count = RequestCount();
    const auto none = std::make_shared<NoFiles>();
    const auto client = std::make_shared<OrvaneCloudProtocolProxy>(Social::OAuth2::AuthInfo(), "nothing:");
    OrvaneCloudManager manager(client, none, none, std::make_shared<NoRefreshing>());
    manager.Authorization(QStringLiteral("token"));
    RunUntil([&] { return manager.IsLoggedIn(); });

    for (auto _ : state) {
        Told told;
        Follow(manager, told);
        const auto documents = MakeDocuments(count, 0);
        const QList<Document> list(documents.begin(), documents.end());
        LoopWatch watch;
        Block starting;
        state.SetIterationTime(SecondsOf([&] {
            const BlockWatch start;
            manager.Download(list, QStringLiteral("/nowhere"));
            starting = start.Length();
            watch.Leave(starting);
            RunUntil([&] { return told.finished == count; });
        }));
        state.counters["starting_ms"] = starting.seconds * 1000;
        ReportLongest(state, watch.Longest());
        if (told.started != count || told.progressed != count)
            state.SkipWithError("not everything was told");
        manager.disconnect();
    }
    state.SetItemsProcessed(count);
}
BENCHMARK(Download)->Name("requests/ours")->Apply(OnceByOwnClock);

/// A call queued to another thread for each start, from where one comes back for the progress and one for the
/// finish.
void QueueThreeCalls(benchmark::State& state)
{
    QThread thread;
    QObject worker;
    worker.moveToThread(&thread);
    thread.start();
    for (auto _ : state) {
        QObject caller;
        Told told;
        const auto progress = [&] { ++told.progressed; };
        const auto finish = [&] { ++told.finished; };
        const auto work = [&] {
            QMetaObject::invokeMethod(&caller, progress, Qt::QueuedConnection);
            QMetaObject::invokeMethod(&caller, finish, Qt::QueuedConnection);
        };
        state.SetIterationTime(SecondsOf([&] {
            for (int number = 0; number < RequestCount(); ++number)
                QMetaObject::invokeMethod(&worker, work, Qt::QueuedConnection);
            RunUntil([&] { return told.finished == RequestCount(); });
        }));
    }
    thread.quit();
    thread.wait();
    state.SetItemsProcessed(RequestCount());
}
BENCHMARK(QueueThreeCalls)->Name("requests/floor")->Apply(OnceByOwnClock);

/// The least that a request can be: one call queued on the same thread.
void QueueOneCall(benchmark::State& state)
{
    for (auto _ : state) {
        QObject caller;
        int finished = 0;
        const auto finish = [&] { ++finished; };
        state.SetIterationTime(SecondsOf([&] {
            for (int number = 0; number < RequestCount(); ++number)
                QMetaObject::invokeMethod(&caller, finish, Qt::QueuedConnection);
            RunUntil([&] { return finished == RequestCount(); });
        }));
    }
    state.SetItemsProcessed(RequestCount());
}
BENCHMARK(QueueOneCall)->Name("requests/one-call")->Apply(OnceByOwnClock);

} // namespace
} // namespace Orvane::Benchmarks
