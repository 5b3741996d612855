#include "DamagedRecords.h"

#include <support/Statement.h>

#include <string>
#include <unordered_set>

namespace Orvane::PDF::Cloud {
namespace {

using PageNumber = std::uint32_t;

constexpr std::size_t kFirstFreelistPageAt = 32;
constexpr PageNumber kFirstTablePage = 2; // the schema has the first one
constexpr unsigned char kInnerPage = 2;
constexpr unsigned char kLeafPage = 10;

// The bytes of a database in memory.
class Pages
{
public:
    explicit Pages(SQLite::Database& database)
        : m_bytes(sqlite3_serialize(database.getHandle(), "main", &m_size, SQLITE_SERIALIZE_NOCOPY))
        , m_pageSize(static_cast<std::size_t>(database.execAndGet("PRAGMA page_size").getInt64()))
        , m_free(FreePages())
    {}

    [[nodiscard]] PageNumber Count() const
    {
        return static_cast<PageNumber>(static_cast<std::size_t>(m_size) / m_pageSize);
    }

    // Whether rows may stand in the page. Free pages hold rows that have been removed.
    [[nodiscard]] bool HoldsRows(PageNumber page) const
    {
        const auto type = m_bytes[BeginOf(page)];
        return (type == kInnerPage || type == kLeafPage) && m_free.count(page) == 0;
    }

private:
    [[nodiscard]] std::size_t BeginOf(PageNumber page) const { return (page - std::size_t{1}) * m_pageSize; }
    [[nodiscard]] PageNumber NumberAt(std::size_t position) const;
    [[nodiscard]] std::unordered_set<PageNumber> FreePages() const;

    sqlite3_int64 m_size = 0;
    const unsigned char* m_bytes;
    const std::size_t m_pageSize;
    const std::unordered_set<PageNumber> m_free;
};

PageNumber Pages::NumberAt(std::size_t position) const
{
    PageNumber number = 0;
    for (auto at = position; at < position + sizeof number; ++at)
        number = number << 8 | (at < static_cast<std::size_t>(m_size) ? m_bytes[at] : 0U);
    return number;
}

// A chain of pages, each with the number of the next, and a list of others with its length before it.
std::unordered_set<PageNumber> Pages::FreePages() const
{
    std::unordered_set<PageNumber> pages;
    for (auto page = NumberAt(kFirstFreelistPageAt); page != 0 && page <= Count();
         page = NumberAt(BeginOf(page))) {
        if (!pages.insert(page).second)
            break;
        const auto count = NumberAt(BeginOf(page) + 4);
        for (std::size_t index = 0; index < count && index * 4 + 8 < m_pageSize; ++index)
            pages.insert(NumberAt(BeginOf(page) + 8 + index * 4));
    }
    return pages;
}

// Lets the table begin at another page, so that rows are found that can no longer be reached from its root.
void BeginTableAt(SQLite::Database& database, PageNumber page)
{
    const auto number = std::to_string(page);
    database.exec("UPDATE sqlite_master SET rootpage = " + number + " WHERE name = 'document_value';" +
                  "PRAGMA schema_version = " + number); // the schema is read again
}

// The first value found stays. Answers whether the last row has been reached.
bool TakeRows(SQLite::Database& database, const char* order, ICloudInfoStorage::Records& records)
try {
    // Other programs' rows have other types.
    const auto text = std::string("SELECT document_id, key, value FROM document_value WHERE"
                                  " typeof(document_id) = 'blob' AND typeof(key) = 'blob'"
                                  " AND typeof(value) = 'blob' ORDER BY ") +
                      order;
    Support::Statement query(database, text.c_str());
    while (query.Step())
        records[std::string(query.Bytes(0))].emplace(query.Bytes(1), query.Bytes(2));
    return true;
} catch (const SQLite::Exception&) {
    return false;
}

// From both ends to what is damaged.
void TakeRows(SQLite::Database& database, ICloudInfoStorage::Records& records)
{
    if (!TakeRows(database, "document_id, key", records))
        TakeRows(database, "document_id DESC, key DESC", records);
}

} // namespace

ICloudInfoStorage::Records ReadDamagedRecords(SQLite::Database& database)
{
    ICloudInfoStorage::Records records;
    TakeRows(database, records);
    database.exec("PRAGMA journal_mode = OFF; PRAGMA writable_schema = ON");
    const Pages pages(database);
    for (auto page = kFirstTablePage; page <= pages.Count(); ++page) {
        if (!pages.HoldsRows(page))
            continue;
        BeginTableAt(database, page);
        TakeRows(database, records);
    }
    return records;
}

} // namespace Orvane::PDF::Cloud
