#pragma once

#include <ICloudInfoStorage.h>

namespace SQLite {
class Database;
}

namespace Orvane::PDF::Cloud {

/// What can be read of the table document_value of a damaged database in memory, which is changed by that.
/// Every page with rows is read by itself. Rows in damaged pages are missing, so a document may lack some of
/// its values. Throws SQLite::Exception when there is no memory.
[[nodiscard]] ICloudInfoStorage::Records ReadDamagedRecords(SQLite::Database& database);

} // namespace Orvane::PDF::Cloud
