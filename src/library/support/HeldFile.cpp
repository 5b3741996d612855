#include <support/HeldFile.h>

#include <support/AtomicRename.h>
#include <support/NumberedName.h>
#include <support/TemporaryJournal.h>

#include <algorithm>
#include <functional>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

bool MoveToFree(const Folder& folder, const fs::path& from, const fs::path& to)
{
    auto result = folder.RenameToFree(from, to);
    if (result == RenameResult::Unsupported) {
        result = folder.LinkToFree(from, to);
        if (result == RenameResult::Done)
            folder.Remove(from);
    }
    return result == RenameResult::Unsupported ? RenameToReserved(folder, from, to)
                                               : result == RenameResult::Done;
}

bool IsHomeReserved(const Folder& folder, const HeldFile& held)
{
    const auto present = held.reservation ? folder.LookAt(held.home.filename()) : std::nullopt;
    return present && IsSameVersion(*present, *held.reservation);
}

bool PutBack(const Folder& folder, const HeldFile& held)
{
    const auto name = held.path.filename();
    const auto home = held.home.filename();
    if (IsHomeReserved(folder, held)) {
        folder.Rename(name, home);
        return true;
    }
    for (int number = 1; number <= kMostNamesTried; ++number) {
        if (MoveToFree(folder, name, NumberedName(home.string(), number)))
            return true;
    }
    return false;
}

/// A crash between the two halves of a link and unlink leaves both names.
bool IsAtHome(const Folder& folder, const HeldFile& held)
{
    return folder.AreSameFile(held.path.filename(), held.home.filename());
}

bool IsItsFolderThere(const HeldFile& held)
{
    const auto device = DeviceOf(held.path.parent_path());
    return held.device == 0 || held.device == device;
}

/// Without a record a crash would leave a file under a name that nobody looks at. What is put there between
/// the look and the removal is lost here, which is the shorter moment.
bool RemoveUnheld(const Folder& folder, const fs::path& name, const FileStamp& expected)
{
    const auto present = folder.LookAt(name);
    const bool isExpected = present && IsSameVersion(*present, expected);
    if (isExpected)
        folder.Remove(name);
    return isExpected || !folder.Holds(name);
}

std::error_code ErrorOf(const std::function<void()>& step)
{
    try {
        step();
        return {};
    } catch (const fs::filesystem_error& failure) {
        return failure.code();
    }
}

} // namespace

bool IsDisposable(const Folder& folder, const HeldFile& held) noexcept
{
    try {
        const auto stamp = folder.LookAt(held.path.filename());
        const auto isSame = [&](const FileStamp& other) { return IsSameVersion(*stamp, other); };
        return stamp && std::any_of(held.disposable.begin(), held.disposable.end(), isSame);
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

bool Settle(const Folder& folder, const HeldFile& held) noexcept
{
    try {
        const auto name = held.path.filename();
        if (!folder.Holds(name))
            return IsItsFolderThere(held);
        return IsDisposable(folder, held) || IsAtHome(folder, held) ? folder.Remove(name)
                                                                    : PutBack(folder, held);
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

bool Settle(const HeldFile& held) noexcept
{
    try {
        return Settle(Folder(held.path.parent_path()), held);
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

bool RemoveVersion(const fs::path& path, const FileStamp& expected, TemporaryJournal& journal)
{
    const Folder folder(path.parent_path());
    const HeldFile held{path.parent_path() / NewHeldName(), path, {expected}};
    if (!journal.Record(held))
        return RemoveUnheld(folder, path.filename(), expected);
    auto error = ErrorOf([&] { folder.Rename(path.filename(), held.path.filename()); });
    // Some servers report an error for a rename that they have done.
    const bool isExpected = IsDisposable(folder, held);
    if (isExpected)
        error = ErrorOf([&] { folder.Remove(held.path.filename()); });
    if (Settle(folder, {held.path, path, {}}))
        journal.Forget(held.path);
    if (error && error != std::errc::no_such_file_or_directory)
        throw fs::filesystem_error("cannot remove", path, error);
    return isExpected || error;
}

} // namespace Orvane::Support
