#include <OrvaneCloudProtocol/transports/webdav/TransferredHashes.h>

#include <support/Database.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <utility>

namespace Orvane::Social {

namespace {

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

TransferredHashes::~TransferredHashes() = default;

void TransferredHashes::Remember(const std::string& name, qint64 size, const QByteArray& entityTag,
                                 const QByteArray& md5Hex)
try {
    const std::lock_guard lock(m_mutex);
    if (!Database() || entityTag.isEmpty()) {
        return;
    }
    SQLite::Statement statement(*m_database, "INSERT OR REPLACE INTO transferred VALUES (?, ?, ?, ?)");
    BindBytes(statement, 1, KeyOf(name));
    statement.bind(2, static_cast<std::int64_t>(size));
    BindBytes(statement, 3, entityTag.toStdString());
    BindBytes(statement, 4, QByteArray::fromHex(md5Hex).toStdString());
    statement.exec();
    ForgetOldest();
} catch (const SQLite::Exception&) { // a full disk, or another process: then it is not known
}

QByteArray TransferredHashes::Find(const std::string& name, qint64 size, const QByteArray& entityTag)
try {
    const std::lock_guard lock(m_mutex);
    if (!Database() || entityTag.isEmpty()) {
        return {};
    }
    SQLite::Statement statement(*m_database, "SELECT md5 FROM transferred"
                                             " WHERE document = ? AND size = ? AND tag = ?");
    BindBytes(statement, 1, KeyOf(name));
    statement.bind(2, static_cast<std::int64_t>(size));
    BindBytes(statement, 3, entityTag.toStdString());
    return statement.executeStep() ? QByteArray::fromStdString(statement.getColumn(0).getString()).toHex()
                                   : QByteArray();
} catch (const SQLite::Exception&) {
    return {};
}

SQLite::Database* TransferredHashes::Database()
{
    if (std::exchange(m_isOpened, true)) {
        return m_database.get();
    }
    try {
        m_database = Support::OpenDatabase(m_file, kSchema).database;
        m_database->exec("PRAGMA synchronous = OFF"); // what a power cut takes is only asked for again
    } catch (const std::exception&) {
        m_database.reset();
    }
    return m_database.get();
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
