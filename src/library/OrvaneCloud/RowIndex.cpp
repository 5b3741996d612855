#include <OrvaneCloud/RowIndex.h>

#include <algorithm>

namespace Orvane::PDF::Cloud {

void RowIndex::PushFront(const std::string& id)
{
    auto& first = m_firstOfId[id]; // stays kNone when there is no memory for the row
    m_rows.push_front({m_last + 1, first});
    first = ++m_last;
}

std::optional<std::size_t> RowIndex::FirstRow(const std::string& id) const
{
    const auto found = m_firstOfId.find(id);
    if (found == m_firstOfId.end() || found->second == kNone)
        return std::nullopt;
    return RowOf(found->second);
}

std::size_t RowIndex::RemoveFirst(const std::string& id)
{
    const auto found = m_firstOfId.find(id);
    const auto row = RowOf(found->second);
    found->second = m_rows[row].nextOfId;
    if (found->second == kNone)
        m_firstOfId.erase(found);
    m_rows.erase(m_rows.begin() + static_cast<std::ptrdiff_t>(row));
    return row;
}

std::size_t RowIndex::RowOf(Number number) const
{
    const auto found = std::lower_bound(m_rows.begin(), m_rows.end(), number,
                                        [](const Row& row, Number wanted) { return row.number > wanted; });
    return static_cast<std::size_t>(found - m_rows.begin());
}

} // namespace Orvane::PDF::Cloud
