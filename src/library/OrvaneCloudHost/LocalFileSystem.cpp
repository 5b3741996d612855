#include "LocalFileSystem.h"

#include <chrono>
#include <filesystem>
#include <unordered_map>

namespace Orvane::PDF::Cloud {
namespace {

namespace fs = std::filesystem;

// What systems allow at least, before they speak of a loop.
constexpr int kMostLinks = 40;

constexpr std::chrono::milliseconds kMoment{500};
constexpr std::size_t kMostFolders = 4096;

bool CanNameAFile(const std::string& utf8)
{
    return !utf8.empty() && utf8.find('\0') == std::string::npos;
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

bool IsPlainName(const fs::path& name)
{
    return !name.empty() && name != "." && name != "..";
}

} // namespace

class LocalFileSystem::Private
{
public:
    fs::path Normalize(const fs::path& absolutePath);

private:
    using Clock = std::chrono::steady_clock;

    fs::path RealFolder(const fs::path& folder);
    void ForgetWhatIsOld();

    std::unordered_map<fs::path::string_type, fs::path> m_realFolders;
    Clock::time_point m_rememberedSince;
};

fs::path LocalFileSystem::Private::Normalize(const fs::path& absolutePath)
{
    const auto name = absolutePath.filename();
    if (!IsPlainName(name))
        return Resolve(absolutePath);
    auto path = RealFolder(absolutePath.parent_path()) / name;
    return TargetOf(path).empty() ? path : Resolve(path);
}

// A folder that does not exist is not remembered: what stands there a moment later may be a link.
fs::path LocalFileSystem::Private::RealFolder(const fs::path& folder)
{
    ForgetWhatIsOld();
    if (const auto known = m_realFolders.find(folder.native()); known != m_realFolders.end())
        return known->second;
    auto real = Resolve(folder);
    std::error_code ignored;
    if (fs::is_directory(real, ignored))
        m_realFolders.emplace(folder.native(), real);
    return real;
}

void LocalFileSystem::Private::ForgetWhatIsOld()
{
    const auto now = Clock::now();
    if (now - m_rememberedSince < kMoment && m_realFolders.size() < kMostFolders)
        return;
    m_realFolders.clear();
    m_rememberedSince = now;
}

LocalFileSystem::LocalFileSystem()
    : d(std::make_unique<Private>())
{}

LocalFileSystem::~LocalFileSystem() = default;

bool LocalFileSystem::Exists(const ioPath& path)
{
    std::error_code ignored;
    return CanNameAFile(path.utf8string()) && fs::is_regular_file(fs::u8path(path.utf8string()), ignored);
}

ioPath LocalFileSystem::NormalizePath(const ioPath& path)
{
    if (!CanNameAFile(path.utf8string()))
        return path;
    std::error_code error;
    const auto absolutePath = fs::absolute(fs::u8path(path.utf8string()), error);
    if (error)
        return path;
    return ioPath(d->Normalize(absolutePath).u8string());
}

} // namespace Orvane::PDF::Cloud
