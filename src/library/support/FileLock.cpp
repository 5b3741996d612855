#include <support/FileLock.h>

#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <fstream>
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

#ifdef Q_OS_UNIX
FileLock::Result FileLock::TryOnce()
{
    Release();
    m_descriptor = ::open(m_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_descriptor < 0)
        return Result::NotWritable;
    if (::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0 && IsStillAt(m_file, m_descriptor))
        return Result::Taken;
    const bool isUnsupported = errno == ENOLCK || errno == ENOSYS || errno == EOPNOTSUPP || errno == EINVAL;
    Release();
    return isUnsupported ? Result::Unsupported : Result::HeldElsewhere;
}

void FileLock::Release()
{
    if (m_descriptor >= 0)
        ::close(std::exchange(m_descriptor, -1));
}
#else
FileLock::Result FileLock::TryOnce()
{
    return Result::Unsupported;
}

void FileLock::Release() {}
#endif

void FileLock::SignAs(const std::string& holder)
{
    std::ofstream(m_file, std::ios::binary | std::ios::trunc) << holder;
}

std::string FileLock::Signature() const
{
    std::string text(kLongestSignature, '\0');
    std::ifstream stream(m_file, std::ios::binary);
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

} // namespace Orvane::Support
