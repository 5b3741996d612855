#include <OrvaneCloudProtocol/previews/BoundedImage.h>

#include <QBuffer>
#include <QImageReader>

namespace Orvane::Social {

QImage ReadBoundedImage(QByteArray bytes, const char* format, int longestSide)
{
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, format);
    const QSize size = reader.size();
    const bool isWithinBounds = size == size.boundedTo(QSize(longestSide, longestSide));
    return !size.isEmpty() && isWithinBounds ? reader.read() : QImage();
}

} // namespace Orvane::Social
