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

    /// What a listing says, while it comes.
    class Listing;

    /// To be called before a listing is asked for. What is noted meanwhile is newer than what it says.
    [[nodiscard]] Listing BeginListing();

    /// A complete listing: documents that it lacks are no longer known.
    void NoteListing(Listing&& listing);

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

class SeenVersions::Listing
{
public:
    /// False when the document has been added before: the first time counts.
    bool Add(const std::string& name, DocumentVersion&& version)
    {
        return m_seen.try_emplace(name, Seen{std::move(version), m_begin, true}).second;
    }

private:
    friend class SeenVersions;

    explicit Listing(long long begin)
        : m_begin(begin)
    {}

    long long m_begin;
    std::unordered_map<std::string, Seen> m_seen;
};

} // namespace Orvane::Social
