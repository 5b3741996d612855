#include <support/AtomicRename.h>

#include <QtGlobal>

#include <cerrno>
#include <cstdio>

#ifdef RENAME_NOREPLACE
#include <fcntl.h>
#endif

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

std::FILE* OpenNew(const fs::path& path)
{
#ifdef Q_OS_WIN
    return _wfopen(path.c_str(), L"wbx");
#else
    return std::fopen(path.c_str(), "wbx");
#endif
}

/// Makes the file. Returns false when something is there.
bool Reserve(const fs::path& path)
{
    if (std::FILE* const file = OpenNew(path)) {
        std::fclose(file);
        return true;
    }
    const int error = errno;
    if (error == EEXIST)
        return false;
    throw fs::filesystem_error("cannot write", path, std::error_code(error, std::generic_category()));
}

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

RenameResult LinkToFree(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    fs::create_hard_link(from, to, error);
    if (error == std::errc::file_exists)
        return RenameResult::Taken;
    return error ? RenameResult::Unsupported : RenameResult::Done;
}

bool RenameToReserved(const fs::path& from, const fs::path& to, const std::function<void()>& whenReserved)
{
    if (!Reserve(to))
        return false;
    try {
        whenReserved();
        fs::rename(from, to);
    } catch (const fs::filesystem_error& failure) {
        std::error_code error;
        fs::remove(to, error);
        if (error)
            throw LeftoverError("cannot remove", to, failure.code());
        throw;
    }
    return true;
}

} // namespace Orvane::Support
