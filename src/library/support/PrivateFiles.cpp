#include <support/PrivateFiles.h>

namespace Orvane::Support {

bool TryToMakePrivateFolder(const std::filesystem::path& folder) noexcept
{
    try {
        MakePrivateFolder(folder);
        return true;
    } catch (const std::filesystem::filesystem_error&) {
        return false;
    }
}

} // namespace Orvane::Support
