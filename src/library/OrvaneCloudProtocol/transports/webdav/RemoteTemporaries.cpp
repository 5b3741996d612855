#include <OrvaneCloudProtocol/transports/webdav/RemoteTemporaries.h>

#include <OrvaneCloudProtocol/transports/Job.h>
#include <OrvaneCloudProtocol/transports/webdav/CloudKey.h>
#include <support/PrivateFiles.h>

#include <charconv>

namespace Orvane::Social {

namespace {

namespace fs = std::filesystem;

constexpr qint64 kAbandonedAfterSeconds = 24 * 60 * 60;
constexpr std::chrono::hours kSweepEvery{24};

/// As the journal has it: the size that was to be sent, in decimal, stands as a folder before the name.
fs::path JournalEntry(const std::string& name, qint64 size)
{
    return fs::path(std::to_string(size)) / name;
}

/// Whether the resource may be what is left of an upload of @p size bytes that broke off.
bool CanBePart(const DavResource& resource, qint64 size)
{
    return resource.isTypeKnown && resource.size && *resource.size <= size;
}

/// The size in a journal's entry; -1 where there is none.
qint64 SizeIn(const fs::path& journalEntry)
{
    const auto text = journalEntry.parent_path().string();
    qint64 size = -1;
    std::from_chars(text.data(), text.data() + text.size(), size);
    return size;
}

bool IsAbandoned(const WebDavCollection::Member& member, qint64 now)
{
    const auto& resource = member.resource;
    return !resource.isCollection && resource.modifiedAt.isValid() &&
           now - resource.modifiedAt.toSecsSinceEpoch() > kAbandonedAfterSeconds;
}

} // namespace

RemoteTemporaries::Temporary::Temporary(RemoteTemporaries& owner, qint64 size, const Job& job)
    : m_owner(owner)
    , m_size(size)
    , m_job(job)
    , m_name(Support::NewTemporaryName())
{
    m_owner.m_journal.Record(JournalEntry(m_name, m_size));
}

RemoteTemporaries::Temporary::~Temporary()
{
    // One that is not there now may appear later, when the server has done with a broken upload: then a later
    // sweep deletes it.
    const auto isOurs = [this](const DavResource& found) { return IsOurs(found); };
    if (!m_mayBeThere || m_owner.Delete(m_name, isOurs, m_job) == WebDavCollection::Removal::Removed) {
        m_owner.m_journal.Forget(JournalEntry(m_name, m_size));
    }
}

// A server that has refused a PUT has stored nothing, and may have mapped its address to something else: one
// answers 405 to it, and takes a DELETE of it for one of the folder.
void RemoteTemporaries::Temporary::RecordAnswer(int status)
{
    m_mayBeThere = status < 400 || status >= 500;
    m_isWhole = status >= 200 && status < 300;
}

bool RemoteTemporaries::Temporary::IsOurs(const DavResource& found) const
{
    return CanBePart(found, m_size) && (!m_isWhole || found.size == m_size);
}

RemoteTemporaries::RemoteTemporaries(WebDavCollection& collection, const QByteArray& cloud,
                                     const fs::path& cacheFolder)
    : m_collection(collection)
    , m_folder(cacheFolder / "remote-temporaries" / CloudKey(cloud))
    , m_journal(m_folder)
{}

WebDavCollection::Removal RemoteTemporaries::Delete(const std::string& name,
                                                    const WebDavCollection::IsOurs& isOurs,
                                                    const Job& job) noexcept
{
    try {
        return AreNamesMapped(job) ? WebDavCollection::Removal::NotThere
                                   : m_collection.DeleteOwn(name, isOurs, job);
    } catch (const std::exception&) {
        return WebDavCollection::Removal::Failed;
    }
}

// Asked once: what is there under a name that nobody has ever used?
bool RemoteTemporaries::AreNamesMapped(const Job& job)
{
    const std::lock_guard lock(m_mutex);
    if (!m_areNamesMapped) {
        m_areNamesMapped = m_collection.FindWhileCleaning(Support::NewTemporaryName(), job).has_value();
    }
    return *m_areNamesMapped;
}

void RemoteTemporaries::SweepOwn(const Job& job)
{
    bool isWorking = true;
    m_journal.Sweep([&](const fs::path& entry) {
        const auto isOurs = [&entry](const DavResource& found) { return CanBePart(found, SizeIn(entry)); };
        isWorking = isWorking && !job.IsCanceled() &&
                    Delete(entry.filename().string(), isOurs, job) != WebDavCollection::Removal::Failed;
        return isWorking;
    });
    job.ThrowIfCanceled();
}

bool RemoteTemporaries::IsTemporary(const WebDavCollection::Member& member)
{
    return Support::IsTemporaryName(member.name);
}

void RemoteTemporaries::SweepAbandoned(const std::vector<WebDavCollection::Member>& temporaries,
                                       std::optional<qint64> now, const Job& job)
{
    if (!now || !IsSweepDue()) {
        return;
    }
    for (const auto& member : temporaries) {
        job.ThrowIfCanceled();
        const auto isAsListed = [&member](const DavResource& found) {
            return found.isTypeKnown &&
                   DocumentVersion::Of(member.resource).IsSameAs(DocumentVersion::Of(found));
        };
        if (IsAbandoned(member, *now) &&
            Delete(member.name, isAsListed, job) == WebDavCollection::Removal::Failed) {
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
    const auto stamp = m_folder / "swept";
    (void)Support::TryToMakePrivateFolder(m_folder);
    Support::MakePrivateFile(stamp);
    std::error_code ignored;
    fs::last_write_time(stamp, fs::file_time_type::clock::now(), ignored);
}

} // namespace Orvane::Social
