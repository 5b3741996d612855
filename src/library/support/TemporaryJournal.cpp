#include <support/TemporaryJournal.h>

#include <support/PrivateFiles.h>

#include <QRandomGenerator>
#include <QUuid>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNamePrefix = ".orvane-cloud-";
constexpr std::string_view kTemporarySuffix = ".part";
constexpr std::string_view kHeldSuffix = ".held";

// Each begins an entry of three parts: path, home, device with disposable versions. The latest entry of a
// path is in force.
constexpr char kHeldMark = '>';
constexpr char kReservedMark = '+'; // also: home is reserved by the first of the versions
constexpr std::size_t kRandomDigits = 16;
constexpr std::chrono::hours kLongestWait{30 * 24};
constexpr std::chrono::seconds kLongestSweepOfNothing{1};

bool IsLowerHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

std::string NewName(std::string_view suffix)
{
    const auto random = QString::number(QRandomGenerator::system()->generate64(), 16);
    return std::string(kNamePrefix) + random.rightJustified(kRandomDigits, QLatin1Char('0')).toStdString() +
           std::string(suffix);
}

bool IsNameOfOurs(std::string_view fileName, std::string_view suffix)
{
    if (fileName.size() != kNamePrefix.size() + kRandomDigits + suffix.size()) {
        return false;
    }
    const auto digits = fileName.substr(kNamePrefix.size(), kRandomDigits);
    return fileName.substr(0, kNamePrefix.size()) == kNamePrefix &&
           fileName.substr(kNamePrefix.size() + kRandomDigits) == suffix &&
           std::all_of(digits.begin(), digits.end(), &IsLowerHexDigit);
}

std::uint64_t DeviceOrNone(const fs::path& folder)
{
    try {
        return DeviceOf(folder);
    } catch (const fs::filesystem_error&) {
        return 0;
    }
}

std::string FiguresOf(const HeldFile& held)
{
    auto versions = held.disposable;
    if (held.reservation) {
        versions.insert(versions.begin(), *held.reservation);
    }
    std::ostringstream text;
    text << DeviceOrNone(held.path.parent_path());
    for (const auto& version : versions) {
        text << ' ' << version.inode << ' ' << version.size << ' ' << version.modified;
    }
    return text.str();
}

std::istream& ReadVersion(std::istream& stream, FileStamp& version)
{
    return stream >> version.inode >> version.size >> version.modified;
}

HeldFile HeldIn(const std::string& path, const std::string& home, const std::string& figures)
{
    HeldFile held{path.substr(1), home, {}};
    std::istringstream stream(figures);
    stream >> held.device;
    if (FileStamp version; path.front() == kReservedMark && ReadVersion(stream, version)) {
        held.reservation = version;
    }
    for (FileStamp version; ReadVersion(stream, version);) {
        held.disposable.push_back(version);
    }
    return held;
}

bool BeginsHeld(const std::string& part)
{
    return !part.empty() && (part.front() == kHeldMark || part.front() == kReservedMark);
}

struct Entries
{
    std::vector<fs::path> temporaries;
    std::map<fs::path, HeldFile> held;
};

/// The parts of all entries. A path may hold any byte but NUL, which therefore ends each part. A crash may
/// have cut the last one, which then does not end in a NUL.
std::vector<std::string> PartsIn(const std::string& journal)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0, end = 0; (end = journal.find('\0', begin)) != std::string::npos;
         begin = end + 1)
        parts.push_back(journal.substr(begin, end - begin));
    return parts;
}

bool IsHeldAsOurs(const HeldFile& held)
{
    return IsHeldName(held.path.filename().string()) && held.home.parent_path() == held.path.parent_path();
}

Entries EntriesOf(const std::vector<std::string>& parts)
{
    Entries entries;
    for (auto part = parts.begin(); part != parts.end(); ++part) {
        if (!BeginsHeld(*part)) {
            entries.temporaries.emplace_back(*part);
        } else if (parts.end() - part > 2) {
            auto held = HeldIn(part[0], part[1], part[2]);
            const auto path = held.path;
            entries.held.insert_or_assign(path, std::move(held));
            part += 2;
        }
    }
    return entries;
}

bool HasWaitedLong(const fs::path& journal)
{
    std::error_code error;
    const auto written = fs::last_write_time(journal, error);
    return !error && fs::file_time_type::clock::now() - written > kLongestWait;
}

} // namespace

std::string NewTemporaryName()
{
    return NewName(kTemporarySuffix);
}

bool IsTemporaryName(std::string_view fileName)
{
    return IsNameOfOurs(fileName, kTemporarySuffix);
}

std::string NewHeldName()
{
    return NewName(kHeldSuffix);
}

bool IsHeldName(std::string_view fileName)
{
    return IsNameOfOurs(fileName, kHeldSuffix);
}

TemporaryJournal::TemporaryJournal(const fs::path& folder)
    : m_folder(folder)
    , m_journal(folder / (QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + ".journal"))
{}

TemporaryJournal::~TemporaryJournal()
{
    if (m_lock && m_temporaries.empty()) {
        std::error_code ignored;
        fs::remove(m_journal, ignored);
    }
}

void TemporaryJournal::Record(const fs::path& temporary)
{
    (void)Note(temporary, temporary.string() + '\0');
}

bool TemporaryJournal::Record(const HeldFile& held)
{
    const char mark = held.reservation ? kReservedMark : kHeldMark;
    return Note(held.path,
                mark + held.path.string() + '\0' + held.home.string() + '\0' + FiguresOf(held) + '\0');
}

void TemporaryJournal::RequireRecord(const HeldFile& held)
{
    if (!Record(held)) {
        throw JournalError("cannot write", m_journal, std::make_error_code(std::errc::io_error));
    }
}

bool TemporaryJournal::Note(const fs::path& path, const std::string& entry)
{
    const std::lock_guard lock(m_mutex);
    const bool isNoted = IsOpen() && m_lock->Append(entry);
    if (isNoted) {
        m_temporaries.insert(path.native());
    }
    return isNoted;
}

void TemporaryJournal::Forget(const fs::path& temporary)
{
    const std::lock_guard lock(m_mutex);
    // Emptied when nothing is under way, and never rewritten: a crash in the middle would forget the rest.
    if (m_temporaries.erase(temporary.native()) > 0 && m_temporaries.empty() && m_lock) {
        m_lock->Empty();
    }
}

bool TemporaryJournal::IsOpen()
{
    if (m_lock && m_lock->IsInPlace()) {
        return true;
    }
    m_lock.reset(); // somebody may have removed the journal
    auto lock = std::make_unique<FileLock>(m_journal);
    // Another's sweep may look at the journal before it is locked, and take it away for being empty.
    if (!TryToMakePrivateFolder(m_folder) || lock->Take(kLongestSweepOfNothing) != FileLock::Result::Taken) {
        return false;
    }
    m_lock = std::move(lock);
    return true;
}

bool TemporaryJournal::RemoveFile(const fs::path& temporary)
{
    std::error_code error;
    fs::remove(temporary, error);
    // One in a folder that is away is not known to be gone.
    return !error && fs::is_directory(temporary.parent_path(), error);
}

void TemporaryJournal::Sweep(const Remove& remove)
{
    std::error_code error;
    std::vector<fs::path> journals;
    for (fs::directory_iterator entry(m_folder, error), end; !error && entry != end; entry.increment(error)) {
        if (entry->path().extension() == ".journal" && entry->path() != m_journal) {
            journals.push_back(entry->path());
        }
    }
    for (const auto& journal : journals) {
        SweepOne(journal, remove);
    }
}

void TemporaryJournal::SweepOne(const fs::path& journal, const Remove& remove)
{
    FileLock lock(journal);
    if (lock.Take() != FileLock::Result::Taken) {
        return;
    }
    const auto content = lock.Content();
    if (!content) {
        return;
    }
    bool isDone = true;
    const auto entries = EntriesOf(PartsIn(*content));
    // The journal is a file like any other: it may not be made to touch the user's.
    for (const auto& [path, held] : entries.held) {
        isDone = (!IsHeldAsOurs(held) || Settle(held)) && isDone;
    }
    for (const auto& temporary : entries.temporaries) {
        isDone = (!IsTemporaryName(temporary.filename().string()) || remove(temporary)) && isDone;
    }
    if (isDone || (entries.held.empty() && HasWaitedLong(journal))) {
        std::error_code ignored;
        fs::remove(journal, ignored);
    }
}

} // namespace Orvane::Support
