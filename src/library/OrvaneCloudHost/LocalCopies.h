#pragma once

#include <AbstractFileManager.h>

#include <string>
#include <vector>

namespace Orvane::PDF::Cloud {

/// The ids of the documents whose local copy is at @p path, a normalized path; none for an empty path.
/// Compares texts without asking the file system, because the list's paths are normalized, too.
[[nodiscard]] std::vector<std::string> IdsWithLocalCopyAt(const ioPath& path,
                                                          const AbstractFileManager& documents);

} // namespace Orvane::PDF::Cloud
