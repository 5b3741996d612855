#pragma once

#include <OrvaneCloudProtocol/Failure.h>

#include <QImage>

#include <variant>

namespace Orvane::Social {

/// A picture of a document's first page, or why there is none.
using Preview = std::variant<QImage, Failure>;

} // namespace Orvane::Social
