#pragma once

#include "OrvaneExport.h"

#include <map>
#include <string>

namespace Orvane::PDF::Cloud {

/// The persistent store of the document list: named text values under a document id. Ids, keys and values are
/// exact bytes. Called on the thread of the list that holds it; failures are the storage's own affair.
class ORVANE_INTERFACES_EXPORT ICloudInfoStorage
{
public:
    using Record = std::map<std::string, std::string>;
    using Records = std::map<std::string, Record>;

    virtual ~ICloudInfoStorage() = default;

    /// Deletes every value stored under the id. An id with nothing stored changes nothing.
    virtual void RemoveRecord(const std::string& documentId) = 0;

    /// Stores one value, replacing an earlier one; other keys of the record stay.
    virtual void SetValue(const std::string& documentId, const std::string& key,
                          const std::string& value) = 0;

    /// Everything stored and not deleted, by this run or an earlier one.
    virtual Records LoadRecords() = 0;
};

} // namespace Orvane::PDF::Cloud
