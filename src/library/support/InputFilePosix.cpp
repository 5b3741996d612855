#include <support/InputFile.h>

#include <support/PosixStamp.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orvane::Support {

namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, int error)
{
    throw std::filesystem::filesystem_error("cannot read", path,
                                            std::error_code(error, std::generic_category()));
}

} // namespace

InputFile::InputFile(std::filesystem::path path, Links links)
    : m_path(std::move(path))
    , m_descriptor(::open(m_path.c_str(),
                          O_RDONLY | O_CLOEXEC | O_NONBLOCK | (links == Links::NotFollowed ? O_NOFOLLOW : 0)))
{
    if (m_descriptor < 0)
        Fail(m_path, errno);
}

InputFile::~InputFile()
{
    ::close(m_descriptor);
}

std::optional<FileStamp> InputFile::Stamp() const
{
    struct stat status = {};
    if (::fstat(m_descriptor, &status) != 0)
        Fail(m_path, errno);
    return StampIn(status);
}

std::size_t InputFile::Read(char* buffer, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const auto count = ::read(m_descriptor, buffer + done, size - done);
        if (count < 0 && errno != EINTR)
            Fail(m_path, errno);
        if (count == 0)
            break;
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return done;
}

} // namespace Orvane::Support
