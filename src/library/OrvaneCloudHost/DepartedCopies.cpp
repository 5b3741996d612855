#include <OrvaneCloudHost/DepartedCopies.h>

#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>
#include <support/PathText.h>

#include <QDateTime>

#include <filesystem>
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

// A file that the system cannot look at may exist: opening it says why.
bool MayExist(const QString& file)
{
    std::error_code error;
    return std::filesystem::exists(Support::ToPath(file), error) || error;
}

} // namespace

DepartedCopies::DepartedCopies(QString file, std::function<bool()> storeList)
    : m_file(std::move(file))
    , m_isAnyStored(MayExist(m_file))
    , m_storeList(std::move(storeList))
{}

DepartedCopies::~DepartedCopies()
{
    if (m_givenBackIds.empty() || !m_storeList())
        return;
    for (const auto& id : m_givenBackIds)
        m_storage->RemoveRecord(id);
}

void DepartedCopies::Remember(const FileInfo& document)
{
    if (document.GetPath().empty())
        return Forget(document.GetId());
    if (!IsOpen())
        return;
    m_givenBackIds.erase(document.GetId());
    auto& record = m_records[document.GetId()];
    record = {{kFilePath, document.GetPath().utf8string()},
              {kLocalFileHash, document.GetMd5Hash()},
              {kLastSyncFileHash, document.GetCloudHashBeforeChange()},
              {kDepartedOn, std::to_string(Today())}};
    for (const auto& [key, value] : record)
        m_storage->SetValue(document.GetId(), key, value);
}

bool DepartedCopies::Store()
{
    return m_openProblem.isEmpty() && (!m_storage || m_storage->Flush());
}

bool DepartedCopies::GiveBack(FileInfo& document)
{
    if (!IsOpenIfStored())
        return false;
    const auto found = m_records.find(document.GetId());
    if (found == m_records.end())
        return false;
    const auto& record = found->second;
    document.SetPath(ioPath(Value(record, kFilePath)), Value(record, kLocalFileHash),
                     Value(record, kLastSyncFileHash));
    m_givenBackIds.insert(document.GetId());
    return true;
}

void DepartedCopies::Forget(const std::string& documentId)
{
    if (!IsOpenIfStored())
        return;
    m_givenBackIds.erase(documentId);
    if (m_records.erase(documentId) > 0)
        m_storage->RemoveRecord(documentId);
}

QString DepartedCopies::Problem() const
{
    return m_storage ? m_storage->Problem() : m_openProblem;
}

bool DepartedCopies::IsOpenIfStored()
{
    return m_storage || (m_isAnyStored && IsOpen());
}

bool DepartedCopies::IsOpen()
{
    if (!m_storage && m_openProblem.isEmpty())
        Open();
    return m_storage != nullptr;
}

void DepartedCopies::Open()
{
    try {
        m_storage = std::make_shared<SqliteCloudInfoStorage>(m_file);
        m_records = m_storage->LoadRecords();
        ForgetOld();
    } catch (const StorageError& error) {
        m_openProblem = QString::fromUtf8(error.what()) + QLatin1Char('.');
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
