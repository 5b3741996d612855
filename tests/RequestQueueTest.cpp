#include "support/NoThreads.h"

#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <OrvaneCloudProtocol/RequestQueue.h>

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>

#include <future>

namespace Orvane::Social {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;
using Lane = RequestQueue::Lane;

TEST(DeliveryQueue, DeliversOnWhileOneDeliveryRunsAnEventLoop)
{
    DeliveryQueue queue;
    bool isDelivered = false;
    bool isOver = false;
    queue.Post([&] { isOver = QTest::qWaitFor([&] { return isDelivered; }, 60'000); });
    queue.Post([&] { isDelivered = true; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return isOver; }, 60'000));
}

TEST(DeliveryQueue, LetsOtherEventsInBetweenWhenMuchIsToBeDelivered)
{
    DeliveryQueue queue;
    QElapsedTimer time;
    int delivered = 0;
    int turns = 0;
    QTimer others;
    QObject::connect(&others, &QTimer::timeout, [&] { turns += delivered < 20 ? 1 : 0; });
    others.start(0);
    for (int number = 0; number < 20; ++number) {
        queue.Post([&] {
            for (time.start(); time.nsecsElapsed() < 2'000'000;) {
            }
            ++delivered;
        });
    }
    EXPECT_TRUE(QTest::qWaitFor([&] { return delivered == 20; }, 60'000));
    EXPECT_GE(turns, 5) << "all in one go";
}

class RequestQueueTest : public testing::Test
{
protected:
    void Add(int key, Lane lane)
    {
        const auto task = std::make_shared<RequestQueue::Task>(key, lane);
        task->work = [this, key, mayEnd = ends[key].get_future().share()](Job& job) {
            {
                const std::lock_guard lock(mutex);
                started.push_back(key);
            }
            while (mayEnd.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
                job.ThrowIfCanceled();
        };
        task->onEnded = [this, key](const auto& failure) {
            ended.push_back(key);
            failures.push_back(failure ? failure->code : FailureCode::InvalidRequest);
        };
        queue.Add(task);
    }

    bool WaitForEnds(std::size_t count)
    {
        return QTest::qWaitFor([&] { return ended.size() >= count; }, 60'000);
    }

    void End(int key) { ends[key].set_value(); }

    /// Waits until so many have started, for the keys of all that have.
    std::vector<int> Started(std::size_t count)
    {
        const auto soFar = [this] {
            const std::lock_guard lock(mutex);
            return started;
        };
        EXPECT_TRUE(QTest::qWaitFor([&] { return soFar().size() >= count; }, 60'000));
        return soFar();
    }

    std::mutex mutex;
    std::vector<int> started;
    std::vector<int> ended;
    std::vector<FailureCode> failures; ///< of those; InvalidRequest stands for none
    std::map<int, std::promise<void>> ends;
    DeliveryQueue deliveries;
    RequestQueue queue{2, deliveries};
};

TEST_F(RequestQueueTest, RunsTwoTransfersAtOnceAndPreviewsAfterThem)
{
    for (const int key : {1, 2, 3, 4})
        Add(key, Lane::Transfers);
    Add(5, Lane::Previews);
    Add(7, Lane::Previews);
    Add(6, Lane::Control);
    EXPECT_THAT(Started(3), UnorderedElementsAre(1, 2, 6));
    queue.Remove(3);
    End(1);
    EXPECT_EQ(Started(4).back(), 4) << "and never what was taken back";
    End(4);
    End(2);
    EXPECT_THAT(Started(6), IsSupersetOf({5, 7})) << "both at once";
    queue.Remove(5);
    queue.Cancel(6);
    End(7);
    EXPECT_TRUE(WaitForEnds(5));
    EXPECT_THAT(ended, UnorderedElementsAre(1, 4, 2, 6, 7));
}

TEST_F(RequestQueueTest, WithoutThreadsTasksFailAndWithOneItDoesTheWorkOfAll)
{
    auto noThreads = std::make_optional<Testing::NoThreads>();
    Add(1, Lane::Control);
    Add(2, Lane::Transfers);
    ASSERT_TRUE(WaitForEnds(2));
    EXPECT_THAT(failures, testing::Each(FailureCode::OutOfResources));
    noThreads.reset();
    Add(3, Lane::Transfers);
    EXPECT_THAT(Started(1), ElementsAre(3));
    noThreads.emplace();
    for (const auto& [key, lane] : {std::pair(4, Lane::Control), std::pair(5, Lane::Previews)}) {
        Add(key, lane);
        End(key);
    }
    End(3);
    ASSERT_TRUE(WaitForEnds(5));
    EXPECT_THAT(started, ElementsAre(3, 4, 5));
    EXPECT_EQ(failures.back(), FailureCode::InvalidRequest);
}

} // namespace
} // namespace Orvane::Social
