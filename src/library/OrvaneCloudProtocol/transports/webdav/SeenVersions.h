#pragma once

#include <OrvaneCloudProtocol/transports/webdav/DocumentVersion.h>

#include <chrono>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Orvane::Social {

/// In which version this client has last seen each document. Thread-safe.
class SeenVersions
{
public:
    void Note(const std::string& name, const DocumentVersion& version);

    /// To be called before a listing is asked for. What is noted meanwhile is newer than what it says.
    [[nodiscard]] long long BeginListing();

    /// A complete listing: documents that it lacks are no longer known.
    void NoteListing(long long begin, std::unordered_map<std::string, DocumentVersion> versions);

    void Forget(const std::string& name);

    [[nodiscard]] std::optional<DocumentVersion> Find(const std::string& name) const;

    /// The version that a listing has just told. Each counts once, and for a minute: who asks again wants to
    /// know whether it has changed since.
    [[nodiscard]] std::optional<DocumentVersion> TakeListed(const std::string& name);

private:
    using Clock = std::chrono::steady_clock;

    struct Seen
    {
        DocumentVersion version;
        long long moment = 0;
        bool isFromListing = false;
    };

    mutable std::mutex m_mutex;
    std::unordered_map<std::string, Seen> m_seen;
    long long m_moment = 0; ///< counts what is noted
    Clock::time_point m_listedAt;
};

} // namespace Orvane::Social
