#include <OrvaneCloudProtocol/transports/webdav/SeenVersions.h>

#include <utility>

namespace Orvane::Social {

namespace {

constexpr std::chrono::minutes kListingIsNews{1};

} // namespace

void SeenVersions::Note(const std::string& name, const DocumentVersion& version)
{
    const std::lock_guard lock(m_mutex);
    m_seen[name] = {version, ++m_moment, false};
}

SeenVersions::Listing SeenVersions::BeginListing()
{
    const std::lock_guard lock(m_mutex);
    return Listing(m_moment);
}

void SeenVersions::NoteListing(Listing&& listing)
{
    const std::lock_guard lock(m_mutex);
    for (auto& [name, known] : m_seen) {
        if (known.moment > listing.m_begin) {
            listing.m_seen[name] = std::move(known);
        }
    }
    m_seen.swap(listing.m_seen);
    m_listedAt = Clock::now();
}

void SeenVersions::Forget(const std::string& name)
{
    const std::lock_guard lock(m_mutex);
    m_seen.erase(name);
}

std::optional<DocumentVersion> SeenVersions::Find(const std::string& name) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_seen.find(name);
    return found == m_seen.end() ? std::nullopt : std::make_optional(found->second.version);
}

std::optional<DocumentVersion> SeenVersions::TakeListed(const std::string& name)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_seen.find(name);
    const bool isNews = found != m_seen.end() && std::exchange(found->second.isFromListing, false) &&
                        Clock::now() - m_listedAt < kListingIsNews;
    return isNews ? std::make_optional(found->second.version) : std::nullopt;
}

} // namespace Orvane::Social
