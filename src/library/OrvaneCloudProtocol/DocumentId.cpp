#include <OrvaneCloudProtocol/DocumentId.h>

#include <QByteArray>
#include <QVarLengthArray>

#include <algorithm>
#include <array>

namespace Orvane::Social {

namespace {

constexpr std::string_view kSuffix = ".pdf";

unsigned char ByteAt(std::string_view text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

bool IsContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

std::size_t PromisedLength(unsigned char first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return 2;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return 3;
    }
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

/// Overlong forms, surrogates and what lies beyond U+10FFFF are told by the first two bytes.
bool IsAllowedPair(unsigned char first, unsigned char second)
{
    switch (first) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second <= 0x9F;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second <= 0x8F;
    default:
        return true;
    }
}

bool IsControl(std::string_view character)
{
    const auto first = ByteAt(character, 0);
    return first < 0x20 || first == 0x7F || (first == 0xC2 && ByteAt(character, 1) < 0xA0);
}

/// Qt drops a byte order mark at the start of a text, so it would not come back.
bool IsByteOrderMark(std::string_view character)
{
    return character == "\xEF\xBB\xBF";
}

bool IsUnsafeInNames(std::string_view character)
{
    return IsControl(character) || IsByteOrderMark(character) || character == "/" || character == "\\";
}

bool IsUnsafeInIds(std::string_view character)
{
    constexpr std::string_view kReserved = "%;:*?\"<>|";
    return IsUnsafeInNames(character) ||
           (character.size() == 1 && kReserved.find(character.front()) != std::string_view::npos);
}

/// Whether the character stands for itself in a name and in its id.
bool IsPlain(char16_t character)
{
    static const auto kIsPlain = [] {
        std::array<bool, 0x80> isPlain{};
        for (std::size_t byte = 0; byte < isPlain.size(); ++byte) {
            const char text = static_cast<char>(byte);
            isPlain[byte] = !IsUnsafeInIds({&text, 1});
        }
        return isPlain;
    }();
    return character < kIsPlain.size() && kIsPlain[character];
}

void AppendEscaped(std::string& text, std::string_view bytes)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += '%';
        text += kDigits[value >> 4];
        text += kDigits[value & 0xF];
    }
}

QString Escaped(std::string_view name, bool (*isUnsafe)(std::string_view character))
{
    std::string text;
    while (!name.empty()) {
        const auto length = LeadingCharacterLength(name);
        const auto character = name.substr(0, std::max<std::size_t>(length, 1));
        if (length == 0 || isUnsafe(character)) {
            AppendEscaped(text, character);
        } else {
            text += character;
        }
        name.remove_prefix(character.size());
    }
    return QString::fromStdString(text);
}

} // namespace

std::size_t LeadingCharacterLength(std::string_view text)
{
    const auto length = text.empty() ? 0 : PromisedLength(ByteAt(text, 0));
    if (length > text.size() || (length > 1 && !IsAllowedPair(ByteAt(text, 0), ByteAt(text, 1)))) {
        return 0;
    }
    for (std::size_t index = 1; index < length; ++index) {
        if (!IsContinuation(ByteAt(text, index))) {
            return 0;
        }
    }
    return length;
}

bool IsDocumentName(std::string_view name)
{
    const auto holds = [name](char byte) { return name.find(byte) != std::string_view::npos; };
    if (name.size() <= kSuffix.size() || name.front() == '.' || holds('/') || holds('\0')) {
        return false;
    }
    const auto suffix = name.substr(name.size() - kSuffix.size());
    return qstrnicmp(suffix.data(), kSuffix.data(), static_cast<uint>(kSuffix.size())) == 0;
}

QString DocumentIdOf(std::string_view name)
{
    return Escaped(name, &IsUnsafeInIds);
}

bool IsDocumentId(const QString& id)
{
    // Most names are their own ids, and this is asked often.
    QVarLengthArray<char, 256> name;
    for (const QChar character : id) {
        if (!IsPlain(character.unicode())) {
            return DocumentNameOf(id).has_value();
        }
        name.append(character.toLatin1());
    }
    return IsDocumentName({name.constData(), static_cast<std::size_t>(name.size())});
}

std::optional<std::string> DocumentNameOf(const QString& id)
{
    auto name = QByteArray::fromPercentEncoding(id.toUtf8()).toStdString();
    if (!IsDocumentName(name) || DocumentIdOf(name) != id) {
        return std::nullopt;
    }
    return name;
}

QString ReadableNameOf(std::string_view name)
{
    return Escaped(name, &IsUnsafeInNames);
}

} // namespace Orvane::Social
