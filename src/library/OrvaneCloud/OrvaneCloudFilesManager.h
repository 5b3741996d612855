#pragma once

#include <AbstractFileManager.h>
#include <ICloudInfoStorage.h>
#include <IFileSystem.h>
#include <IHashCalculator.h>

#include <deque>
#include <memory>
#include <set>
#include <string>

namespace Orvane::PDF::Cloud {

class RowIndex;

/// The user's list of cloud documents.
///
/// Read from its storage once, by the constructor, and written back once, by the destructor; in between only
/// the stored record of a removed document is deleted at once. The list holds the very objects that are
/// added, so what their other owners change in them shows here; only their ids must stay what they are.
/// Records are told apart by id, byte for byte; ids need not be unique, and every look-up finds the one
/// nearest the front. Collaborators' exceptions pass through. Receivers of its signals may do what those of
/// OrvaneCloudManager may.
class ORVANE_MANAGER_EXPORT OrvaneCloudFilesManager : public AbstractFileManager
{
    Q_OBJECT

public:
    /// Shares all three; none may be null. The greatest stored id comes to row 0. A stored local copy that is
    /// still there is hashed now; one that is not leaves a cloud-only document. The application owns the
    /// list.
    OrvaneCloudFilesManager(const std::shared_ptr<ICloudInfoStorage>& storage,
                            const std::shared_ptr<IFileSystem>& fileSystem,
                            const std::shared_ptr<IHashCalculator>& hashCalculator);

    /// Saves the list.
    ~OrvaneCloudFilesManager() override;

    /// Accepted and ignored: previews are handed out as file addresses.
    void SetImageGetCallback(const std::function<QImage(const QString&)>& callback) override;

    /// The id of the first document whose local path names the same file; empty when there is none.
    std::string GetIdByPath(const ioPath& path) const override;

    /// Puts the document at row 0. Throws a plain std::exception for a null pointer.
    void Add(const std::shared_ptr<FileInfo>& file) override;

    /// Takes out the first document with this id and deletes its stored record. The stored record of a
    /// document with a cloud side is deleted even when the list does not hold it. Throws a plain
    /// std::exception for a null pointer.
    void Remove(const std::shared_ptr<FileInfo>& file) override;

    /// Does nothing.
    void Rename(const QStringList& ids, const QString& name) override;

    /// Does nothing.
    void Clear() override;

    /// Brings the first document with this id up to the state of @p file: cloud side, local path (its content
    /// is hashed now), previews when there are any, syncing flag. A null pointer and an unknown id are
    /// ignored; a document without a cloud side changes nothing.
    void Update(const std::shared_ptr<const FileInfo>& file) override;

    int FilesCount() const override;

    /// Always 0: there is no limit.
    int Limit() const override;

    /// A copy of the first document with this id; null when there is none.
    std::shared_ptr<FileInfo> GetFileInfo(const QString& id) const override;

    // One value of one row. An invalid row is logged and answered with an empty value (state 4, size 0), as
    // is what a document without a cloud side cannot tell.
    QString GetDocumentName(int index) const override;
    /// From FileInfo::previewSizetoString to the image's file URL.
    QVariantMap GetPreviewsSet(int index) const override;
    QString GetDocumentId(int index) const override;
    QString GetDocumentPath(int index) const override;
    QDateTime GetModifiedDateTime(int index) const override;
    /// A FileInfo::CloudStatus.
    int GetDocumentState(int index) const override;
    /// The local copy's size in bytes, or the cloud's when that is 0.
    int GetFileSize(int index) const override;

private:
    void Load();
    void Save();
    [[nodiscard]] std::shared_ptr<FileInfo> Restore(const std::string& id,
                                                    const ICloudInfoStorage::Record& stored) const;

    void PushFront(const std::shared_ptr<FileInfo>& file);
    bool RemoveImpl(const std::shared_ptr<FileInfo>& file);
    bool TryToUpdate(const std::shared_ptr<FileInfo>& stored, const std::shared_ptr<const FileInfo>& updated);

    [[nodiscard]] FileInfo* DocumentAt(int index, const char* operation) const;

    std::shared_ptr<ICloudInfoStorage> m_storage;
    std::shared_ptr<IFileSystem> m_fileSystem;
    std::shared_ptr<IHashCalculator> m_hashCalculator;
    std::deque<std::shared_ptr<FileInfo>> m_files;
    std::set<std::string> m_removedIds;         // taken out since construction and not put back
    const std::unique_ptr<RowIndex> m_rowIndex; // of m_files
};

} // namespace Orvane::PDF::Cloud
