#include "LocalFileSystem.h"

#include <support/FileStamp.h>

#include <chrono>
#include <filesystem>
#include <unordered_map>
#include <utility>

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;

// What systems allow at least, before they speak of a loop.
constexpr int kMostLinks = 40;

constexpr std::chrono::milliseconds kMoment{500};
constexpr std::chrono::milliseconds kBlink{1};
constexpr std::size_t kMostFolders = 4096;

bool CanNameAFile(const std::string& utf8)
{
    return !utf8.empty() && utf8.find('\0') == std::string::npos;
}

// Whether the error says nothing about the file. The other errors come from the path itself.
bool SaysNothing(const std::error_code& error)
{
    return error != std::errc::too_many_symbolic_link_levels && error != std::errc::filename_too_long;
}

fs::path TargetOf(const fs::path& link)
{
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(link, error)))
        return {};
    return fs::read_symlink(link, error);
}

// Follows the path part by part from its root, as the system would. Unlike fs::weakly_canonical this follows
// links whose target does not exist yet.
fs::path Resolve(const fs::path& absolutePath, int& linksLeft)
{
    auto resolved = absolutePath.root_path();
    for (const auto& part : absolutePath.relative_path()) {
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            resolved = resolved.parent_path();
            continue;
        }
        const auto next = resolved / part;
        const auto target = TargetOf(next);
        resolved = target.empty() || linksLeft-- <= 0 ? next : Resolve(resolved / target, linksLeft);
    }
    return resolved;
}

fs::path Resolve(const fs::path& absolutePath)
{
    int linksLeft = kMostLinks;
    return Resolve(absolutePath, linksLeft);
}

// Below, texts are taken apart instead of paths: a path that is made divides itself into all of its parts.

constexpr bool kHasRootsOnly = fs::path::preferred_separator == '/'; // no drives
constexpr auto kSeparators = kHasRootsOnly ? "/" : "/\\";

std::string AbsolutePath(const std::string& utf8)
{
    if (kHasRootsOnly && utf8.front() == '/')
        return utf8;
    std::error_code error;
    return fs::absolute(fs::u8path(utf8), error).u8string();
}

bool IsPlainName(const std::string& name)
{
    return !name.empty() && name != "." && name != "..";
}

} // namespace

class LocalFileSystem::Private
{
public:
    std::string Normalize(const std::string& absolutePath);

    bool WasFileJustNow(const std::string& path);

private:
    using Clock = std::chrono::steady_clock;

    std::string RealFolder(const std::string& folder);
    void ForgetWhatIsOld();

    std::unordered_map<std::string, std::string> m_realFolders; // each with its last separator
    Clock::time_point m_rememberedSince;
    std::string m_latestFile; // found to be a regular file, not a link
    Clock::time_point m_latestLook;
};

std::string LocalFileSystem::Private::Normalize(const std::string& absolutePath)
{
    m_latestFile.clear();
    m_latestLook = Clock::now();
    const auto nameBegin = absolutePath.find_last_of(kSeparators) + 1;
    const auto name = absolutePath.substr(nameBegin);
    if (!IsPlainName(name))
        return Resolve(fs::u8path(absolutePath)).u8string();
    auto path = RealFolder(absolutePath.substr(0, nameBegin)) + name;
    const auto kind = Support::KindOf(path);
    if (kind == Support::FileKind::Link)
        return Resolve(fs::u8path(path)).u8string();
    if (kind == Support::FileKind::RegularFile)
        m_latestFile = path;
    return path;
}

// Once only: who asks again wants to know what has happened since.
bool LocalFileSystem::Private::WasFileJustNow(const std::string& path)
{
    return path == std::exchange(m_latestFile, {}) && Clock::now() - m_latestLook < kBlink;
}

// A folder that does not exist is not remembered: what stands there a moment later may be a link.
std::string LocalFileSystem::Private::RealFolder(const std::string& folder)
{
    ForgetWhatIsOld();
    if (const auto known = m_realFolders.find(folder); known != m_realFolders.end())
        return known->second;
    const auto path = Resolve(fs::u8path(folder));
    const auto real = (path / "").u8string();
    std::error_code ignored;
    if (fs::is_directory(path, ignored))
        m_realFolders.emplace(folder, real);
    return real;
}

void LocalFileSystem::Private::ForgetWhatIsOld()
{
    if (m_latestLook - m_rememberedSince < kMoment && m_realFolders.size() < kMostFolders)
        return;
    m_realFolders.clear();
    m_rememberedSince = m_latestLook;
}

LocalFileSystem::LocalFileSystem()
    : d(std::make_unique<Private>())
{}

LocalFileSystem::~LocalFileSystem() = default;

bool LocalFileSystem::Exists(const ioPath& path)
{
    const auto& utf8 = path.utf8string();
    if (!CanNameAFile(utf8))
        return false;
    if (d->WasFileJustNow(utf8))
        return true;
    std::error_code error;
    const auto status = fs::status(fs::u8path(utf8), error);
    return fs::is_regular_file(status) || (status.type() == fs::file_type::none && SaysNothing(error));
}

ioPath LocalFileSystem::NormalizePath(const ioPath& path)
{
    if (!CanNameAFile(path.utf8string()))
        return path;
    const auto absolutePath = AbsolutePath(path.utf8string());
    return absolutePath.empty() ? path : ioPath(d->Normalize(absolutePath));
}

} // namespace Orvane::PDF::Cloud
