#pragma once

#include "../StoredContent.h"
#include "BatchCommand.h"

#include <OrvaneCloudHost/LocalFileSystem.h>

#include <QString>
#include <QVector>

namespace Orvane::CommandLine {

class UploadCommand : public BatchCommand
{
public:
    explicit UploadCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    void StartItem(const QString& key) override;
    void OnOperationFailed(const OperationFailure& failure) override;

private:
    struct File
    {
        QString key;
        QString name;
        QString realPath; ///< by which the session reports it; two names may be links to one file
    };

    void AddFile(const QByteArray& argument);
    void StartFreeFiles();
    void StartFile(const File& file);
    void EndFile(const QString& key);
    void OnUploaded(const PDF::FileInfo& document);
    void Skip(const File& file, const std::shared_ptr<PDF::FileInfo>& document);
    void SetStored(const QString& key, const PDF::FileInfo& document, bool isSkipped);
    void SetNotStored(const QString& key, const Social::Failure& failure);
    [[nodiscard]] QString RealPath(const QString& path);

    PDF::Cloud::LocalFileSystem m_fileSystem;
    StoredContent m_storedContent;
    QVector<File> m_filesUnderWay;

    /// Each waits for the earlier ones of its name, because only then is it known what the cloud has of that
    /// name, and for those that are the same file, because the session reports a file by its real path.
    QVector<File> m_waitingFiles;
};

} // namespace Orvane::CommandLine
