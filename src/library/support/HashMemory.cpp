#include "HashMemory.h"

#include "Database.h"
#include "FileStamp.h"
#include "Md5.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Orvane::Support {
namespace {

constexpr Schema kSchema{0x4F724D48, // "OrMH"
                         1,
                         "CREATE TABLE file_hash ("
                         " path BLOB PRIMARY KEY NOT NULL,"
                         " device INTEGER NOT NULL,"
                         " inode INTEGER NOT NULL,"
                         " size INTEGER NOT NULL,"
                         " modified INTEGER NOT NULL,"
                         " changed INTEGER NOT NULL,"
                         " md5 BLOB NOT NULL,"
                         " last_used INTEGER NOT NULL"
                         ") WITHOUT ROWID;"
                         "CREATE INDEX file_hash_by_use ON file_hash (last_used)"};

// A killed program loses no more than this.
constexpr std::size_t kMostUnsaved = 1000;

// Room is made for some at a time, as finding the oldest costs a look at all.
constexpr std::size_t kShareForgottenAtOnce = 16;

struct Entry
{
    FileStamp stamp;
    std::string md5;
    std::int64_t lastUsedDay = 0;
};

using Entries = std::unordered_map<std::string, Entry>;

std::int64_t DayOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::hours>(time.time_since_epoch()).count() / 24;
}

void BindBytes(SQLite::Statement& statement, int index, const std::string& bytes)
{
    statement.bindNoCopy(index, bytes.data(), static_cast<int>(bytes.size()));
}

// The database keeps signed numbers only: the same 64 bits, read another way.
std::int64_t ToSigned(std::uint64_t number)
{
    return static_cast<std::int64_t>(number);
}

std::uint64_t ToUnsigned(const SQLite::Column& column)
{
    return static_cast<std::uint64_t>(column.getInt64());
}

Entries ReadEntries(SQLite::Database& database)
{
    Entries entries;
    SQLite::Statement query(
        database, "SELECT path, device, inode, size, modified, changed, md5, last_used FROM file_hash");
    while (query.executeStep()) {
        const FileStamp stamp{ToUnsigned(query.getColumn(1)), ToUnsigned(query.getColumn(2)),
                              ToUnsigned(query.getColumn(3)), query.getColumn(4).getInt64(),
                              query.getColumn(5).getInt64()};
        entries.emplace(query.getColumn(0).getString(),
                        Entry{stamp, query.getColumn(6).getString(), query.getColumn(7).getInt64()});
    }
    return entries;
}

void WriteEntry(SQLite::Statement& insert, const std::string& path, const Entry& entry)
{
    BindBytes(insert, 1, path);
    insert.bind(2, ToSigned(entry.stamp.device));
    insert.bind(3, ToSigned(entry.stamp.inode));
    insert.bind(4, ToSigned(entry.stamp.size));
    insert.bind(5, entry.stamp.modified);
    insert.bind(6, entry.stamp.changed);
    BindBytes(insert, 7, entry.md5);
    insert.bind(8, entry.lastUsedDay);
    insert.exec();
    insert.reset();
}

void ForgetOldest(SQLite::Database& database, std::size_t capacity)
{
    SQLite::Statement statement(
        database, "DELETE FROM file_hash WHERE path IN (SELECT path FROM file_hash ORDER BY last_used"
                  " LIMIT max(0, (SELECT count(*) FROM file_hash) - ?))");
    statement.bind(1, ToSigned(capacity));
    statement.exec();
}

} // namespace

class HashMemory::Private
{
public:
    Private(std::filesystem::path databaseFile, HashMemorySettings settings)
        : m_databaseFile(std::move(databaseFile))
        , m_settings(std::move(settings))
    {}

    std::string Recall(const std::string& path, const FileStamp& stamp);
    void Remember(const std::string& path, const FileStamp& stamp, const std::string& md5);
    void Flush();

    bool IsWorthRemembering(const FileStamp& stamp) const { return IsSettled(stamp, m_settings.now()); }

private:
    void ReadOnce();
    void NoteUse(const std::string& path, Entry& entry);
    void MakeRoom();
    void Save();

    const std::filesystem::path m_databaseFile;
    const HashMemorySettings m_settings;

    std::mutex m_mutex; // guards what follows
    bool m_isRead = false;
    std::unique_ptr<SQLite::Database> m_database;
    Entries m_entries;
    std::vector<std::string> m_unsaved;
};

std::string HashMemory::Private::Recall(const std::string& path, const FileStamp& stamp)
{
    const std::lock_guard lock(m_mutex);
    ReadOnce();
    const auto found = m_entries.find(path);
    if (found == m_entries.end() || found->second.stamp != stamp)
        return {};
    NoteUse(path, found->second);
    return found->second.md5;
}

void HashMemory::Private::Remember(const std::string& path, const FileStamp& stamp, const std::string& md5)
{
    const std::lock_guard lock(m_mutex);
    if (!m_entries.empty() && m_entries.size() >= m_settings.capacity && m_entries.count(path) == 0)
        MakeRoom();
    m_entries[path] = {stamp, md5, DayOf(m_settings.now())};
    m_unsaved.push_back(path);
    if (m_unsaved.size() >= kMostUnsaved)
        Save();
}

void HashMemory::Private::Flush()
{
    const std::lock_guard lock(m_mutex);
    Save();
}

void HashMemory::Private::ReadOnce()
{
    if (std::exchange(m_isRead, true) || m_databaseFile.empty())
        return;
    try {
        m_database = OpenDatabase(m_databaseFile, kSchema).database;
        m_entries = ReadEntries(*m_database);
    } catch (const std::runtime_error&) {
        m_database.reset();
    }
}

// By the day, so that asking does not make everything worth saving again.
void HashMemory::Private::NoteUse(const std::string& path, Entry& entry)
{
    const auto today = DayOf(m_settings.now());
    if (entry.lastUsedDay >= today)
        return;
    entry.lastUsedDay = today;
    m_unsaved.push_back(path);
}

void HashMemory::Private::MakeRoom()
{
    std::vector<std::pair<std::int64_t, std::string>> byUse;
    byUse.reserve(m_entries.size());
    for (const auto& [path, entry] : m_entries)
        byUse.emplace_back(entry.lastUsedDay, path);
    const auto surplus = m_entries.size() - m_settings.capacity;
    const auto count = std::min(byUse.size(), surplus + m_settings.capacity / kShareForgottenAtOnce + 1);
    const auto end = byUse.begin() + static_cast<std::ptrdiff_t>(count);
    std::nth_element(byUse.begin(), end - 1, byUse.end());
    std::for_each(byUse.begin(), end, [this](const auto& use) { m_entries.erase(use.second); });
}

void HashMemory::Private::Save()
{
    const auto unsaved = std::exchange(m_unsaved, {});
    if (!m_database || unsaved.empty())
        return;
    try {
        SQLite::Transaction transaction(*m_database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement insert(*m_database, "REPLACE INTO file_hash VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
        for (const auto& path : unsaved)
            if (const auto found = m_entries.find(path); found != m_entries.end())
                WriteEntry(insert, path, found->second);
        ForgetOldest(*m_database, m_settings.capacity);
        transaction.commit();
    } catch (const SQLite::Exception&) { // they will be hashed again in the next run
    }
}

HashMemory::HashMemory(const std::filesystem::path& databaseFile, HashMemorySettings settings)
    : d(std::make_unique<Private>(databaseFile, std::move(settings)))
{}

HashMemory::~HashMemory()
{
    Flush();
}

std::string HashMemory::HashOf(const std::filesystem::path& file, const IsCanceled& isCanceled)
{
    const auto before = StampOf(file);
    if (!before)
        return {};
    const auto path = file.u8string();
    if (const auto remembered = d->Recall(path, *before); !remembered.empty())
        return ToHex(remembered);

    const auto md5 = Md5OfContent(file, isCanceled);
    if (!md5)
        return {};
    if (d->IsWorthRemembering(*before) && StampOf(file) == before)
        d->Remember(path, *before, *md5);
    return ToHex(*md5);
}

void HashMemory::Flush()
{
    d->Flush();
}

} // namespace Orvane::Support
