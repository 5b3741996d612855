#include "support/CloudManagerFixture.h"
#include "support/FakeStorage.h"
#include "support/NestedEventLoop.h"
#include "support/SignalReceiver.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>

#include <QTemporaryDir>

// What receivers of the two managers' signals may do: anything.

namespace Orvane::Tests {
namespace {

using PDF::Cloud::OrvaneCloudFilesManager;
using PDF::Cloud::OrvaneCloudManager;

/// The two managers over fakes, and what their caller holds.
struct World
{
    World()
    {
        Social::Ability::File<Social::OrvaneCloudSharingResult>::FileInfo entry;
        entry.id = "listed"_q;
        protocol->m_entries = {entry};
        protocol->m_answer.id = "answer"_q;
        protocol->m_image = QPixmap(1, 1);
        received.Watch(*manager);
        received.Watch(*list);
    }

    [[nodiscard]] bool IsOver() const { return !manager; }

    void FinishAll(RequestResult result)
    {
        for (std::size_t request = 0; protocol && request < protocol->m_requests.size(); ++request)
            protocol->Finish(request, result);
    }

    Journal journal;
    std::shared_ptr<FakeCloudProtocol> protocol = std::make_shared<FakeCloudProtocol>(journal);
    std::shared_ptr<FakeHashCalculator> hashes = std::make_shared<FakeHashCalculator>(journal);
    std::shared_ptr<FakeFileSystem> files = std::make_shared<FakeFileSystem>(journal);
    std::unique_ptr<OrvaneCloudManager> manager =
        std::make_unique<OrvaneCloudManager>(protocol, hashes, files, std::make_shared<FakeSettings>());
    std::unique_ptr<OrvaneCloudFilesManager> list =
        std::make_unique<OrvaneCloudFilesManager>(std::make_shared<FakeStorage>(journal), files, hashes);
    std::unique_ptr<QStringList> paths = std::make_unique<QStringList>(QStringList{"/a.pdf"_q, "/b.pdf"_q});
    std::unique_ptr<QList<Document>> documents =
        std::make_unique<QList<Document>>(QList<Document>{CloudDocument("a"), CloudDocument("b")});
    SignalReceiver received;
};

/// Everything goes, what the caller has passed and the running callback included.
void DestroyAll(World& world)
{
    world.paths.reset();
    world.documents.reset();
    world.list.reset();
    world.manager.reset();
    world.protocol.reset();
    (void)world.journal.Take();
}

struct Action
{
    const char* name;
    bool isEnd;
    std::function<void(World& world)> act;
};

const Action kActions[] = {
    {"destroy", true, DestroyAll},
    {"destroy in an event loop", true, [](World& world) { RunEventLoop([&] { DestroyAll(world); }); }},
    {"others end in an event loop", false,
     [](World& world) { RunEventLoop([&] { world.FinishAll(kError); }); }},
    {"upload", false,
     [](World& world) {
         world.manager->Upload("/new.pdf"_q);
         world.manager->Upload(world.documents->back());
     }},
    {"download", false, [](World& world) { world.manager->Download(CloudDocument("new"), "/f"_q); }},
    {"refresh", false, [](World& world) { world.manager->RetrieveFilesList(); }},
    {"cancel", false,
     [](World& world) {
         world.manager->CancelUploading(world.paths->front());
         world.manager->CancelDownloading(world.documents->front());
     }},
    {"log out and in", false,
     [](World& world) {
         world.manager->Logout();
         world.protocol->m_isLoggedIn = true;
         world.manager->Authorization("t"_q);
     }},
    {"change the list", false,
     [](World& world) {
         world.list->Add(CloudDocument("new"));
         world.list->Update(world.documents->front());
         world.list->Remove(world.documents->front());
     }},
};

using Step = std::function<void(World& world)>;

/// Each takes what it is given from the caller, and starts one request or two.
const Step kRequests[] = {
    [](World& world) { world.manager->Authorization("t"_q); },
    [](World& world) { world.manager->Upload(world.paths->front()); },
    [](World& world) { world.manager->Upload(*world.paths); },
    [](World& world) { world.manager->Upload(world.documents->front()); },
    [](World& world) { world.manager->Download(world.documents->front(), world.paths->front()); },
    [](World& world) { world.manager->Download(*world.documents, world.paths->front()); },
    [](World& world) { world.manager->RetrieveFilesList(); },
    [](World& world) { world.manager->RemoveFile(world.documents->front()); },
    [](World& world) { world.manager->UserQuota(); },
    [](World& world) {
        world.manager->RetrieveFilePreview(world.documents->front(), PDF::FileInfo::PreviewSize::Small,
                                           {9, 9});
    },
};

void Progress(World& world)
{
    auto& request = world.protocol->m_requests.back();
    if (request.progress)
        request.progress(request.ticket, 50);
}

void FinishLast(World& world, RequestResult result)
{
    world.protocol->Finish(world.protocol->m_requests.size() - 1, result);
}

/// What comes of a request that has started.
const Step kEnds[] = {
    [](World& world) { FinishLast(world, kSuccess); },
    [](World& world) { FinishLast(world, kError); },
    [](World& world) { FinishLast(world, kCanceled); },
    [](World& world) { world.manager->CancelUploading(world.paths->front()); },
    [](World& world) { world.manager->CancelDownloading(world.documents->front()); },
};

/// Runs the steps until the world is over.
void Play(World& world, const std::vector<Step>& steps)
{
    for (const auto& step : steps) {
        if (world.IsOver())
            return;
        step(world);
    }
}

/// Every request with every end, and every change of the list. All 34 signals come of it.
void PlayEverything(World& world)
{
    const auto signOut = [](World& each) { each.manager->Logout(); };
    const auto signIn = [](World& each) { each.protocol->m_isLoggedIn = true; };
    const auto refuseNext = [](World& each) { each.protocol->m_nextTickets = {Social::INVALID_TICKET}; };
    const auto finishOthers = [](World& each) { each.FinishAll(kError); };
    Play(world, {signOut, [](World& each) { each.manager->UserQuota(); }, signIn});
    for (const auto& request : kRequests) {
        Play(world, {refuseNext, request});
        for (const auto& end : kEnds)
            Play(world, {request, Progress, end, finishOthers});
    }
    Play(world, {[](World& each) { each.list->Add(each.documents->front()); },
                 [](World& each) { each.list->Update(each.documents->front()); },
                 [](World& each) { each.list->Remove(each.documents->front()); },
                 [](World& each) { each.FinishAll(kSuccess); }});
}

std::vector<std::string> AllSignals()
{
    std::vector<std::string> signals;
    for (const auto* meta :
         {&PDF::AbstractCloudManager::staticMetaObject, &PDF::AbstractFileManager::staticMetaObject}) {
        for (int index = meta->methodOffset(); index < meta->methodCount(); ++index)
            signals.push_back(meta->method(index).methodSignature().toStdString());
    }
    return signals;
}

class SignalReceiversTest : public testing::TestWithParam<std::string>
{
protected:
    SignalReceiversTest() { qputenv("TMPDIR", m_folder.path().toUtf8()); }
    ~SignalReceiversTest() override { qunsetenv("TMPDIR"); }

private:
    const QTemporaryDir m_folder; // for pictures
};

INSTANTIATE_TEST_SUITE_P(All, SignalReceiversTest, testing::ValuesIn(AllSignals()), [](const auto& signal) {
    auto name = std::to_string(signal.index) + '_' + signal.param.substr(0, signal.param.find('('));
    return name;
});

TEST_P(SignalReceiversTest, MayDoAnythingInside)
{
    for (const auto& action : kActions) {
        SCOPED_TRACE(action.name);
        World world;
        if (action.isEnd) { // such protocols exist
            world.protocol->m_duringCancel = [&](long long ticket) {
                for (std::size_t request = 0; world.protocol && request < world.protocol->m_requests.size();
                     ++request) {
                    if (world.protocol->m_requests[request].ticket == ticket)
                        return world.protocol->Finish(request, kCanceled);
                }
            };
        }
        world.received.ActInside(GetParam(), [&] { action.act(world); });
        PlayEverything(world);
        EXPECT_TRUE(world.received.HasActed());
        if (action.isEnd) {
            EXPECT_THAT(world.journal.Take(), testing::IsEmpty()) << "asked for after the end";
        } else {
            EXPECT_EQ(UnderWay(world.received), 0) << "every request has exactly one end";
            EXPECT_FALSE(world.manager->IsSyncInProgressWithCloud());
        }
    }
}

} // namespace
} // namespace Orvane::Tests
