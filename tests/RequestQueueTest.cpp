#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <OrvaneCloudProtocol/RequestQueue.h>

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

namespace Orvane::Social {
namespace {

using testing::ElementsAre;

constexpr int kLongMilliseconds = 60'000;

TEST(DeliveryQueue, KeepsTheOrderOfEachThreadAndDeliversOnItsOwn)
{
    DeliveryQueue queue;
    std::vector<int> delivered;
    std::thread worker([&] {
        for (int number = 0; number < 1000; ++number)
            queue.Post([&delivered, number] { delivered.push_back(number); });
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivered.size() == 1000; }, kLongMilliseconds));
    worker.join();
    EXPECT_TRUE(std::is_sorted(delivered.begin(), delivered.end()));
}

TEST(DeliveryQueue, LetsTheEventLoopTurnBetweenSlices)
{
    DeliveryQueue queue;
    int delivered = 0;
    for (int number = 0; number < 100; ++number) {
        queue.Post([&delivered] {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            ++delivered;
        });
    }
    int turns = 0;
    QTimer other;
    QObject::connect(&other, &QTimer::timeout, [&turns] { ++turns; });
    other.start(0);
    ASSERT_TRUE(QTest::qWaitFor([&] { return delivered == 100; }, kLongMilliseconds));
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
    EXPECT_TRUE(QTest::qWaitFor([&] { return isOver; }, kLongMilliseconds));
}

TEST(DeliveryQueue, MayBeDeletedByADelivery)
{
    auto* queue = new DeliveryQueue;
    bool isDeleted = false;
    queue->Post([&] {
        delete queue;
        isDeleted = true;
    });
    queue->Post([] { ADD_FAILURE() << "delivered by a queue that is gone"; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return isDeleted; }, kLongMilliseconds));
    QTest::qWait(20);
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
            return [mayEnd = End(key)](Job& job) {
                while (mayEnd.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
                    job.ThrowIfCanceled();
            };
        };
        task.onEnded = [this, key](const auto& failure) { ended.emplace_back(key, !failure); };
        queue->Add(key, std::move(task));
    }

    std::shared_future<void> End(long long key) { return ends[key].get_future().share(); }

    void LetEnd(long long key)
    {
        const auto count = ended.size();
        ends[key].set_value();
        ASSERT_TRUE(QTest::qWaitFor([&] { return ended.size() > count; }, kLongMilliseconds));
    }

    std::vector<long long> started;
    std::vector<std::pair<long long, bool>> ended;
    std::map<long long, std::promise<void>> ends;
    DeliveryQueue deliveries;
    std::unique_ptr<RequestQueue> queue = std::make_unique<RequestQueue>(2, deliveries);
};

TEST_F(RequestQueueTest, StartsTwoOfALaneAndTheNextInOrder)
{
    for (const long long key : {1, 2, 3, 4})
        Add(key, Lane::Transfers);
    EXPECT_THAT(started, ElementsAre(1, 2));
    Add(5, Lane::Control);
    EXPECT_THAT(started, ElementsAre(1, 2, 5));
    LetEnd(2);
    EXPECT_THAT(started, ElementsAre(1, 2, 5, 3));
    EXPECT_THAT(ended, ElementsAre(std::pair(2LL, true)));
}

TEST_F(RequestQueueTest, HoldsPreviewsBackWhileTransfersWaitOrRun)
{
    for (const long long key : {1, 2, 3})
        Add(key, Lane::Transfers);
    Add(4, Lane::Previews);
    LetEnd(1);
    LetEnd(2);
    EXPECT_THAT(started, ElementsAre(1, 2, 3));
    LetEnd(3);
    EXPECT_THAT(started, ElementsAre(1, 2, 3, 4));
}

TEST_F(RequestQueueTest, KeepsThePlaceOfACancelledTaskUntilItsWorkerHasEnded)
{
    for (const long long key : {1, 2, 3})
        Add(key, Lane::Transfers);
    queue->Remove(1);
    EXPECT_THAT(started, ElementsAre(1, 2));
    ASSERT_TRUE(QTest::qWaitFor([&] { return started.size() == 3; }, kLongMilliseconds));
    EXPECT_TRUE(ended.empty());
}

TEST_F(RequestQueueTest, NeverStartsWhatWasTakenBack)
{
    for (const long long key : {1, 2, 3, 4})
        Add(key, Lane::Transfers);
    queue->Remove(3);
    LetEnd(1);
    EXPECT_THAT(started, ElementsAre(1, 2, 4));
}

TEST_F(RequestQueueTest, EndsItsWorkBeforeItGoes)
{
    Add(1, Lane::Transfers);
    Add(2, Lane::Transfers);
    queue.reset();
    QTest::qWait(20);
    EXPECT_TRUE(ended.empty());
}

} // namespace
} // namespace Orvane::Social
