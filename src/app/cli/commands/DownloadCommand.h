#pragma once

#include "../DocumentRow.h"
#include "BatchCommand.h"

#include <QHash>
#include <QSet>

#include <filesystem>
#include <memory>

namespace Orvane::CommandLine {

class DownloadCommand : public BatchCommand
{
public:
    explicit DownloadCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    void StartItem(const QString& key) override;
    void OnOperationFailed(const OperationFailure& failure) override;

private:
    void AddDocuments();
    void AddDocument(const DocumentRow& row);
    [[nodiscard]] std::optional<Problem> CheckTarget(const DocumentRow& row, const QString& fileName) const;
    void OnDownloaded(const PDF::FileInfo& document);
    void RestoreCloudSide(const QString& id);

    struct Download
    {
        std::shared_ptr<PDF::FileInfo> listed;  ///< as the list has it
        std::shared_ptr<PDF::FileInfo> request; ///< the same, under a name that is safe here
    };

    std::filesystem::path m_folder;
    QHash<QString, Download> m_downloads;
    QSet<QString> m_fileNames; ///< taken by documents of this run
};

} // namespace Orvane::CommandLine
