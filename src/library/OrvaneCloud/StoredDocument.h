#pragma once

#include <FileInfo.h>
#include <ICloudInfoStorage.h>

#include <string>
#include <utility>
#include <vector>

/// How a document is written as named texts, and read back. A text that is missing or cannot be read gives
/// its field's default; nothing here fails.
namespace Orvane::PDF::Cloud::StoredDocument {

/// The cloud side, without previews.
[[nodiscard]] FileInfo::CloudInfo ReadCloudInfo(const std::string& id,
                                                const ICloudInfoStorage::Record& stored);

/// The local copy: where it was, its hash then, and the cloud's hash at the last synchronisation.
struct LocalCopy
{
    ioPath path;
    std::string hash;
    std::string cloudHashBeforeChange;
};
[[nodiscard]] LocalCopy ReadLocalCopy(const ICloudInfoStorage::Record& stored);

/// All three previews, or none.
[[nodiscard]] FileInfo::PreviewsSet ReadPreviews(const ICloudInfoStorage::Record& stored);

/// The keys and values to store, in this order. The local copy's are left out when there is none.
using Values = std::vector<std::pair<std::string, std::string>>;
[[nodiscard]] Values Write(const FileInfo& document, const FileInfo::CloudInfo& cloudInfo);

} // namespace Orvane::PDF::Cloud::StoredDocument
