#include "PrivateTemporaryFolder.h"

#include <support/PathText.h>

#include <QDateTime>
#include <QDir>

namespace Orvane::CommandLine {

using Support::ToText;

namespace {

const QString kPrefix = QStringLiteral("run-");
const QString kLockName = QStringLiteral("/lock");

// Another run makes its folder and then its lock; in between the folder must not look abandoned.
constexpr int kYoungestAbandonedInSeconds = 60;

void SweepIfAbandoned(const QFileInfo& folder)
{
    if (folder.lastModified().secsTo(QDateTime::currentDateTime()) < kYoungestAbandonedInSeconds)
        return;
    Support::FileLock lock(Support::ToPath(folder.filePath() + kLockName));
    if (lock.Take() == Support::FileLock::Result::Taken)
        QDir(folder.filePath()).removeRecursively();
}

void SweepAbandoned(const QString& parent)
{
    const QDir::Filters folders = QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot;
    for (const QFileInfo& folder : QDir(parent).entryInfoList({kPrefix + QLatin1Char('*')}, folders))
        SweepIfAbandoned(folder);
}

void UseForTemporaryFiles(const QByteArray& folder)
{
#ifdef Q_OS_WIN
    qputenv("TMP", folder);
    qputenv("TEMP", folder);
#else
    qputenv("TMPDIR", folder);
    if (!qEnvironmentVariableIsSet("XDG_RUNTIME_DIR"))
        qputenv("XDG_RUNTIME_DIR", folder); // else Qt complains, and makes a folder for it
#endif
}

} // namespace

PrivateTemporaryFolder::PrivateTemporaryFolder(const std::filesystem::path& parent)
    : m_folder(ToText(parent) + QLatin1Char('/') + kPrefix + QStringLiteral("XXXXXX"))
{
    if (!m_folder.isValid())
        throw std::filesystem::filesystem_error("cannot make a folder for temporary files", parent,
                                                std::make_error_code(std::errc::permission_denied));
    m_lock = std::make_unique<Support::FileLock>(Support::ToPath(m_folder.path() + kLockName));
    (void)m_lock->Take();
    UseForTemporaryFiles(m_folder.path().toUtf8());
    SweepAbandoned(ToText(parent));
}

PrivateTemporaryFolder::~PrivateTemporaryFolder() = default;

} // namespace Orvane::CommandLine
