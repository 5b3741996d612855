#pragma once

#include <FileInfo.h>
#include <ICloudInfoStorage.h>

#include <QString>

#include <functional>
#include <memory>
#include <set>
#include <string>

namespace Orvane::PDF::Cloud {

class SqliteCloudInfoStorage;

/// The local copies of documents that a listing did not hold. A server may leave a document out of a listing
/// while another client replaces it; when the document is listed again, it gets its local copy back. Entries
/// are kept for a month, in a file that is opened when it is first needed. No function throws for a file that
/// cannot be opened or written: see Store and Problem.
class DepartedCopies
{
public:
    /// @param storeList  writes the document list to its disk, and returns whether that worked. The
    ///                   destructor calls it.
    DepartedCopies(QString file, std::function<bool()> storeList);

    /// Forgets the copies that were given back, once the list is stored. Until then a crash must not lose
    /// them.
    ~DepartedCopies();
    DepartedCopies(const DepartedCopies&) = delete;
    DepartedCopies& operator=(const DepartedCopies&) = delete;

    /// For a document that leaves the list next. One without a local copy will have none when it returns.
    void Remember(const FileInfo& document);

    /// Writes what was remembered to the disk. Returns false when that is impossible: the documents with
    /// local copies must stay in the list then.
    [[nodiscard]] bool Store();

    /// Gives the record the local copy that its document had; false when none is known.
    bool GiveBack(FileInfo& document);

    void Forget(const std::string& documentId);

    /// After the file could not be opened: the next call that needs it tries again.
    void TryAgain() { m_openProblem.clear(); }

    /// Why the file cannot be used, a sentence for people; empty when nothing is wrong.
    [[nodiscard]] QString Problem() const;

private:
    [[nodiscard]] bool IsOpenIfStored();
    [[nodiscard]] bool IsOpen();
    void Open();
    void ForgetOld();

    const QString m_file;
    const bool m_isAnyStored; // perhaps, by an earlier run
    const std::function<bool()> m_storeList;
    std::shared_ptr<SqliteCloudInfoStorage> m_storage;
    QString m_openProblem;
    ICloudInfoStorage::Records m_records;
    std::set<std::string> m_givenBackIds; // their records are still stored
};

} // namespace Orvane::PDF::Cloud
