#include <support/NumberedName.h>

namespace Orvane::Support {

namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestExtension = 32; // with its dot; a longer one is a part of the stem
constexpr std::size_t kLongestCharacter = 4;

std::size_t ExtensionBegin(std::string_view name)
{
    const auto dot = name.rfind('.');
    const bool isExtension =
        dot != std::string_view::npos && dot > 0 && name.size() - dot <= kLongestExtension;
    return isExtension ? dot : name.size();
}

bool IsInsideACharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string_view CutTo(std::size_t bytes, std::string_view text)
{
    if (text.size() <= bytes)
        return text;
    auto end = bytes;
    while (end > 0 && bytes - end < kLongestCharacter && IsInsideACharacter(text[end]))
        --end;
    return text.substr(0, end);
}

} // namespace

std::string NumberedName(std::string_view fileName, int number)
{
    if (number < 2)
        return std::string(fileName);
    const auto stem = fileName.substr(0, ExtensionBegin(fileName));
    const auto end = " (" + std::to_string(number) + ")" + std::string(fileName.substr(stem.size()));
    return std::string(CutTo(kLongestName - end.size(), stem)) + end;
}

} // namespace Orvane::Support
