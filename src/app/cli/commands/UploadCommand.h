#pragma once

#include "../StoredContent.h"
#include "BatchCommand.h"

#include <OrvaneCloudHost/LocalFileSystem.h>

#include <QMultiHash>
#include <QStringList>

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
    void AddFile(const QByteArray& argument);
    void StartFile(const QString& key);
    void StartNextOfName(const QString& key);
    void OnUploaded(const PDF::FileInfo& document);
    void Skip(const QString& key, const std::shared_ptr<PDF::FileInfo>& document);
    void SetStored(const QString& key, const PDF::FileInfo& document, bool isSkipped);
    void SetNotStored(const QString& key, const Social::Failure& failure);
    [[nodiscard]] QString RealPath(const QString& path);

    PDF::Cloud::LocalFileSystem m_fileSystem;
    StoredContent m_storedContent;
    QMultiHash<QString, QString> m_pathByRealPath; ///< of the uploads under way

    /// Files of one name, the first of which is under way. Only then is it known what the cloud has of that
    /// name.
    QHash<QString, QStringList> m_keysByName;
};

} // namespace Orvane::CommandLine
