#pragma once

#include <QByteArray>
#include <QCryptographicHash>

#include <string>

namespace Orvane::Social {

/// A short name for files that belong to one user's view of one collection: 16 hexadecimal digits.
///
/// @param cloud  the user name, a NUL byte and the collection's address
[[nodiscard]] inline std::string CloudKey(const QByteArray& cloud)
{
    return QCryptographicHash::hash(cloud, QCryptographicHash::Sha256).toHex().left(16).toStdString();
}

} // namespace Orvane::Social
