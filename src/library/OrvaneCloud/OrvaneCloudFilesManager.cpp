#include <OrvaneCloud/OrvaneCloudFilesManager.h>

#include <OrvaneCloud/RowIndex.h>
#include <OrvaneCloud/StoredDocument.h>

#include <QPointer>
#include <QUrl>
#include <QVariant>

#include <glog/logging.h>

#include <algorithm>
#include <exception>

namespace Orvane::PDF::Cloud {
namespace {

// Written out: compilers disagree about the text of __PRETTY_FUNCTION__.
constexpr auto kGetDocumentName =
    "virtual QString Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetDocumentName(int) const";
constexpr auto kGetPreviewsSet =
    "virtual QVariantMap Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetPreviewsSet(int) const";
constexpr auto kGetDocumentId =
    "virtual QString Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetDocumentId(int) const";
constexpr auto kGetDocumentPath =
    "virtual QString Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetDocumentPath(int) const";
constexpr auto kGetModifiedDateTime =
    "virtual QDateTime Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetModifiedDateTime(int) const";
constexpr auto kGetDocumentState =
    "virtual int Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetDocumentState(int) const";
constexpr auto kGetFileSize =
    "virtual int Orvane::PDF::Cloud::OrvaneCloudFilesManager::GetFileSize(int) const";

void RequireFile(const std::shared_ptr<FileInfo>& file)
{
    if (!file)
        throw std::exception();
}

} // namespace

OrvaneCloudFilesManager::OrvaneCloudFilesManager(const std::shared_ptr<ICloudInfoStorage>& storage,
                                                 const std::shared_ptr<IFileSystem>& fileSystem,
                                                 const std::shared_ptr<IHashCalculator>& hashCalculator)
    : m_storage(storage)
    , m_fileSystem(fileSystem)
    , m_hashCalculator(hashCalculator)
    , m_rowIndex(std::make_unique<RowIndex>())
{
    Load();
}

OrvaneCloudFilesManager::~OrvaneCloudFilesManager()
{
    try {
        Save();
    } catch (const std::exception& error) { // leaving a destructor would end the application
        LOG(ERROR) << "Cannot save the document list: " << error.what();
    }
}

void OrvaneCloudFilesManager::Load()
{
    const auto records = m_storage->LoadRecords();
    m_rowIndex->Reserve(records.size());
    for (const auto& [id, stored] : records)
        PushFront(Restore(id, stored));
}

std::shared_ptr<FileInfo> OrvaneCloudFilesManager::Restore(const std::string& id,
                                                           const ICloudInfoStorage::Record& stored) const
{
    auto file = std::make_shared<FileInfo>(StoredDocument::ReadCloudInfo(id, stored));
    const auto local = StoredDocument::ReadLocalCopy(stored);
    const auto path = m_fileSystem->NormalizePath(local.path);
    if (!m_fileSystem->Exists(path))
        return file;

    file->SetPath(path, local.hash, local.cloudHashBeforeChange);
    file->SetPath(path, m_hashCalculator->CalculateFileHash(path));
    const auto previews = StoredDocument::ReadPreviews(stored);
    if (!previews.empty())
        file->GetRedactableCloudInfo()->SetPreviewsSet(previews);
    return file;
}

void OrvaneCloudFilesManager::Save()
{
    for (const auto& id : m_removedIds)
        m_storage->RemoveRecord(id);
    for (const auto& file : m_files) {
        const auto& cloudInfo = file->GetRedactableCloudInfo();
        if (!cloudInfo)
            continue;
        const auto id = file->GetId();
        for (const auto& [key, value] : StoredDocument::Write(*file, *cloudInfo))
            m_storage->SetValue(id, key, value);
    }
}

void OrvaneCloudFilesManager::SetImageGetCallback(const std::function<QImage(const QString&)>& /*callback*/)
{}

std::string OrvaneCloudFilesManager::GetIdByPath(const ioPath& path) const
{
    const auto wanted = m_fileSystem->NormalizePath(path);
    const auto found = std::find_if(m_files.begin(), m_files.end(), [&](const auto& file) {
        return m_fileSystem->NormalizePath(file->GetPath()) == wanted;
    });
    return found == m_files.end() ? std::string() : (*found)->GetId();
}

void OrvaneCloudFilesManager::Add(const std::shared_ptr<FileInfo>& file)
{
    RequireFile(file);
    PushFront(file);
    m_removedIds.erase(file->GetId());
    const QPointer<OrvaneCloudFilesManager> self(this);
    Q_EMIT FileAdded(std::shared_ptr<FileInfo>(file)); // a receiver may destroy the caller's pointer
    if (self)
        Q_EMIT FileAdded();
}

void OrvaneCloudFilesManager::PushFront(const std::shared_ptr<FileInfo>& file)
{
    m_files.push_front(file);
    try {
        m_rowIndex->PushFront(file->GetId());
    } catch (...) {
        m_files.pop_front();
        throw;
    }
}

void OrvaneCloudFilesManager::Remove(const std::shared_ptr<FileInfo>& file)
{
    RequireFile(file);
    if (file->GetRedactableCloudInfo())
        m_storage->RemoveRecord(file->GetId());
    if (!RemoveImpl(file))
        return;
    const QPointer<OrvaneCloudFilesManager> self(this);
    Q_EMIT FileRemoved(file);
    if (self)
        Q_EMIT FileRemoved();
}

bool OrvaneCloudFilesManager::RemoveImpl(const std::shared_ptr<FileInfo>& file)
{
    const auto id = file->GetId();
    if (!m_rowIndex->FirstRow(id))
        return false;
    m_removedIds.insert(id);
    m_files.erase(m_files.begin() + static_cast<std::ptrdiff_t>(m_rowIndex->RemoveFirst(id)));
    return true;
}

void OrvaneCloudFilesManager::Rename(const QStringList& /*ids*/, const QString& /*name*/) {}

void OrvaneCloudFilesManager::Clear() {}

void OrvaneCloudFilesManager::Update(const std::shared_ptr<const FileInfo>& file)
{
    if (!file)
        return;
    const auto row = m_rowIndex->FirstRow(file->GetId());
    if (!row)
        return;
    const auto stored = m_files[*row]; // kept alive: a receiver of the first signal may remove it
    TryToUpdate(stored, file);
    const QPointer<OrvaneCloudFilesManager> self(this);
    Q_EMIT FileUpdated(stored->GetId());
    if (self)
        Q_EMIT FileUpdated(static_cast<int>(*row));
}

bool OrvaneCloudFilesManager::TryToUpdate(const std::shared_ptr<FileInfo>& stored,
                                          const std::shared_ptr<const FileInfo>& updated)
{
    const auto cloudInfo = updated->GetCloudInfo();
    if (!cloudInfo)
        return false;
    const bool isChanged = stored->UpdateCloudInfo(*cloudInfo);

    const auto path = m_fileSystem->NormalizePath(updated->GetPath());
    const auto hash = m_hashCalculator->CalculateFileHash(path);
    if (stored->GetPath() != updated->GetPath() || stored->GetMd5Hash() != hash)
        stored->SetPath(path, hash);

    const auto previews = updated->GetPreviewsSet();
    if (!previews.empty() && previews != stored->GetPreviewsSet())
        stored->SetPreviewsSet(previews);

    stored->SetIsSyncingInProgress(updated->IsSyncingInProgress());
    return isChanged;
}

int OrvaneCloudFilesManager::FilesCount() const
{
    return static_cast<int>(m_files.size());
}

int OrvaneCloudFilesManager::Limit() const
{
    return 0;
}

std::shared_ptr<FileInfo> OrvaneCloudFilesManager::GetFileInfo(const QString& id) const
{
    const auto row = m_rowIndex->FirstRow(id.toStdString());
    return row ? std::make_shared<FileInfo>(*m_files[*row]) : nullptr;
}

QString OrvaneCloudFilesManager::GetDocumentName(int index) const
{
    auto* file = DocumentAt(index, kGetDocumentName);
    if (!file || !file->GetRedactableCloudInfo())
        return QString();
    return QString::fromStdString(file->GetRedactableCloudInfo()->GetFileName());
}

QVariantMap OrvaneCloudFilesManager::GetPreviewsSet(int index) const
{
    QVariantMap images;
    auto* file = DocumentAt(index, kGetPreviewsSet);
    if (!file || !file->GetRedactableCloudInfo())
        return images;
    for (const auto& [size, path] : file->GetRedactableCloudInfo()->GetPreviewsSet())
        images.insert(QString::fromStdString(FileInfo::previewSizetoString(size)),
                      QUrl::fromLocalFile(QString::fromStdString(path.utf8string())));
    return images;
}

QString OrvaneCloudFilesManager::GetDocumentId(int index) const
{
    const auto* file = DocumentAt(index, kGetDocumentId);
    return file ? QString::fromStdString(file->GetId()) : QString();
}

QString OrvaneCloudFilesManager::GetDocumentPath(int index) const
{
    const auto* file = DocumentAt(index, kGetDocumentPath);
    return file ? QString::fromStdString(file->GetPath().utf8string()) : QString();
}

QDateTime OrvaneCloudFilesManager::GetModifiedDateTime(int index) const
{
    auto* file = DocumentAt(index, kGetModifiedDateTime);
    if (!file || !file->GetRedactableCloudInfo())
        return QDateTime();
    return file->GetRedactableCloudInfo()->GetModifyTime();
}

int OrvaneCloudFilesManager::GetDocumentState(int index) const
{
    const auto* file = DocumentAt(index, kGetDocumentState);
    return static_cast<int>(file ? file->GetCloudStatus() : FileInfo::CloudStatus::Undefined);
}

int OrvaneCloudFilesManager::GetFileSize(int index) const
{
    auto* file = DocumentAt(index, kGetFileSize);
    if (!file)
        return 0;
    const auto localSize = file->GetSize();
    if (localSize != 0 || !file->GetRedactableCloudInfo())
        return static_cast<int>(localSize);
    return static_cast<int>(file->GetRedactableCloudInfo()->GetSize());
}

// The document at a row; null, and said in the log, when there is no such row.
FileInfo* OrvaneCloudFilesManager::DocumentAt(int index, const char* operation) const
{
    if (static_cast<std::size_t>(index) < m_files.size()) // a negative index widens to a huge one
        return m_files[static_cast<std::size_t>(index)].get();
    LOG(ERROR) << operation << ": "
               << "Invalid index requested: " << index << "; max index: " << m_files.size();
    return nullptr;
}

} // namespace Orvane::PDF::Cloud
