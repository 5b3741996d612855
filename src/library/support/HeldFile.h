#pragma once

#include <support/FileStamp.h>

#include <filesystem>
#include <optional>
#include <vector>

namespace Orvane::Support {

class Folder;
class TemporaryJournal;

/// A file that lies under a name of ours for the moment in which a step is taken with it, and that may be the
/// only copy of its content. The journal records it, so that a crash in that moment loses nothing. No sweep
/// goes by its name or age.
struct HeldFile
{
    std::filesystem::path path; ///< the name of ours, beside home
    std::filesystem::path home; ///< where the file belongs

    /// The versions that may be deleted. Anything else goes back.
    std::vector<FileStamp> disposable;

    /// The empty file at home that only keeps the name for this one. Any other file there is somebody's.
    std::optional<FileStamp> reservation = {};

    /// The device of its folder, as the journal has it; 0 when not known. While another one is there, because
    /// a share is not mounted perhaps, a file that is absent is not known to be gone.
    std::uint64_t device = 0;
};

/// Whether the file, in its opened folder, has one of the disposable versions. A file that the system cannot
/// look at has none.
[[nodiscard]] bool IsDisposable(const Folder& folder, const HeldFile& held) noexcept;

/// Ends the holding: deletes a version that may be deleted, and gives any other its place back, or a numbered
/// name beside it when that is taken. Returns false when the file may still be held.
bool Settle(const Folder& folder, const HeldFile& held) noexcept;

/// The same for one that a journal tells of.
bool Settle(const HeldFile& held) noexcept;

/// Deletes the file at @p path if it is @p expected, also when somebody replaces it in the same moment (but
/// not while the journal cannot be written, when the check comes directly before the removal). Returns false
/// when it is another version, which then stays or is put back. One that is gone counts as deleted. Throws
/// std::filesystem::filesystem_error.
[[nodiscard]] bool RemoveVersion(const std::filesystem::path& path, const FileStamp& expected,
                                 TemporaryJournal& journal);

} // namespace Orvane::Support
