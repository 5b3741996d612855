#include "Database.h"

#include "DatabaseImage.h"
#include "PathText.h"
#include "PrivateFiles.h"

#include <QDateTime>

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

namespace Orvane::Support {
namespace {

namespace fs = std::filesystem;
using Reason = DatabaseError::Reason;

constexpr int kBusyTimeoutMs = 2000;

// The file in the way seems to be damaged, or not one of ours. A read error can look like that, too.
class UselessFile : public DatabaseError
{
public:
    explicit UselessFile(const std::string& why)
        : DatabaseError(Reason::Unusable, why)
    {}
};

std::string Quoted(const fs::path& path)
{
    return '"' + path.u8string() + '"';
}

Reason ReasonOf(const SQLite::Exception& error)
{
    switch (error.getErrorCode()) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return Reason::Locked;
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return Reason::NotWritable;
    case SQLITE_FULL:
        return Reason::DiskFull;
    default:
        return Reason::Unusable;
    }
}

const char* Words(Reason reason)
{
    switch (reason) {
    case Reason::Locked:
        return "is in use by another program";
    case Reason::NotWritable:
        return "cannot be written";
    case Reason::NewerVersion:
        return "was made by a newer version of this program";
    case Reason::DiskFull:
        return "cannot be written, because the disk is full";
    case Reason::Unusable:
        break;
    }
    return "cannot be used";
}

[[noreturn]] void Fail(const fs::path& file, Reason reason, const std::string& detail = {})
{
    const auto sentence = "The database " + Quoted(file) + ' ' + Words(reason);
    throw DatabaseError(reason, detail.empty() ? sentence : sentence + " (" + detail + ')');
}

[[noreturn]] void Fail(const fs::path& file, const SQLite::Exception& error)
{
    if (error.getErrorCode() == SQLITE_NOTADB)
        throw UselessFile("it is not a database");
    if (error.getErrorCode() == SQLITE_CORRUPT)
        throw UselessFile(std::string("it is damaged: ") + error.what());
    Fail(file, ReasonOf(error), error.what());
}

int Number(SQLite::Database& database, const char* query)
{
    return database.execAndGet(query).getInt();
}

bool IsEmpty(SQLite::Database& database)
{
    return Number(database, "SELECT count(*) FROM sqlite_master") == 0;
}

std::string Layout(SQLite::Database& database)
{
    SQLite::Statement query(database, "SELECT m.type || ' ' || m.name || ' ' || ifnull(c.name, '') "
                                      "FROM sqlite_master m LEFT JOIN pragma_table_info(m.name) c "
                                      "ORDER BY m.type, m.name, c.cid");
    std::string layout;
    while (query.executeStep())
        layout += query.getColumn(0).getString() + '\n';
    return layout;
}

std::string ExpectedLayout(const Schema& schema)
{
    SQLite::Database model(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    model.exec(schema.createStatements);
    return Layout(model);
}

void Create(SQLite::Database& database, const Schema& schema)
{
    database.exec(schema.createStatements);
    database.exec("PRAGMA application_id = " + std::to_string(schema.applicationId));
    database.exec("PRAGMA user_version = " + std::to_string(schema.version));
}

void Check(SQLite::Database& database, const Schema& schema, const fs::path& file)
{
    if (Number(database, "PRAGMA application_id") != schema.applicationId)
        throw UselessFile("it belongs to another program");
    const int version = Number(database, "PRAGMA user_version");
    if (version > schema.version)
        Fail(file, Reason::NewerVersion, "version " + std::to_string(version));
    const auto verdict = database.execAndGet("PRAGMA quick_check(1)").getString();
    if (verdict != "ok")
        throw UselessFile("it is damaged: " + verdict);
    if (version != schema.version || Layout(database) != ExpectedLayout(schema))
        throw UselessFile("its tables are not as expected");
}

void Harden(SQLite::Database& database)
{
    database.exec("PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
}

// SQLite tells of a file or folder that cannot be written at the first write only: so write, and let the
// transaction that this stands in be taken back.
void ProbeWriting(SQLite::Database& database, const Schema& schema)
{
    database.exec("PRAGMA user_version = " + std::to_string(schema.version + 1));
}

void Prepare(SQLite::Database& database, const Schema& schema, const fs::path& file)
{
    Harden(database);
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    if (IsEmpty(database) && Number(database, "PRAGMA application_id") == 0) {
        Create(database, schema);
        transaction.commit();
        return;
    }
    Check(database, schema, file);
    ProbeWriting(database, schema);
}

std::unique_ptr<SQLite::Database> TryToOpen(const fs::path& file, const Schema& schema)
{
    MakePrivateFile(file); // the journals that SQLite puts beside it get the same rights
    try {
        auto database = std::make_unique<SQLite::Database>(
            file.u8string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
            kBusyTimeoutMs);
        Prepare(*database, schema, file);
        return database;
    } catch (const SQLite::Exception& error) {
        Fail(file, error);
    }
}

fs::path WithSuffix(fs::path path, const std::string& suffix)
{
    path += suffix;
    return path;
}

fs::path FreeNameForSettingAside(const fs::path& file)
{
    const auto now = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const auto name = WithSuffix(file, ".damaged-" + now.toStdString());
    auto candidate = name;
    for (int number = 2; fs::exists(fs::symlink_status(candidate)); ++number)
        candidate = WithSuffix(name, '-' + std::to_string(number));
    return candidate;
}

// SQLite applies and deletes a journal before it judges the file. One that is left belongs to the file's
// content, and could not be applied.
void RefuseUnfinishedChange(const fs::path& file)
{
    for (const char* suffix : {"-journal", "-wal"}) {
        std::error_code error;
        const auto size = fs::file_size(WithSuffix(file, suffix), error);
        if (error != std::errc::no_such_file_or_directory && (error || size > 0))
            Fail(file, Reason::Unusable, "a change that was cut off cannot be undone");
    }
}

std::unique_ptr<SQLite::Database> ImageOf(const fs::path& file, const std::string& firstPage = {})
{
    try {
        auto image = OpenDatabaseImage(file, firstPage);
        Harden(*image);
        return image;
    } catch (const fs::filesystem_error& error) {
        Fail(file, Reason::Unusable, error.code().message());
    } catch (const SQLite::Exception& error) {
        Fail(file, ReasonOf(error), error.what());
    }
}

void CheckImage(SQLite::Database& image, const Schema& schema, const fs::path& file)
{
    try {
        Check(image, schema, file);
    } catch (const SQLite::Exception& error) {
        Fail(file, error);
    }
}

// Why the content of the file is of no use. When nothing is wrong with it, a read error was the cause before.
std::string Judge(SQLite::Database& image, const Schema& schema, const fs::path& file)
{
    try {
        CheckImage(image, schema, file);
    } catch (const UselessFile& useless) {
        return useless.what();
    }
    Fail(file, Reason::Unusable, "a part of it could not be read");
}

// A cut file is opened as well from here on.
bool IsOfSchema(SQLite::Database& image, const Schema& schema)
{
    try {
        image.exec("PRAGMA writable_schema = ON");
        return Number(image, "PRAGMA application_id") == schema.applicationId &&
               Number(image, "PRAGMA user_version") == schema.version &&
               Layout(image) == ExpectedLayout(schema);
    } catch (const SQLite::Exception&) {
        return false;
    }
}

// Whether the first page can no longer tell what the file is, or calls it ours and garbles the tables.
bool IsHeadDamaged(SQLite::Database& image, const Schema& schema)
{
    try {
        return Number(image, "PRAGMA application_id") == schema.applicationId &&
               Number(image, "PRAGMA user_version") == schema.version &&
               Layout(image) != ExpectedLayout(schema);
    } catch (const SQLite::Exception&) {
        return true;
    }
}

// With the page size that SQLite gives our files.
std::string FirstPage(const Schema& schema)
{
    SQLite::Database model(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    model.exec("PRAGMA page_size = 4096");
    Create(model, schema);
    return FirstPageOf(model);
}

// The image of a file whose rows can be carried over; nothing for one that is not ours.
std::unique_ptr<SQLite::Database> ReadableImage(std::unique_ptr<SQLite::Database> image, const fs::path& file,
                                                const Schema& schema)
{
    if (IsOfSchema(*image, schema))
        return image;
    if (!IsHeadDamaged(*image, schema))
        return nullptr;
    image = ImageOf(file, FirstPage(schema));
    return IsOfSchema(*image, schema) ? std::move(image) : nullptr;
}

// A second name for the file, or a copy where the file system knows no second names.
void KeepAs(const fs::path& aside, const fs::path& file)
{
    std::error_code error;
    fs::create_hard_link(file, aside, error);
    if (error)
        fs::copy_file(file, aside);
}

// Builds the new file beside the old one and replaces that in one step: a program that is killed leaves the
// one or the other.
void Renew(const fs::path& file, const fs::path& aside, const Schema& schema,
           const std::function<void(SQLite::Database&)>& fill)
{
    const auto fresh = WithSuffix(file, ".new");
    fs::remove(fresh);
    try {
        fill(*TryToOpen(fresh, schema));
        KeepAs(aside, file);
        fs::rename(fresh, file);
    } catch (...) {
        std::error_code ignored;
        fs::remove(fresh, ignored);
        throw;
    }
}

OpenedDatabase Replace(const fs::path& file, const Schema& schema, const CarryOver& carryOver)
{
    RefuseUnfinishedChange(file);
    auto image = ImageOf(file);
    const auto why = Judge(*image, schema, file);
    fs::path aside;
    try {
        aside = FreeNameForSettingAside(file);
        image = carryOver ? ReadableImage(std::move(image), file, schema) : nullptr;
        if (image)
            Renew(file, aside, schema, [&](SQLite::Database& fresh) { carryOver(*image, fresh); });
        else
            fs::rename(file, aside);
    } catch (const fs::filesystem_error& error) {
        Fail(file, Reason::NotWritable, error.code().message());
    } catch (const SQLite::Exception& error) {
        Fail(file, ReasonOf(error), error.what());
    }
    return {TryToOpen(file, schema), aside, why};
}

void RefuseWhatIsNoFile(const fs::path& file)
{
    std::error_code ignored;
    const auto status = fs::status(file, ignored);
    if (fs::exists(status) && !fs::is_regular_file(status))
        Fail(file, Reason::Unusable, "it is not a file");
}

} // namespace

fs::path RealPath(const fs::path& file)
{
    std::error_code error;
    const auto absoluteFile = fs::absolute(file, error);
    auto real = fs::weakly_canonical(absoluteFile, error);
    return error ? absoluteFile : real;
}

void MakeFolderOf(const fs::path& file)
{
    const auto folder = file.parent_path();
    std::error_code ignored;
    if (fs::is_directory(folder, ignored))
        return;
    try {
        MakePrivateFolder(folder);
    } catch (const fs::filesystem_error& error) {
        throw DatabaseError(Reason::NotWritable, "The folder " + Quoted(folder) + " cannot be made (" +
                                                     error.code().message() + ')');
    }
}

OpenedDatabase OpenDatabase(const fs::path& file, const Schema& schema, const CarryOver& carryOver)
{
    const auto realFile = RealPath(file);
    MakeFolderOf(realFile);
    RefuseWhatIsNoFile(realFile);
    try {
        return {TryToOpen(realFile, schema), {}, {}};
    } catch (const UselessFile&) {
        return Replace(realFile, schema, carryOver);
    }
}

} // namespace Orvane::Support
