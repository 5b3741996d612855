#pragma once

#include <OrvaneCloudHost/CloudSession.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <gmock/gmock.h>

namespace Orvane::Tests {

using PDF::FileInfo;
using PDF::Cloud::CloudSession;
using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;

constexpr int kLongEnough = 60'000; // milliseconds

inline void Write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(content), content.size());
}

inline QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// The files in a folder, each as "name=content ".
inline std::string Contents(const QString& folder)
{
    std::string contents;
    for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name))
        contents +=
            (file.fileName() + QLatin1Char('=')).toStdString() + Read(file.filePath()).toStdString() + ' ';
    return contents;
}

/// Sessions over one cloud, a folder unless m_setup says otherwise, and one data folder.
class CloudSessionFixture : public testing::Test
{
protected:
    CloudSessionFixture()
    {
        QDir(m_root.path()).mkdir(QStringLiteral("cloud"));
        QDir(m_root.path()).mkdir(QStringLiteral("local"));
        m_setup.cloudAddress = QUrl::fromLocalFile(CloudPath({})).toString();
        m_setup.authInfo.cacheFolder = m_root.filePath(QStringLiteral("cache"));
        Open();
    }

    void Open(const QString& dataFolder = QStringLiteral("data"))
    {
        m_session.reset();
        m_setup.dataFolder = m_root.filePath(dataFolder);
        m_session = std::make_unique<CloudSession>(m_setup);
        QObject::connect(m_session.get(), &CloudSession::OperationFailed, [this](const auto& failure) {
            if (failure.operation != Operation::Preview) // not all documents here are PDF
                m_failures.push_back(failure);
        });
    }

    void SignIn(const QString& token = {})
    {
        Await(&OrvaneCloudManager::AuthorizationCompleted, [&] { m_session->SignIn(token); });
    }

    void Refresh()
    {
        QSignalSpy refreshed(m_session.get(), &CloudSession::DocumentsRefreshed);
        m_session->Cloud().RetrieveFilesList();
        ASSERT_TRUE(refreshed.wait(kLongEnough));
    }

    [[nodiscard]] QFileInfo RefreshForPicture(const char* id)
    {
        QSignalSpy settled(m_session.get(), &CloudSession::PreviewsSettled);
        Refresh();
        EXPECT_TRUE(!settled.empty() || settled.wait(kLongEnough));
        const auto picture = Listed(id)->GetPreviewsSet().at(FileInfo::PreviewSize::Large);
        return QFileInfo(QString::fromStdString(picture.utf8string()));
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
    CloudSession::Setup m_setup;
    std::vector<CloudSession::OperationFailure> m_failures;
    std::unique_ptr<CloudSession> m_session;
};

} // namespace Orvane::Tests
