#include <support/PartFile.h>

#include <support/AtomicRename.h>
#include <support/TemporaryJournal.h>

#include <QtGlobal>

#include <cerrno>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void ThrowLastError(const char* what, const fs::path& path)
{
    throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

std::FILE* OpenNew(const fs::path& path)
{
#ifdef Q_OS_UNIX
    return std::fopen(path.c_str(), "wbxe"); // e: helper processes do not inherit it
#elif defined(Q_OS_WIN)
    return _wfopen(path.c_str(), L"wbx");
#else
    return std::fopen(path.string().c_str(), "wbx");
#endif
}

bool IsEmptied(std::FILE* file, [[maybe_unused]] const fs::path& path)
{
    std::rewind(file);
#ifdef Q_OS_UNIX
    return ::ftruncate(::fileno(file), 0) == 0;
#else
    std::error_code error;
    fs::resize_file(path, 0, error);
    errno = error.value();
    return !error;
#endif
}

bool IsSynced([[maybe_unused]] std::FILE* file)
{
#ifdef Q_OS_UNIX
    return ::fsync(::fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP; // not every file system can
#else
    return true;
#endif
}

} // namespace

PartFile::PartFile(const fs::path& folder, TemporaryJournal& journal)
    : m_journal(journal)
    , m_path(folder / NewTemporaryName())
{
    m_journal.Record(m_path);
    m_file.reset(OpenNew(m_path));
    if (!m_file) {
        const int error = errno;
        m_journal.Forget(m_path);
        throw fs::filesystem_error("cannot write", folder, std::error_code(error, std::generic_category()));
    }
    std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
}

PartFile::~PartFile()
{
    m_file.reset();
    if (m_isTemporary) {
        Remove();
    }
}

void PartFile::Remove() noexcept
{
    std::error_code error;
    fs::remove(m_path, error);
    // What could not be removed stays recorded, for a later sweep.
    if (!error) {
        m_journal.Forget(m_path);
    }
}

void PartFile::Write(const char* data, std::size_t size)
{
    errno = EIO;
    if (std::fwrite(data, 1, size, m_file.get()) != size) {
        ThrowLastError("cannot write", m_path.parent_path());
    }
    m_size += size;
}

void PartFile::Clear()
{
    if (!IsEmptied(m_file.get(), m_path)) {
        ThrowLastError("cannot write", m_path.parent_path());
    }
    m_size = 0;
}

void PartFile::Finish()
{
    if (std::fflush(m_file.get()) != 0 || !IsSynced(m_file.get()) || std::fclose(m_file.release()) != 0) {
        ThrowLastError("cannot write", m_path.parent_path());
    }
    if (fs::file_size(m_path) != m_size) {
        errno = EIO;
        ThrowLastError("not all that was written is there", m_path.parent_path());
    }
}

void PartFile::TakePermissionsOf(const fs::path& target)
{
    std::error_code ignored;
    const auto present = fs::symlink_status(target, ignored);
    if (present.type() == fs::file_type::regular) {
        fs::permissions(m_path, present.permissions(), fs::perm_options::replace | fs::perm_options::nofollow,
                        ignored);
    }
}

void PartFile::Replace(const fs::path& target)
{
    TakePermissionsOf(target);
    MoveTo(target);
}

bool PartFile::ReplaceVersion(const fs::path& target, const FileStamp& expected)
{
    const auto own = LookAt(m_path, Links::NotFollowed);
    if (!own) {
        errno = ENOENT;
        ThrowLastError("cannot rename", m_path);
    }
    TakePermissionsOf(target);
    const HeldFile held{target.parent_path() / NewHeldName(), target, {expected, *own}};
    if (!m_journal.Record(held)) {
        return ReplaceUnheld(target, expected);
    }
    Hold(held);
    if (!Exchange(held)) {
        return ReplaceUnheld(target, expected);
    }
    const bool isExpected = IsDisposable({held.path, target, {expected}});
    if (!isExpected) {
        (void)Exchange(held);
    }
    Release({held.path, target, {isExpected ? expected : *own}});
    return isExpected;
}

bool PartFile::ReplaceUnheld(const fs::path& target, const FileStamp& expected)
{
    const auto present = LookAt(target, Links::NotFollowed);
    const bool isExpected = present && IsSameVersion(*present, expected);
    if (isExpected) {
        MoveTo(target);
    }
    return isExpected;
}

bool PartFile::Exchange(const HeldFile& held)
{
    try {
        const bool isDone = ExchangeNames(held.path, held.home) == RenameResult::Done;
        m_isTemporary = m_isTemporary && !isDone; // what is held now may be somebody's only copy
        return isDone;
    } catch (const fs::filesystem_error&) {
        Release(held);
        throw;
    }
}

void PartFile::Release(const HeldFile& held)
{
    m_isTemporary = false;
    if (Settle(held)) {
        m_journal.Forget(held.path);
    }
}

void PartFile::Hold(const HeldFile& recorded)
{
    try {
        fs::rename(m_path, recorded.path);
    } catch (const fs::filesystem_error&) {
        m_journal.Forget(recorded.path);
        throw;
    }
    m_journal.Forget(m_path);
    m_path = recorded.path;
}

bool PartFile::BecomeNew(const fs::path& target)
{
    const auto result = RenameToFree(m_path, target);
    if (result == RenameResult::Unsupported) {
        return BecomeNewByLink(target);
    }
    if (result == RenameResult::Done) {
        LetGo();
    }
    return result == RenameResult::Done;
}

bool PartFile::BecomeNewByLink(const fs::path& target)
{
    const auto result = LinkToFree(m_path, target);
    if (result == RenameResult::Unsupported) {
        return BecomeNewByReservation(target);
    }
    if (result == RenameResult::Done) {
        m_isTemporary = false;
        Remove();
    }
    return result == RenameResult::Done;
}

bool PartFile::BecomeNewByReservation(const fs::path& target)
{
    HeldFile held{target.parent_path() / NewHeldName(), target, {}};
    m_journal.RequireRecord(held);
    Hold(held);
    const auto recordReservation = [&] {
        held.reservation = LookAt(target, Links::NotFollowed);
        m_journal.RequireRecord(held);
    };
    const bool isDone = RenameToReserved(m_path, target, recordReservation);
    if (isDone) {
        LetGo();
    }
    return isDone;
}

void PartFile::MoveTo(const fs::path& target)
{
    fs::rename(m_path, target);
    LetGo();
}

void PartFile::LetGo()
{
    m_isTemporary = false;
    m_journal.Forget(m_path);
}

} // namespace Orvane::Support
