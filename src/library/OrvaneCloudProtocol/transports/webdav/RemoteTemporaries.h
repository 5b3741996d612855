#pragma once

#include <OrvaneCloudProtocol/transports/webdav/WebDavCollection.h>
#include <support/TemporaryJournal.h>

#include <filesystem>

namespace Orvane::Social {

/// The temporary documents that uploads make in the collection, and what crashes have left of them.
class RemoteTemporaries
{
public:
    /// What an upload sends under a name of its own. It is taken away with this object.
    class Temporary
    {
    public:
        /// To be made just before it is sent. @p job is the upload's, and must outlive the object.
        Temporary(RemoteTemporaries& owner, const Job& job);
        ~Temporary();
        Temporary(const Temporary&) = delete;
        Temporary& operator=(const Temporary&) = delete;

        [[nodiscard]] const std::string& Name() const { return m_name; }

        /// The server has answered the upload. Before that it may appear later than it is looked for.
        void NoteAnswer() { m_isAnswered = true; }

        /// It has got its final name: there is nothing to take away.
        void Release() { m_isThere = false; }

    private:
        [[nodiscard]] bool IsGone() const;

        RemoteTemporaries& m_owner;
        const Job& m_job;
        const std::string m_name;
        bool m_isAnswered = false;
        bool m_isThere = true;
    };

    /// @param cloud        tells one user's collection from others
    /// @param cacheFolder  where it is noted what is under way
    RemoteTemporaries(WebDavCollection& collection, const QByteArray& cloud,
                      const std::filesystem::path& cacheFolder);

    // Trouble with these is nobody's failure; they throw only when the job is cancelled.

    /// Takes away what clients of this cache folder have left that are no more.
    void SweepOwn(const Job& job);

    /// Takes away, at most once a day, what is in the listing of temporaries of anyone that are older than a
    /// day by the server's clock.
    void SweepAbandoned(const WebDavCollection::Listing& listing, const Job& job);

private:
    [[nodiscard]] bool IsSweepDue() const;
    void NoteSweep() const;

    WebDavCollection& m_collection;
    const std::filesystem::path m_folder;
    Support::TemporaryJournal m_journal;
};

} // namespace Orvane::Social
