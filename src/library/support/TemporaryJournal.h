#pragma once

#include <support/FileLock.h>
#include <support/HeldFile.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

namespace Orvane::Support {

/// A fresh name for a temporary file of ours: hidden, short, and never one that a user would give.
[[nodiscard]] std::string NewTemporaryName();
[[nodiscard]] bool IsTemporaryName(std::string_view fileName);

/// The same for a file that is held (see HeldFile).
[[nodiscard]] std::string NewHeldName();
[[nodiscard]] bool IsHeldName(std::string_view fileName);

/// A step cannot be taken, because the journal cannot be written.
class JournalError : public std::filesystem::filesystem_error
{
public:
    using filesystem_error::filesystem_error;
};

/// Remembers on disk which temporary files its owner has made, so that those of a crashed one are found
/// wherever they lie, on this machine or on a server. Each owner has a journal of its own, held by a lock for
/// as long as the owner lives. Thread-safe. Without a usable folder temporaries are not remembered, which
/// leaves them behind after a crash.
class TemporaryJournal
{
public:
    /// @param folder  made when the first file is recorded
    explicit TemporaryJournal(const std::filesystem::path& folder);
    ~TemporaryJournal();

    /// To be called before the file is made.
    void Record(const std::filesystem::path& temporary);

    /// To be called before the file gets the name under which it is held, which it may not get when this
    /// returns false: the record could not be written then.
    [[nodiscard]] bool Record(const HeldFile& held);

    /// The same; throws JournalError in place of returning false.
    void RequireRecord(const HeldFile& held);

    /// To be called once the file is gone.
    void Forget(const std::filesystem::path& temporary);

    /// Takes one temporary file away; false when it may still be there.
    using Remove = std::function<bool(const std::filesystem::path& temporary)>;

    /// Removes the temporary files of owners that are no more, and settles the files that they held. What
    /// cannot be removed now, because a share is not mounted perhaps, stays recorded for a month; a held file
    /// stays recorded until it is settled.
    void Sweep() { Sweep(&RemoveFile); }
    void Sweep(const Remove& remove);

private:
    [[nodiscard]] bool Note(const std::filesystem::path& path, const std::string& entry);
    [[nodiscard]] bool IsOpen();
    static void SweepOne(const std::filesystem::path& journal, const Remove& remove);
    [[nodiscard]] static bool RemoveFile(const std::filesystem::path& temporary);

    const std::filesystem::path m_folder;
    const std::filesystem::path m_journal;
    std::mutex m_mutex;
    std::set<std::filesystem::path::string_type> m_temporaries;
    std::unique_ptr<FileLock> m_lock; ///< on the journal, which is written through it
};

} // namespace Orvane::Support
