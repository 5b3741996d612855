#include "support/Require.h"

#include <OrvaneCloudProtocol/previews/BoundedImage.h>

using namespace Orvane;
using Fuzzing::Require;

/// Takes the first byte for the longest side and the rest for what the renderer or the cache holds.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const int longestSide = 1 + data[0];
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<int>(size) - 1);
    for (const char* format : {"ppm", "png"}) {
        const QImage image = Social::ReadBoundedImage(bytes, format, longestSide);
        Require(image.isNull() || (image.width() > 0 && image.height() > 0), "an image has an area");
        Require(image.width() <= longestSide && image.height() <= longestSide,
                "an image is within its bounds");
        const bool isBinaryPicture = bytes.startsWith("P6") && QByteArray(format) == "ppm";
        Require(!isBinaryPicture || image.width() * image.height() * 3 <= bytes.size(),
                "no pixel of a picture is made up");
    }
    return 0;
}
