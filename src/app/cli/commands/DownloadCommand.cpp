#include "DownloadCommand.h"

#include "../Console.h"
#include "../DocumentNames.h"
#include "../FailureText.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../SafeFileName.h"
#include "../TargetObstacle.h"

#include <support/PathText.h>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using PDF::FileInfo;
using PDF::Cloud::ExistingFile;
using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;
using Support::ToPath;
using Support::ToText;

namespace {

Problem NoFolder(const QString& folder)
{
    return {ExitCode::NotFound, QStringLiteral("not-found"),
            QStringLiteral("Could not download to \"") + folder + QLatin1Char('"'),
            QStringLiteral("there is no such folder"),
            QStringLiteral("Make it first, or choose another with --to FOLDER.")};
}

Problem TargetProblem(const QString& name, const char* why, const char* next)
{
    return {ExitCode::Conflict, QStringLiteral("conflict"),
            QStringLiteral("Could not download \"") + name + QLatin1Char('"'), QString::fromLatin1(why),
            QString::fromLatin1(next)};
}

QString IdOf(const FileInfo& document)
{
    return QString::fromStdString(document.GetId());
}

} // namespace

DownloadCommand::DownloadCommand(const Surroundings& surroundings)
    : BatchCommand(surroundings)
{
    using Document = std::shared_ptr<const FileInfo>;
    const OrvaneCloudManager& cloud = Session().Cloud();
    connect(&cloud, &OrvaneCloudManager::DownloadingProgressValueChanged, this,
            [this](const Document& document, int percent) { SetProgress(IdOf(*document), percent); });
    connect(&cloud, &OrvaneCloudManager::DownloadingFinished, this,
            [this](const Document& document) { OnDownloaded(*document); });
    connect(&cloud, &OrvaneCloudManager::DownloadingCanceled, this, [this](const Document& document) {
        const QString id = IdOf(*document);
        SetFailed(id, DescribeFailure(Operation::Download, LabelOf(id), {FailureCode::Canceled, {}}));
    });
}

void DownloadCommand::Start()
{
    const QString target = GetOptions().target;
    std::error_code error;
    m_folder = filesystem::canonical(target.isEmpty() ? filesystem::path(".") : ToPath(target), error);
    if (error || !filesystem::is_directory(m_folder, error)) {
        Fail(NoFolder(target));
        return;
    }
    SignInThen([this] { RefreshThen([this] { AddDocuments(); }); });
}

void DownloadCommand::AddDocuments()
{
    const QVector<DocumentRow> rows = ReadRows(Session().Documents());
    for (const QString& text : GetOptions().documents) {
        const auto found = FindDocument(rows, text);
        if (const auto* problem = std::get_if<Problem>(&found))
            AddFailedItem(text, *problem);
        else
            AddDocument(std::get<DocumentRow>(found), text);
    }
    Run();
}

void DownloadCommand::AddDocument(const DocumentRow& row, const QString& argument)
{
    const QString fileName = ToSafeFileName(row.name);
    const auto problem = m_fileNames.contains(row.id) ? std::nullopt : CheckTarget(row, fileName);
    if (problem) {
        AddFailedItem(argument, *problem);
        return;
    }
    m_fileNames.insert(row.id, fileName);
    m_takenNames.insert(fileName);
    AddItem(row.id, row.name, argument);
}

std::optional<Problem> DownloadCommand::CheckTarget(const DocumentRow& row, const QString& fileName) const
{
    const filesystem::path target = m_folder / ToPath(fileName);
    if (target.parent_path() != m_folder)
        return TargetProblem(row.name, "its name leads out of the folder", "Rename it in the cloud.");
    if (m_takenNames.contains(fileName))
        return TargetProblem(row.name, "another document of the same name goes to the same folder",
                             "Download them one by one, into folders of their own.");
    return CheckObstacle(row.name, fileName);
}

std::optional<Problem> DownloadCommand::CheckObstacle(const QString& name, const QString& fileName) const
{
    const auto obstacle = FindObstacle(m_folder / ToPath(fileName), GetOptions().isOverwritingAllowed);
    return obstacle ? std::make_optional(TargetProblem(name, obstacle->why, obstacle->next)) : std::nullopt;
}

void DownloadCommand::StartItem(const QString& key)
{
    SetProgress(key, 0);
    const auto existingFile =
        GetOptions().isOverwritingAllowed ? ExistingFile::Replace : ExistingFile::Refuse;
    Session().Download(key, {ToText(m_folder), existingFile, m_fileNames.value(key)});
}

void DownloadCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation != Operation::Download) {
        BatchCommand::OnOperationFailed(failure);
        return;
    }
    const QString name = LabelOf(failure.subject);
    const auto obstacle = failure.failure.code == FailureCode::Conflict
                              ? CheckObstacle(name, m_fileNames.value(failure.subject))
                              : std::nullopt;
    SetFailed(failure.subject,
              obstacle ? *obstacle : DescribeFailure(failure.operation, name, failure.failure));
}

void DownloadCommand::OnDownloaded(const FileInfo& document)
{
    const QString id = IdOf(document);
    const QString path = QString::fromStdString(document.GetPath().utf8string());
    GetConsole().Print(ToPrintable(path));
    SetDone(
        id,
        {{QStringLiteral("id"), id}, {QStringLiteral("name"), LabelOf(id)}, {QStringLiteral("path"), path}});
}

} // namespace Orvane::CommandLine
