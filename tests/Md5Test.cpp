#include "support/NoThreads.h"

#include <support/BackgroundMd5.h>

#include <gtest/gtest.h>

#include <QCryptographicHash>

#include <algorithm>

namespace Orvane::Support {
namespace {

constexpr std::size_t kMiB = std::size_t{1024} * 1024;

/// Brings the bytes in one buffer that is used again for every piece, as whoever reads a file does.
void AddInPieces(BackgroundMd5& md5, const std::string& bytes, std::size_t pieceSize)
{
    std::string buffer;
    for (std::size_t at = 0; at < bytes.size(); at += pieceSize) {
        buffer.assign(bytes, at, pieceSize);
        md5.Add(buffer.data(), buffer.size());
    }
}

TEST(BackgroundMd5, IsTheMd5OfAllBytesInTheirOrder)
{
    for (const std::size_t size : {std::size_t{0}, kMiB - 1, kMiB, kMiB + 1, 2 * kMiB, 5 * kMiB + 7}) {
        std::string bytes(size, '\0');
        std::generate(bytes.begin(), bytes.end(),
                      [n = 0U]() mutable { return char(n++ * 2654435761U >> 24); });
        for (const std::size_t pieceSize : {std::size_t{777}, kMiB / 16, 3 * kMiB}) {
            BackgroundMd5 md5, givenUp;
            AddInPieces(md5, bytes, pieceSize);
            AddInPieces(givenUp, bytes, pieceSize);
            BackgroundMd5 threadless;
            {
                const Testing::NoThreads noThreads;
                AddInPieces(threadless, bytes, pieceSize);
            }
            const auto expected =
                QCryptographicHash::hash(QByteArray::fromStdString(bytes), QCryptographicHash::Md5);
            EXPECT_EQ(md5.Result(), expected.toStdString()) << size << " bytes by " << pieceSize;
            EXPECT_EQ(threadless.Result(), expected.toStdString()) << size << " bytes by " << pieceSize;
        }
    }
}

} // namespace
} // namespace Orvane::Support
