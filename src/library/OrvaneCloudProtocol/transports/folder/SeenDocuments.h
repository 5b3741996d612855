#pragma once

#include <support/FileStamp.h>

#include <QString>

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>

namespace Orvane::Social {

/// One version of a document.
struct SeenVersion
{
    Support::FileStamp stamp;
    QString md5;            ///< lower-case hexadecimal; empty when not known
    bool isSettled = false; ///< whether any later change must have changed the stamp
};

/// In which version this client last saw each document of a folder. Thread-safe.
class SeenDocuments
{
public:
    /// The present, for a look at a document that begins now.
    [[nodiscard]] long long Moment() const;

    /// Notes what a look has shown that began at @p moment, unless something has been noted since.
    void Note(const std::filesystem::path& path, const Support::FileStamp& stamp, const QString& md5,
              long long moment);

    void Forget(const std::filesystem::path& path);

    [[nodiscard]] std::optional<SeenVersion> Find(const std::filesystem::path& path) const;

private:
    struct Noted
    {
        SeenVersion version;
        long long moment = 0;
    };

    mutable std::mutex m_mutex;
    std::map<std::filesystem::path, Noted> m_noted;
    long long m_moment = 0; ///< counts what is noted
};

} // namespace Orvane::Social
