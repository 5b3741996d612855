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
    using IsListed = std::function<bool(const FileInfo& document)>;

    /// @param lastReason  why the last request of a kind failed, as the protocol client tells
    /// @param isListed    whether the document list holds a document
    FailureReporter(const OrvaneCloudManager& cloud, Reason lastReason, IsListed isListed);

Q_SIGNALS:
    void Failed(const Orvane::PDF::Cloud::CloudSession::OperationFailure& failure);

private:
    void Report(Social::Operation operation, const QString& subject);
    void Report(Social::Operation operation, const QString& subject, const Social::Failure& failure);
    void ReportRemoval(const FileInfo& document);
    void ReportPreview(const FileInfo& document, const QString& message);

    const Reason m_lastReason;
    const IsListed m_isListed;
};

} // namespace Orvane::PDF::Cloud
