#include <support/AtomicRename.h>

#include <cerrno>
#include <cstdio>

#ifdef RENAME_NOREPLACE
#include <fcntl.h>
#endif

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

#ifdef RENAME_NOREPLACE
RenameResult Rename(const fs::path& from, const fs::path& to, unsigned flags)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0)
        return RenameResult::Done;
    const int error = errno;
    if (error == EEXIST)
        return RenameResult::Taken;
    // Containers that do not know the call answer EPERM.
    if (error == ENOSYS || error == EINVAL || error == EOPNOTSUPP || error == EPERM)
        return RenameResult::Unsupported;
    throw fs::filesystem_error("cannot rename", to, std::error_code(error, std::generic_category()));
}
#endif

} // namespace

#ifdef RENAME_NOREPLACE
RenameResult RenameToFree(const fs::path& from, const fs::path& to)
{
    return Rename(from, to, RENAME_NOREPLACE);
}

RenameResult ExchangeNames(const fs::path& one, const fs::path& other)
{
    return Rename(one, other, RENAME_EXCHANGE);
}
#else
RenameResult RenameToFree(const fs::path&, const fs::path&)
{
    return RenameResult::Unsupported;
}

RenameResult ExchangeNames(const fs::path&, const fs::path&)
{
    return RenameResult::Unsupported;
}
#endif

} // namespace Orvane::Support
