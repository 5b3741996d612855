#pragma once

#include <support/Folder.h>
#include <support/HeldFile.h>

#include <filesystem>
#include <optional>

namespace Orvane::Support {

class TemporaryJournal;

/// The rights to the regular file at @p path, for a file that is to take its place; all when there is none.
[[nodiscard]] std::filesystem::perms PermissionsAt(const std::filesystem::path& path);

/// A file that is being written under a temporary name beside its later place, so that under the final name
/// it appears whole or not at all. It goes away with this object unless it has got its final name. Targets
/// lie in the folder in which it was made. All failures are std::filesystem::filesystem_error.
class PartFile
{
public:
    /// Makes the file. @p folder must be absolute; @p journal must outlive the object. Nobody ever gets more
    /// rights to the file than @p mostAllowed.
    PartFile(const std::filesystem::path& folder, TemporaryJournal& journal,
             std::filesystem::perms mostAllowed = std::filesystem::perms::all);
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    /// Where it lies while it is temporary.
    [[nodiscard]] const std::filesystem::path& TemporaryPath() const { return m_path; }

    void Write(const char* data, std::size_t size);

    /// Takes back everything written so far.
    void Clear();

    /// Brings everything to the disk, and makes sure that the system has kept all of it.
    void Finish();

    /// After Finish: takes the place of the file at @p target, if there is one, with its permissions.
    void Replace(const std::filesystem::path& target);

    /// As Replace, for a file that is no longer replaced once it is another version than @p expected. Returns
    /// false then: the file at @p target is (again) the one that was there. Where the system can exchange
    /// names, and the journal can be written, this holds also for a file that somebody puts there in the same
    /// moment.
    [[nodiscard]] bool ReplaceVersion(const std::filesystem::path& target, const FileStamp& expected);

    /// After Finish: becomes the file at @p target. Returns false, and stays what it is, when something is
    /// there already; of several that try at once, only one succeeds.
    [[nodiscard]] bool BecomeNew(const std::filesystem::path& target);

    /// BecomeNew as file systems do it that cannot rename without replacing.
    [[nodiscard]] bool BecomeNewByLink(const std::filesystem::path& target);

    /// BecomeNew as file systems without hard links can do it: for a moment the target is an empty file. A
    /// sweep after a crash in this moment finishes what was begun, so the journal has to be writable: throws
    /// JournalError when it is not. Throws LeftoverError when the empty file has to stay.
    [[nodiscard]] bool BecomeNewByReservation(const std::filesystem::path& target);

private:
    void Remove() noexcept;
    void TakePermissionsOf(const Folder::Name& target);
    void Hold(const HeldFile& recorded);
    [[nodiscard]] bool ReplaceUnheld(const std::filesystem::path& target, const FileStamp& expected);
    [[nodiscard]] bool Exchange(const HeldFile& held);
    void Release(const HeldFile& held);
    void MoveTo(const std::filesystem::path& target);
    void LetGo();

    TemporaryJournal& m_journal;
    const std::filesystem::perms m_mostAllowed;
    const Folder m_folder;
    std::filesystem::path m_path; ///< its name is what counts
    std::optional<NewFile> m_file;
    bool m_isTemporary = true;
};

} // namespace Orvane::Support
