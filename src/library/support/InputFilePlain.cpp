#include <support/InputFile.h>

#include <cerrno>
#include <cstdio>
#include <utility>

// For systems without POSIX descriptors.
namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& path, int error)
{
    throw fs::filesystem_error("cannot read", path, std::error_code(error, std::generic_category()));
}

std::FILE* Open(const fs::path& path, Links links)
{
    if (links == Links::NotFollowed && fs::is_symlink(fs::symlink_status(path)))
        Fail(path, EINVAL);
#ifdef _WIN32
    std::FILE* const file = _wfopen(path.c_str(), L"rb");
#else
    std::FILE* const file = std::fopen(path.c_str(), "rb");
#endif
    if (file == nullptr)
        Fail(path, errno);
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

} // namespace

InputFile::InputFile(fs::path path, Links links)
    : m_path(std::move(path))
    , m_file(Open(m_path, links))
{}

InputFile::~InputFile()
{
    std::fclose(static_cast<std::FILE*>(m_file));
}

std::optional<FileStamp> InputFile::Stamp() const
{
    return LookAt(m_path, Links::Followed);
}

std::size_t InputFile::Read(char* buffer, std::size_t size)
{
    auto* const file = static_cast<std::FILE*>(m_file);
    errno = EIO;
    const auto count = std::fread(buffer, 1, size, file);
    if (std::ferror(file) != 0)
        Fail(m_path, errno);
    return count;
}

} // namespace Orvane::Support
