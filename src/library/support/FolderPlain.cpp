#include <support/Folder.h>

#include <cerrno>
#include <cstdio>
#include <utility>

// For systems without descriptors of folders: by path, and with the means of the standard library.
namespace Orvane::Support {

namespace {

namespace fs = std::filesystem;

std::FILE* OpenNew(const fs::path& path)
{
#ifdef _WIN32
    return _wfopen(path.c_str(), L"wbx");
#else
    return std::fopen(path.c_str(), "wbx");
#endif
}

std::FILE* Stream(void* file)
{
    return static_cast<std::FILE*>(file);
}

} // namespace

Folder::Folder(fs::path path)
    : m_path(std::move(path))
{
    RequirePlace();
}

Folder::~Folder() = default;

void Folder::RequirePlace() const
{
    if (!fs::is_directory(m_path))
        throw fs::filesystem_error("cannot open", m_path,
                                   std::make_error_code(std::errc::no_such_file_or_directory));
}

bool Folder::Holds(const Name& name) const
{
    return fs::exists(fs::symlink_status(m_path / name));
}

std::optional<FileStamp> Folder::LookAt(const Name& name) const
{
    return Support::LookAt(m_path / name, Links::NotFollowed);
}

std::optional<fs::perms> Folder::PermissionsOf(const Name& name) const
{
    const auto status = fs::symlink_status(m_path / name);
    return fs::is_regular_file(status) ? std::make_optional(status.permissions() & fs::perms::all)
                                       : std::nullopt;
}

bool Folder::AreSameFile(const Name& one, const Name& other) const
{
    std::error_code ignored;
    return !fs::is_symlink(m_path / other, ignored) && fs::equivalent(m_path / one, m_path / other, ignored);
}

bool Folder::Remove(const Name& name) const
{
    return fs::remove(m_path / name);
}

void Folder::Rename(const Name& from, const Name& to) const
{
    fs::rename(m_path / from, m_path / to);
}

RenameResult Folder::RenameToFree(const Name&, const Name&) const
{
    return RenameResult::Unsupported;
}

RenameResult Folder::LinkToFree(const Name& from, const Name& to) const
{
    std::error_code error;
    fs::create_hard_link(m_path / from, m_path / to, error);
    if (error == std::errc::file_exists)
        return RenameResult::Taken;
    return error ? RenameResult::Unsupported : RenameResult::Done;
}

RenameResult Folder::ExchangeNames(const Name&, const Name&) const
{
    return RenameResult::Unsupported;
}

NewFile::NewFile(const Folder& folder, const Folder::Name& name, fs::perms mostAllowed)
    : m_path(folder.Path() / name)
    , m_file(OpenNew(m_path))
{
    if (m_file == nullptr)
        Fail(errno);
    std::setvbuf(Stream(m_file), nullptr, _IONBF, 0);
    if (mostAllowed != fs::perms::all)
        SetPermissions(mostAllowed);
}

NewFile::~NewFile()
{
    if (m_file != nullptr)
        std::fclose(Stream(m_file));
}

void NewFile::Fail(int error) const
{
    throw fs::filesystem_error("cannot write", m_path, std::error_code(error, std::generic_category()));
}

void NewFile::Write(const char* data, std::size_t size)
{
    errno = EIO;
    if (std::fwrite(data, 1, size, Stream(m_file)) != size)
        Fail(errno);
    m_size += size;
}

void NewFile::WriteBehind() {}

void NewFile::Clear()
{
    std::rewind(Stream(m_file));
    fs::resize_file(m_path, 0);
    m_size = m_behind = 0;
}

void NewFile::Finish()
{
    if (std::fclose(Stream(std::exchange(m_file, nullptr))) != 0) // else some systems rename nothing
        Fail(errno);
    if (fs::file_size(m_path) != m_size)
        Fail(EIO);
}

FileStamp NewFile::Stamp() const
{
    return Support::LookAt(m_path, Links::NotFollowed).value_or(FileStamp());
}

void NewFile::SetPermissions(fs::perms permissions) noexcept
{
    std::error_code ignored;
    fs::permissions(m_path, permissions, fs::perm_options::replace | fs::perm_options::nofollow, ignored);
}

} // namespace Orvane::Support
