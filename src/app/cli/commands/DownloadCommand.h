#pragma once

#include "../DocumentRow.h"
#include "BatchCommand.h"

#include <QHash>
#include <QSet>

#include <filesystem>

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
    void AddDocument(const DocumentRow& row, const QString& argument);
    [[nodiscard]] std::optional<Problem> CheckTarget(const DocumentRow& row, const QString& fileName) const;
    [[nodiscard]] std::optional<Problem> CheckObstacle(const QString& name, const QString& fileName) const;
    void OnDownloaded(const PDF::FileInfo& document);

    std::filesystem::path m_folder;
    QHash<QString, QString> m_fileNames; ///< safe here, by document id
    QSet<QString> m_takenNames;          ///< by documents of this run
};

} // namespace Orvane::CommandLine
