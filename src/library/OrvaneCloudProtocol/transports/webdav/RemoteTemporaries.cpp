#include <OrvaneCloudProtocol/transports/webdav/RemoteTemporaries.h>

#include <OrvaneCloudProtocol/transports/Job.h>

#include <QCryptographicHash>

#include <fstream>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

constexpr qint64 kAbandonedAfterSeconds = 24 * 60 * 60;
constexpr std::chrono::hours kSweepEvery{24};

fs::path FolderFor(const QByteArray& cloud, const fs::path& cacheFolder)
{
    const auto hash = QCryptographicHash::hash(cloud, QCryptographicHash::Sha256).toHex().left(16);
    return cacheFolder / "remote-temporaries" / hash.toStdString();
}

bool IsAbandoned(const WebDavCollection::Member& member, qint64 now)
{
    const auto& resource = member.resource;
    return Support::IsTemporaryName(member.name) && !resource.isCollection && resource.modifiedAt.isValid() &&
           now - resource.modifiedAt.toSecsSinceEpoch() > kAbandonedAfterSeconds;
}

} // namespace

RemoteTemporaries::Temporary::Temporary(RemoteTemporaries& owner, const Job& job)
    : m_owner(owner)
    , m_job(job)
    , m_name(Support::NewTemporaryName())
{
    m_owner.m_journal.Record(m_name);
}

RemoteTemporaries::Temporary::~Temporary()
{
    if (m_isThere && !IsGone()) {
        return; // and stays noted, for a later sweep
    }
    m_owner.m_journal.Forget(m_name);
}

bool RemoteTemporaries::Temporary::IsGone() const
{
    const auto removal = m_owner.m_collection.TakeAway(m_name, {}, m_job);
    return removal == WebDavCollection::Removal::Removed ||
           (removal == WebDavCollection::Removal::NotThere && m_isAnswered);
}

RemoteTemporaries::RemoteTemporaries(WebDavCollection& collection, const QByteArray& cloud,
                                     const fs::path& cacheFolder)
    : m_collection(collection)
    , m_folder(FolderFor(cloud, cacheFolder))
    , m_journal(m_folder)
{}

void RemoteTemporaries::SweepOwn(const Job& job)
{
    bool isWorking = true;
    m_journal.Sweep([&](const fs::path& temporary) {
        isWorking = isWorking && !job.IsCanceled() &&
                    m_collection.TakeAway(temporary.string(), {}, job) != WebDavCollection::Removal::Failed;
        return isWorking;
    });
    job.ThrowIfCanceled();
}

void RemoteTemporaries::SweepAbandoned(const WebDavCollection::Listing& listing, const Job& job)
{
    if (!listing.date || !IsSweepDue()) {
        return;
    }
    for (const auto& member : listing.members) {
        job.ThrowIfCanceled();
        const bool isToGo = IsAbandoned(member, *listing.date);
        if (isToGo && m_collection.TakeAway(member.name, {}, job) == WebDavCollection::Removal::Failed) {
            break;
        }
    }
    NoteSweep(); // also of one that failed: it should not delay every listing
}

bool RemoteTemporaries::IsSweepDue() const
{
    std::error_code error;
    const auto last = fs::last_write_time(m_folder / "swept", error);
    const auto age = fs::file_time_type::clock::now() - last;
    return error || age > kSweepEvery || age < fs::file_time_type::duration::zero();
}

void RemoteTemporaries::NoteSweep() const
{
    std::error_code ignored;
    fs::create_directories(m_folder, ignored);
    const std::ofstream stamp(m_folder / "swept", std::ios::trunc);
}

} // namespace Orvane::Social
