#include <OrvaneCloudProtocol/transports/Transport.h>

namespace Orvane::Social {

bool Transport::KnownVersion::IsThatOf(const CloudFile& file) const
{
    if (!md5.isEmpty() && !file.md5Hash.isEmpty()) {
        return md5 == file.md5Hash;
    }
    const auto now = QDateTime::fromString(file.modifyTime, Qt::ISODate);
    const bool isSameTime =
        !modifiedAt.isValid() || !now.isValid() || modifiedAt.toSecsSinceEpoch() == now.toSecsSinceEpoch();
    return size == file.size && isSameTime;
}

} // namespace Orvane::Social
