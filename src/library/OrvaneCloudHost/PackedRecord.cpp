#include "PackedRecord.h"

namespace Orvane::PDF::Cloud {
namespace {

// Of a document with a local copy and previews. Spares growing to it step by step.
constexpr std::size_t kUsualSize = 768;

} // namespace

void PackedRecord::Append(std::string_view key, std::string_view value)
{
    if (m_bytes.empty())
        m_bytes.reserve(kUsualSize);
    Write(m_bytes, key, value, false);
}

bool PackedRecord::Set(std::string_view key, std::string_view value)
{
    std::size_t begin = 0;
    while (begin < m_bytes.size() && EntryAt(begin).key < key)
        begin = EntryAt(begin).end;
    std::size_t size = 0; // of what gives way
    if (begin < m_bytes.size() && EntryAt(begin).key == key) {
        if (EntryAt(begin).value == value)
            return false;
        size = EntryAt(begin).end - begin;
    }
    std::string entry;
    Write(entry, key, value, true);
    m_bytes.replace(begin, size, entry);
    m_hasChanges = true;
    return true;
}

void PackedRecord::Write(std::string& bytes, std::string_view key, std::string_view value, bool isChanged)
{
    const Head head{static_cast<std::uint32_t>(key.size()), static_cast<std::uint32_t>(value.size()),
                    isChanged};
    bytes.append(reinterpret_cast<const char*>(&head), sizeof head).append(key).append(value);
}

void PackedRecord::ForgetChanges()
{
    for (std::size_t at = 0; at < m_bytes.size();) {
        auto entry = EntryAt(at);
        entry.head.isChanged = false;
        std::memcpy(m_bytes.data() + at, &entry.head, sizeof entry.head);
        at = entry.end;
    }
    m_hasChanges = false;
}

ICloudInfoStorage::Record PackedRecord::Unpacked() const
{
    ICloudInfoStorage::Record record;
    for (std::size_t at = 0; at < m_bytes.size();) {
        const auto entry = EntryAt(at);
        record.emplace_hint(record.end(), entry.key, entry.value);
        at = entry.end;
    }
    return record;
}

} // namespace Orvane::PDF::Cloud
