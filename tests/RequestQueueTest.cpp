#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <OrvaneCloudProtocol/RequestQueue.h>

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>

#include <future>
#include <thread>

namespace Orvane::Social {
namespace {

using testing::ElementsAre;

bool WaitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 60'000);
}

TEST(DeliveryQueue, KeepsTheOrderAndLetsTheEventLoopTurnBetweenSlices)
{
    DeliveryQueue queue;
    std::vector<int> delivered;
    std::thread([&] {
        for (int number = 0; number < 100; ++number)
            queue.Post([&delivered, number] {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                delivered.push_back(number);
            });
    }).join();
    int turns = 0;
    QTimer other;
    QObject::connect(&other, &QTimer::timeout, [&turns] { ++turns; });
    other.start(0);
    ASSERT_TRUE(WaitFor([&] { return delivered.size() == 100; }));
    EXPECT_TRUE(std::is_sorted(delivered.begin(), delivered.end()));
    EXPECT_GT(turns, 10);
}

TEST(DeliveryQueue, DeliversOnWhileOneDeliveryRunsAnEventLoop)
{
    DeliveryQueue queue;
    QEventLoop loop;
    bool isOver = false;
    queue.Post([&] {
        loop.exec();
        isOver = true;
    });
    queue.Post([&] { loop.quit(); });
    EXPECT_TRUE(WaitFor([&] { return isOver; }));
}

/// A queue whose tasks run until they are told to end.
class RequestQueueTest : public testing::Test
{
protected:
    using Lane = RequestQueue::Lane;

    void Add(long long key, Lane lane)
    {
        RequestQueue::Task task;
        task.lane = lane;
        task.job = std::make_shared<Job>();
        task.prepare = [this, key]() -> RequestQueue::Work {
            started.push_back(key);
            return [mayEnd = ends[key].get_future().share()](Job& job) {
                while (mayEnd.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
                    job.ThrowIfCanceled();
            };
        };
        task.onEnded = [this, key](const auto&) { ended.push_back(key); };
        queue.Add(key, std::move(task));
    }

    void LetEnd(long long key)
    {
        ends[key].set_value();
        ASSERT_TRUE(WaitFor([&] { return !ended.empty() && ended.back() == key; }));
    }

    std::vector<long long> started;
    std::vector<long long> ended;
    std::map<long long, std::promise<void>> ends;
    DeliveryQueue deliveries;
    RequestQueue queue{2, deliveries};
};

TEST_F(RequestQueueTest, StartsTwoTransfersAtOnceAndPreviewsAfterThem)
{
    for (const long long key : {1, 2, 3, 4})
        Add(key, Lane::Transfers);
    Add(5, Lane::Previews);
    EXPECT_THAT(started, ElementsAre(1, 2));
    Add(6, Lane::Control);
    EXPECT_THAT(started, ElementsAre(1, 2, 6));
    queue.Remove(3);
    LetEnd(2);
    EXPECT_THAT(started, ElementsAre(1, 2, 6, 4)) << "and never what was taken back";
    LetEnd(1);
    EXPECT_THAT(started, ElementsAre(1, 2, 6, 4));
    LetEnd(4);
    EXPECT_THAT(started, ElementsAre(1, 2, 6, 4, 5));
}

TEST_F(RequestQueueTest, KeepsThePlaceOfACancelledTaskUntilItsWorkerHasEnded)
{
    for (const long long key : {1, 2, 3})
        Add(key, Lane::Transfers);
    queue.Remove(1);
    EXPECT_THAT(started, ElementsAre(1, 2));
    ASSERT_TRUE(WaitFor([&] { return started.size() == 3; }));
    EXPECT_TRUE(ended.empty());
}

} // namespace
} // namespace Orvane::Social
