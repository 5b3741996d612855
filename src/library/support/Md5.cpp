#include "Md5.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <algorithm>
#include <fstream>
#include <vector>

namespace Orvane::Support {
namespace {

constexpr std::uintmax_t kLargestPiece = std::uintmax_t{256} * 1024;

// Small files do not pay for a large buffer.
std::vector<char> BufferFor(const std::filesystem::path& file)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    return std::vector<char>(error ? kLargestPiece : std::clamp<std::uintmax_t>(size, 1, kLargestPiece));
}

} // namespace

std::optional<std::string> Md5OfContent(const std::filesystem::path& file,
                                        const std::function<bool()>& isCanceled)
{
    std::ifstream stream;
    stream.rdbuf()->pubsetbuf(nullptr, 0);
    stream.open(file, std::ios::binary);
    if (!stream)
        return std::nullopt;

    auto buffer = BufferFor(file);
    QCryptographicHash hash(QCryptographicHash::Md5);
    while (stream) {
        if (isCanceled && isCanceled())
            return std::nullopt;
        stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        hash.addData(buffer.data(), static_cast<int>(stream.gcount()));
    }
    if (stream.bad())
        return std::nullopt;
    return hash.result().toStdString();
}

std::string ToHex(const std::string& bytes)
{
    return QByteArray::fromStdString(bytes).toHex().toStdString();
}

} // namespace Orvane::Support
