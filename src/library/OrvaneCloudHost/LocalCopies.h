#pragma once

#include <AbstractFileManager.h>

#include <string>
#include <vector>

namespace Orvane::PDF::Cloud {

/// The ids of the documents whose local copy lies at @p path, a normalized path; none for an empty one. The
/// list's paths are normalized, so texts are compared and the disk is not asked.
[[nodiscard]] std::vector<std::string> IdsWithLocalCopyAt(const ioPath& path,
                                                          const AbstractFileManager& documents);

} // namespace Orvane::PDF::Cloud
