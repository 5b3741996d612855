#include <support/TemporaryJournal.h>

#include <support/PathText.h>

#include <QLockFile>
#include <QRandomGenerator>
#include <QUuid>

#include <algorithm>
#include <chrono>
#include <vector>

namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNamePrefix = ".orvane-cloud-";
constexpr std::string_view kNameSuffix = ".part";
constexpr std::size_t kRandomDigits = 16;
constexpr std::chrono::hours kLongestWait{30 * 24};

bool IsLowerHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
}

std::unique_ptr<QLockFile> LockOf(const fs::path& journal)
{
    auto lock = std::make_unique<QLockFile>(ToText(fs::path(journal).replace_extension(".lock")));
    lock->setStaleLockTime(0);
    return lock;
}

// A path may hold any byte but NUL, which therefore ends each.
void Append(std::ostream& stream, const fs::path& path)
{
    stream << path.string() << '\0';
}

std::vector<fs::path> PathsIn(const fs::path& journal)
{
    std::ifstream stream(journal, std::ios::binary);
    std::vector<fs::path> paths;
    // A crash may have cut the last path, which then does not end in a NUL.
    for (std::string path; std::getline(stream, path, '\0') && !stream.eof();) {
        paths.emplace_back(path);
    }
    return paths;
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
    const auto random = QString::number(QRandomGenerator::system()->generate64(), 16);
    return std::string(kNamePrefix) + random.rightJustified(kRandomDigits, QLatin1Char('0')).toStdString() +
           std::string(kNameSuffix);
}

bool IsTemporaryName(std::string_view fileName)
{
    if (fileName.size() != kNamePrefix.size() + kRandomDigits + kNameSuffix.size()) {
        return false;
    }
    const auto digits = fileName.substr(kNamePrefix.size(), kRandomDigits);
    return fileName.substr(0, kNamePrefix.size()) == kNamePrefix &&
           fileName.substr(kNamePrefix.size() + kRandomDigits) == kNameSuffix &&
           std::all_of(digits.begin(), digits.end(), &IsLowerHexDigit);
}

TemporaryJournal::TemporaryJournal(const fs::path& folder)
    : m_folder(folder)
    , m_journal(folder / (QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + ".journal"))
{}

TemporaryJournal::~TemporaryJournal()
{
    m_stream.close();
    if (m_lock && m_temporaries.empty()) {
        std::error_code ignored;
        fs::remove(m_journal, ignored);
    }
}

void TemporaryJournal::Record(const fs::path& temporary)
{
    const std::lock_guard lock(m_mutex);
    m_temporaries.insert(temporary.native());
    if (IsOpen()) {
        if (!m_stream.is_open() || !m_stream) {
            m_stream = std::ofstream(m_journal, std::ios::binary | std::ios::app);
        }
        Append(m_stream, temporary);
        m_stream.flush(); // to the system, which outlives us
    }
}

void TemporaryJournal::Forget(const fs::path& temporary)
{
    const std::lock_guard lock(m_mutex);
    // Emptied when nothing is under way, and never rewritten: a crash in the middle would forget the rest.
    if (m_temporaries.erase(temporary.native()) > 0 && m_temporaries.empty() && m_lock) {
        std::error_code ignored;
        fs::resize_file(m_journal, 0, ignored);
    }
}

bool TemporaryJournal::IsOpen()
{
    if (m_lock) {
        return true;
    }
    std::error_code ignored;
    fs::create_directories(m_folder, ignored);
    auto lock = LockOf(m_journal);
    if (!lock->tryLock(0)) {
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
    const auto lock = LockOf(journal);
    if (!lock->tryLock(0)) {
        return;
    }
    bool isDone = true;
    for (const auto& temporary : PathsIn(journal)) {
        // The journal is a file like any other: it may not be made to delete the user's.
        isDone = (!IsTemporaryName(temporary.filename().string()) || remove(temporary)) && isDone;
    }
    if (isDone || HasWaitedLong(journal)) {
        std::error_code ignored;
        fs::remove(journal, ignored);
    }
}

} // namespace Orvane::Support
