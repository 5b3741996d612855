#include <OrvaneCloudProtocol/previews/linux/ReadableFiles.h>

#include <algorithm>

namespace Orvane::Social {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOfTheSystem[] = {"/usr",
                                        "/lib",
                                        "/lib32",
                                        "/lib64",
                                        "/libx32",
                                        "/bin",
                                        "/sbin",
                                        "/nix/store",
                                        "/gnu/store",
                                        "/etc/alternatives",
                                        "/etc/fonts",
                                        "/etc/ld.so.cache",
                                        "/var/cache/fontconfig"};

bool IsBelow(const fs::path& folder, const fs::path& path)
{
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

} // namespace

std::vector<fs::path> FilesToRun(const fs::path& program)
{
    std::vector<fs::path> found;
    std::error_code ignored;
    for (const fs::path path : kOfTheSystem)
        if (fs::exists(path, ignored))
            found.push_back(path);

    const fs::path folder = program.parent_path();
    const bool isKnown =
        std::any_of(found.begin(), found.end(), [&](const fs::path& path) { return IsBelow(path, program); });
    if (isKnown)
        return found;
    found.push_back(folder);
    if (const auto libraries = folder.parent_path() / "lib";
        folder.filename() == "bin" && fs::exists(libraries, ignored))
        found.push_back(libraries);
    return found;
}

} // namespace Orvane::Social
