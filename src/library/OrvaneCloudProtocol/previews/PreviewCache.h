#pragma once

#include <OrvaneCloudProtocol/previews/Preview.h>

#include <QByteArray>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

namespace SQLite {
class Database;
}

namespace Orvane::Social {

/// Rendered first pages, kept between runs in "previews.sqlite". Every trouble with the file means that a
/// picture is rendered again, never a failure. Thread-safe; several processes may share one folder.
class PreviewCache
{
public:
    static constexpr qint64 kDefaultLimit = qint64(128) << 20;

    /// @param limitBytes  of the database file. Beyond it, what was not used for longest goes.
    explicit PreviewCache(std::filesystem::path folder, qint64 limitBytes = kDefaultLimit);
    ~PreviewCache();

    /// The smallest rendering of this version whose longer side is at least @p edge pixels, or the failure of
    /// one. Failures are remembered for a day.
    [[nodiscard]] std::optional<Preview> Find(const QByteArray& documentVersion, int edge);

    /// Keeps a rendering whose longer side is @p edge pixels. Of failures only those that are the document's
    /// own (InvalidDocument) are kept: the others may pass.
    void Store(const QByteArray& documentVersion, int edge, const Preview& preview);

private:
    struct Entry;

    SQLite::Database* Database();
    std::optional<Entry> FindEntry(const QByteArray& documentVersion, int edge);
    void StoreEntry(const QByteArray& documentVersion, const Entry& entry);
    void NoteUse(const QByteArray& documentVersion, const Entry& entry);
    void DropLeastRecentlyUsed();
    [[nodiscard]] qint64 UsedBytes();

    const std::filesystem::path m_folder;
    const qint64 m_limitBytes;
    std::mutex m_mutex;
    bool m_isOpened = false;
    std::unique_ptr<SQLite::Database> m_database;
};

} // namespace Orvane::Social
