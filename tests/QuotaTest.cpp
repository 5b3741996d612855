#include "support/CloudManagerFixture.h"

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using testing::ElementsAre;
using testing::IsEmpty;

class QuotaTest : public CloudManagerFixture
{
protected:
    Events AnswerWith(RequestResult result)
    {
        m_manager->UserQuota();
        return WhenAnswered(result);
    }
};

TEST_F(QuotaTest, FiguresKeepTheirLow32Bits)
{
    EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrievingUserQuotaFinished(0, 0)")) << "no entry";
    m_protocol->m_quota["PDF"_q] = {1, 2};
    EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrievingUserQuotaFinished(0, 0)")) << "another entry";

    const std::vector<std::pair<qint64, std::string>> figures = {
        {3, "3"},
        {-1, "-1"},
        {(1LL << 32) + 7, "7"},
        {1LL << 31, "-2147483648"},
        {3LL << 30, "-1073741824"},
        {(1LL << 31) - 1, "2147483647"},
        {-(1LL << 40) - 5, "-5"},
    };
    for (const auto& [figure, text] : figures) {
        m_protocol->m_quota["pdf"_q] = {figure, 10};
        EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrievingUserQuotaFinished(" + text + ", 10)"));
        m_protocol->m_quota["pdf"_q] = {10, figure};
        EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrievingUserQuotaFinished(10, " + text + ")"));
    }
}

TEST_F(QuotaTest, EveryCallAsksAnewAlsoDuringATransfer)
{
    m_manager->Upload("/a.pdf"_q);
    EXPECT_THAT(During([this] {
                    m_manager->UserQuota();
                    m_manager->UserQuota();
                }),
                ElementsAre("RetrievingUserQuotaStarted()", "userQuota()", "RetrievingUserQuotaStarted()",
                            "userQuota()"));
    EXPECT_THAT(During([this] {
                    m_protocol->Finish(2, kSuccess);
                    m_protocol->Finish(1, kSuccess);
                }),
                ElementsAre("RetrievingUserQuotaFinished(0, 0)", "RetrievingUserQuotaFinished(0, 0)"));
}

TEST_F(QuotaTest, FailuresAreReported)
{
    const std::string notStarted = "Retrieve user quota information failed";
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    m_manager->UserQuota();
    EXPECT_THAT(Happened(), ElementsAre("RetrievingUserQuotaStarted()", "userQuota()",
                                        "ERROR OrvaneCloudManager.cpp: " + notStarted,
                                        "RetrievingUserQuotaErrorRequested(" + notStarted + ")"));
    m_protocol->m_quota["pdf"_q] = {1, 2};
    EXPECT_THAT(AnswerWith(kError),
                ElementsAre("ERROR OrvaneCloudManager.cpp: User quota request error",
                            "RetrievingUserQuotaErrorRequested(User quota request error)"));
    EXPECT_THAT(AnswerWith(kCanceled), ElementsAre("INFO OrvaneCloudManager.cpp: User quota request canceled",
                                                   "RetrievingUserQuotaCanceled()"));
    EXPECT_THAT(AnswerWith(kUnknownResult), IsEmpty());
}

} // namespace
