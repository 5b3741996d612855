#pragma once

#include "StorageError.h"

#include <ICloudInfoStorage.h>

#include <QString>

#include <memory>

namespace Orvane::PDF::Cloud {

/// The record storage in one SQLite file. Ids, keys and values are kept byte for byte.
///
/// Changes are seen by LoadRecords at once and reach the disk together, in one transaction: when control
/// returns to the event loop, on Flush, on LoadRecords, and on destruction, whichever comes first. A process
/// that is killed before leaves the state before the first of them. A transaction that fails (a full disk)
/// changes nothing on disk either; its changes are kept and written with the next one.
///
/// While an object lives, no other process and no other object can open the same file. Not thread-safe: use
/// it, and destroy it, on the thread that made it. That thread needs no event loop and no application object.
class ORVANE_HOST_EXPORT SqliteCloudInfoStorage : public ICloudInfoStorage
{
public:
    /// Opens the file, and makes it, with its folder, when missing. A damaged file, or one of another
    /// program, is moved aside first, and what can be read of a damaged list is carried over (see Notice). A
    /// file that cannot be read is not damaged: that throws, as all else that fails, StorageError. Waits at
    /// most about 2 s for another holder to let go.
    explicit SqliteCloudInfoStorage(const QString& databaseFile);

    /// Writes what is pending. To learn whether that worked, call Flush before.
    ~SqliteCloudInfoStorage() override;

    SqliteCloudInfoStorage(const SqliteCloudInfoStorage&) = delete;
    SqliteCloudInfoStorage& operator=(const SqliteCloudInfoStorage&) = delete;

    void RemoveRecord(const std::string& documentId) override;

    /// A value that, with its id and key, takes more than 512 MiB is refused (see Problem).
    void SetValue(const std::string& documentId, const std::string& key, const std::string& value) override;

    Records LoadRecords() override;

    /// Writes what is pending now. False when that fails: see Problem.
    bool Flush();

    /// A sentence for people when a damaged or foreign file stood in the way and was moved aside: why,
    /// where to, and how many documents were carried over. Empty otherwise.
    [[nodiscard]] QString Notice() const;

    /// A sentence for people on why the latest change has not been stored; also logged as an error. Empty
    /// when everything has been, and again as soon as it has.
    [[nodiscard]] QString Problem() const;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::PDF::Cloud
