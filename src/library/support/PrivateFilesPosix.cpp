#include <support/PrivateFiles.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

bool IsOpenToOthers(const struct stat& status)
{
    const bool isShared = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    return status.st_uid == ::geteuid() && !isShared && (status.st_mode & kOthers) != 0;
}

void MakeMissing(const fs::path& folder)
{
    if (fs::is_directory(folder))
        return;
    if (folder.has_parent_path() && folder.parent_path() != folder)
        MakeMissing(folder.parent_path());
    const int error = ::mkdir(folder.c_str(), S_IRWXU) == 0 ? 0 : errno;
    if (error != 0 && !fs::is_directory(folder)) // somebody else may have been quicker
        throw fs::filesystem_error("cannot make", folder, std::error_code(error, std::generic_category()));
}

} // namespace

void MakePrivateFolder(const fs::path& folder)
{
    MakeMissing(folder);
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && IsOpenToOthers(status))
        (void)::fchmod(descriptor, status.st_mode & S_IRWXU);
    ::close(descriptor);
}

// It is not opened: closing it would end the locks that this process has on it.
void MakePrivate(const fs::path& file) noexcept
{
    struct stat status = {};
    if (::lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && IsOpenToOthers(status))
        (void)::fchmodat(AT_FDCWD, file.c_str(), status.st_mode & S_IRWXU, AT_SYMLINK_NOFOLLOW);
}

void MakePrivateFile(const fs::path& file) noexcept
{
    const int made =
        ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (made >= 0)
        ::close(made);
    else
        MakePrivate(file);
}

} // namespace Orvane::Support
