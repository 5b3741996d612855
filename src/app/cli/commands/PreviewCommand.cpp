#include "PreviewCommand.h"

#include "../Console.h"
#include "../DocumentNames.h"
#include "../FailureText.h"
#include "../Locations.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../SafeFileName.h"
#include "../TargetObstacle.h"

#include <support/PartFile.h>
#include <support/PathText.h>
#include <support/TemporaryJournal.h>

#include <QFile>

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
    if (const auto obstacle = FindObstacle(m_target, GetOptions().isOverwritingAllowed)) {
        FailAt(*obstacle);
        return;
    }
    const int pixels = PixelsOf(size);
    Await();
    Session().Cloud().RetrieveFilePreview(Session().Documents().GetFileInfo(row.id), size, {pixels, pixels});
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
    const QByteArray content = source.open(QIODevice::ReadOnly) ? source.readAll() : QByteArray();
    if (content.isEmpty()) {
        FailToWrite(source.errorString());
        return;
    }
    try {
        Place(content);
    } catch (const filesystem::filesystem_error& error) {
        FailToWrite(QString::fromStdString(error.code().message()));
    }
}

void PreviewCommand::Place(const QByteArray& content)
{
    const bool isOverwritingAllowed = GetOptions().isOverwritingAllowed;
    const filesystem::path file = filesystem::weakly_canonical(m_target); // where a link leads to
    Support::TemporaryJournal journal(GetLocations().cacheFolder / "temporaries");
    Support::PartFile part(file.parent_path(), journal);
    part.Write(content.constData(), static_cast<std::size_t>(content.size()));
    part.Finish();
    const auto obstacle = FindObstacle(m_target, isOverwritingAllowed);
    if (!obstacle && isOverwritingAllowed)
        part.Replace(file);
    else if (obstacle || !part.BecomeNew(file)) {
        FailAt(obstacle.value_or(TargetObstacle{"something has just been made there", "Try again."}));
        return;
    }
    m_isSaved = true;
    GetConsole().Print(ToPrintable(ToText(m_target)));
    Finish(ExitCode::Done);
}

void PreviewCommand::FailAt(const TargetObstacle& obstacle)
{
    Fail(PictureProblem(m_target, ExitCode::Conflict, "conflict", QString::fromLatin1(obstacle.why),
                        obstacle.next));
}

void PreviewCommand::FailToWrite(const QString& why)
{
    Fail(PictureProblem(m_target, ExitCode::LocalDisk, "local-disk", why,
                        "Check that the folder is there and that you may write to it."));
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
