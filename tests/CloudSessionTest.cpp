#include <OrvaneCloudHost/CloudSession.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <gmock/gmock.h>

namespace {

using namespace Orvane::PDF;
using namespace Orvane::PDF::Cloud;
using Orvane::Social::FailureCode;
using Orvane::Social::Operation;

constexpr int kLongEnough = 60'000; // milliseconds

void Write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(content), content.size());
}

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Sessions over one folder cloud and one data folder.
class CloudSessionTest : public testing::Test
{
protected:
    CloudSessionTest()
    {
        QDir(m_root.path()).mkdir(QStringLiteral("cloud"));
        QDir(m_root.path()).mkdir(QStringLiteral("local"));
        Open();
    }

    void Open()
    {
        m_session.reset();
        CloudSession::Setup setup;
        setup.cloudAddress = QUrl::fromLocalFile(CloudPath({})).toString();
        setup.dataFolder = m_root.filePath(QStringLiteral("data"));
        m_session = std::make_unique<CloudSession>(setup);
        QObject::connect(m_session.get(), &CloudSession::OperationFailed,
                         [this](const auto& failure) { m_failures.push_back(failure); });
    }

    void SignIn()
    {
        QSignalSpy signedIn(&m_session->Cloud(), &OrvaneCloudManager::AuthorizationCompleted);
        m_session->SignIn();
        ASSERT_TRUE(signedIn.wait(kLongEnough));
    }

    void Refresh()
    {
        QSignalSpy refreshed(m_session.get(), &CloudSession::DocumentsRefreshed);
        m_session->Cloud().RetrieveFilesList();
        ASSERT_TRUE(refreshed.wait(kLongEnough));
    }

    template <typename Signal, typename Action>
    void Await(Signal signal, Action action)
    {
        QSignalSpy ended(&m_session->Cloud(), signal);
        action();
        ASSERT_TRUE(!ended.empty() || ended.wait(kLongEnough));
    }

    [[nodiscard]] std::shared_ptr<FileInfo> Listed(const char* id) const
    {
        return m_session->Documents().GetFileInfo(QString::fromUtf8(id));
    }

    [[nodiscard]] QString CloudPath(const QString& name) const
    {
        return m_root.filePath(QStringLiteral("cloud/") + name);
    }
    [[nodiscard]] QString LocalPath(const QString& name) const
    {
        return m_root.filePath(QStringLiteral("local/") + name);
    }

    QTemporaryDir m_root;
    std::vector<CloudSession::OperationFailure> m_failures;
    std::unique_ptr<CloudSession> m_session;
};

TEST_F(CloudSessionTest, CarriesADocumentUpAndBackAndRemembersItAfterARestart)
{
    SignIn();
    Write(LocalPath(QStringLiteral("a.pdf")), "%PDF-1.4 content");
    Await(&OrvaneCloudManager::UploadingFinished,
          [this] { m_session->Cloud().Upload(LocalPath(QStringLiteral("a.pdf"))); });
    EXPECT_EQ(Read(CloudPath(QStringLiteral("a.pdf"))), "%PDF-1.4 content");

    Open();
    ASSERT_TRUE(Listed("a.pdf"));
    EXPECT_EQ(Listed("a.pdf")->GetCloudStatus(), FileInfo::CloudStatus::Synchronized);
    EXPECT_EQ(Listed("a.pdf")->GetPath().utf8string(), LocalPath(QStringLiteral("a.pdf")).toStdString());

    SignIn();
    const auto back = m_root.filePath(QStringLiteral("back"));
    QDir().mkdir(back);
    Await(&OrvaneCloudManager::DownloadingFinished,
          [&] { m_session->Cloud().Download(Listed("a.pdf"), back); });
    EXPECT_EQ(Read(back + QStringLiteral("/a.pdf")), "%PDF-1.4 content");
    EXPECT_EQ(Listed("a.pdf")->GetCloudStatus(), FileInfo::CloudStatus::Synchronized);

    Await(&OrvaneCloudManager::RemoveFileFinished,
          [this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); });
    EXPECT_FALSE(QFile::exists(CloudPath(QStringLiteral("a.pdf"))));
    EXPECT_EQ(m_session->Documents().FilesCount(), 0);
    EXPECT_TRUE(m_failures.empty());
}

TEST_F(CloudSessionTest, TellsTheReasonOfAFailureOnce)
{
    SignIn();
    const auto missing = LocalPath(QStringLiteral("missing.pdf"));
    Await(&OrvaneCloudManager::UploadingFileRequestError, [&] { m_session->Cloud().Upload(missing); });

    // The clean-up that follows a failed upload is nobody's business.
    ASSERT_EQ(m_failures.size(), 1u);
    EXPECT_EQ(m_failures[0].operation, Operation::Upload);
    EXPECT_EQ(m_failures[0].subject, missing);
    EXPECT_EQ(m_failures[0].failure.code, FailureCode::LocalDisk);
    EXPECT_FALSE(m_failures[0].failure.detail.isEmpty());
}

TEST_F(CloudSessionTest, RefreshingTenThousandDocumentsKeepsEveryLocalCopy)
{
    constexpr int kDocuments = 10'000;
    constexpr int kLocalCopies = 3'000;
    const auto name = [](int number) {
        return QStringLiteral("document %1.pdf").arg(number, 5, 10, QLatin1Char('0'));
    };
    for (int number = 0; number < kDocuments; ++number)
        Write(CloudPath(name(number)), QByteArray::number(number));
    SignIn();
    Refresh();
    ASSERT_EQ(m_session->Documents().FilesCount(), kDocuments);

    for (int number = 0; number < kLocalCopies; ++number) {
        Write(LocalPath(name(number)), QByteArray::number(number));
        const auto document = m_session->Documents().GetFileInfo(name(number));
        const Orvane::ioPath image("/preview");
        document->SetPath(Orvane::ioPath::from(LocalPath(name(number))), {});
        document->SetPreviewsSet({{FileInfo::PreviewSize::Small, image},
                                  {FileInfo::PreviewSize::Medium, image},
                                  {FileInfo::PreviewSize::Large, image}});
        m_session->Documents().Update(document);
    }
    Open();
    SignIn();
    Refresh();

    EXPECT_EQ(m_session->Documents().FilesCount(), kDocuments);
    int synchronized = 0;
    for (int row = 0; row < kDocuments; ++row) {
        const auto state = FileInfo::CloudStatus(m_session->Documents().GetDocumentState(row));
        if (state == FileInfo::CloudStatus::Synchronized &&
            m_session->Documents().GetPreviewsSet(row).size() == 3)
            ++synchronized;
    }
    EXPECT_EQ(synchronized, kLocalCopies);
}

} // namespace
