#pragma once

#include "FileInfo.h"
#include "MetaTypes.h"

#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <string>

namespace Orvane::PDF {

/// An ordered list of documents, read row by row; row 0 is the front. All calls and signals belong to the
/// thread that owns the list.
class ORVANE_INTERFACES_EXPORT AbstractFileManager : public QObject
{
    Q_OBJECT

public:
    AbstractFileManager();
    ~AbstractFileManager() override;

    virtual void SetImageGetCallback(const std::function<QImage(const QString&)>& callback) = 0;
    virtual std::string GetIdByPath(const ioPath& path) const = 0;
    virtual void Add(const std::shared_ptr<FileInfo>& file) = 0;
    virtual void Remove(const std::shared_ptr<FileInfo>& file) = 0;
    virtual void Rename(const QStringList& ids, const QString& name) = 0;
    virtual void Clear() = 0;
    virtual void Update(const std::shared_ptr<const FileInfo>& file) = 0;
    virtual int FilesCount() const = 0;
    virtual int Limit() const = 0;
    virtual std::shared_ptr<FileInfo> GetFileInfo(const QString& id) const = 0;
    virtual QString GetDocumentName(int index) const = 0;
    virtual QVariantMap GetPreviewsSet(int index) const = 0;
    virtual QString GetDocumentId(int index) const = 0;
    virtual QString GetDocumentPath(int index) const = 0;
    virtual QDateTime GetModifiedDateTime(int index) const = 0;
    virtual int GetDocumentState(int index) const = 0;
    virtual int GetFileSize(int index) const = 0;

    // Argument types are written in full: moc takes them as text, and they must match the registered names.
Q_SIGNALS:
    void FileAdded(const std::shared_ptr<Orvane::PDF::FileInfo>& file);
    void FileAdded();
    void FileRemoved(const std::shared_ptr<const Orvane::PDF::FileInfo>& file);
    void FileRemoved();
    void FileUpdated(const std::string& id);
    void FileUpdated(int index);
};

} // namespace Orvane::PDF
