#include <support/InputFile.h>

namespace Orvane::Support {

std::string ContentOf(const std::filesystem::path& path, std::size_t mostBytes)
{
    InputFile file(path);
    std::string content(mostBytes, '\0');
    content.resize(file.Read(content.data(), content.size()));
    return content;
}

} // namespace Orvane::Support
