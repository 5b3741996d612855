#include "PreviewCommand.h"

#include "../Console.h"
#include "../DocumentNames.h"
#include "../FailureText.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../SafeFileName.h"

#include <support/PathText.h>

#include <QFile>
#include <QSaveFile>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using PDF::FileInfo;
using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;
using Support::ToPath;
using Support::ToText;

namespace {

int PixelsOf(FileInfo::PreviewSize size)
{
    switch (size) {
    case FileInfo::PreviewSize::Small:
        return 40;
    case FileInfo::PreviewSize::Medium:
        return 100;
    case FileInfo::PreviewSize::Large:
        break;
    }
    return 191;
}

QString DefaultTarget(const QString& documentName, FileInfo::PreviewSize size)
{
    QString stem = documentName;
    if (stem.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive))
        stem.chop(4);
    const QString sizeText = QString::fromStdString(FileInfo::previewSizetoString(size)).toLower();
    return ToSafeFileName(stem + QLatin1Char('-') + sizeText + QStringLiteral(".png"));
}

Problem PictureProblem(const filesystem::path& target, ExitCode exitCode, const char* code,
                       const QString& why, const char* next)
{
    return {exitCode, QString::fromLatin1(code),
            QStringLiteral("Could not write \"") + ToText(target) + QLatin1Char('"'), why,
            QString::fromLatin1(next)};
}

} // namespace

PreviewCommand::PreviewCommand(const Surroundings& surroundings)
    : Command(surroundings)
{
    const OrvaneCloudManager& cloud = Session().Cloud();
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewFinished, this,
            [this](const std::shared_ptr<FileInfo>& document, FileInfo::PreviewSize size) {
                OnPreview(*document, size);
            });
    connect(&cloud, &OrvaneCloudManager::RetrieveFilePreviewCanceled, this,
            [this](const std::shared_ptr<const FileInfo>& document) {
                if (QString::fromStdString(document->GetId()) == m_row.id)
                    Fail(DescribeFailure(Operation::Preview, m_row.name, {FailureCode::Canceled, {}}));
            });
}

void PreviewCommand::Start()
{
    SignInThen([this] {
        if (!TryKnownDocument())
            RefreshThen([this] { TryListedDocument(); });
    });
}

bool PreviewCommand::TryKnownDocument()
{
    const auto found = FindDocument(ReadRows(Session().Documents()), GetOptions().documents.front());
    if (!std::holds_alternative<DocumentRow>(found))
        return false;
    Request(std::get<DocumentRow>(found));
    return true;
}

void PreviewCommand::TryListedDocument()
{
    const auto found = FindDocument(ReadRows(Session().Documents()), GetOptions().documents.front());
    if (const auto* problem = std::get_if<Problem>(&found))
        Fail(*problem);
    else
        Request(std::get<DocumentRow>(found));
}

void PreviewCommand::Request(const DocumentRow& row)
{
    m_row = row;
    const FileInfo::PreviewSize size = GetOptions().previewSize;
    const QString target = GetOptions().target;
    m_target = filesystem::absolute(ToPath(target.isEmpty() ? DefaultTarget(row.name, size) : target));
    if (!IsTargetFree())
        return;
    const int pixels = PixelsOf(size);
    Await();
    Session().Cloud().RetrieveFilePreview(Session().Documents().GetFileInfo(row.id), size, {pixels, pixels});
}

bool PreviewCommand::IsTargetFree()
{
    std::error_code error;
    const bool isThere = filesystem::exists(filesystem::symlink_status(m_target, error));
    if (!isThere || (GetOptions().isOverwritingAllowed && !filesystem::is_directory(m_target, error)))
        return true;
    Fail(PictureProblem(m_target, ExitCode::Conflict, "conflict", QStringLiteral("it is already there"),
                        "Replace it with --overwrite, or choose another file with --to FILE."));
    return false;
}

void PreviewCommand::OnPreview(const FileInfo& document, FileInfo::PreviewSize size)
{
    if (QString::fromStdString(document.GetId()) != m_row.id || size != GetOptions().previewSize || m_isSaved)
        return;
    const FileInfo::PreviewsSet previews = document.GetPreviewsSet();
    const auto picture = previews.find(size);
    if (picture != previews.end())
        Save(filesystem::u8path(picture->second.utf8string()));
}

void PreviewCommand::Save(const filesystem::path& picture)
{
    QFile source(ToText(picture));
    QSaveFile target(ToText(m_target));
    const bool isWritten = source.open(QIODevice::ReadOnly) && target.open(QIODevice::WriteOnly) &&
                           target.write(source.readAll()) == source.size() && target.commit();
    if (!isWritten) {
        const QString why =
            target.error() == QFileDevice::NoError ? source.errorString() : target.errorString();
        Fail(PictureProblem(m_target, ExitCode::LocalDisk, "local-disk", why,
                            "Check that the folder is there and that you may write to it."));
        return;
    }
    m_isSaved = true;
    GetConsole().Print(ToPrintable(ToText(m_target)));
    Finish(ExitCode::Done);
}

void PreviewCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Preview && failure.subject == m_row.id)
        Fail(DescribeFailure(failure.operation, m_row.name, failure.failure));
    else
        Command::OnOperationFailed(failure);
}

QJsonObject PreviewCommand::Results() const
{
    if (!m_isSaved)
        return {};
    return {{QStringLiteral("id"), m_row.id},
            {QStringLiteral("name"), m_row.name},
            {QStringLiteral("path"), ToText(m_target)}};
}

} // namespace Orvane::CommandLine
