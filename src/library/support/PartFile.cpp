#include <support/PartFile.h>

#include <support/AtomicRename.h>
#include <support/TemporaryJournal.h>

namespace Orvane::Support {

namespace fs = std::filesystem;

fs::perms PermissionsAt(const fs::path& path)
{
    return Folder(path.parent_path()).PermissionsOf(path.filename()).value_or(fs::perms::all);
}

PartFile::PartFile(const fs::path& folder, TemporaryJournal& journal, fs::perms mostAllowed)
    : m_journal(journal)
    , m_mostAllowed(mostAllowed)
    , m_folder(folder)
    , m_path(folder / NewTemporaryName())
{
    m_journal.Record(m_path);
    try {
        m_file.emplace(m_folder, m_path.filename(), mostAllowed);
    } catch (const fs::filesystem_error& failure) {
        m_journal.Forget(m_path);
        throw fs::filesystem_error("cannot write", folder, failure.code());
    }
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
    try {
        m_folder.Remove(m_path.filename());
        m_journal.Forget(m_path);
    } catch (const fs::filesystem_error&) { // it stays recorded, for a later sweep
        return;
    }
}

void PartFile::Write(const char* data, std::size_t size)
{
    m_file->Write(data, size);
}

void PartFile::Clear()
{
    m_file->Clear();
}

void PartFile::Finish()
{
    m_file->Finish();
}

void PartFile::TakePermissionsOf(const Folder::Name& target)
{
    if (const auto present = m_folder.PermissionsOf(target))
        m_file->SetPermissions(*present & m_mostAllowed);
}

void PartFile::Replace(const fs::path& target)
{
    m_folder.RequirePlace();
    TakePermissionsOf(target.filename());
    MoveTo(target);
}

bool PartFile::ReplaceVersion(const fs::path& target, const FileStamp& expected)
{
    m_folder.RequirePlace();
    const auto own = m_file->Stamp();
    TakePermissionsOf(target.filename());
    const HeldFile held{target.parent_path() / NewHeldName(), target, {expected, own}};
    if (!m_journal.Record(held)) {
        return ReplaceUnheld(target, expected);
    }
    Hold(held);
    if (!Exchange(held)) {
        return ReplaceUnheld(target, expected);
    }
    const bool isExpected = IsDisposable(m_folder, {held.path, target, {expected}});
    if (!isExpected) {
        (void)Exchange(held);
    }
    Release({held.path, target, {isExpected ? expected : own}});
    return isExpected;
}

bool PartFile::ReplaceUnheld(const fs::path& target, const FileStamp& expected)
{
    const auto present = m_folder.LookAt(target.filename());
    const bool isExpected = present && IsSameVersion(*present, expected);
    if (isExpected) {
        MoveTo(target);
    }
    return isExpected;
}

bool PartFile::Exchange(const HeldFile& held)
{
    try {
        const bool isDone =
            m_folder.ExchangeNames(held.path.filename(), held.home.filename()) == RenameResult::Done;
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
    if (Settle(m_folder, held)) {
        m_journal.Forget(held.path);
    }
}

void PartFile::Hold(const HeldFile& recorded)
{
    try {
        m_folder.Rename(m_path.filename(), recorded.path.filename());
    } catch (const fs::filesystem_error&) {
        m_journal.Forget(recorded.path);
        throw;
    }
    m_journal.Forget(m_path);
    m_path = recorded.path;
}

bool PartFile::BecomeNew(const fs::path& target)
{
    m_folder.RequirePlace();
    const auto result = m_folder.RenameToFree(m_path.filename(), target.filename());
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
    const auto result = m_folder.LinkToFree(m_path.filename(), target.filename());
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
        held.reservation = m_folder.LookAt(target.filename());
        m_journal.RequireRecord(held);
    };
    const bool isDone = RenameToReserved(m_folder, m_path.filename(), target.filename(), recordReservation);
    if (isDone) {
        LetGo();
    }
    return isDone;
}

void PartFile::MoveTo(const fs::path& target)
{
    m_folder.Rename(m_path.filename(), target.filename());
    LetGo();
}

void PartFile::LetGo()
{
    m_isTemporary = false;
    m_journal.Forget(m_path);
}

} // namespace Orvane::Support
