#include "support/CloudManagerFixture.h"

#include <QDir>
#include <QImageReader>
#include <QTemporaryDir>

namespace {

using namespace Orvane;
using namespace Orvane::Tests;
using PDF::FileInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using PreviewSize = FileInfo::PreviewSize;

class PreviewTest : public CloudManagerFixture
{
protected:
    PreviewTest()
    {
        qputenv("TMPDIR", m_folder.path().toUtf8());
        ShowColor(Qt::red);
    }

    ~PreviewTest() override { qunsetenv("TMPDIR"); }

    void ShowColor(Qt::GlobalColor color)
    {
        m_protocol->m_image = QPixmap(100, 40);
        m_protocol->m_image.fill(color);
    }

    void Request(PreviewSize size = PreviewSize::Medium)
    {
        m_manager->RetrieveFilePreview(m_document, size, {100, 40});
    }

    Events AnswerWith(RequestResult result)
    {
        Request();
        return WhenAnswered(result);
    }

    const QTemporaryDir m_folder;
    const Document m_document = Own(CloudDocument("\u00efd"));
    const Document m_outside = Own(DocumentWithoutCloudSide("abc"));
    const std::string m_cannotSave = "Cannot save preview for: \u00efd with size: Medium";
};

TEST_F(PreviewTest, SlotAndPixelsAreIndependent)
{
    const std::string call = "retrievePreview(FILE_PREVIEW_HEIGHT=40, FILE_PREVIEW_WIDTH=100, ID=\u00efd)";
    Request(PreviewSize::Small);
    Request(PreviewSize::Large);
    EXPECT_THAT(Happened(), ElementsAre("RetrieveFilePreviewStarted(own \u00efd, Small)", call,
                                        "RetrieveFilePreviewStarted(own \u00efd, Large)", call));
}

TEST_F(PreviewTest, DocumentsThatAreNotInTheCloudAreRefused)
{
    const std::string refusal = "Can`t retrieving preview for not upload files";
    m_manager->RetrieveFilePreview(m_outside, PreviewSize::Large, {1, 1});
    EXPECT_THAT(Happened(), ElementsAre("ERROR OrvaneCloudManager.cpp: " + refusal,
                                        "RetrieveFilePreviewError(own abc, Large, " + refusal + ")"));
    // There is nothing that a signal could carry.
    m_manager->RetrieveFilePreview(nullptr, PreviewSize::Small, {1, 1});
    EXPECT_THAT(Happened(), ElementsAre("ERROR OrvaneCloudManager.cpp: Retrieve file preview failed"));
}

TEST_F(PreviewTest, FailuresAreReported)
{
    m_protocol->m_nextTickets = {Social::INVALID_TICKET};
    Request();
    const auto events = Happened();
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(events[2], "ERROR OrvaneCloudManager.cpp: Retrieve file preview failed");
    EXPECT_EQ(events[3], "RetrieveFilePreviewError(own \u00efd, Medium, Retrieve file preview failed)");

    EXPECT_THAT(AnswerWith(kError),
                ElementsAre("ERROR OrvaneCloudManager.cpp: Retrieving file preview error",
                            "RetrieveFilePreviewError(own \u00efd, Medium, Retrieving file preview error)"));
    EXPECT_THAT(AnswerWith(kCanceled),
                ElementsAre("INFO OrvaneCloudManager.cpp: Retrieving file preview canceled",
                            "RetrieveFilePreviewCanceled(own \u00efd)"));
    EXPECT_THAT(AnswerWith(kUnknownResult), IsEmpty());
    EXPECT_TRUE(m_document->GetPreviewsSet().empty());
}

TEST_F(PreviewTest, ImageIsStoredAsPngAndRecordedOnceForEachSize)
{
    const auto path = m_folder.path() + "/\u00efd_Medium.png"_q;
    m_signals.m_duringSignal = [this] { // the path is there when the news comes
        EXPECT_EQ(m_document->GetPreviewsSet().count(PreviewSize::Medium), m_signals.m_documents.size() / 2);
    };
    for (const auto color : {Qt::red, Qt::blue}) {
        ShowColor(color);
        EXPECT_THAT(AnswerWith(kSuccess), ElementsAre("RetrieveFilePreviewFinished(own \u00efd, Medium)"));
        QImageReader reader(path);
        EXPECT_EQ(reader.format(), "png");
        const auto image = reader.read();
        EXPECT_EQ(image.size(), QSize(100, 40));
        EXPECT_EQ(image.pixelColor(50, 20), QColor(color));
        m_signals.m_duringSignal = [] {};
    }
    const FileInfo::PreviewsSet expected = {{PreviewSize::Medium, ioPath(path.toStdString())}};
    EXPECT_EQ(m_document->GetCloudInfo()->GetPreviewsSet(), expected);
}

TEST_F(PreviewTest, ImageThatCannotBeSavedLeavesTheDocumentAlone)
{
    const Events failure = {"ERROR OrvaneCloudManager.cpp: " + m_cannotSave,
                            "RetrieveFilePreviewError(own \u00efd, Medium, " + m_cannotSave + ")"};
    ASSERT_TRUE(QDir(m_folder.path()).mkdir("\u00efd_Medium.png"_q));
    EXPECT_EQ(AnswerWith(kSuccess), failure) << "a folder is in the way";
    ASSERT_TRUE(QDir(m_folder.path()).rmdir("\u00efd_Medium.png"_q));
    m_protocol->m_image = QPixmap();
    EXPECT_EQ(AnswerWith(kSuccess), failure) << "null image";
    EXPECT_TRUE(m_document->GetPreviewsSet().empty());

    ShowColor(Qt::red);
    Request();
    m_document->GetRedactableCloudInfo().reset();
    EXPECT_EQ(WhenAnswered(kSuccess), failure) << "no cloud side any more";
    EXPECT_TRUE(m_document->GetPreviewsSet().empty());
}

} // namespace
