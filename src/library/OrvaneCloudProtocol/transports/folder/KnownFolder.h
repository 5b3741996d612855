#pragma once

#include <OrvaneCloudProtocol/transports/folder/FolderDocuments.h>

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>

namespace Orvane::Support {
class TemporaryJournal;
}

namespace Orvane::Social {

/// Remembers on which device the cloud's folder lay when it was last used, and whether it held documents, so
/// that the empty mount point of a share that is not mounted is not taken for an empty cloud. Kept in a file
/// between runs. Thread-safe.
class KnownFolder
{
public:
    using Device = FolderDocuments::Device;

    struct State
    {
        Device device = 0;
        bool isEmpty = true;
    };

    /// @param file               made when there is something to keep; its folder, too
    /// @param journal            must outlive the object
    /// @param isEmptyAccepted    whether one empty folder in place of a full one is right
    KnownFolder(const std::filesystem::path& file, Support::TemporaryJournal& journal, bool isEmptyAccepted);

    /// Throws CloudError: NotFound when an empty folder on another device is in place of one with documents,
    /// LocalDisk when the file is there and cannot be read. @p isEmpty is only asked where the device is new.
    void Require(const std::filesystem::path& folder, Device device, const std::function<bool()>& isEmpty);

    /// Notes what the folder is now. Without a usable file it is kept for this run only.
    void Note(const State& state);

private:
    [[nodiscard]] std::optional<State> Load() const;
    void Keep(const State& state);
    void Save(const State& state) const;

    const std::filesystem::path m_file;
    Support::TemporaryJournal& m_journal;
    std::mutex m_mutex;
    std::optional<State> m_known;
    bool m_isEmptyAccepted;
};

} // namespace Orvane::Social
