#include <support/PrivateFiles.h>

// For systems where a user's folders are private as they are.
namespace Orvane::Support {

void MakePrivateFolder(const std::filesystem::path& folder)
{
    std::filesystem::create_directories(folder);
}

void MakePrivate(const std::filesystem::path&) noexcept {}

void MakePrivateFile(const std::filesystem::path&) noexcept {}

} // namespace Orvane::Support
