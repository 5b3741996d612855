#include "DatabaseImage.h"

#include "InputFile.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace Orvane::Support {
namespace {

namespace fs = std::filesystem;

// Where the file header says how large a page is, and which journal mode is needed to write and to read the
// file.
constexpr std::size_t kPageSize = 16;
constexpr std::size_t kWriteVersion = 18;
constexpr std::size_t kReadVersion = 19;
constexpr std::size_t kPageCount = 28; // when it is 0, the size of the file counts
constexpr std::size_t kFreePages = 32;
constexpr std::size_t kAfterFreePages = 40;
constexpr char kRollbackJournal = 1;
constexpr char kWriteAheadLog = 2;

std::string ReadWhole(const fs::path& file)
{
    const auto size = fs::file_size(file);
    auto bytes = ContentOf(file, size);
    if (bytes.size() != size)
        throw fs::filesystem_error("cannot be read", file, std::make_error_code(std::errc::io_error));
    return bytes;
}

// SQLite would take the missing rest of a page that is cut for zeros. A size of 64 KiB is written as 1.
void DropCutPage(std::string& bytes)
{
    if (bytes.size() <= kReadVersion)
        return;
    const auto high = static_cast<unsigned char>(bytes[kPageSize]);
    const auto low = static_cast<unsigned char>(bytes[kPageSize + 1]);
    const std::size_t pageSize = high == 0 && low == 1 ? 0x10000 : high * 0x100U + low;
    if (pageSize != 0 && bytes.size() > pageSize)
        bytes.resize(bytes.size() / pageSize * pageSize);
}

// SQLite refuses a write-ahead log for a database in memory.
void TurnToRollbackJournal(std::string& bytes)
{
    if (bytes.size() > kReadVersion && bytes[kWriteVersion] == kWriteAheadLog &&
        bytes[kReadVersion] == kWriteAheadLog)
        bytes[kWriteVersion] = bytes[kReadVersion] = kRollbackJournal;
}

void ReplaceFirstPage(std::string& bytes, const std::string& page)
{
    if (page.empty() || bytes.size() < page.size())
        return;
    bytes.replace(0, kPageCount, page, 0, kPageCount);
    bytes.replace(kPageCount, kFreePages - kPageCount, kFreePages - kPageCount, '\0');
    bytes.replace(kAfterFreePages, page.size() - kAfterFreePages, page, kAfterFreePages);
}

} // namespace

std::string FirstPageOf(SQLite::Database& database)
{
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> bytes(
        sqlite3_serialize(database.getHandle(), "main", &size, 0), &sqlite3_free);
    if (!bytes)
        throw SQLite::Exception("out of memory", SQLITE_NOMEM);
    const auto pageSize = database.execAndGet("PRAGMA page_size").getInt64();
    return {bytes.get(), bytes.get() + std::min<sqlite3_int64>(pageSize, size)};
}

std::unique_ptr<SQLite::Database> OpenDatabaseImage(const fs::path& file, const std::string& firstPage)
{
    auto bytes = ReadWhole(file);
    ReplaceFirstPage(bytes, firstPage);
    DropCutPage(bytes);
    TurnToRollbackJournal(bytes);
    auto database =
        std::make_unique<SQLite::Database>(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    auto* copy = static_cast<unsigned char*>(sqlite3_malloc64(bytes.size()));
    if (!copy)
        throw SQLite::Exception("out of memory", SQLITE_NOMEM);
    std::memcpy(copy, bytes.data(), bytes.size());
    const auto size = static_cast<sqlite3_int64>(bytes.size());
    const int code =
        sqlite3_deserialize(database->getHandle(), "main", copy, size, size, SQLITE_DESERIALIZE_FREEONCLOSE);
    if (code != SQLITE_OK)
        throw SQLite::Exception(database->getHandle(), code);
    return database;
}

} // namespace Orvane::Support
