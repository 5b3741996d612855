#pragma once

#include <FileInfo.h>
#include <ICloudInfoStorage.h>

#include <functional>
#include <memory>
#include <string>

namespace Orvane::PDF::Cloud {

/// The local copies of documents that a listing did not hold. A server may leave a document out of a listing
/// while another client replaces it; when the document is listed again, it gets its local copy back. Entries
/// are kept for a month.
class DepartedCopies
{
public:
    /// Opens the storage; may throw StorageError, and then the copies are kept in memory only.
    using Open = std::function<std::shared_ptr<ICloudInfoStorage>()>;

    /// Calls @p open when it is first needed. @p isAnyStored: whether an earlier run may have stored
    /// something.
    DepartedCopies(Open open, bool isAnyStored);

    /// A document without a local copy is ignored.
    void Remember(const FileInfo& document);

    /// Gives the record the local copy that its document had, and forgets it; false when none is known.
    bool GiveBack(FileInfo& document);

    void Forget(const std::string& documentId);

private:
    void OpenOnce();
    void ForgetOld();

    Open m_open; // empty once called
    bool m_isAnyStored;
    std::shared_ptr<ICloudInfoStorage> m_storage;
    ICloudInfoStorage::Records m_records;
};

} // namespace Orvane::PDF::Cloud
