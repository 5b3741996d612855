#pragma once

#include <QByteArray>
#include <QImage>

namespace Orvane::Social {

/// Decodes an image of the given format ("png", "ppm"). A null image when the bytes are none, are cut short,
/// or announce a side of more than @p longestSide pixels: a few bytes can announce gigabytes.
[[nodiscard]] QImage ReadBoundedImage(QByteArray bytes, const char* format, int longestSide);

} // namespace Orvane::Social
