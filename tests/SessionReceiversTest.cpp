#include "support/CloudSessionFixture.h"
#include "support/NestedEventLoop.h"
#include "support/PdfSamples.h"
#include "support/SignalReceiver.h"

// What receivers of the signals of a session, its manager and its list may do: anything.

namespace Orvane::Tests {
namespace {

class SessionReceiversTest;

struct Action
{
    const char* name;
    std::function<void(SessionReceiversTest& test)> act;
};

/// A signal, and what it comes of.
struct Case
{
    const char* signal;
    const char* name;
    void (SessionReceiversTest::*play)();

    friend std::ostream& operator<<(std::ostream& stream, const Case& each) { return stream << each.name; }
};

class SessionReceiversTest : public CloudSessionFixture, public testing::WithParamInterface<Case>
{
public:
    void Upload() { m_session->Cloud().Upload(m_local); }

    void SigningIn()
    {
        Arm();
        SignIn();
    }

    void SigningInWhileTheCloudIsAway()
    {
        TakeCloudAway();
        Arm();
        Do([this] { m_session->SignIn(); }, "AuthorizationFailed(");
    }

    void AskingWhileSignedOut()
    {
        Arm();
        Do([this] { m_session->Cloud().UserQuota(); }, "AuthorizationRequired(");
    }

    void SigningOut()
    {
        SigningIn();
        Do([this] { m_session->Cloud().Logout(); }, "LoggedOut(");
    }

    void Uploading()
    {
        SignIn();
        Arm();
        Do([this] { Upload(); }, "UploadingFinished(");
    }

    void UploadingWhatIsNotThere()
    {
        SignIn();
        Arm();
        Do([this] { m_session->Cloud().Upload(LocalPath(QStringLiteral("none.pdf"))); },
           "UploadingFileRequestError(");
    }

    void CancellingAnUpload()
    {
        SignIn();
        Arm();
        Do(
            [this] {
                Upload();
                m_session->Cloud().CancelUploading(m_local);
            },
            "UploadingCanceled(");
    }

    void Downloading()
    {
        HaveDocuments();
        Arm();
        Do([this] { Download("a.pdf", LocalPath({})); }, "DownloadingFinished(");
    }

    void DownloadingToNowhere()
    {
        HaveDocuments();
        Arm();
        Do([this] { Download("a.pdf", LocalPath(QStringLiteral("missing"))); },
           "DownloadingFileRequestError(");
    }

    void CancellingADownload()
    {
        HaveDocuments();
        Arm();
        Do(
            [this] {
                Download("a.pdf", LocalPath({}));
                if (m_session)
                    m_session->CancelDownload(QStringLiteral("a.pdf"));
            },
            "DownloadingCanceled(");
    }

    /// The local copy of another document goes with it.
    void DownloadingOverAnother()
    {
        HaveDocuments();
        Do([this] { Download("b.pdf", LocalPath({})); }, "DownloadingFinished(");
        Arm();
        Do([this] { Download("a.pdf", LocalPath({})); }, "FileRemoved(");
    }

    void Refreshing()
    {
        SignIn();
        PutDocuments();
        Arm();
        Refresh();
    }

    void RefreshingWhatHasChanged()
    {
        HaveDocuments();
        PutDocuments("changed");
        Arm();
        Refresh();
    }

    void RefreshingWhatHasGone()
    {
        HaveDocuments();
        for (const char* name : {"a.pdf", "b.pdf"})
            QFile::remove(CloudPath(QString::fromLatin1(name)));
        Arm();
        Refresh();
    }

    void AskingWhileTheCloudIsAway()
    {
        SignIn();
        TakeCloudAway();
        Arm();
        Do(
            [this] {
                m_session->Cloud().RetrieveFilesList();
                if (!m_isOver)
                    m_session->Cloud().UserQuota();
            },
            "RetrievingUserQuotaErrorRequested(");
    }

    void Removing()
    {
        HaveDocuments();
        Arm();
        Do([this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); }, "RemoveFileFinished(");
    }

    void RemovingWhatHasChanged()
    {
        HaveDocuments();
        PutDocuments("changed");
        Arm();
        Do([this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); }, "RemovingFileError(");
    }

    // What the actions do.

    void Destroy()
    {
        m_isOver = true;
        m_session.reset();
        ExpectNothingLeft();
    }

    void Close()
    {
        m_isOver = true;
        EXPECT_EQ(m_session->Close(), QString());
        ExpectNothingLeft();
    }

    void LetOthersEnd()
    {
        if (!m_session->Cloud().IsLoggedIn())
            return;
        const auto ended = [this] {
            return m_received->Count("UploadingFinished(") + m_received->Count("UploadingFileRequestError(");
        };
        const int before = ended();
        m_session->Cloud().Upload(m_other);
        EXPECT_TRUE(QTest::qWaitFor([&] { return ended() > before; }, kLongEnough));
    }

    void UploadOther() { m_session->Cloud().Upload(m_other); }
    void DownloadAll()
    {
        QList<std::shared_ptr<FileInfo>> documents;
        for (int row = 0; row < m_session->Documents().FilesCount(); ++row)
            documents.append(m_session->Documents().GetFileInfo(m_session->Documents().GetDocumentId(row)));
        m_session->Cloud().Download(documents, m_root.path());
    }
    void RefreshAgain() { m_session->Cloud().RetrieveFilesList(); }
    void CancelAll()
    {
        m_session->Cloud().CancelUploading(m_local);
        m_session->CancelDownload(QStringLiteral("a.pdf"));
    }

protected:
    void Begin()
    {
        m_session.reset();
        for (const char* folder : {"cloud", "local", "data", "elsewhere"})
            QDir(m_root.filePath(QString::fromLatin1(folder))).removeRecursively();
        for (const char* folder : {"cloud", "local"})
            QDir(m_root.path()).mkdir(QString::fromLatin1(folder));
        Write(m_local, "mine");
        Write(m_other, "another");
        Open();
        m_isOver = false;
        m_received = std::make_unique<SignalReceiver>();
        m_received->Watch(m_session->Cloud());
        m_received->Watch(m_session->Documents());
        m_received->Watch(*m_session);
    }

    /// Does something, and waits for that signal, or for the action's chance, and until nothing is under way.
    void Do(const std::function<void()>& step, const char* until)
    {
        if (m_isOver)
            return;
        const int before = m_received->Count(until);
        step();
        const auto isDone = [&] {
            return m_isOver || ((m_received->Count(until) > before || m_received->HasActed()) && IsQuiet());
        };
        EXPECT_TRUE(QTest::qWaitFor(isDone, kLongEnough)) << until << ' ' << UnderWay(*m_received);
    }

    [[nodiscard]] bool IsQuiet() const
    {
        return UnderWay(*m_received) == 0 &&
               m_received->Count("DocumentsRefreshed(") == m_received->Count("RetrievingFilesListFinished(");
    }

    void ExpectNobodyIsSyncing() const
    {
        for (int row = 0; row < m_session->Documents().FilesCount(); ++row)
            EXPECT_NE(FileInfo::CloudStatus(m_session->Documents().GetDocumentState(row)),
                      FileInfo::CloudStatus::Syncing);
    }

    std::function<void()> m_action;
    std::unique_ptr<SignalReceiver> m_received;
    bool m_isOver = false;

private:
    void Arm()
    {
        if (!m_isOver && !m_received->HasActed())
            m_received->ActInside(GetParam().signal, m_action);
    }

    void SignIn()
    {
        Do([this] { m_session->SignIn(); }, "AuthorizationCompleted(");
    }

    void Refresh()
    {
        Do([this] { m_session->Cloud().RetrieveFilesList(); }, "PreviewsSettled(");
    }

    void Download(const char* id, const QString& folder)
    {
        m_session->Download(QString::fromLatin1(id),
                            {folder, PDF::Cloud::ExistingFile::Replace, QStringLiteral("copy.pdf")});
    }

    /// One that has a picture, and one that has none.
    void PutDocuments(const QByteArray& content = "content")
    {
        Write(CloudPath(QStringLiteral("a.pdf")), OnePagePdf(100, 100, content));
        Write(CloudPath(QStringLiteral("b.pdf")), content);
    }

    void HaveDocuments()
    {
        SignIn();
        PutDocuments();
        Refresh();
    }

    void TakeCloudAway()
    {
        if (!m_isOver)
            QDir(m_root.path()).rename(QStringLiteral("cloud"), QStringLiteral("elsewhere"));
    }

    /// The list can be opened again at once, and no part of a file is left.
    void ExpectNothingLeft()
    {
        EXPECT_NO_THROW(CloudSession another(m_setup));
        for (const auto& file : QDir(LocalPath({})).entryList(QDir::Files | QDir::Hidden))
            EXPECT_FALSE(file.startsWith(QLatin1Char('.'))) << file.toStdString();
    }

    const QString m_local = LocalPath(QStringLiteral("local.pdf"));
    const QString m_other = LocalPath(QStringLiteral("other.pdf"));
};

const Action kActions[] = {
    {"destroy", [](auto& test) { test.Destroy(); }},
    {"destroy in an event loop", [](auto& test) { RunEventLoop([&] { test.Destroy(); }); }},
    {"close", [](auto& test) { test.Close(); }},
    {"others end in an event loop", [](auto& test) { test.LetOthersEnd(); }},
    {"upload", [](auto& test) { test.UploadOther(); }},
    {"download", [](auto& test) { test.DownloadAll(); }},
    {"refresh", [](auto& test) { test.RefreshAgain(); }},
    {"cancel", [](auto& test) { test.CancelAll(); }},
};

using Test = SessionReceiversTest;

#define ORVANE_CASE(signal, play)                                                                            \
    {                                                                                                        \
        signal, #play, &Test::play                                                                           \
    }

const Case kCases[] = {
    ORVANE_CASE("AuthorizationRequired(", AskingWhileSignedOut),
    ORVANE_CASE("AuthorizationCompleted(", SigningIn),
    ORVANE_CASE("AuthorizationFailed(", SigningInWhileTheCloudIsAway),
    ORVANE_CASE("LoggedOut(", SigningOut),
    ORVANE_CASE("UploadingStarted(", Uploading),
    ORVANE_CASE("UploadingProgressValueChanged(", Uploading),
    ORVANE_CASE("UploadingFinished(", Uploading),
    ORVANE_CASE("FileAdded(std", Uploading),
    ORVANE_CASE("RetrievingUserQuotaStarted(", Uploading),
    ORVANE_CASE("RetrievingUserQuotaFinished(", Uploading),
    ORVANE_CASE("UploadingFileRequestError(", UploadingWhatIsNotThere),
    ORVANE_CASE("RemovingFileError(", UploadingWhatIsNotThere),
    ORVANE_CASE("OperationFailed(", UploadingWhatIsNotThere),
    ORVANE_CASE("UploadingCanceled(", CancellingAnUpload),
    ORVANE_CASE("DownloadingStarted(", Downloading),
    ORVANE_CASE("DownloadingProgressValueChanged(", Downloading),
    ORVANE_CASE("DownloadingFinished(", Downloading),
    ORVANE_CASE("FileUpdated(std", Downloading),
    ORVANE_CASE("FileUpdated(int", Downloading),
    ORVANE_CASE("FileRemoved(std", DownloadingOverAnother),
    ORVANE_CASE("FileAdded(std", DownloadingOverAnother),
    ORVANE_CASE("DownloadingFileRequestError(", DownloadingToNowhere),
    ORVANE_CASE("DownloadingCanceled(", CancellingADownload),
    ORVANE_CASE("RetrievingFilesListStarted(", Refreshing),
    ORVANE_CASE("RetrievingFilesListFinished(", Refreshing),
    ORVANE_CASE("RetrieveFilePreviewStarted(", Refreshing),
    ORVANE_CASE("RetrieveFilePreviewFinished(", Refreshing),
    ORVANE_CASE("RetrieveFilePreviewError(", Refreshing),
    ORVANE_CASE("FileAdded(std", Refreshing),
    ORVANE_CASE("FileAdded()", Refreshing),
    ORVANE_CASE("DocumentsRefreshed(", Refreshing),
    ORVANE_CASE("PreviewsSettled(", Refreshing),
    ORVANE_CASE("FileUpdated(std", RefreshingWhatHasChanged),
    ORVANE_CASE("FileRemoved(std", RefreshingWhatHasGone),
    ORVANE_CASE("FileRemoved()", RefreshingWhatHasGone),
    ORVANE_CASE("RetrievingFilesListErrorRequested(", AskingWhileTheCloudIsAway),
    ORVANE_CASE("RetrievingUserQuotaErrorRequested(", AskingWhileTheCloudIsAway),
    ORVANE_CASE("OperationFailed(", AskingWhileTheCloudIsAway),
    ORVANE_CASE("RemoveFileFinished(", Removing),
    ORVANE_CASE("FileRemoved(std", Removing),
    ORVANE_CASE("RemovingFileError(", RemovingWhatHasChanged),
};

INSTANTIATE_TEST_SUITE_P(All, SessionReceiversTest, testing::ValuesIn(kCases), [](const auto& each) {
    const std::string signal = each.param.signal;
    return std::to_string(each.index) + signal.substr(0, signal.find('(')) + each.param.name;
});

TEST_P(SessionReceiversTest, MayDoAnythingInside)
{
    for (const auto& action : kActions) {
        SCOPED_TRACE(action.name);
        Begin();
        m_action = [&] { action.act(*this); };
        (this->*GetParam().play)();
        EXPECT_TRUE(QTest::qWaitFor([&] { return m_received->HasActed(); }, kLongEnough));
        EXPECT_TRUE(QTest::qWaitFor([this] { return m_isOver || IsQuiet(); }, kLongEnough))
            << UnderWay(*m_received);
        if (!m_isOver)
            ExpectNobodyIsSyncing();
    }
}

} // namespace
} // namespace Orvane::Tests
