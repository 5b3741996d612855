#include <OrvaneCloudProtocol/previews/PreviewCache.h>

#include <OrvaneCloudProtocol/previews/BoundedImage.h>
#include <support/Database.h>

#include <QBuffer>
#include <QDateTime>

#include <SQLiteCpp/SQLiteCpp.h>

namespace Orvane::Social {
namespace {

constexpr qint64 kDay = 24 * 60 * 60;
constexpr qint64 kFailureMemory = kDay;
constexpr qint64 kUseInterval = kDay; // looking at pictures should hardly ever write
constexpr int kBusyTimeoutMs = 500;
constexpr int kQuickly = 80; // zlib's level 1 to Qt: hardly larger than 6, in a quarter of the time

constexpr Support::Schema kSchema = {0x4f725076, 1, R"(
    CREATE TABLE previews (
        version BLOB NOT NULL,
        edge INTEGER NOT NULL,
        used INTEGER NOT NULL,
        picture BLOB,
        failure TEXT NOT NULL,
        PRIMARY KEY (version, edge));
    CREATE INDEX previews_by_use ON previews (used);
)"};

QByteArray ToPng(const QImage& picture)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "png", kQuickly);
    return buffer.data();
}

void BindBytes(SQLite::Statement& statement, int index, const QByteArray& bytes)
{
    statement.bind(index, static_cast<const void*>(bytes.constData()), bytes.size());
}

QByteArray BytesOf(const SQLite::Column& column)
{
    return QByteArray(static_cast<const char*>(column.getBlob()), column.getBytes());
}

} // namespace

struct PreviewCache::Entry
{
    int edge = 0;
    qint64 used = 0;    ///< seconds since the epoch
    QByteArray picture; ///< PNG; empty for a failure
    QByteArray failure;
};

PreviewCache::PreviewCache(std::filesystem::path folder, qint64 limitBytes)
    : m_folder(std::move(folder))
    , m_limitBytes(limitBytes)
{}

PreviewCache::~PreviewCache() = default;

std::optional<Preview> PreviewCache::Find(const QByteArray& documentVersion, int edge)
{
    const std::optional<Entry> entry = FindEntry(documentVersion, edge);
    if (!entry)
        return std::nullopt;
    if (entry->picture.isEmpty())
        return Failure{FailureCode::InvalidDocument, QString::fromUtf8(entry->failure)};
    const QImage picture = ReadBoundedImage(entry->picture, "png", entry->edge);
    return picture.isNull() ? std::nullopt : std::optional<Preview>(picture);
}

void PreviewCache::Store(const QByteArray& documentVersion, int edge, const Preview& preview)
{
    Entry entry = {edge, QDateTime::currentSecsSinceEpoch(), {}, {}};
    if (const auto* picture = std::get_if<QImage>(&preview)) {
        entry.picture = ToPng(*picture);
    } else {
        const auto& failure = std::get<Failure>(preview);
        if (failure.code != FailureCode::InvalidDocument)
            return;
        entry.failure = failure.detail.toUtf8();
    }
    StoreEntry(documentVersion, entry);
}

SQLite::Database* PreviewCache::Database()
{
    if (std::exchange(m_isOpened, true))
        return m_database.get();
    try {
        m_database = Support::OpenDatabase(m_folder / "previews.sqlite", kSchema).database;
        m_database->setBusyTimeout(kBusyTimeoutMs);
        // A picture lost with the power is drawn again; a file spoilt by it is set aside when it is opened.
        m_database->exec("PRAGMA synchronous = OFF");
    } catch (const std::exception&) {
        m_database.reset();
    }
    return m_database.get();
}

std::optional<PreviewCache::Entry> PreviewCache::FindEntry(const QByteArray& documentVersion, int edge)
try {
    const std::lock_guard lock(m_mutex);
    if (!Database())
        return std::nullopt;
    SQLite::Statement statement(*m_database, R"(
        SELECT edge, used, picture, failure FROM previews
        WHERE version = ? AND edge >= ? AND (picture IS NOT NULL OR used > ?)
        ORDER BY edge LIMIT 1)");
    BindBytes(statement, 1, documentVersion);
    statement.bind(2, edge);
    statement.bind(3, static_cast<int64_t>(QDateTime::currentSecsSinceEpoch() - kFailureMemory));
    if (!statement.executeStep())
        return std::nullopt;
    const Entry entry = {statement.getColumn(0).getInt(), statement.getColumn(1).getInt64(),
                         BytesOf(statement.getColumn(2)), BytesOf(statement.getColumn(3))};
    statement.reset();
    NoteUse(documentVersion, entry);
    return entry;
} catch (const SQLite::Exception&) {
    return std::nullopt;
}

void PreviewCache::StoreEntry(const QByteArray& documentVersion, const Entry& entry)
try {
    const std::lock_guard lock(m_mutex);
    if (!Database())
        return;
    SQLite::Statement statement(*m_database, "INSERT OR REPLACE INTO previews VALUES (?, ?, ?, ?, ?)");
    BindBytes(statement, 1, documentVersion);
    statement.bind(2, entry.edge);
    statement.bind(3, static_cast<int64_t>(entry.used));
    if (!entry.picture.isEmpty())
        BindBytes(statement, 4, entry.picture);
    statement.bind(5, entry.failure.toStdString());
    statement.exec();
    DropLeastRecentlyUsed();
} catch (const SQLite::Exception&) { // full disk, read-only or locked by another process: then it is not kept
}

void PreviewCache::NoteUse(const QByteArray& documentVersion, const Entry& entry)
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    if (entry.picture.isEmpty() || now - entry.used < kUseInterval)
        return;
    SQLite::Statement statement(*m_database, "UPDATE previews SET used = ? WHERE version = ? AND edge = ?");
    statement.bind(1, static_cast<int64_t>(now));
    BindBytes(statement, 2, documentVersion);
    statement.bind(3, entry.edge);
    statement.tryExecuteStep(); // that it was used is worth no failure
}

void PreviewCache::DropLeastRecentlyUsed()
{
    int dropped = 1;
    while (dropped > 0 && UsedBytes() > m_limitBytes)
        dropped = m_database->exec(R"(
            DELETE FROM previews WHERE rowid IN (
                SELECT rowid FROM previews ORDER BY used, rowid
                LIMIT (SELECT count(*) / 10 + 1 FROM previews)))");
}

qint64 PreviewCache::UsedBytes()
{
    const auto valueOf = [this](const char* pragma) { return m_database->execAndGet(pragma).getInt64(); };
    const qint64 usedPages = valueOf("PRAGMA page_count") - valueOf("PRAGMA freelist_count");
    return usedPages * valueOf("PRAGMA page_size");
}

} // namespace Orvane::Social
