#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace SQLite
{
class Database;
}

namespace Orvane::Support
{

/// A database that cannot be used. what() says why, in English, with the file's path.
class DatabaseError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What a database file of ours looks like.
struct Schema
{
    int applicationId; ///< PRAGMA application_id: tells our files from others'
    int version;       ///< PRAGMA user_version: a file of a later version is refused, never changed
    const char* createStatements;
};

/// An opened, checked database.
struct OpenedDatabase
{
    std::unique_ptr<SQLite::Database> database;

    /// Where a damaged or foreign file that stood in the way was moved to; empty when none was.
    std::filesystem::path setAside;
    std::string setAsideReason;
};

/// Opens the database in @p file, making it (and its folder) when missing. A file that is damaged, or not one
/// of ours, is moved to "<name>.damaged-<date>[-n]" beside it and a fresh one is made. Throws DatabaseError when
/// the folder cannot be written, or the file is of a later version or locked.
[[nodiscard]] OpenedDatabase OpenDatabase(const std::filesystem::path& file, const Schema& schema);

} // namespace Orvane::Support
