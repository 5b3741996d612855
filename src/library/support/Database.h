#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace SQLite {
class Database;
}

namespace Orvane::Support {

/// A database that cannot be used. what() says why, in English, with the file's path.
class DatabaseError : public std::runtime_error
{
public:
    enum class Reason
    {
        Locked,       ///< another process, or another connection of this one, holds it
        NotWritable,  ///< the file or its folder cannot be written
        NewerVersion, ///< made by a later version of this program
        DiskFull,
        Unusable, ///< anything else, such as a folder in the file's place or a failing disk
    };

    DatabaseError(Reason reason, const std::string& message)
        : std::runtime_error(message)
        , m_reason(reason)
    {}

    [[nodiscard]] Reason GetReason() const noexcept { return m_reason; }

private:
    Reason m_reason;
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

/// The one name of a database file, which need not exist: absolute and without links.
[[nodiscard]] std::filesystem::path RealPath(const std::filesystem::path& file);

/// Makes the folder that @p file stands in, with those above it. One that is made is its owner's alone.
/// Throws DatabaseError.
void MakeFolderOf(const std::filesystem::path& file);

/// Copies what can be read of a damaged database into a fresh one. @p damaged is a read-only copy in memory,
/// of the right application, version and tables; reading it throws SQLite::Exception where it is damaged.
using CarryOver = std::function<void(SQLite::Database& damaged, SQLite::Database& fresh)>;

/// Opens the database in @p file, making it (and its folder) when missing. A file whose content can be read
/// but is damaged, or not one of ours, is kept as "<name>.damaged-<date>[-n]" beside it, unchanged, and a
/// fresh one takes its place, filled by @p carryOver. Throws DatabaseError when the file or its folder cannot
/// be read or written, and when the file is of a later version or stays locked for 2 s; then nothing has been
/// moved. Only one thread at a time may use the database: it locks nothing for each value read.
[[nodiscard]] OpenedDatabase OpenDatabase(const std::filesystem::path& file, const Schema& schema,
                                          const CarryOver& carryOver = {});

} // namespace Orvane::Support
