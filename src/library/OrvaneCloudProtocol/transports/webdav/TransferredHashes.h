#pragma once

#include <QByteArray>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace SQLite {
class Database;
}

namespace Orvane::Social {

/// The MD5 of documents that this machine has sent or received whole, for servers that tell none. Kept
/// between runs; trouble with the file means that a hash is unknown, never a failure. Thread-safe.
class TransferredHashes
{
public:
    /// @param cloud  tells documents of one cloud from those of another
    TransferredHashes(const std::filesystem::path& databaseFile, const QByteArray& cloud);
    ~TransferredHashes();

    void Remember(const std::string& name, qint64 size, const QByteArray& entityTag,
                  const QByteArray& md5Hex);

    /// Empty unless it is known for just this size and entity tag, which must not be empty: no tag vouches
    /// for nothing.
    [[nodiscard]] QByteArray Find(const std::string& name, qint64 size, const QByteArray& entityTag);

private:
    struct Entry
    {
        qint64 size = 0;
        std::string entityTag;
        std::string md5;
    };

    void ReadOnce();
    void Save();
    void ForgetOldest();
    [[nodiscard]] std::string KeyOf(const std::string& name) const;

    const std::filesystem::path m_file;
    const std::string m_cloud;
    std::mutex m_mutex;
    bool m_isRead = false;
    std::unique_ptr<SQLite::Database> m_database;
    std::unordered_map<std::string, Entry> m_entries; ///< of this cloud, by name
    std::vector<std::string> m_unsaved;
};

} // namespace Orvane::Social
