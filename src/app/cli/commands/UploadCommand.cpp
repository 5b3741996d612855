#include "UploadCommand.h"

#include "../Console.h"
#include "../FailureText.h"
#include "../Interrupt.h"
#include "../Locations.h"
#include "../Options.h"
#include "../PrintableText.h"

#include <support/PathText.h>

#include <QTimer>

#include <algorithm>
#include <filesystem>
#include <utility>
#include <variant>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using PDF::Cloud::OrvaneCloudManager;
using Social::FailureCode;
using Social::Operation;
using Support::ToPath;
using Support::ToText;

namespace {

Problem NotUploadable(const QString& name, ExitCode exitCode, const char* code, const char* why,
                      const char* next)
{
    return {exitCode, QString::fromLatin1(code),
            QStringLiteral("Could not upload \"") + name + QLatin1Char('"'), QString::fromLatin1(why),
            QString::fromLatin1(next)};
}

/// Why a file cannot be a document of a cloud, as far as can be told without asking the cloud.
std::optional<Problem> CheckFile(const QByteArray& argument)
{
    const QString name = QString::fromUtf8(argument);
    if (!IsUtf8(argument))
        return NotUploadable(name, ExitCode::Usage, "unsupported-name", "its name is not valid UTF-8",
                             "Give the file a name of ordinary letters, then try again.");
    std::error_code error;
    const filesystem::file_status status = filesystem::status(ToPath(name), error);
    if (status.type() == filesystem::file_type::not_found)
        return NotUploadable(name, ExitCode::NotFound, "not-found", "there is no such file",
                             "Check the spelling and the folder.");
    if (filesystem::is_directory(status))
        return NotUploadable(name, ExitCode::Usage, "is-a-folder", "it is a folder",
                             "Name the PDF files in it, for example with FOLDER/*.pdf.");
    if (!filesystem::is_regular_file(status))
        return NotUploadable(name, ExitCode::LocalDisk, "local-disk", "it cannot be read as a file",
                             "Check what it is, and that you may read its folder.");
    if (!name.endsWith(QStringLiteral(".pdf"), Qt::CaseInsensitive))
        return NotUploadable(name, ExitCode::Usage, "not-a-pdf", "its name does not end in .pdf",
                             "Only PDF documents can be kept in the cloud.");
    return std::nullopt;
}

QString FileNameOf(const QString& path)
{
    return ToText(ToPath(path).filename());
}

QString IdOf(const PDF::FileInfo& document)
{
    return QString::fromStdString(document.GetId());
}

QString NameOf(const PDF::FileInfo& document)
{
    const auto cloudInfo = document.GetCloudInfo();
    return QString::fromStdString(cloudInfo ? cloudInfo->GetFileName() : std::string());
}

} // namespace

UploadCommand::UploadCommand(const Surroundings& surroundings)
    : BatchCommand(surroundings)
    , m_storedContent(surroundings.session,
                      ToText(surroundings.locations.cacheFolder / "local-hashes.sqlite"))
{
    const OrvaneCloudManager& cloud = Session().Cloud();
    connect(&cloud, &OrvaneCloudManager::UploadingProgressValueChanged, this, &UploadCommand::SetProgress);
    connect(&cloud, &OrvaneCloudManager::UploadingFinished, this,
            [this](const std::shared_ptr<PDF::FileInfo>& document) { OnUploaded(*document); });
    connect(&cloud, &OrvaneCloudManager::UploadingCanceled, this, [this](const QString& path) {
        SetNotStored(path, {FailureCode::Canceled, {}});
    });
}

void UploadCommand::Start()
{
    for (const QByteArray& argument : GetOptions().files)
        AddFile(argument);
    if (!IsAnythingToDo()) {
        Run();
        return;
    }
    const auto run = [this] {
        m_storedContent.ReadList();
        Run();
    };
    SignInThen([this, run] { RefreshThen(run); });
}

void UploadCommand::AddFile(const QByteArray& argument)
{
    const QString name = QString::fromUtf8(argument);
    if (const auto problem = CheckFile(argument))
        AddFailedItem(name, *problem);
    else
        AddItem(ToText(filesystem::absolute(ToPath(name))), name, name);
}

QString UploadCommand::RealPath(const QString& path)
{
    return QString::fromStdString(m_fileSystem.NormalizePath(ioPath::from(path)).utf8string());
}

void UploadCommand::StartItem(const QString& key)
{
    m_waitingFiles.append({key, FileNameOf(key), RealPath(key)});
    StartFreeFiles();
}

void UploadCommand::StartFreeFiles()
{
    QVector<File> earlier = m_filesUnderWay;
    const auto waiting = std::exchange(m_waitingFiles, {});
    for (const File& file : waiting) {
        const bool isFree = std::none_of(earlier.cbegin(), earlier.cend(), [&](const File& other) {
            return other.name == file.name || other.realPath == file.realPath;
        });
        earlier.append(file);
        if (isFree)
            StartFile(file);
        else
            m_waitingFiles.append(file);
    }
}

void UploadCommand::StartFile(const File& file)
{
    m_filesUnderWay.append(file);
    if (const auto document = m_storedContent.Find(file.name, file.realPath)) {
        Skip(file, document);
        return;
    }
    if (IsInterruptRequested()) // then nobody has looked whether its content is there already
        return;
    SetProgress(file.key, 0);
    Session().Cloud().Upload(file.key);
}

void UploadCommand::EndFile(const QString& key)
{
    const auto ended = std::remove_if(m_filesUnderWay.begin(), m_filesUnderWay.end(),
                                      [&](const File& file) { return file.key == key; });
    m_filesUnderWay.erase(ended, m_filesUnderWay.end());
    QTimer::singleShot(0, this, &UploadCommand::StartFreeFiles);
}

void UploadCommand::OnOperationFailed(const OperationFailure& failure)
{
    if (failure.operation == Operation::Upload)
        SetNotStored(failure.subject, failure.failure);
    else
        BatchCommand::OnOperationFailed(failure);
}

void UploadCommand::SetNotStored(const QString& key, const Social::Failure& failure)
{
    SetFailed(key, DescribeFailure(Operation::Upload, LabelOf(key), failure));
    EndFile(key);
}

void UploadCommand::OnUploaded(const PDF::FileInfo& document)
{
    const auto realPath = QString::fromStdString(document.GetPath().utf8string());
    const auto file = std::find_if(m_filesUnderWay.cbegin(), m_filesUnderWay.cend(),
                                   [&](const File& other) { return other.realPath == realPath; });
    if (file == m_filesUnderWay.cend())
        return;
    const QString path = file->key;
    const QString name = NameOf(document);
    m_storedContent.Add(document);
    SetStored(path, document, false);
    if (ToPath(path).filename() != ToPath(name))
        GetConsole().Tell(
            QStringLiteral(
                "\"%1\" is called \"%2\" in the cloud: its own name is taken or not allowed there.")
                .arg(ToPrintable(LabelOf(path)), ToPrintable(name)));
}

void UploadCommand::Skip(const File& file, const std::shared_ptr<PDF::FileInfo>& document)
{
    if (document->GetPath().empty()) {
        document->SetPath(ioPath::from(file.realPath), document->GetCloudInfo()->GetMd5Hash());
        Session().Documents().Update(document);
    }
    SetStored(file.key, *document, true);
    GetConsole().Tell(QStringLiteral("\"%1\" is already in the cloud with the same content.")
                          .arg(ToPrintable(LabelOf(file.key))));
}

void UploadCommand::SetStored(const QString& key, const PDF::FileInfo& document, bool isSkipped)
{
    const QString id = IdOf(document);
    const QString name = NameOf(document);
    GetConsole().Print(ToPrintable(name) + QLatin1Char('\t') + ToPrintable(id));
    SetDone(key, {{QStringLiteral("id"), id},
                  {QStringLiteral("name"), name},
                  {QStringLiteral("path"), key},
                  {QStringLiteral("skipped"), isSkipped}});
    EndFile(key);
}

} // namespace Orvane::CommandLine
