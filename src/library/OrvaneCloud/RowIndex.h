#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

namespace Orvane::PDF::Cloud {

/// Knows in which row of a list the first document of an id is. The list grows at its front only, and of
/// several documents with one id it is always the first that leaves; so documents are told apart by when they
/// came, and rows are in the order of that.
class RowIndex
{
public:
    /// Makes room for as many rows in all, so that it need not grow step by step.
    void Reserve(std::size_t rows) { m_firstOfId.reserve(rows); }

    /// Row 0 now has this id; the rows of all others grow by one. Nothing happens when it throws.
    void PushFront(const std::string& id);

    /// In a time that hardly grows with the list.
    [[nodiscard]] std::optional<std::size_t> FirstRow(const std::string& id) const;

    /// Takes out the first row of an id that the list holds. Returns which it was.
    std::size_t RemoveFirst(const std::string& id);

private:
    using Number = std::uint64_t;
    static constexpr Number kNone = 0;

    struct Row
    {
        Number number;   // rows are numbered as they come, from 1 on
        Number nextOfId; // the next row, towards the back, with the same id
    };

    [[nodiscard]] std::size_t RowOf(Number number) const;

    std::deque<Row> m_rows; // in falling order of their numbers
    std::unordered_map<std::string, Number> m_firstOfId;
    Number m_last = kNone;
};

} // namespace Orvane::PDF::Cloud
