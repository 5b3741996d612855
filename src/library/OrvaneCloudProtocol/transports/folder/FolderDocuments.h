#pragma once

#include <OrvaneCloudProtocol/transports/Transport.h>
#include <support/FileStamp.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Orvane::Social {

/// What a folder holds, seen as documents: the regular files among its direct members that have a document's
/// name. Symbolic links are none, so nothing outside the folder is ever reached. Failures are CloudErrors.
class FolderDocuments
{
public:
    /// Tells one file system from another.
    using Device = std::uint64_t;

    explicit FolderDocuments(const std::filesystem::path& folder);

    [[nodiscard]] const std::filesystem::path& Folder() const { return m_folder; }

    /// Throws unless the folder is there: it is never made, because an unmounted share is not an empty cloud.
    Device RequireFolder() const;

    /// The names of all members that may be documents. An error half-way fails the whole.
    [[nodiscard]] std::vector<std::string> Names(Job& job) const;

    /// Whether there is no document.
    [[nodiscard]] bool IsEmpty() const;

    /// The path that belongs to the id. Throws when it is no document's id.
    [[nodiscard]] std::filesystem::path PathOf(const QString& id) const;

    /// The stamp of a document; nothing when there is none of that name. Throws when the system cannot tell.
    [[nodiscard]] static std::optional<Support::FileStamp> StampOf(const std::filesystem::path& path);

    /// As StampOf; throws when there is none.
    static Support::FileStamp RequiredStampOf(const std::filesystem::path& path);

    [[nodiscard]] static QString VersionTagOf(const Support::FileStamp& stamp);
    [[nodiscard]] static Transport::CloudFile Describe(const std::filesystem::path& path,
                                                       const Support::FileStamp& stamp, const QString& md5);

    /// Removes temporary files that a crash elsewhere has left: those that nobody has written for a day.
    void SweepOldTemporaries() const;

private:
    const std::filesystem::path m_folder;
};

} // namespace Orvane::Social
