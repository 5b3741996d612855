#pragma once

#include <IHashCalculator.h>

#include <OrvaneExport.h>

#include <QString>

#include <functional>
#include <memory>

namespace Orvane::PDF::Cloud {

/// MD5 hashes as 32 lower-case hexadecimal digits, read in constant memory. The hash of a file is remembered
/// for as long as its device, inode, size, modification and change time stay the same, so that asking again
/// reads nothing; that of a file changed in the last 3 s for a tenth of a second. Thread-safe.
class ORVANE_HOST_EXPORT Md5HashCalculator : public IHashCalculator
{
public:
    /// Asked every few hundred KiB while a file is read, on the thread that has asked for its hash. Once it
    /// answers true the hash is empty, as that of a file that cannot be read; a remembered one is not.
    using IsCanceled = std::function<bool()>;

    /// @param databaseFile  keeps the hashes between runs; several processes may share it. When empty, or
    ///                      when the file cannot be used, hashes are remembered for this object's life.
    explicit Md5HashCalculator(const QString& databaseFile = {}, IsCanceled isCanceled = {});
    ~Md5HashCalculator() override;

    Md5HashCalculator(const Md5HashCalculator&) = delete;
    Md5HashCalculator& operator=(const Md5HashCalculator&) = delete;

    std::string CalculateFileHash(const ioPath& path) override;

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Orvane::PDF::Cloud
