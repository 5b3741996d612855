#pragma once

#include <support/NumberedName.h>

#include <filesystem>

namespace Orvane::Social {

using Support::kMostNamesTried;
using Support::NumberedName;

/// Throws CloudError (Refused) unless the local file's name is one that a document may have.
void RequireNameOfNewDocument(const std::filesystem::path& source);

} // namespace Orvane::Social
