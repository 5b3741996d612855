#include <support/HeldFile.h>

#include <support/AtomicRename.h>
#include <support/NumberedName.h>
#include <support/TemporaryJournal.h>

#include <algorithm>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

bool MoveToFree(const fs::path& from, const fs::path& to)
{
    auto result = RenameToFree(from, to);
    if (result == RenameResult::Unsupported) {
        result = LinkToFree(from, to);
        if (result == RenameResult::Done)
            fs::remove(from);
    }
    return result == RenameResult::Unsupported ? RenameToReserved(from, to) : result == RenameResult::Done;
}

bool IsHomeReserved(const HeldFile& held)
{
    const auto present = held.reservation ? LookAt(held.home, Links::NotFollowed) : std::nullopt;
    return present && IsSameVersion(*present, *held.reservation);
}

bool PutBack(const HeldFile& held)
{
    if (IsHomeReserved(held)) {
        fs::rename(held.path, held.home);
        return true;
    }
    for (int number = 1; number <= kMostNamesTried; ++number) {
        const auto name = NumberedName(held.home.filename().string(), number);
        if (MoveToFree(held.path, held.home.parent_path() / name))
            return true;
    }
    return false;
}

/// A crash between the two halves of a link and unlink leaves both names.
bool IsAtHome(const HeldFile& held)
{
    std::error_code ignored;
    return !fs::is_symlink(held.home, ignored) && fs::equivalent(held.path, held.home, ignored);
}

bool IsItsFolderThere(const HeldFile& held)
{
    const auto device = DeviceOf(held.path.parent_path());
    return held.device == 0 || held.device == device;
}

/// Without a record a crash would leave a file under a name that nobody looks at. What is put there between
/// the look and the removal is lost here, which is the shorter moment.
bool RemoveUnheld(const fs::path& path, const FileStamp& expected)
{
    const auto present = LookAt(path, Links::NotFollowed);
    const bool isExpected = present && IsSameVersion(*present, expected);
    if (isExpected)
        fs::remove(path);
    return isExpected || !fs::exists(fs::symlink_status(path));
}

} // namespace

bool IsDisposable(const HeldFile& held) noexcept
{
    try {
        const auto stamp = LookAt(held.path, Links::NotFollowed);
        const auto isSame = [&](const FileStamp& other) { return IsSameVersion(*stamp, other); };
        return stamp && std::any_of(held.disposable.begin(), held.disposable.end(), isSame);
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

bool Settle(const HeldFile& held) noexcept
{
    try {
        if (!fs::exists(fs::symlink_status(held.path)))
            return IsItsFolderThere(held);
        return IsDisposable(held) || IsAtHome(held) ? fs::remove(held.path) : PutBack(held);
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

bool RemoveVersion(const fs::path& path, const FileStamp& expected, TemporaryJournal& journal)
{
    const HeldFile held{path.parent_path() / NewHeldName(), path, {expected}};
    if (!journal.Record(held))
        return RemoveUnheld(path, expected);
    std::error_code error;
    fs::rename(path, held.path, error);
    const bool isExpected =
        IsDisposable(held); // some servers report an error for a rename that they have done
    if (isExpected)
        fs::remove(held.path, error);
    if (Settle({held.path, path, {}}))
        journal.Forget(held.path);
    if (error && error != std::errc::no_such_file_or_directory)
        throw fs::filesystem_error("cannot remove", path, error);
    return isExpected || error;
}

} // namespace Orvane::Support
