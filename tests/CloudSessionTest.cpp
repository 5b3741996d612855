#include "support/CloudSessionFixture.h"
#include "support/PdfSamples.h"

#include <QImage>

#include <chrono>
#include <filesystem>

namespace Orvane::Tests {
namespace {

using PDF::AbstractFileManager;
using PDF::Cloud::ExistingFile;

class CloudSessionTest : public CloudSessionFixture
{};

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

    const auto away = m_root.filePath(QStringLiteral("away"));
    QFile::rename(CloudPath(QStringLiteral("a.pdf")), away);
    const auto departed = m_root.filePath(QStringLiteral("data/departed.sqlite"));
    QDir().mkdir(departed);
    Refresh();
    EXPECT_EQ(m_session->Documents().FilesCount(), 1) << "its local copy would be forgotten";
    EXPECT_TRUE(m_session->Close().contains(QStringLiteral("departed.sqlite")));
    QDir().rmdir(departed);
    Open();
    SignIn();
    Refresh();
    EXPECT_EQ(m_session->Documents().FilesCount(), 0);
    EXPECT_EQ(m_session->Close(), QString());
    Open();
    SignIn();
    QFile::rename(away, CloudPath(QStringLiteral("a.pdf")));
    Refresh();
    EXPECT_EQ(Listed("a.pdf")->GetPath().utf8string(), (back + QStringLiteral("/a.pdf")).toStdString());
    EXPECT_EQ(Listed("a.pdf")->GetCloudStatus(), FileInfo::CloudStatus::Synchronized);

    Await(&OrvaneCloudManager::RemoveFileFinished,
          [this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); });
    EXPECT_FALSE(QFile::exists(CloudPath(QStringLiteral("a.pdf"))));
    EXPECT_EQ(m_session->Documents().FilesCount(), 0);
    EXPECT_TRUE(m_failures.empty());
}

TEST_F(CloudSessionTest, ChangesNothingThatHasChangedSinceTheListWasStored)
{
    SignIn();
    const auto local = LocalPath(QStringLiteral("a.pdf"));
    Write(local, "%PDF-1.4 mine");
    Await(&OrvaneCloudManager::UploadingFinished, [&] { m_session->Cloud().Upload(local); });
    Open();
    SignIn();
    Write(CloudPath(QStringLiteral("a.pdf")), "%PDF-1.4 ours"); // of the same size
    Await(&OrvaneCloudManager::UploadingFileRequestError,
          [this] { m_session->Cloud().Upload(Listed("a.pdf")); });
    Await(&OrvaneCloudManager::RemovingFileError, [this] { m_session->Cloud().RemoveFile(Listed("a.pdf")); });
    EXPECT_EQ(Read(CloudPath(QStringLiteral("a.pdf"))), "%PDF-1.4 ours");
    for (const auto& failed : m_failures)
        EXPECT_EQ(failed.failure.code, FailureCode::Conflict);
    EXPECT_EQ(m_failures.size(), 2u);

    Write(CloudPath(QStringLiteral("a.pdf")), "%PDF-1.4 mine");
    Write(local, "%PDF-1.4 new");
    Await(&OrvaneCloudManager::UploadingFinished, [this] { m_session->Cloud().Upload(Listed("a.pdf")); });
    EXPECT_EQ(Read(CloudPath(QStringLiteral("a.pdf"))), "%PDF-1.4 new");
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

TEST_F(CloudSessionTest, ARemovalThatFailsIsReportedAlsoWhenItsDocumentHasLeftTheList)
{
    Write(CloudPath(QStringLiteral("a.pdf")), "old");
    SignIn();
    Refresh();
    Write(CloudPath(QStringLiteral("a.pdf")), "changed since");
    const auto document = Listed("a.pdf");
    Await(&OrvaneCloudManager::RemovingFileError, [&] {
        m_session->Cloud().RemoveFile(document);
        m_session->Documents().Remove(document); // as a refresh does
    });
    ASSERT_EQ(m_failures.size(), 1u);
    EXPECT_EQ(m_failures[0].operation, Operation::Remove);
    EXPECT_EQ(m_failures[0].subject, QStringLiteral("a.pdf"));
    EXPECT_EQ(m_failures[0].failure.code, FailureCode::Conflict);
}

TEST_F(CloudSessionTest, TwoDownloadsToOneNameNeverOverwriteEachOther)
{
    for (const char* name : {"a.pdf", "b.pdf"})
        Write(CloudPath(QString::fromLatin1(name)), name);
    SignIn();
    Refresh();
    QSignalSpy finished(&m_session->Cloud(), &OrvaneCloudManager::DownloadingFinished);
    const auto downloadBoth = [&](const char* folder, ExistingFile existingFile) {
        QDir().mkpath(LocalPath(QString::fromLatin1(folder)));
        finished.clear();
        m_failures.clear();
        for (const char* id : {"a.pdf", "b.pdf"})
            m_session->Download(QString::fromLatin1(id), {LocalPath(QString::fromLatin1(folder)),
                                                          existingFile, QStringLiteral("one.pdf")});
        const auto isEnded = [&] { return finished.size() + int(m_failures.size()) == 2; };
        EXPECT_TRUE(QTest::qWaitFor(isEnded, kLongEnough));
    };
    downloadBoth("keep", ExistingFile::KeepBoth);
    EXPECT_TRUE(m_failures.empty());
    for (const char* id : {"a.pdf", "b.pdf"})
        EXPECT_EQ(Read(QString::fromStdString(Listed(id)->GetPath().utf8string())), id);

    downloadBoth("refuse", ExistingFile::Refuse);
    ASSERT_EQ(m_failures.size(), 1u);
    EXPECT_EQ(m_failures[0].failure.code, FailureCode::Conflict);
    const auto& refused = m_failures[0].subject;
    const auto arrived = refused == QStringLiteral("a.pdf") ? "b.pdf" : "a.pdf";
    EXPECT_EQ(Read(LocalPath(QStringLiteral("refuse/one.pdf"))), arrived);
    EXPECT_EQ(Read(QString::fromStdString(Listed(refused.toUtf8())->GetPath().utf8string())),
              refused.toUtf8());
}

struct DownloadCase
{
    const char* folder;
    ExistingFile existingFile;
    const char* before;    ///< what is in other.pdf
    const char* localCopy; ///< where the local copy is then
    const char* after;     ///< what is in the folder then
};

TEST_F(CloudSessionTest, ADownloadDoesWithAnExistingFileWhatItIsTold)
{
    const DownloadCase cases[] = {
        {"new", ExistingFile::Refuse, "", "new/other.pdf", "other.pdf=cloud "},
        {"refuse", ExistingFile::Refuse, "mine", "new/other.pdf", "other.pdf=mine "},
        {"keep", ExistingFile::KeepBoth, "mine", "keep/other (2).pdf", "other (2).pdf=cloud other.pdf=mine "},
        {"replace", ExistingFile::Replace, "mine", "replace/other.pdf", "other.pdf=cloud "}};
    Write(CloudPath(QStringLiteral("a.pdf")), "cloud");
    SignIn();
    Refresh();
    for (const auto& [name, existingFile, before, localCopy, after] : cases) {
        const auto folder = LocalPath(QString::fromLatin1(name));
        QDir().mkpath(folder);
        if (*before)
            Write(folder + QStringLiteral("/other.pdf"), before);
        QSignalSpy failed(&m_session->Cloud(), &OrvaneCloudManager::DownloadingFileRequestError);
        QSignalSpy finished(&m_session->Cloud(), &OrvaneCloudManager::DownloadingFinished);
        m_session->Download(QStringLiteral("a.pdf"),
                            {QDir().relativeFilePath(folder), existingFile, QStringLiteral("other.pdf")});
        EXPECT_TRUE(QTest::qWaitFor([&] { return failed.size() + finished.size() > 0; }, kLongEnough));
        EXPECT_EQ(Contents(folder), after) << name;
        EXPECT_EQ(Listed("a.pdf")->GetPath(), ioPath::from(LocalPath(QString::fromLatin1(localCopy))));
        EXPECT_EQ(Listed("a.pdf")->GetCloudStatus(), FileInfo::CloudStatus::Synchronized) << name;
    }
    m_session->Download(QStringLiteral("a.pdf"),
                        {m_root.path(), ExistingFile::Replace, QStringLiteral("../out.pdf")});
    m_session->Download(QStringLiteral("unknown.pdf"), {m_root.path()});
    ASSERT_EQ(m_failures.size(), 3u);
    EXPECT_EQ(m_failures[0].failure.code, FailureCode::Conflict);
    EXPECT_EQ(m_failures[1].failure.code, FailureCode::InvalidRequest);
    EXPECT_EQ(m_failures[2].failure.code, FailureCode::NotFound);
}

TEST_F(CloudSessionTest, ADownloadThatDoesNotArriveChangesNothing)
{
    const auto local = LocalPath(QStringLiteral("a.pdf"));
    Write(local, "mine");
    SignIn();
    std::shared_ptr<FileInfo> own; // the list's very object
    QObject::connect(&m_session->Cloud(), &OrvaneCloudManager::UploadingFinished,
                     [&](const auto& document) { own = document; });
    Await(&OrvaneCloudManager::UploadingFinished, [&] { m_session->Cloud().Upload(local); });
    const auto copy = [this] { return Listed("a.pdf"); };
    const auto expectUnchanged = [&] {
        EXPECT_EQ(Read(local), "mine");
        for (const auto& record : {own, copy()}) {
            EXPECT_EQ(record->GetPath(), ioPath::from(local));
            EXPECT_EQ(record->GetCloudHashBeforeChange(), record->GetMd5Hash());
            EXPECT_EQ(record->GetCloudStatus(), FileInfo::CloudStatus::Synchronized);
        }
    };
    auto& cloud = m_session->Cloud();
    const std::function<void()> cancels[] = {[&] { cloud.CancelDownloading(own); },
                                             [&] { cloud.CancelDownloading(copy()); },
                                             [&] { m_session->CancelDownload(QStringLiteral("a.pdf")); }};
    for (const auto& cancel : cancels) {
        for (const auto& record : {own, copy()}) {
            QSignalSpy canceled(&cloud, &OrvaneCloudManager::DownloadingCanceled);
            const auto seen = QObject::connect(&cloud, &OrvaneCloudManager::DownloadingCanceled,
                                               [&](const auto&) { expectUnchanged(); });
            cloud.Download(record, m_root.filePath(QStringLiteral("local")));
            EXPECT_EQ(record->GetPath(), ioPath::from(local));
            EXPECT_EQ(copy()->GetCloudStatus(), FileInfo::CloudStatus::Syncing);
            cancel();
            EXPECT_EQ(canceled.size(), 1);
            expectUnchanged();
            QObject::disconnect(seen);
        }
    }
    Await(&OrvaneCloudManager::DownloadingFileRequestError,
          [&] { cloud.Download(own, m_root.filePath(QStringLiteral("missing folder"))); });
    expectUnchanged();
    cloud.CancelDownloading(own); // nothing runs
    expectUnchanged();

    Await(&OrvaneCloudManager::DownloadingFinished, [&] { // two at once: the first is cancelled
        cloud.Download(own, m_root.filePath(QStringLiteral("local")));
        m_session->Download(QStringLiteral("a.pdf"), {m_root.path()});
        m_session->CancelDownload(QStringLiteral("a.pdf"));
        EXPECT_EQ(copy()->GetCloudStatus(), FileInfo::CloudStatus::Syncing);
    });
    EXPECT_EQ(copy()->GetPath(), ioPath::from(m_root.filePath(QStringLiteral("a.pdf"))));
    EXPECT_EQ(copy()->GetCloudStatus(), FileInfo::CloudStatus::Synchronized);
    EXPECT_EQ(Read(local), "mine");
}

TEST_F(CloudSessionTest, ADocumentIsSyncingWhileItIsReplaced)
{
    const auto local = LocalPath(QStringLiteral("a.pdf"));
    Write(local, "mine");
    SignIn();
    Await(&OrvaneCloudManager::UploadingFinished, [&] { m_session->Cloud().Upload(local); });
    QList<int> states;
    QObject::connect(&m_session->Documents(), qOverload<int>(&AbstractFileManager::FileUpdated),
                     [&](int row) { states.append(m_session->Documents().GetDocumentState(row)); });
    Write(local, "mine, changed");
    Await(&OrvaneCloudManager::UploadingFinished, [&] { m_session->Cloud().Upload(Listed("a.pdf")); });
    ASSERT_FALSE(states.isEmpty());
    EXPECT_EQ(FileInfo::CloudStatus(states.first()), FileInfo::CloudStatus::Syncing);
    EXPECT_EQ(FileInfo::CloudStatus(states.last()), FileInfo::CloudStatus::Synchronized);
}

TEST_F(CloudSessionTest, KeepsPicturesToTheUserAndOnlyThoseOfListedDocuments)
{
    const QString name = QString(80, QChar(0x20AC)) + QStringLiteral(".pdf");
    const QByteArray pdf = OnePagePdf(200, 300, "content");
    for (const QString& document : {name, QStringLiteral("b.pdf")})
        Write(CloudPath(document), pdf);
    SignIn();
    const QFileInfo file = RefreshForPicture(name.toUtf8());
    EXPECT_TRUE(file.filePath().startsWith(m_root.filePath(QStringLiteral("cache/"))));
    const auto preview = [&] {
        m_session->Cloud().RetrieveFilePreview(Listed(name.toUtf8()), FileInfo::PreviewSize::Large, {9, 9});
    };
    const QString aside = file.path() + QStringLiteral(" aside");
    QDir().rename(file.path(), aside);
    QFile::link(aside, file.path());
    Await(&OrvaneCloudManager::RetrieveFilePreviewError, preview);
    EXPECT_EQ(QImage(file.filePath()).height(), 191);
    QFile::remove(file.path());
    QDir().rename(aside, file.path());

    QFile::remove(file.filePath());
    QDir().mkdir(file.filePath());
    Await(&OrvaneCloudManager::RetrieveFilePreviewError, preview);
    EXPECT_EQ(file.dir().entryList(QDir::Files | QDir::Hidden).size(), 5) << "with something half";
    QDir().rmdir(file.filePath());

    Write(LocalPath(QStringLiteral("victim")), "victim");
    for (const QString& planted :
         {file.filePath() + QStringLiteral(".part"), file.path() + QStringLiteral("/swept")})
        QFile::link(LocalPath(QStringLiteral("victim")), planted);
    const QString folders[] = {file.path(), QFileInfo(file.path()).path()};
    for (const auto& folder : folders)
        QFile::setPermissions(folder, QFile::Permissions(0x7777));
    Await(&OrvaneCloudManager::RetrieveFilePreviewFinished, preview);
    EXPECT_EQ(QImage(file.filePath()).height(), 9);
    const auto forOthers = QFile::Permissions(0x0077);
    for (const auto& path : {file.filePath(), folders[0], folders[1]})
        EXPECT_FALSE(QFileInfo(path).permissions() & forOthers) << path.toStdString();
    const auto pictures = [&file] { return file.dir().entryList({QStringLiteral("*.png")}).size(); };
    EXPECT_EQ(pictures(), 6);

    Write(file.path() + QStringLiteral("/orphan-Small.png"), "of a document that left long ago");
    Open();
    EXPECT_EQ(pictures(), 7) << "it was swept today";
    std::filesystem::last_write_time(
        LocalPath(QStringLiteral("victim")).toStdString(), // where the mark leads
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(25));
    Open();
    const auto left = file.dir().entryList(QDir::Files | QDir::Hidden | QDir::System);
    EXPECT_EQ(left.size(), 6 + 1) << left.join(QLatin1Char(' ')).toStdString();
    SignIn();
    const auto same = Listed(name.toUtf8());
    m_session->Documents().Remove(same);
    m_session->Documents().Add(same); // as the download of its local copy to another place may do
    Await(&OrvaneCloudManager::RetrieveFilePreviewFinished, preview);
    EXPECT_EQ(pictures(), 6);

    QFile::remove(CloudPath(name));
    Refresh();
    EXPECT_TRUE(QTest::qWaitFor([&] { return pictures() == 3; }));
    const auto document = Listed("b.pdf");
    Await(&OrvaneCloudManager::RemoveFileFinished, [&] { m_session->Cloud().RemoveFile(document); });
    Await(&OrvaneCloudManager::RetrieveFilePreviewFinished, [&] { // it was on the way
        Write(CloudPath(QStringLiteral("b.pdf")), pdf);
        m_session->Cloud().RetrieveFilePreview(document, FileInfo::PreviewSize::Small, {40, 40});
    });
    Open(QStringLiteral("data of another cloud"));
    EXPECT_EQ(pictures(), 0);
    EXPECT_EQ(Read(LocalPath(QStringLiteral("victim"))), "victim");
    SignIn();
    const auto anothers = RefreshForPicture("b.pdf").path();
    EXPECT_NE(anothers, file.path());
    m_setup.authInfo.userName = QStringLiteral("ada");
    Open(QStringLiteral("data of another cloud"));
    SignIn();
    EXPECT_NE(RefreshForPicture("b.pdf").path(), anothers);
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
        const ioPath image("/preview");
        document->SetPath(ioPath::from(LocalPath(name(number))), {});
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
} // namespace Orvane::Tests
