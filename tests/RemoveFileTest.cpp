#include "support/CloudManagerFixture.h"

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using testing::ElementsAre;
using testing::IsEmpty;

class RemoveFileTest : public CloudManagerFixture
{
protected:
    const Document m_document = Own(CloudDocument("\u00efd"));
};

TEST_F(RemoveFileTest, NullDocumentThrowsAPlainException)
{
    EXPECT_EQ(ThrownBy([this] { m_manager->RemoveFile(Document()); }), typeid(std::exception));
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(RemoveFileTest, SendsOnlyTheIdOfAnyDocument)
{
    m_manager->RemoveFile(m_document);
    m_manager->RemoveFile(DocumentWithoutCloudSide("never uploaded"));
    EXPECT_THAT(Happened(), ElementsAre("deleteFile(ID=\u00efd)", "deleteFile(ID=never uploaded)"));
}

TEST_F(RemoveFileTest, RequestThatDoesNotStartIsReported)
{
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    m_manager->RemoveFile(m_document);
    EXPECT_THAT(Happened(),
                ElementsAre("deleteFile(ID=\u00efd)", "ERROR OrvaneCloudManager.cpp: Remove file failed",
                            "RemovingFileError(own \u00efd, Remove file failed)"));
}

TEST_F(RemoveFileTest, SuccessIsFollowedByTheQuota)
{
    m_manager->RemoveFile(m_document);
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RemoveFileFinished(own \u00efd)",
                                                    "RetrievingUserQuotaStarted()", "userQuota()"));

    m_manager->RemoveFile(m_document);
    m_protocol->m_isLoggedIn = false;
    EXPECT_THAT(WhenAnswered(kSuccess),
                ElementsAre("RemoveFileFinished(own \u00efd)", "AuthorizationRequired()"));
    m_protocol->m_isLoggedIn = true;

    MakeOverridingManager().OrvaneCloudManager::RemoveFile(m_document);
    EXPECT_THAT(WhenAnswered(kSuccess), ElementsAre("RemoveFileFinished(own \u00efd)", "own UserQuota()"));
}

TEST_F(RemoveFileTest, EveryOtherResultIsAnError)
{
    for (const auto result : {kError, kCanceled, kUnknownResult, static_cast<RequestResult>(-1)}) {
        m_manager->RemoveFile(m_document);
        EXPECT_THAT(WhenAnswered(result), ElementsAre("ERROR OrvaneCloudManager.cpp: Remove file error",
                                                      "RemovingFileError(own \u00efd, Remove file error)"));
    }
}

} // namespace
