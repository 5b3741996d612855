#pragma once

#include <IFileSystem.h>

#include <OrvaneExport.h>

#include <memory>

namespace Orvane::PDF::Cloud {

/// The computer's own file system. Paths are exact bytes, whatever the locale. Not thread-safe.
///
/// The real folder behind a folder's name is remembered for half a second, so that normalizing thousands of
/// paths costs little; a link to a folder that is changed within that time is seen after it. Whoever
/// normalizes a path and at once asks whether the file exists (within 1 ms, and for the first time) is told
/// what the one look at it has shown.
class ORVANE_HOST_EXPORT LocalFileSystem : public IFileSystem
{
public:
    LocalFileSystem();
    ~LocalFileSystem() override;

    LocalFileSystem(const LocalFileSystem&) = delete;
    LocalFileSystem& operator=(const LocalFileSystem&) = delete;

    /// Whether a regular file, or a link to one, stands there. False for a folder, for the empty path, and
    /// for a path with a NUL character in it. True when the system cannot tell (no permission, an I/O error):
    /// the list would otherwise forget the local copy.
    bool Exists(const ioPath& path) override;

    /// The absolute path without links, "." and "..", in which parts that do not exist stay as they are. A
    /// relative path is taken from the working folder. The empty path, and one with a NUL character in it,
    /// which names no file, come back unchanged.
    ioPath NormalizePath(const ioPath& path) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::PDF::Cloud
