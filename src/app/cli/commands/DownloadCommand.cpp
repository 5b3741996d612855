#include "DownloadCommand.h"

#include "../Console.h"
#include "../DocumentNames.h"
#include "../FailureText.h"
#include "../Options.h"
#include "../PrintableText.h"
#include "../SafeFileName.h"

#include <support/PathText.h>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using PDF::FileInfo;
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

FileInfo::CloudInfo Renamed(const FileInfo::CloudInfo& info, const QString& fileName)
{
    return {info.GetId(),         fileName.toStdString(), info.GetSize(),
            info.IsPrivate(),     info.GetDownloadUrl(),  info.GetCreatedAt(),
            info.GetModifyTime(), info.GetLifeTime(),     info.GetMd5Hash()};
}

QString NameOf(const FileInfo& document)
{
    const auto cloudInfo = document.GetCloudInfo();
    return cloudInfo ? QString::fromStdString(cloudInfo->GetFileName()) : QString();
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
            AddDocument(std::get<DocumentRow>(found));
    }
    Run();
}

void DownloadCommand::AddDocument(const DocumentRow& row)
{
    if (m_downloads.contains(row.id))
        return;
    const QString fileName = ToSafeFileName(row.name);
    if (const auto problem = CheckTarget(row, fileName)) {
        AddFailedItem(row.name, *problem);
        return;
    }
    Download download;
    download.listed = Session().Documents().GetFileInfo(row.id);
    download.request = std::make_shared<FileInfo>(*download.listed);
    if (fileName != row.name)
        download.request->UpdateCloudInfo(Renamed(*download.listed->GetCloudInfo(), fileName));
    m_fileNames.insert(fileName);
    m_downloads.insert(row.id, download);
    AddItem(row.id, row.name);
}

std::optional<Problem> DownloadCommand::CheckTarget(const DocumentRow& row, const QString& fileName) const
{
    const filesystem::path target = m_folder / ToPath(fileName);
    std::error_code error;
    const filesystem::file_status status = filesystem::symlink_status(target, error);
    if (target.parent_path() != m_folder)
        return TargetProblem(row.name, "its name leads out of the folder", "Rename it in the cloud.");
    if (m_fileNames.contains(fileName))
        return TargetProblem(row.name, "another document of the same name goes to the same folder",
                             "Download them one by one, into folders of their own.");
    if (filesystem::is_directory(status))
        return TargetProblem(row.name, "a folder of that name is already there",
                             "Choose another place with --to FOLDER.");
    if (filesystem::exists(status) && !GetOptions().isOverwritingAllowed)
        return TargetProblem(row.name, "a file of that name is already there",
                             "Replace it with --overwrite, or choose another place with --to FOLDER.");
    return std::nullopt;
}

void DownloadCommand::StartItem(const QString& key)
{
    SetProgress(key, 0);
    Session().Cloud().Download(m_downloads.value(key).request, ToText(m_folder));
}

void DownloadCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Download)
        SetFailed(failure.subject,
                  DescribeFailure(failure.operation, LabelOf(failure.subject), failure.failure));
    else
        BatchCommand::OnOperationFailed(failure);
}

void DownloadCommand::OnDownloaded(const FileInfo& document)
{
    const QString id = IdOf(document);
    const QString path = ToText(m_folder / ToPath(NameOf(document)));
    GetConsole().Print(ToPrintable(path));
    RestoreCloudSide(id);
    SetDone(
        id,
        {{QStringLiteral("id"), id}, {QStringLiteral("name"), LabelOf(id)}, {QStringLiteral("path"), path}});
}

/// The list has taken over the safe name together with the local copy: it gets the cloud's own name back.
void DownloadCommand::RestoreCloudSide(const QString& id)
{
    const Download download = m_downloads.value(id);
    const auto known = Session().Documents().GetFileInfo(id);
    if (!known || NameOf(*download.listed) == NameOf(*download.request))
        return;
    known->UpdateCloudInfo(*download.listed->GetCloudInfo());
    Session().Documents().Update(known);
}

} // namespace Orvane::CommandLine
