#include "support/HelperStandIn.h"
#include "support/HostileDocuments.h"

#include <OrvaneCloudProtocol/previews/PreviewMaker.h>
#include <OrvaneCloudProtocol/transports/Job.h>

#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace {

using namespace Orvane::Social;
using namespace Orvane::Tests;
using testing::ElementsAre;
namespace fs = std::filesystem;

const std::vector<QSize> kThreeSizes = {{40, 40}, {100, 100}, {191, 191}};

const auto kSizesOfPortrait = ElementsAre(QSize(28, 40), QSize(71, 100), QSize(135, 191));

class PreviewMakerTest : public testing::Test
{
protected:
    PreviewMakerTest() { SetDocument(Documents::Portrait()); }

    void SetDocument(const QByteArray& bytes)
    {
        std::ofstream(m_document, std::ios::binary).write(bytes.constData(), bytes.size());
    }

    std::vector<Preview> Make(PreviewMaker& maker, const std::vector<QSize>& boxes,
                              const QByteArray& version = "1")
    {
        Job job;
        return maker.Make(version, boxes, m_fetch, job);
    }

    std::vector<QSize> SizesOf(const std::vector<Preview>& previews)
    {
        std::vector<QSize> sizes;
        for (const Preview& preview : previews)
            sizes.push_back(std::holds_alternative<QImage>(preview) ? std::get<QImage>(preview).size()
                                                                    : QSize());
        return sizes;
    }

    void RunOnThreads(int count, const std::function<void(int)>& call)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i)
            threads.emplace_back(call, i);
        for (std::thread& thread : threads)
            thread.join();
    }

    const QTemporaryDir m_folder;
    const fs::path m_document = m_folder.path().toStdString() + "/document.pdf";
    const fs::path m_cacheFolder = m_folder.path().toStdString() + "/cache";
    std::atomic<int> m_fetches{0};
    PreviewMaker::FetchFile m_fetch = [this] {
        ++m_fetches;
        return m_document;
    };
    CountedHelper m_helper;
    PreviewMaker m_maker{m_cacheFolder};
};

TEST_F(PreviewMakerTest, AllSizesCostOneRenderingTogetherOrOneByOne)
{
    EXPECT_THAT(SizesOf(Make(m_maker, kThreeSizes)), kSizesOfPortrait);
    for (const QSize& size : kThreeSizes)
        Make(m_maker, {size}, "another");
    EXPECT_EQ(m_helper.Runs(), 2);

    PreviewMaker tomorrow(m_cacheFolder);
    EXPECT_THAT(SizesOf(Make(tomorrow, kThreeSizes)), kSizesOfPortrait);
    EXPECT_THAT(SizesOf(Make(tomorrow, kThreeSizes, "another")), kSizesOfPortrait);
    EXPECT_EQ(m_helper.Runs(), 2);
    EXPECT_EQ(m_fetches, 2);
}

TEST_F(PreviewMakerTest, RendersAgainForALargerSizeOrANewVersion)
{
    Make(m_maker, kThreeSizes);
    EXPECT_THAT(SizesOf(Make(m_maker, {{10, 400}, {400, 400}})), ElementsAre(QSize(10, 14), QSize(283, 400)));
    EXPECT_EQ(m_helper.Runs(), 2);

    SetDocument(Documents::Landscape());
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}}, "2")), ElementsAre(QSize(40, 28)));
    EXPECT_EQ(m_helper.Runs(), 3);
}

TEST_F(PreviewMakerTest, NoSideIsEverZeroOrOutOfProportion)
{
    SetDocument(Documents::Thread());
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}, {1, 1}, {1000000, 1000000}})),
                ElementsAre(QSize(1, 40), QSize(1, 1), QSize(1, 2048)));
}

TEST_F(PreviewMakerTest, RemembersWhatCannotBeShown)
{
    SetDocument(Documents::CutShort());
    const auto previews = Make(m_maker, kThreeSizes);
    ASSERT_EQ(previews.size(), 3U);
    PreviewMaker tomorrow(m_cacheFolder);
    for (const auto& preview : {previews.back(), Make(tomorrow, {{40, 40}}).front()}) {
        EXPECT_EQ(std::get<Failure>(preview).code, FailureCode::InvalidDocument);
        EXPECT_FALSE(std::get<Failure>(preview).detail.isEmpty());
    }
    EXPECT_EQ(m_helper.Runs(), 1);
}

TEST_F(PreviewMakerTest, TriesAgainOnceTheHelperIsInstalled)
{
    {
        const ScopedVariable path("PATH", "/nowhere");
        EXPECT_EQ(std::get<Failure>(Make(m_maker, {{40, 40}}).front()).code, FailureCode::Unsupported);
    }
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}})), ElementsAre(QSize(28, 40)));
}

TEST_F(PreviewMakerTest, PassesOnThatTheFileCouldNotBeFetched)
{
    Job job;
    const auto fail = []() -> fs::path { throw CloudError(FailureCode::Network, QStringLiteral("cut")); };
    EXPECT_THROW(m_maker.Make("1", kThreeSizes, fail, job), CloudError);
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}})), ElementsAre(QSize(28, 40)));
}

TEST_F(PreviewMakerTest, RequestsForOneDocumentAtTheSameTimeShareARendering)
{
    RunOnThreads(4, [this](int) { Make(m_maker, kThreeSizes); });
    EXPECT_EQ(m_helper.Runs(), 1);
}

TEST_F(PreviewMakerTest, RendersTwoDocumentsAtOnceAndNotThree)
{
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    m_fetch = [&] {
        most = std::max<int>(most, ++running);
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // long enough for a third to show
        --running;
        return m_document;
    };
    RunOnThreads(6, [this](int i) { Make(m_maker, kThreeSizes, QByteArray::number(i)); });
    EXPECT_EQ(m_helper.Runs(), 6);
    EXPECT_LE(most, 2);
}

TEST_F(PreviewMakerTest, ACanceledRequestEndsAndIsForgotten)
{
    Job job;
    const auto cancelMeanwhile = [&] {
        job.Cancel();
        return m_document;
    };
    EXPECT_THROW(m_maker.Make("1", kThreeSizes, cancelMeanwhile, job), CloudError);
    EXPECT_THROW(m_maker.Make("1", kThreeSizes, m_fetch, job), CloudError);
    EXPECT_EQ(m_fetches, 0);
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}})), ElementsAre(QSize(28, 40)));
}

TEST_F(PreviewMakerTest, ACanceledRequestDoesNotWaitForItsTurn)
{
    Job waiting;
    m_fetch = [&] {
        std::thread second(
            [&] { EXPECT_THROW(m_maker.Make("1", kThreeSizes, m_fetch, waiting), CloudError); });
        waiting.Cancel();
        second.join();
        return m_document;
    };
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}})), ElementsAre(QSize(28, 40)));
}

TEST_F(PreviewMakerTest, WorksWithoutAUsableCacheFolder)
{
    std::ofstream(m_cacheFolder) << "in the way";
    EXPECT_THAT(SizesOf(Make(m_maker, {{40, 40}})), ElementsAre(QSize(28, 40)));
}

} // namespace
