#include <support/FileLock.h>

#include <support/InputFile.h>
#include <support/PrivateFiles.h>

#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace Orvane::Support {

namespace {

constexpr std::chrono::milliseconds kLongestPause{50};
constexpr std::size_t kLongestSignature = 1024;

#ifdef Q_OS_UNIX
// Somebody who held the lock before may have removed the file, and with it what this lock is on.
bool IsStillAt(const std::filesystem::path& file, int descriptor)
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 && ::stat(file.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// At the file's end. Returns false when a part is missing.
bool IsWritten(int descriptor, const std::string& text, off_t end)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const auto count =
            ::pwrite(descriptor, text.data() + done, text.size() - done, end + static_cast<off_t>(done));
        if (count == 0 || (count < 0 && errno != EINTR))
            return false;
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return true;
}
#endif

} // namespace

FileLock::FileLock(std::filesystem::path file)
    : m_file(std::move(file))
{}

FileLock::~FileLock()
{
    Release();
}

FileLock::Result FileLock::Take(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (auto pause = std::chrono::milliseconds(1);; pause = std::min(2 * pause, kLongestPause)) {
        const auto result = TryOnce();
        if (result != Result::HeldElsewhere || std::chrono::steady_clock::now() >= deadline)
            return result;
        std::this_thread::sleep_for(pause);
    }
}

std::string FileLock::Signature() const
{
    try {
        return ContentOf(m_file, kLongestSignature);
    } catch (const std::filesystem::filesystem_error&) {
        return {};
    }
}

void FileLock::SignAs(const std::string& holder)
{
    Empty();
    (void)Append(holder);
}

#ifdef Q_OS_UNIX
FileLock::Result FileLock::TryOnce()
{
    Release();
    m_descriptor =
        ::open(m_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
    if (m_descriptor < 0)
        return Result::NotWritable;
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 && IsInPlace()) {
        MakePrivate(m_file);
        return Result::Taken;
    }
    const bool isUnsupported = errno == ENOLCK || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL;
    Release();
    return isUnsupported ? Result::Unsupported : Result::HeldElsewhere;
}

void FileLock::Release()
{
    if (m_descriptor >= 0)
        ::close(std::exchange(m_descriptor, -1));
}

bool FileLock::IsInPlace() const
{
    return m_descriptor >= 0 && IsStillAt(m_file, m_descriptor);
}

bool FileLock::Append(const std::string& text)
{
    struct stat status = {};
    if (m_isSpoiled || ::fstat(m_descriptor, &status) != 0)
        return false;
    if (IsWritten(m_descriptor, text, status.st_size))
        return true;
    m_isSpoiled = ::ftruncate(m_descriptor, status.st_size) != 0;
    return false;
}

void FileLock::Empty()
{
    if (::ftruncate(m_descriptor, 0) == 0)
        m_isSpoiled = false;
}

std::optional<std::string> FileLock::Content() const
{
    struct stat status = {};
    if (::fstat(m_descriptor, &status) != 0)
        return std::nullopt;
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    for (std::size_t done = 0; done < content.size();) {
        const auto count =
            ::pread(m_descriptor, &content[done], content.size() - done, static_cast<off_t>(done));
        if (count == 0 || (count < 0 && errno != EINTR))
            return std::nullopt;
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return content;
}
#else
FileLock::Result FileLock::TryOnce()
{
    return Result::Unsupported;
}

void FileLock::Release() {}

bool FileLock::IsInPlace() const
{
    return false;
}

bool FileLock::Append(const std::string&)
{
    return false;
}

void FileLock::Empty() {}

std::optional<std::string> FileLock::Content() const
{
    return std::nullopt;
}
#endif

} // namespace Orvane::Support
