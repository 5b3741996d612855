#pragma once

#include <support/FileStamp.h>

struct stat;

namespace Orvane::Support {

/// The stamp in what the system says of a file; nothing for what is no regular file.
[[nodiscard]] std::optional<FileStamp> StampIn(const struct stat& status);

} // namespace Orvane::Support
