#pragma once

#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>
#include <support/TemporaryJournal.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <vector>

namespace Orvane::Social {

/// The temporary documents that uploads make in the collection, and what crashes have left of them.
class RemoteTemporaries
{
public:
    /// What an upload sends under a name of its own. The object deletes it at the end of its own life, after
    /// it has asked whether it is there.
    class Temporary
    {
    public:
        /// To be made just before it is sent. @p job is the upload's, and must outlive the object.
        ///
        /// @param size  bytes that will be sent
        Temporary(RemoteTemporaries& owner, qint64 size, const Job& job);
        ~Temporary();
        Temporary(const Temporary&) = delete;
        Temporary& operator=(const Temporary&) = delete;

        [[nodiscard]] const std::string& Name() const { return m_name; }

        /// To be called before the PUT, and before a MOVE of something no larger to its name. Until then
        /// nothing can be there.
        void RecordStart()
        {
            m_mayBeThere = true;
            m_isWhole = false;
        }

        /// To be called with the status of the answer to the PUT.
        void RecordAnswer(int status);

        /// It has got its final name: there is nothing to delete.
        void Release() { m_mayBeThere = false; }

    private:
        [[nodiscard]] bool IsOurs(const DavResource& found) const;

        RemoteTemporaries& m_owner;
        const qint64 m_size;
        const Job& m_job;
        const std::string m_name;
        bool m_mayBeThere = false;
        bool m_isWhole = false; ///< the server says that it has stored all of it
    };

    /// @param cloud        tells one user's collection from others
    /// @param cacheFolder  where it is noted what is under way
    RemoteTemporaries(WebDavCollection& collection, const QByteArray& cloud,
                      const std::filesystem::path& cacheFolder);

    // A temporary that cannot be deleted fails nobody's request: these throw only when the job is cancelled.

    /// Deletes what clients of this cache folder that no longer run have left.
    void SweepOwn(const Job& job);

    /// Whether a listed member may be one to sweep, by its name.
    [[nodiscard]] static bool IsTemporary(const WebDavCollection::Member& member);

    /// Deletes, at most once a day, those listed temporaries, whoever made them, that are older than a day.
    ///
    /// @param now  the server's clock, seconds since 1970
    void SweepAbandoned(const std::vector<WebDavCollection::Member>& temporaries, std::optional<qint64> now,
                        const Job& job);

private:
    /// Deletes the temporary if it is there and @p isOurs; never where the server has something under every
    /// name.
    WebDavCollection::Removal Delete(const std::string& name, const WebDavCollection::IsOurs& isOurs,
                                     const Job& job) noexcept;
    [[nodiscard]] bool AreNamesMapped(const Job& job);

    [[nodiscard]] bool IsSweepDue() const;
    void NoteSweep() const;

    WebDavCollection& m_collection;
    const std::filesystem::path m_folder;
    Support::TemporaryJournal m_journal;
    std::mutex m_mutex; ///< for what follows
    std::optional<bool> m_areNamesMapped;
};

} // namespace Orvane::Social
