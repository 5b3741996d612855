#include <support/AtomicRename.h>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

/// Makes the file. Returns false when something is there.
bool Reserve(const Folder& folder, const Folder::Name& name)
{
    try {
        const NewFile reservation(folder, name);
        return true;
    } catch (const fs::filesystem_error& failure) {
        if (failure.code() == std::errc::file_exists)
            return false;
        throw;
    }
}

} // namespace

bool RenameToReserved(const Folder& folder, const Folder::Name& from, const Folder::Name& to,
                      const std::function<void()>& whenReserved)
{
    if (!Reserve(folder, to))
        return false;
    try {
        whenReserved();
        folder.Rename(from, to);
    } catch (const fs::filesystem_error& failure) {
        try {
            folder.Remove(to);
        } catch (const fs::filesystem_error&) {
            throw LeftoverError("cannot remove", folder.Path() / to, failure.code());
        }
        throw;
    }
    return true;
}

} // namespace Orvane::Support
