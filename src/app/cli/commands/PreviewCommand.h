#pragma once

#include "../DocumentRow.h"
#include "Command.h"

#include <filesystem>

namespace Orvane::CommandLine {

struct TargetObstacle;

/// Takes the document from the stored list where that knows it: a refresh would put the pictures of all
/// documents before this one.
class PreviewCommand : public Command
{
public:
    explicit PreviewCommand(const Surroundings& surroundings);

    void Start() override;

protected:
    [[nodiscard]] QJsonObject Results() const override;
    void OnOperationFailed(const OperationFailure& failure) override;

private:
    [[nodiscard]] bool TryKnownDocument();
    void TryListedDocument();
    void Request(const DocumentRow& row);
    void OnPreview(const PDF::FileInfo& document, PDF::FileInfo::PreviewSize size);
    void Save(const std::filesystem::path& picture);
    void Place(const QByteArray& content);
    void FailAt(const TargetObstacle& obstacle);
    void FailToWrite(const QString& why);

    DocumentRow m_row;
    std::filesystem::path m_target;
    bool m_isSaved = false;
};

} // namespace Orvane::CommandLine
