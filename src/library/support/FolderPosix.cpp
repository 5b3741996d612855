#include <support/Folder.h>

#include <support/PosixStamp.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

#ifdef O_PATH
constexpr int kHowToOpen = O_PATH | O_DIRECTORY | O_CLOEXEC; // also where names may not be read
#else
constexpr int kHowToOpen = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

// What the system still has in memory when a file is finished, at most about twice this, has to be waited for
// then, and nothing can interrupt that.
[[maybe_unused]] constexpr std::uint64_t kWindow = std::uint64_t{32} * 1024 * 1024;

[[noreturn]] void Throw(const char* what, const fs::path& path, int error)
{
    throw fs::filesystem_error(what, path, std::error_code(error, std::generic_category()));
}

std::optional<struct stat> StatusOf(int folder, const Folder::Name& name, const fs::path& path)
{
    struct stat status = {};
    if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        return status;
    const int error = errno;
    if (error == ENOENT || error == ENOTDIR)
        return std::nullopt;
    Throw("cannot look at", path / name, error);
}

bool IsSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

#ifdef RENAME_NOREPLACE
RenameResult RenameIn(const Folder& folder, int descriptor, const Folder::Name& from, const Folder::Name& to,
                      unsigned flags)
{
    if (::renameat2(descriptor, from.c_str(), descriptor, to.c_str(), flags) == 0)
        return RenameResult::Done;
    const int error = errno;
    if (error == EEXIST)
        return RenameResult::Taken;
    // Containers that do not know the call answer EPERM.
    if (error == ENOSYS || error == EINVAL || error == EOPNOTSUPP || error == EPERM)
        return RenameResult::Unsupported;
    Throw("cannot rename", folder.Path() / to, error);
}
#endif

bool IsSynced(int descriptor)
{
    return ::fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP; // not every file system can
}

// Some file systems of a network say only at a close what they could not store.
bool IsClosable(int descriptor)
{
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return copy >= 0 && ::close(copy) == 0;
}

} // namespace

Folder::Folder(fs::path path)
    : m_path(std::move(path))
    , m_descriptor(::open(m_path.c_str(), kHowToOpen))
{
    if (m_descriptor < 0)
        Throw("cannot open", m_path, errno);
}

Folder::~Folder()
{
    ::close(m_descriptor);
}

void Folder::RequirePlace() const
{
    struct stat opened = {};
    struct stat named = {};
    if (::fstat(m_descriptor, &opened) != 0 || ::stat(m_path.c_str(), &named) != 0)
        Throw("cannot look at", m_path, errno);
    if (!IsSameFile(opened, named))
        Throw("is another folder by now", m_path, ENOENT);
}

bool Folder::Holds(const Name& name) const
{
    return StatusOf(m_descriptor, name, m_path).has_value();
}

std::optional<FileStamp> Folder::LookAt(const Name& name) const
{
    const auto status = StatusOf(m_descriptor, name, m_path);
    return status ? StampIn(*status) : std::nullopt;
}

std::optional<fs::perms> Folder::PermissionsOf(const Name& name) const
{
    const auto status = StatusOf(m_descriptor, name, m_path);
    if (!status || !S_ISREG(status->st_mode))
        return std::nullopt;
    return static_cast<fs::perms>(status->st_mode) & fs::perms::all;
}

bool Folder::AreSameFile(const Name& one, const Name& other) const
{
    const auto first = StatusOf(m_descriptor, one, m_path);
    const auto second = StatusOf(m_descriptor, other, m_path);
    return first && second && IsSameFile(*first, *second);
}

bool Folder::Remove(const Name& name) const
{
    if (::unlinkat(m_descriptor, name.c_str(), 0) == 0)
        return true;
    if (errno == ENOENT)
        return false;
    Throw("cannot remove", m_path / name, errno);
}

void Folder::Rename(const Name& from, const Name& to) const
{
    if (::renameat(m_descriptor, from.c_str(), m_descriptor, to.c_str()) != 0)
        Throw("cannot rename", m_path / to, errno);
}

RenameResult Folder::LinkToFree(const Name& from, const Name& to) const
{
    if (::linkat(m_descriptor, from.c_str(), m_descriptor, to.c_str(), 0) == 0)
        return RenameResult::Done;
    return errno == EEXIST ? RenameResult::Taken : RenameResult::Unsupported;
}

#ifdef RENAME_NOREPLACE
RenameResult Folder::RenameToFree(const Name& from, const Name& to) const
{
    return RenameIn(*this, m_descriptor, from, to, RENAME_NOREPLACE);
}

RenameResult Folder::ExchangeNames(const Name& one, const Name& other) const
{
    return RenameIn(*this, m_descriptor, one, other, RENAME_EXCHANGE);
}
#else
RenameResult Folder::RenameToFree(const Name&, const Name&) const
{
    return RenameResult::Unsupported;
}

RenameResult Folder::ExchangeNames(const Name&, const Name&) const
{
    return RenameResult::Unsupported;
}
#endif

NewFile::NewFile(const Folder& folder, const Folder::Name& name, fs::perms mostAllowed)
    : m_path(folder.Path() / name)
    , m_descriptor(::openat(folder.m_descriptor, name.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                            static_cast<mode_t>(mostAllowed) & mode_t{0666}))
{
    if (m_descriptor < 0)
        Fail(errno);
}

NewFile::~NewFile()
{
    ::close(m_descriptor);
}

void NewFile::Fail(int error) const
{
    Throw("cannot write", m_path, error);
}

void NewFile::Write(const char* data, std::size_t size)
{
    while (size > 0) {
        const auto count = ::write(m_descriptor, data, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            Fail(count < 0 ? errno : EIO);
        data += count;
        size -= static_cast<std::size_t>(count);
        m_size += static_cast<std::uint64_t>(count);
    }
    WriteBehind();
}

void NewFile::WriteBehind()
{
#ifdef SYNC_FILE_RANGE_WRITE
    if (m_size - m_behind < kWindow)
        return;
    const auto length = static_cast<off64_t>(m_size - m_behind);
    const auto begin = static_cast<off64_t>(m_behind);
    m_behind = m_size;
    // An error is told once, so not at the end again. Any other means that the file system cannot do this.
    const auto isLost = [this](off64_t from, off64_t size, unsigned what) {
        return ::sync_file_range(m_descriptor, from, size, what) != 0 &&
               (errno == EIO || errno == ENOSPC || errno == EDQUOT);
    };
    if ((begin > 0 && isLost(0, begin, SYNC_FILE_RANGE_WAIT_BEFORE)) ||
        isLost(begin, length, SYNC_FILE_RANGE_WRITE))
        Fail(errno);
#endif
}

void NewFile::Clear()
{
    if (::ftruncate(m_descriptor, 0) != 0 || ::lseek(m_descriptor, 0, SEEK_SET) != 0)
        Fail(errno);
    m_size = m_behind = 0;
}

void NewFile::Finish()
{
    if (!IsSynced(m_descriptor) || !IsClosable(m_descriptor))
        Fail(errno);
    if (Stamp().size != m_size) // not all that was written is there
        Fail(EIO);
}

FileStamp NewFile::Stamp() const
{
    struct stat status = {};
    if (::fstat(m_descriptor, &status) != 0)
        Fail(errno);
    return StampIn(status).value_or(FileStamp());
}

void NewFile::SetPermissions(fs::perms permissions) noexcept
{
    (void)::fchmod(m_descriptor, static_cast<mode_t>(permissions & fs::perms::all));
}

} // namespace Orvane::Support
