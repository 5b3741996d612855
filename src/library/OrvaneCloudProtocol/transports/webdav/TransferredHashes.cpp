#include <OrvaneCloudProtocol/transports/webdav/TransferredHashes.h>

#include <support/Database.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <utility>

namespace Orvane::Social {

namespace {

// A killed program loses no more than this.
constexpr std::size_t kMostUnsaved = 1000;

constexpr std::int64_t kMostRemembered = 200'000;

constexpr Support::Schema kSchema = {0x4f725472, 1, R"(
    CREATE TABLE transferred (
        document BLOB NOT NULL PRIMARY KEY,
        size INTEGER NOT NULL,
        tag BLOB NOT NULL,
        md5 BLOB NOT NULL);
)"};

void BindBytes(SQLite::Statement& statement, int index, const std::string& bytes)
{
    statement.bind(index, bytes.data(), static_cast<int>(bytes.size()));
}

} // namespace

TransferredHashes::TransferredHashes(const std::filesystem::path& databaseFile, const QByteArray& cloud)
    : m_file(databaseFile)
    , m_cloud(cloud.toStdString())
{}

TransferredHashes::~TransferredHashes()
{
    Save();
}

void TransferredHashes::Remember(const std::string& name, qint64 size, const QByteArray& entityTag,
                                 const QByteArray& md5Hex)
{
    if (entityTag.isEmpty()) {
        return;
    }
    const std::lock_guard lock(m_mutex);
    ReadOnce();
    m_entries[name] = {size, entityTag.toStdString(), QByteArray::fromHex(md5Hex).toStdString()};
    m_unsaved.push_back(name);
    if (m_unsaved.size() >= kMostUnsaved) {
        Save();
    }
}

QByteArray TransferredHashes::Find(const std::string& name, qint64 size, const QByteArray& entityTag)
{
    const std::lock_guard lock(m_mutex);
    ReadOnce();
    const auto found = m_entries.find(name);
    const bool isKnown = found != m_entries.end() && !entityTag.isEmpty() && found->second.size == size &&
                         found->second.entityTag == entityTag.toStdString();
    return isKnown ? QByteArray::fromStdString(found->second.md5).toHex() : QByteArray();
}

void TransferredHashes::ReadOnce()
{
    if (std::exchange(m_isRead, true)) {
        return;
    }
    try {
        m_database = Support::OpenDatabase(m_file, kSchema).database;
        m_database->exec("PRAGMA synchronous = OFF"); // what a power cut takes is only asked for again
        const std::string first = KeyOf({});
        SQLite::Statement query(*m_database, "SELECT substr(document, ?), size, tag, md5 FROM transferred"
                                             " WHERE document >= ? AND substr(document, 1, ?) = ?");
        query.bind(1, static_cast<std::int64_t>(first.size() + 1));
        BindBytes(query, 2, first);
        query.bind(3, static_cast<std::int64_t>(first.size()));
        BindBytes(query, 4, first);
        while (query.executeStep()) {
            m_entries[query.getColumn(0).getString()] = {query.getColumn(1).getInt64(),
                                                         query.getColumn(2).getString(),
                                                         query.getColumn(3).getString()};
        }
    } catch (const std::exception&) {
        m_database.reset();
    }
}

void TransferredHashes::Save()
{
    const auto unsaved = std::exchange(m_unsaved, {});
    if (!m_database || unsaved.empty()) {
        return;
    }
    try {
        SQLite::Transaction transaction(*m_database, SQLite::TransactionBehavior::IMMEDIATE);
        SQLite::Statement insert(*m_database, "INSERT OR REPLACE INTO transferred VALUES (?, ?, ?, ?)");
        for (const auto& name : unsaved) {
            const auto& entry = m_entries[name];
            BindBytes(insert, 1, KeyOf(name));
            insert.bind(2, static_cast<std::int64_t>(entry.size));
            BindBytes(insert, 3, entry.entityTag);
            BindBytes(insert, 4, entry.md5);
            insert.exec();
            insert.reset();
        }
        ForgetOldest();
        transaction.commit();
    } catch (const SQLite::Exception&) { // a full disk, or another process: then it is not known
    }
}

std::string TransferredHashes::KeyOf(const std::string& name) const
{
    return m_cloud + '\0' + name;
}

void TransferredHashes::ForgetOldest()
{
    SQLite::Statement statement(*m_database, "DELETE FROM transferred WHERE rowid <="
                                             " (SELECT max(rowid) FROM transferred) - ?");
    statement.bind(1, kMostRemembered);
    statement.exec();
}

} // namespace Orvane::Social
