#pragma once

#include <support/FileLock.h>

#include <QTemporaryDir>

#include <filesystem>
#include <memory>

namespace Orvane::CommandLine {

/// A folder that nobody else can look into, made the process's temporary folder for as long as this object
/// lives, then removed. Names of temporary files may so be guessable. What runs that crashed have left is
/// swept.
class PrivateTemporaryFolder
{
public:
    /// Throws std::filesystem::filesystem_error when the folder cannot be made.
    explicit PrivateTemporaryFolder(const std::filesystem::path& parent);
    ~PrivateTemporaryFolder();

private:
    QTemporaryDir m_folder;
    std::unique_ptr<Support::FileLock> m_lock; // tells other runs that this folder is in use
};

} // namespace Orvane::CommandLine
