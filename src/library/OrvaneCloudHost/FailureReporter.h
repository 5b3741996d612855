#pragma once

#include <FileInfo.h>
#include <OrvaneCloudHost/CloudSession.h>

#include <QObject>

#include <functional>
#include <memory>

namespace Orvane::PDF::Cloud {

/// Turns the error signals of a cloud manager into OperationFailed reports with their reasons.
class FailureReporter : public QObject
{
    Q_OBJECT

public:
    using Reason = std::function<std::optional<Social::Failure>(Social::Operation)>;
    using IsCleanUp = std::function<bool(const std::shared_ptr<const FileInfo>& document)>;

    /// @param lastReason  why the last request of a kind failed, as the protocol client tells
    /// @param isCleanUp   whether the manager itself has asked for the removal of a document
    FailureReporter(const OrvaneCloudManager& cloud, Reason lastReason, IsCleanUp isCleanUp);

Q_SIGNALS:
    void Failed(const Orvane::PDF::Cloud::CloudSession::OperationFailure& failure);

private:
    void Report(Social::Operation operation, const QString& subject);
    void Report(Social::Operation operation, const QString& subject, const Social::Failure& failure);
    void ReportUpload(const QString& path);
    void ReportDownload(const FileInfo& document);
    void ReportRemoval(const std::shared_ptr<const FileInfo>& document);
    void ReportPreview(const FileInfo& document, const QString& message);

    const Reason m_lastReason;
    const IsCleanUp m_isCleanUp;
};

} // namespace Orvane::PDF::Cloud
