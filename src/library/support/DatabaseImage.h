#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace SQLite {
class Database;
}

namespace Orvane::Support {

/// Reads a database file whole and opens its bytes as a database in memory. Whatever fails in that
/// database afterwards is wrong in the file: no failing disk can be the cause. The file is not changed.
/// A journal beside it is not applied, and a last page that is cut is left out. Throws
/// std::filesystem::filesystem_error when the file cannot be read, and SQLite::Exception when there is no
/// memory for it.
/// @param firstPage  takes the place of the file's own unless it is empty. What the file says of its size and
///                   its free pages stays.
[[nodiscard]] std::unique_ptr<SQLite::Database> OpenDatabaseImage(const std::filesystem::path& file,
                                                                  const std::string& firstPage = {});

/// The first page of a database.
[[nodiscard]] std::string FirstPageOf(SQLite::Database& database);

} // namespace Orvane::Support
