#include "HashMemory.h"

#include "Database.h"
#include "FileStamp.h"
#include "Md5.h"
#include "Statement.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <string_view>
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

using Md5Bytes = std::array<char, 16>;

struct Entry
{
    FileStamp stamp;
    Md5Bytes md5 = {};
    std::int64_t lastUsedDay = 0;
};

using Entries = std::unordered_map<std::string, Entry>;

// Of as many bytes as there must be.
Md5Bytes ToMd5Bytes(std::string_view text)
{
    Md5Bytes bytes = {};
    std::copy_n(text.begin(), bytes.size(), bytes.begin());
    return bytes;
}

std::int64_t DayOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::hours>(time.time_since_epoch()).count() / 24;
}

// The database keeps signed numbers only: the same 64 bits, read another way.
std::int64_t ToSigned(std::uint64_t number)
{
    return static_cast<std::int64_t>(number);
}

std::uint64_t ToUnsigned(std::int64_t number)
{
    return static_cast<std::uint64_t>(number);
}

Entries ReadEntries(SQLite::Database& database)
{
    Entries entries;
    Statement query(database,
                    "SELECT path, device, inode, size, modified, changed, md5, last_used FROM file_hash");
    while (query.Step()) {
        const FileStamp stamp{ToUnsigned(query.Number(1)), ToUnsigned(query.Number(2)),
                              ToUnsigned(query.Number(3)), query.Number(4), query.Number(5)};
        if (query.Bytes(6).size() == Md5Bytes().size())
            entries.emplace(query.Bytes(0), Entry{stamp, ToMd5Bytes(query.Bytes(6)), query.Number(7)});
    }
    return entries;
}

void WriteEntry(Statement& insert, const std::string& path, const Entry& entry)
{
    insert.Bind(1, path);
    insert.Bind(2, ToSigned(entry.stamp.device));
    insert.Bind(3, ToSigned(entry.stamp.inode));
    insert.Bind(4, ToSigned(entry.stamp.size));
    insert.Bind(5, entry.stamp.modified);
    insert.Bind(6, entry.stamp.changed);
    insert.Bind(7, std::string_view(entry.md5.data(), entry.md5.size()));
    insert.Bind(8, entry.lastUsedDay);
    insert.Execute();
}

void ForgetOldest(SQLite::Database& database, std::size_t capacity)
{
    Statement statement(database,
                        "DELETE FROM file_hash WHERE path IN (SELECT path FROM file_hash ORDER BY last_used"
                        " LIMIT max(0, (SELECT count(*) FROM file_hash) - ?))");
    statement.Bind(1, ToSigned(capacity));
    statement.Execute();
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
    void RememberBriefly(const std::string& path, const FileStamp& stamp, const std::string& md5);
    void Flush();

    bool IsWorthRemembering(const FileStamp& stamp) const { return IsSettled(stamp, m_settings.now()); }

private:
    using Clock = std::chrono::steady_clock;

    struct Young
    {
        std::string path;
        FileStamp stamp;
        std::string md5;
        Clock::time_point time;
    };

    bool IsOfYoung(const std::string& path, const FileStamp& stamp) const;
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
    Young m_young; // the latest
};

std::string HashMemory::Private::Recall(const std::string& path, const FileStamp& stamp)
{
    const std::lock_guard lock(m_mutex);
    if (IsOfYoung(path, stamp))
        return m_young.md5;
    ReadOnce();
    const auto found = m_entries.find(path);
    if (found == m_entries.end() || found->second.stamp != stamp)
        return {};
    NoteUse(path, found->second);
    const auto& md5 = found->second.md5;
    return std::string(md5.begin(), md5.end());
}

void HashMemory::Private::Remember(const std::string& path, const FileStamp& stamp, const std::string& md5)
{
    const std::lock_guard lock(m_mutex);
    if (!m_entries.empty() && m_entries.size() >= m_settings.capacity && m_entries.count(path) == 0)
        MakeRoom();
    m_entries[path] = {stamp, ToMd5Bytes(md5), DayOf(m_settings.now())};
    m_unsaved.push_back(path);
    if (m_unsaved.size() >= kMostUnsaved)
        Save();
}

void HashMemory::Private::RememberBriefly(const std::string& path, const FileStamp& stamp,
                                          const std::string& md5)
{
    const std::lock_guard lock(m_mutex);
    m_young = {path, stamp, md5, Clock::now()};
}

bool HashMemory::Private::IsOfYoung(const std::string& path, const FileStamp& stamp) const
{
    return m_young.path == path && m_young.stamp == stamp &&
           Clock::now() - m_young.time < m_settings.youngFileMemory;
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
        Statement insert(*m_database, "REPLACE INTO file_hash VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
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

std::string HashMemory::HashOf(const std::string& utf8File, const IsCanceled& isCanceled)
{
    const auto stamp = StampOf(utf8File);
    return stamp ? HashOf(utf8File, *stamp, isCanceled) : std::string();
}

std::string HashMemory::HashOf(const std::string& utf8File, const FileStamp& before,
                               const IsCanceled& isCanceled)
{
    if (const auto remembered = d->Recall(utf8File, before); !remembered.empty())
        return ToHex(remembered);

    const auto md5 = Md5OfContent(std::filesystem::u8path(utf8File), isCanceled);
    if (!md5)
        return {};
    if (StampOf(utf8File) != before)
        return ToHex(*md5);
    if (d->IsWorthRemembering(before))
        d->Remember(utf8File, before, *md5);
    else
        d->RememberBriefly(utf8File, before, *md5);
    return ToHex(*md5);
}

void HashMemory::Flush()
{
    d->Flush();
}

} // namespace Orvane::Support
