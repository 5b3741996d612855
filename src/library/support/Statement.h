#pragma once

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <cstdint>
#include <string_view>

namespace Orvane::Support {

/// A prepared statement for work on many rows, with bytes exactly as they are. (SQLiteCpp's own shares its
/// ownership with every single column that is read, which costs more than the reading.) Lives no longer than
/// its database. Whatever fails throws SQLite::Exception.
class Statement
{
public:
    Statement(SQLite::Database& database, const char* text)
        : m_database(database.getHandle())
    {
        Check(sqlite3_prepare_v2(m_database, text, -1, &m_statement, nullptr));
    }
    ~Statement() { sqlite3_finalize(m_statement); }

    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Parameters count from 1, and keep their values until bound again. The bytes are not copied.
    void Bind(int parameter, std::string_view bytes)
    {
        const auto* data = bytes.empty() ? "" : bytes.data(); // a null pointer would bind NULL
        Check(sqlite3_bind_blob(m_statement, parameter, data, static_cast<int>(bytes.size()), SQLITE_STATIC));
    }
    void Bind(int parameter, std::int64_t number)
    {
        Check(sqlite3_bind_int64(m_statement, parameter, number));
    }

    /// Runs a statement that gives no rows.
    void Execute()
    {
        sqlite3_step(m_statement);
        Check(sqlite3_reset(m_statement));
    }

    /// Goes on to the next row; false when there is none.
    [[nodiscard]] bool Step()
    {
        const int code = sqlite3_step(m_statement);
        if (code != SQLITE_ROW && code != SQLITE_DONE)
            Check(code);
        return code == SQLITE_ROW;
    }

    /// Of the present row, columns count from 0. The bytes last until the next step.
    [[nodiscard]] std::string_view Bytes(int column) const
    {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(m_statement, column));
        return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
    }
    [[nodiscard]] std::int64_t Number(int column) const { return sqlite3_column_int64(m_statement, column); }

private:
    void Check(int code) const
    {
        if (code != SQLITE_OK)
            throw SQLite::Exception(m_database, code);
    }

    sqlite3* const m_database;
    sqlite3_stmt* m_statement = nullptr;
};

} // namespace Orvane::Support
