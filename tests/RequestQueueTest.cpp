#include <OrvaneCloudProtocol/DeliveryQueue.h>
#include <OrvaneCloudProtocol/RequestQueue.h>

#include <QTest>

#include <gmock/gmock.h>

#include <future>

namespace Orvane::Social {
namespace {

using testing::ElementsAre;
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

TEST(RequestQueue, StartsTwoTransfersAtOnceAndPreviewsAfterThem)
{
    std::vector<int> started;
    std::map<int, std::promise<void>> ends;
    DeliveryQueue deliveries;
    RequestQueue queue{2, deliveries};
    const auto add = [&](int key, Lane lane) {
        RequestQueue::Task task;
        task.lane = lane;
        task.job = std::make_shared<Job>();
        task.prepare = [&, key]() -> RequestQueue::Work {
            started.push_back(key);
            return [mayEnd = ends[key].get_future().share()](Job& job) {
                while (mayEnd.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
                    job.ThrowIfCanceled();
            };
        };
        task.onEnded = [](const auto&) {};
        queue.Add(key, std::move(task));
    };
    for (const int key : {1, 2, 3, 4})
        add(key, Lane::Transfers);
    add(5, Lane::Previews);
    add(6, Lane::Control);
    EXPECT_THAT(started, ElementsAre(1, 2, 6));
    queue.Remove(3);
    for (const int key : {1, 2, 4})
        ends[key].set_value();
    EXPECT_TRUE(QTest::qWaitFor([&] { return started.size() == 5; }, 60'000));
    EXPECT_THAT(started, ElementsAre(1, 2, 6, 4, 5)) << "and never what was taken back";
}

} // namespace
} // namespace Orvane::Social
