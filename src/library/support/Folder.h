#pragma once

#include <support/FileStamp.h>

#include <filesystem>
#include <optional>

namespace Orvane::Support {

/// What became of a rename that only some file systems can do.
enum class RenameResult
{
    Done,
    Taken,      ///< something is already there; nothing was changed
    Unsupported ///< this system or this file system cannot do it; nothing was changed
};

/// A folder that is kept open. Whatever is done to its members happens in the folder that was opened, also
/// when its path leads elsewhere by then. Members go by their names, and links are never followed. Failures
/// are std::filesystem::filesystem_error. Where the system has no such descriptors, the path is used.
class Folder
{
public:
    using Name = std::filesystem::path;

    explicit Folder(std::filesystem::path path);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

    /// Throws when the path no longer leads here: what was made here would not be found there.
    void RequirePlace() const;

    [[nodiscard]] bool Holds(const Name& name) const;

    /// The stamp of a regular file; nothing when there is none of that name.
    [[nodiscard]] std::optional<FileStamp> LookAt(const Name& name) const;

    /// The rights to a regular file; nothing when there is none of that name.
    [[nodiscard]] std::optional<std::filesystem::perms> PermissionsOf(const Name& name) const;

    /// Whether both names are those of one file.
    [[nodiscard]] bool AreSameFile(const Name& one, const Name& other) const;

    /// Returns false when there was nothing.
    bool Remove(const Name& name) const;

    void Rename(const Name& from, const Name& to) const;

    /// Renames a file to a name that nothing has. Of several callers that try at once, one succeeds.
    [[nodiscard]] RenameResult RenameToFree(const Name& from, const Name& to) const;

    /// Gives a file a second name, which nothing may have yet: on file systems without the above, the first
    /// half of such a rename. Fails with Unsupported, whatever the reason.
    [[nodiscard]] RenameResult LinkToFree(const Name& from, const Name& to) const;

    /// Lets two existing files change names in one step. Returns Done or Unsupported.
    [[nodiscard]] RenameResult ExchangeNames(const Name& one, const Name& other) const;

private:
    friend class NewFile;

    const std::filesystem::path m_path;
    [[maybe_unused]] int m_descriptor = -1;
};

/// A file that is made and then written. All of it goes to the file that was made, whatever becomes of its
/// name meanwhile. Failures are std::filesystem::filesystem_error.
class NewFile
{
public:
    /// Fails when something has the name.
    ///
    /// @param mostAllowed  the rights that the file gets at most; the user's own limits count, too
    NewFile(const Folder& folder, const Folder::Name& name,
            std::filesystem::perms mostAllowed = std::filesystem::perms::all);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void Write(const char* data, std::size_t size);

    /// Takes back everything written so far.
    void Clear();

    /// Brings everything to the disk, and makes sure that the system has kept all of it. Afterwards nothing
    /// can be written.
    void Finish();

    [[nodiscard]] FileStamp Stamp() const;

    /// Does its best: not every file system knows rights.
    void SetPermissions(std::filesystem::perms permissions) noexcept;

private:
    void WriteBehind();
    [[noreturn]] void Fail(int error) const;

    const std::filesystem::path m_path; ///< for messages, and where there are no descriptors
    [[maybe_unused]] int m_descriptor = -1;
    [[maybe_unused]] void* m_file = nullptr; ///< in their place
    std::uint64_t m_size = 0;
    [[maybe_unused]] std::uint64_t m_behind = 0; ///< so much is on its way to the disk
};

} // namespace Orvane::Support
