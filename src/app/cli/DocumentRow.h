#pragma once

#include <FileInfo.h>

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QVector>

namespace Orvane::PDF {
class AbstractFileManager;
}

namespace Orvane::CommandLine {

/// One document of the list, as the program shows it.
struct DocumentRow
{
    QString id;
    QString name;
    qint64 size = 0; ///< bytes
    QDateTime modified;
    PDF::FileInfo::CloudStatus state = PDF::FileInfo::CloudStatus::Undefined;
    QString localPath; ///< empty when there is no local copy
};

[[nodiscard]] bool operator==(const DocumentRow& left, const DocumentRow& right);

/// The whole list, in ascending order of name, upper and lower case alike.
[[nodiscard]] QVector<DocumentRow> ReadRows(const PDF::AbstractFileManager& documents);

/// "synchronized", "cloud only", …
[[nodiscard]] QString StateText(PDF::FileInfo::CloudStatus state);

/// "2024-05-31 17:04" in local time; "-" when unknown.
[[nodiscard]] QString DateText(const QDateTime& date);

/// { "id", "name", "size", "modified" (UTC, or null), "state", "path" (or null) }
[[nodiscard]] QJsonObject ToJson(const DocumentRow& row);

} // namespace Orvane::CommandLine
