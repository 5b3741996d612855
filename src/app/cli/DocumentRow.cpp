#include "DocumentRow.h"

#include <AbstractFileManager.h>

#include <QJsonValue>

#include <algorithm>
#include <tuple>

namespace Orvane::CommandLine {

using PDF::AbstractFileManager;
using PDF::FileInfo;

namespace {

/// The list answers sizes as int; the exact one is in the record.
qint64 SizeOf(const FileInfo& document)
{
    const unsigned long long localSize = document.GetSize();
    const auto cloudInfo = document.GetCloudInfo();
    const unsigned long long size = localSize == 0 && cloudInfo ? cloudInfo->GetSize() : localSize;
    return static_cast<qint64>(size);
}

DocumentRow ReadRow(const AbstractFileManager& documents, int index)
{
    DocumentRow row;
    row.id = documents.GetDocumentId(index);
    row.name = documents.GetDocumentName(index);
    row.modified = documents.GetModifiedDateTime(index);
    row.state = static_cast<FileInfo::CloudStatus>(documents.GetDocumentState(index));
    row.localPath = documents.GetDocumentPath(index);
    if (const auto document = documents.GetFileInfo(row.id))
        row.size = SizeOf(*document);
    return row;
}

bool IsNameBefore(const DocumentRow& left, const DocumentRow& right)
{
    const int order = QString::compare(left.name, right.name, Qt::CaseInsensitive);
    return order != 0 ? order < 0 : left.id < right.id;
}

QJsonValue TextOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

} // namespace

bool operator==(const DocumentRow& left, const DocumentRow& right)
{
    return std::tie(left.id, left.name, left.size, left.modified, left.state, left.localPath) ==
           std::tie(right.id, right.name, right.size, right.modified, right.state, right.localPath);
}

QVector<DocumentRow> ReadRows(const AbstractFileManager& documents)
{
    QVector<DocumentRow> rows;
    rows.reserve(documents.FilesCount());
    for (int index = 0; index < documents.FilesCount(); ++index)
        rows.append(ReadRow(documents, index));
    std::sort(rows.begin(), rows.end(), IsNameBefore);
    return rows;
}

QString StateText(FileInfo::CloudStatus state)
{
    switch (state) {
    case FileInfo::CloudStatus::Synchronized:
        return QStringLiteral("synchronized");
    case FileInfo::CloudStatus::CloudOnly:
        return QStringLiteral("cloud only");
    case FileInfo::CloudStatus::LocalChanged:
        return QStringLiteral("changed here");
    case FileInfo::CloudStatus::CloudChanged:
        return QStringLiteral("changed in cloud");
    case FileInfo::CloudStatus::NotUploaded:
        return QStringLiteral("not uploaded");
    case FileInfo::CloudStatus::Syncing:
        return QStringLiteral("in transfer");
    case FileInfo::CloudStatus::Conflict:
        return QStringLiteral("conflict");
    case FileInfo::CloudStatus::Undefined:
        break;
    }
    return QStringLiteral("unknown");
}

QString DateText(const QDateTime& date)
{
    return date.isValid() ? date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"))
                          : QStringLiteral("-");
}

QJsonObject ToJson(const DocumentRow& row)
{
    const QString modified = row.modified.isValid() ? row.modified.toUTC().toString(Qt::ISODate) : QString();
    return {{QStringLiteral("id"), row.id},
            {QStringLiteral("name"), row.name},
            {QStringLiteral("size"), row.size},
            {QStringLiteral("modified"), TextOrNull(modified)},
            {QStringLiteral("state"), StateText(row.state)},
            {QStringLiteral("path"), TextOrNull(row.localPath)}};
}

} // namespace Orvane::CommandLine
