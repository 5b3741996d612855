#include "StoredContent.h"

#include "Interrupt.h"

#include <support/PathText.h>

#include <filesystem>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;
using PDF::FileInfo;
using Support::ToPath;

StoredContent::StoredContent(PDF::Cloud::CloudSession& session, const QString& hashFile)
    : m_session(session)
    , m_hashCalculator(hashFile, &IsInterruptRequested)
{}

void StoredContent::ReadList()
{
    const auto& documents = m_session.Documents();
    for (int row = 0; row < documents.FilesCount(); ++row)
        Add(documents.GetDocumentId(row), documents.GetDocumentName(row), documents.GetDocumentPath(row));
}

void StoredContent::Add(const FileInfo& document)
{
    const auto cloudInfo = document.GetCloudInfo();
    Add(QString::fromStdString(document.GetId()),
        QString::fromStdString(cloudInfo ? cloudInfo->GetFileName() : std::string()),
        QString::fromStdString(document.GetPath().utf8string()));
}

void StoredContent::Add(const QString& id, const QString& name, const QString& localPath)
{
    m_idsByName.insert(name, id);
    if (!localPath.isEmpty())
        m_idsByLocalPath.insert(localPath, id);
}

std::shared_ptr<FileInfo> StoredContent::Find(const QString& fileName, const QString& realPath)
{
    const QStringList namesakes = m_idsByName.values(fileName);
    if (namesakes.isEmpty())
        return nullptr;
    for (const QString& id : namesakes + QStringList(m_idsByLocalPath.values(realPath))) {
        const auto document = m_session.Documents().GetFileInfo(id);
        if (document && IsContentOf(*document, realPath))
            return document;
    }
    return nullptr;
}

bool StoredContent::IsContentOf(const FileInfo& document, const QString& path)
{
    const auto cloudInfo = document.GetCloudInfo();
    if (!cloudInfo || cloudInfo->GetMd5Hash().empty())
        return false;
    std::error_code error;
    const auto size = filesystem::file_size(ToPath(path), error);
    return !error && size == cloudInfo->GetSize() &&
           m_hashCalculator.CalculateFileHash(ioPath::from(path)) == cloudInfo->GetMd5Hash();
}

} // namespace Orvane::CommandLine
