#include <OrvaneCloudHost/DepartedCopies.h>

#include <OrvaneCloudHost/StorageError.h>

#include <QDateTime>

#include <utility>
#include <vector>

namespace Orvane::PDF::Cloud {
namespace {

const std::string kFilePath = "file_path";
const std::string kLocalFileHash = "local_file_hash";
const std::string kLastSyncFileHash = "last_sync_file_hash";
const std::string kDepartedOn = "departed_on";

constexpr qint64 kDaysKept = 30;

qint64 Today()
{
    return QDateTime::currentSecsSinceEpoch() / (24 * 60 * 60);
}

std::string Value(const ICloudInfoStorage::Record& record, const std::string& key)
{
    const auto found = record.find(key);
    return found == record.end() ? std::string() : found->second;
}

} // namespace

DepartedCopies::DepartedCopies(Open open, bool isAnyStored)
    : m_open(std::move(open))
    , m_isAnyStored(isAnyStored)
{}

void DepartedCopies::Remember(const FileInfo& document)
{
    if (document.GetPath().empty())
        return;
    OpenOnce();
    auto& record = m_records[document.GetId()];
    record = {{kFilePath, document.GetPath().utf8string()},
              {kLocalFileHash, document.GetMd5Hash()},
              {kLastSyncFileHash, document.GetCloudHashBeforeChange()},
              {kDepartedOn, std::to_string(Today())}};
    for (const auto& [key, value] : record) {
        if (m_storage)
            m_storage->SetValue(document.GetId(), key, value);
    }
}

bool DepartedCopies::GiveBack(FileInfo& document)
{
    if (m_isAnyStored)
        OpenOnce();
    const auto found = m_records.find(document.GetId());
    if (found == m_records.end())
        return false;
    const auto& record = found->second;
    document.SetPath(ioPath(Value(record, kFilePath)), Value(record, kLocalFileHash),
                     Value(record, kLastSyncFileHash));
    Forget(document.GetId());
    return true;
}

void DepartedCopies::Forget(const std::string& documentId)
{
    if (m_isAnyStored)
        OpenOnce();
    if (m_records.erase(documentId) > 0 && m_storage)
        m_storage->RemoveRecord(documentId);
}

void DepartedCopies::OpenOnce()
{
    const auto open = std::exchange(m_open, nullptr);
    if (!open)
        return;
    try {
        m_storage = open();
        m_records = m_storage->LoadRecords();
        ForgetOld();
    } catch (const StorageError&) {
        m_storage.reset();
    }
}

void DepartedCopies::ForgetOld()
{
    std::vector<std::string> oldIds;
    for (const auto& [id, record] : m_records) {
        if (Today() - QString::fromStdString(Value(record, kDepartedOn)).toLongLong() > kDaysKept)
            oldIds.push_back(id);
    }
    for (const auto& id : oldIds)
        Forget(id);
}

} // namespace Orvane::PDF::Cloud
