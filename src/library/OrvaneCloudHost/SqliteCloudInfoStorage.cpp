#include "SqliteCloudInfoStorage.h"

#include "DamagedRecords.h"
#include "PackedRecord.h"

#include <support/Database.h>
#include <support/FileLock.h>
#include <support/PathText.h>
#include <support/Statement.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QSysInfo>

#include <glog/logging.h>

#include <set>
#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;
using Support::DatabaseError;
using Support::FileLock;
using Documents = std::map<std::string, PackedRecord>;

constexpr Support::Schema kSchema{0x4F724369, // "OrCi"
                                  1,
                                  "CREATE TABLE document_value ("
                                  " document_id BLOB NOT NULL,"
                                  " key BLOB NOT NULL,"
                                  " value BLOB NOT NULL,"
                                  " PRIMARY KEY (document_id, key)"
                                  ") WITHOUT ROWID"};

constexpr std::chrono::milliseconds kLockTimeout{2000};

// Below SQLite's own limit, so that one value can never keep all others from being written.
constexpr std::size_t kLargestRow = std::size_t{512} * 1024 * 1024;

StorageError::Reason ToStorageReason(DatabaseError::Reason reason)
{
    switch (reason) {
    case DatabaseError::Reason::Locked:
        return StorageError::Reason::Locked;
    case DatabaseError::Reason::NotWritable:
        return StorageError::Reason::NotWritable;
    case DatabaseError::Reason::NewerVersion:
        return StorageError::Reason::NewerVersion;
    case DatabaseError::Reason::DiskFull:
        return StorageError::Reason::DiskFull;
    case DatabaseError::Reason::Unusable:
        break;
    }
    return StorageError::Reason::Unusable;
}

std::string OwnSignature()
{
    return QStringLiteral("%1 (process %2 on %3)")
        .arg(QCoreApplication::applicationName(), QString::number(QCoreApplication::applicationPid()),
             QSysInfo::machineHostName())
        .toStdString();
}

// Says who holds the file, which SQLite's own lock does not know. That one is all there is on a file system
// that has no locks of this kind.
std::unique_ptr<FileLock> LockBeside(const fs::path& file)
{
    auto path = file;
    path += ".lock";
    auto lock = std::make_unique<FileLock>(path);
    const auto subject = "The document list \"" + file.u8string() + '"';
    switch (lock->Take(kLockTimeout)) {
    case FileLock::Result::Taken:
        lock->SignAs(OwnSignature());
        break;
    case FileLock::Result::HeldElsewhere:
        throw StorageError(StorageError::Reason::Locked, subject + " is in use by " + lock->Signature());
    case FileLock::Result::NotWritable:
        throw StorageError(StorageError::Reason::NotWritable,
                           subject + " cannot be opened, because its folder cannot be written");
    case FileLock::Result::Unsupported:
        break;
    }
    return lock;
}

void KeepToOurselves(SQLite::Database& database)
{
    database.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; COMMIT");
}

Documents ReadDocuments(SQLite::Database& database)
{
    Documents documents;
    auto document = documents.end();
    Support::Statement query(database, "SELECT document_id, key, value FROM document_value ORDER BY 1, 2");
    while (query.Step()) {
        const auto id = query.Bytes(0);
        if (document == documents.end() || document->first != id)
            document = documents.try_emplace(documents.end(), std::string(id));
        document->second.Append(query.Bytes(1), query.Bytes(2));
    }
    return documents;
}

// Returns how many documents were carried over.
std::size_t CarryOver(SQLite::Database& damaged, SQLite::Database& fresh)
{
    const auto records = ReadDamagedRecords(damaged);
    SQLite::Transaction transaction(fresh, SQLite::TransactionBehavior::IMMEDIATE);
    Support::Statement insert(fresh, "INSERT INTO document_value VALUES (?, ?, ?)");
    for (const auto& [id, record] : records) {
        insert.Bind(1, id);
        for (const auto& [key, value] : record) {
            insert.Bind(2, key);
            insert.Bind(3, value);
            insert.Execute();
        }
    }
    transaction.commit();
    return records.size();
}

QString SetAsideNotice(const fs::path& file, const Support::OpenedDatabase& opened, std::size_t carriedOver)
{
    const auto rest = carriedOver == 0
                          ? QStringLiteral("an empty list was begun")
                          : QStringLiteral("the documents that could still be read (%1) were carried over "
                                           "into a new list")
                                .arg(carriedOver);
    return QStringLiteral("The document list \"%1\" could not be used (%2). It was moved to \"%3\", and %4.")
        .arg(Support::ToText(file), QString::fromStdString(opened.setAsideReason),
             Support::ToText(opened.setAside), rest);
}

} // namespace

class SqliteCloudInfoStorage::Private
{
public:
    explicit Private(const QString& databaseFile);

    void RemoveRecord(const std::string& id);
    void SetValue(const std::string& id, const std::string& key, const std::string& value);
    bool Flush();

    Records AllRecords() const;
    const QString& Notice() const { return m_notice; }
    const QString& Problem() const { return m_problem; }

private:
    void Open();
    PackedRecord& RecordOf(const std::string& id);
    void FlushLater();
    void WritePending();
    void ForgetPending();
    void Report(const QString& cause);

    const fs::path m_file;
    std::unique_ptr<FileLock> m_lock; // outlives the database
    std::unique_ptr<SQLite::Database> m_database;

    // As they will stand in the database once everything pending is written.
    Documents m_documents;
    Documents::iterator m_latest = m_documents.end(); // values of one document mostly come together

    std::set<std::string> m_removed; // pending: these go first
    std::set<std::string> m_changed; // pending: documents with changed values
    QString m_notice;
    QString m_problem;
    bool m_isFlushQueued = false;
    QObject m_queue; // queued calls end with it
};

SqliteCloudInfoStorage::Private::Private(const QString& databaseFile)
    : m_file(Support::RealPath(Support::ToPath(databaseFile)))
{
    try {
        Support::MakeFolderOf(m_file);
        m_lock = LockBeside(m_file);
        Open();
    } catch (const DatabaseError& error) {
        throw StorageError(ToStorageReason(error.GetReason()), error.what());
    } catch (const SQLite::Exception& error) {
        const bool isLocked = error.getErrorCode() == SQLITE_BUSY;
        throw StorageError(isLocked ? StorageError::Reason::Locked : StorageError::Reason::Unusable,
                           "The document list \"" + m_file.u8string() + "\" cannot be read (" + error.what() +
                               ')');
    }
}

void SqliteCloudInfoStorage::Private::Open()
{
    std::size_t carriedOver = 0;
    auto opened = Support::OpenDatabase(m_file, kSchema,
                                        [&carriedOver](SQLite::Database& damaged, SQLite::Database& fresh) {
                                            carriedOver = CarryOver(damaged, fresh);
                                        });
    m_database = std::move(opened.database);
    KeepToOurselves(*m_database);
    m_documents = ReadDocuments(*m_database);
    m_latest = m_documents.end();
    if (opened.setAside.empty())
        return;
    m_notice = SetAsideNotice(m_file, opened, carriedOver);
    LOG(ERROR) << m_notice.toStdString();
}

void SqliteCloudInfoStorage::Private::RemoveRecord(const std::string& id)
{
    if (m_documents.erase(id) == 0)
        return;
    m_latest = m_documents.end();
    m_changed.erase(id);
    m_removed.insert(id);
    FlushLater();
}

void SqliteCloudInfoStorage::Private::SetValue(const std::string& id, const std::string& key,
                                               const std::string& value)
{
    if (id.size() + key.size() + value.size() > kLargestRow)
        return Report(QStringLiteral("a value of %1 bytes is too large").arg(value.size()));
    auto& record = RecordOf(id);
    const bool isPending = record.HasChanges();
    if (!record.Set(key, value) || isPending)
        return;
    m_changed.insert(id);
    FlushLater();
}

PackedRecord& SqliteCloudInfoStorage::Private::RecordOf(const std::string& id)
{
    if (m_latest == m_documents.end() || m_latest->first != id)
        m_latest = m_documents.try_emplace(id).first;
    return m_latest->second;
}

ICloudInfoStorage::Records SqliteCloudInfoStorage::Private::AllRecords() const
{
    Records records;
    for (const auto& [id, record] : m_documents)
        records.emplace_hint(records.end(), id, record.Unpacked());
    return records;
}

void SqliteCloudInfoStorage::Private::FlushLater()
{
    if (std::exchange(m_isFlushQueued, true))
        return;
    const auto flush = [this] {
        m_isFlushQueued = false;
        Flush();
    };
    QMetaObject::invokeMethod(&m_queue, flush, Qt::QueuedConnection);
}

bool SqliteCloudInfoStorage::Private::Flush()
{
    if (m_removed.empty() && m_changed.empty())
        return m_problem.isEmpty();
    try {
        WritePending();
    } catch (const SQLite::Exception& error) {
        Report(QString::fromUtf8(error.what()));
        return false;
    }
    ForgetPending();
    m_problem.clear();
    return true;
}

void SqliteCloudInfoStorage::Private::WritePending()
{
    SQLite::Transaction transaction(*m_database, SQLite::TransactionBehavior::IMMEDIATE);
    Support::Statement remove(*m_database, "DELETE FROM document_value WHERE document_id = ?");
    for (const auto& id : m_removed) {
        remove.Bind(1, id);
        remove.Execute();
    }
    Support::Statement replace(*m_database, "REPLACE INTO document_value VALUES (?, ?, ?)");
    for (const auto& id : m_changed) {
        replace.Bind(1, id);
        m_documents.at(id).VisitChanged([&replace](std::string_view key, std::string_view value) {
            replace.Bind(2, key);
            replace.Bind(3, value);
            replace.Execute();
        });
    }
    transaction.commit();
}

void SqliteCloudInfoStorage::Private::ForgetPending()
{
    for (const auto& id : m_changed)
        m_documents.at(id).ForgetChanges();
    m_changed.clear();
    m_removed.clear();
}

void SqliteCloudInfoStorage::Private::Report(const QString& cause)
{
    m_problem = QStringLiteral("The document list \"%1\" could not be stored: %2.")
                    .arg(Support::ToText(m_file), cause);
    LOG(ERROR) << m_problem.toStdString();
}

SqliteCloudInfoStorage::SqliteCloudInfoStorage(const QString& databaseFile)
    : d(std::make_unique<Private>(databaseFile))
{}

SqliteCloudInfoStorage::~SqliteCloudInfoStorage()
{
    d->Flush();
}

void SqliteCloudInfoStorage::RemoveRecord(const std::string& documentId)
{
    d->RemoveRecord(documentId);
}

void SqliteCloudInfoStorage::SetValue(const std::string& documentId, const std::string& key,
                                      const std::string& value)
{
    d->SetValue(documentId, key, value);
}

ICloudInfoStorage::Records SqliteCloudInfoStorage::LoadRecords()
{
    d->Flush();
    return d->AllRecords();
}

bool SqliteCloudInfoStorage::Flush()
{
    return d->Flush();
}

QString SqliteCloudInfoStorage::Notice() const
{
    return d->Notice();
}

QString SqliteCloudInfoStorage::Problem() const
{
    return d->Problem();
}

} // namespace Orvane::PDF::Cloud
