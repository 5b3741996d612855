#include "support/SampleDocuments.h"
#include "support/Scale.h"
#include "support/Stopwatch.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>
#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include <QFile>

#include <sqlite3.h>

#include <stdexcept>
#include <tuple>

/// Saving a document list and loading its records, against the same rows through SQLite's own interface: the
/// same table, the same locking, one transaction.
namespace Orvane::Benchmarks {
namespace {

using namespace PDF::Cloud;
using Row = std::tuple<std::string, std::string, std::string>;
using Rows = std::vector<Row>;

QString NewDatabaseFile()
{
    return QFile::decodeName((NewFolder() / "documents.sqlite").c_str());
}

/// Seconds to save a list of these documents, until they are on the disk.
double SecondsToSave(const std::vector<Document>& documents,
                     const std::shared_ptr<SqliteCloudInfoStorage>& storage)
{
    const auto none = std::make_shared<NoFiles>();
    auto list =
        std::make_unique<OrvaneCloudFilesManager>(std::make_shared<SavingStorage>(storage), none, none);
    for (const auto& document : documents)
        list->Add(document);
    return SecondsOf([&] {
        list.reset();
        storage->Flush();
    });
}

/// A stored list, through SQLite alone.
class PlainDatabase
{
public:
    explicit PlainDatabase(const QString& file)
    {
        Check(sqlite3_open(file.toUtf8().constData(), &m_database));
        Execute("PRAGMA locking_mode = EXCLUSIVE; CREATE TABLE IF NOT EXISTS document_value"
                "(document_id BLOB NOT NULL, key BLOB NOT NULL, value BLOB NOT NULL,"
                " PRIMARY KEY (document_id, key)) WITHOUT ROWID");
    }
    ~PlainDatabase() { sqlite3_close(m_database); }
    PlainDatabase(const PlainDatabase&) = delete;
    PlainDatabase& operator=(const PlainDatabase&) = delete;

    void Write(const Rows& rows)
    {
        Execute("BEGIN IMMEDIATE");
        auto* statement = Prepare("REPLACE INTO document_value VALUES (?, ?, ?)");
        for (const auto& [id, key, value] : rows) {
            Bind(statement, 1, id);
            Bind(statement, 2, key);
            Bind(statement, 3, value);
            sqlite3_step(statement);
            Check(sqlite3_reset(statement));
        }
        sqlite3_finalize(statement);
        Execute("COMMIT");
    }

    [[nodiscard]] Rows Read()
    {
        Rows rows;
        auto* statement = Prepare("SELECT document_id, key, value FROM document_value ORDER BY 1, 2");
        while (sqlite3_step(statement) == SQLITE_ROW)
            rows.emplace_back(Bytes(statement, 0), Bytes(statement, 1), Bytes(statement, 2));
        Check(sqlite3_finalize(statement));
        return rows;
    }

private:
    static void Check(int code)
    {
        if (code != SQLITE_OK)
            throw std::runtime_error(sqlite3_errstr(code));
    }

    void Execute(const char* statements)
    {
        Check(sqlite3_exec(m_database, statements, nullptr, nullptr, nullptr));
    }

    sqlite3_stmt* Prepare(const char* text)
    {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(m_database, text, -1, &statement, nullptr));
        return statement;
    }

    static void Bind(sqlite3_stmt* statement, int index, const std::string& bytes)
    {
        sqlite3_bind_blob(statement, index, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
    }

    static std::string Bytes(sqlite3_stmt* statement, int column)
    {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
        return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    }

    sqlite3* m_database = nullptr;
};

/// The rows that a saved list makes.
Rows RowsOf(const std::vector<Document>& documents)
{
    const auto file = NewDatabaseFile();
    (void)SecondsToSave(documents, std::make_shared<SqliteCloudInfoStorage>(file));
    return PlainDatabase(file).Read();
}

void SaveChanged(benchmark::State& state, int count)
{
    const auto storage = std::make_shared<SqliteCloudInfoStorage>(NewDatabaseFile());
    (void)SecondsToSave(MakeDocuments(count, 0), storage);
    for (auto _ : state)
        state.SetIterationTime(SecondsToSave(MakeDocuments(count, 1), storage));
    state.SetItemsProcessed(count);
}

void SaveUnchanged(benchmark::State& state, int count)
{
    const auto storage = std::make_shared<SqliteCloudInfoStorage>(NewDatabaseFile());
    const auto documents = MakeDocuments(count, 0);
    (void)SecondsToSave(documents, storage);
    for (auto _ : state)
        state.SetIterationTime(SecondsToSave(documents, storage));
    state.SetItemsProcessed(count);
}

void WriteRows(benchmark::State& state, int count)
{
    PlainDatabase database(NewDatabaseFile());
    database.Write(RowsOf(MakeDocuments(count, 0)));
    const auto rows = RowsOf(MakeDocuments(count, 1));
    for (auto _ : state)
        state.SetIterationTime(SecondsOf([&] { database.Write(rows); }));
    state.SetItemsProcessed(count);
}

void Load(benchmark::State& state, int count)
{
    const auto file = NewDatabaseFile();
    (void)SecondsToSave(MakeDocuments(count, 0), std::make_shared<SqliteCloudInfoStorage>(file));
    for (auto _ : state) {
        std::unique_ptr<SqliteCloudInfoStorage> storage;
        ICloudInfoStorage::Records records;
        state.SetIterationTime(SecondsOf([&] {
            storage = std::make_unique<SqliteCloudInfoStorage>(file);
            records = storage->LoadRecords();
        }));
    }
    state.SetItemsProcessed(count);
}

void ReadRows(benchmark::State& state, int count)
{
    const auto file = NewDatabaseFile();
    PlainDatabase(file).Write(RowsOf(MakeDocuments(count, 0)));
    for (auto _ : state) {
        Rows rows;
        state.SetIterationTime(SecondsOf([&] { rows = PlainDatabase(file).Read(); }));
    }
    state.SetItemsProcessed(count);
}

using Measurement = void (*)(benchmark::State& state, int count);

void AtTheUsualSize(benchmark::State& state, Measurement measure)
{
    measure(state, DocumentCount());
}
BENCHMARK_CAPTURE(AtTheUsualSize, "", SaveChanged)->Name("save-changed/ours")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(AtTheUsualSize, "", WriteRows)->Name("save-changed/floor")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(AtTheUsualSize, "", SaveUnchanged)->Name("save-unchanged/ours")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(AtTheUsualSize, "", WriteRows)->Name("save-unchanged/floor")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(AtTheUsualSize, "", Load)->Name("load/ours")->Apply(OnceByOwnClock);
BENCHMARK_CAPTURE(AtTheUsualSize, "", ReadRows)->Name("load/floor")->Apply(OnceByOwnClock);

void AsWorkGrows(benchmark::State& state, Measurement measure)
{
    measure(state, static_cast<int>(state.range(0)));
}
BENCHMARK_CAPTURE(AsWorkGrows, "", SaveChanged)->Name("growth-save/ours")->Apply(Growing);
BENCHMARK_CAPTURE(AsWorkGrows, "", Load)->Name("growth-load/ours")->Apply(Growing);

} // namespace
} // namespace Orvane::Benchmarks
