#pragma once

#include "BatchCommand.h"

#include <OrvaneCloudHost/LocalFileSystem.h>

#include <QMultiHash>

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
    void OnUploaded(const PDF::FileInfo& document);
    [[nodiscard]] QString RealPath(const QString& path);

    PDF::Cloud::LocalFileSystem m_fileSystem;
    QMultiHash<QString, QString> m_pathByRealPath; ///< of the uploads under way
};

} // namespace Orvane::CommandLine
