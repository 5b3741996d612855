#pragma once

#include <ICloudInfoStorage.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace Orvane::PDF::Cloud {

/// The named values of one document in one block of memory, in the order of their keys. A fraction of what a
/// map of them takes, in memory and in time to make it and to walk through it. Keeps in mind which values
/// have changed. Meant for a dozen of them: finding one is a walk from the first. Keys and values are exact
/// bytes, less than 4 GiB each.
class PackedRecord
{
public:
    /// Adds an unchanged value, whose key is above all others.
    void Append(std::string_view key, std::string_view value);

    /// Adds or replaces a value. Answers whether it is another one than before; then it counts as changed.
    bool Set(std::string_view key, std::string_view value);

    [[nodiscard]] bool HasChanges() const { return m_hasChanges; }

    /// From now on every value counts as unchanged.
    void ForgetChanges();

    /// Calls @p visit with the key and the value of each that has changed.
    template <typename Visit>
    void VisitChanged(const Visit& visit) const;

    [[nodiscard]] ICloudInfoStorage::Record Unpacked() const;

private:
    // Stands before each key and its value.
    struct Head
    {
        std::uint32_t keySize;
        std::uint32_t valueSize;
        std::uint32_t isChanged;
    };

    struct Entry
    {
        Head head;
        std::string_view key;
        std::string_view value;
        std::size_t end; // where the next one begins
    };

    [[nodiscard]] Entry EntryAt(std::size_t position) const;
    static void Write(std::string& bytes, std::string_view key, std::string_view value, bool isChanged);

    std::string m_bytes;
    bool m_hasChanges = false;
};

template <typename Visit>
void PackedRecord::VisitChanged(const Visit& visit) const
{
    for (std::size_t at = 0; at < m_bytes.size();) {
        const auto entry = EntryAt(at);
        if (entry.head.isChanged)
            visit(entry.key, entry.value);
        at = entry.end;
    }
}

inline PackedRecord::Entry PackedRecord::EntryAt(std::size_t position) const
{
    Entry entry;
    const auto* bytes = m_bytes.data() + position;
    std::memcpy(&entry.head, bytes, sizeof entry.head);
    entry.key = {bytes + sizeof entry.head, entry.head.keySize};
    entry.value = {entry.key.data() + entry.key.size(), entry.head.valueSize};
    entry.end = position + sizeof entry.head + entry.key.size() + entry.value.size();
    return entry;
}

} // namespace Orvane::PDF::Cloud
