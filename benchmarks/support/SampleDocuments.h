#pragma once

#include <FileInfo.h>
#include <ICloudInfoStorage.h>
#include <IFileSystem.h>
#include <IHashCalculator.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Orvane::Benchmarks {

using Document = std::shared_ptr<PDF::FileInfo>;

/// A folder of its own, gone at the end of the program.
[[nodiscard]] std::filesystem::path NewFolder();

/// Files that read as zeros and take no room on the disk.
[[nodiscard]] std::vector<std::filesystem::path> MakeFiles(const std::filesystem::path& folder, int count,
                                                           std::uintmax_t bytes);

/// Waits until files written by now count as left alone, so that their hashes are remembered.
void LetFilesSettle();

/// A document with a local copy at @p path and three previews. Two versions differ in each of their values.
[[nodiscard]] Document MakeDocument(int number, int version, const std::filesystem::path& path);

/// As many documents with local copies that do not exist.
[[nodiscard]] std::vector<Document> MakeDocuments(int count, int version);

/// Passes on what a list saves, and gives it nothing to load.
class SavingStorage : public PDF::Cloud::ICloudInfoStorage
{
public:
    explicit SavingStorage(std::shared_ptr<ICloudInfoStorage> storage)
        : m_storage(std::move(storage))
    {}

    void RemoveRecord(const std::string& documentId) override { m_storage->RemoveRecord(documentId); }
    void SetValue(const std::string& documentId, const std::string& key, const std::string& value) override
    {
        m_storage->SetValue(documentId, key, value);
    }
    Records LoadRecords() override { return {}; }

private:
    const std::shared_ptr<ICloudInfoStorage> m_storage;
};

/// Keeps nothing.
class NoStorage : public PDF::Cloud::ICloudInfoStorage
{
public:
    void RemoveRecord(const std::string&) override {}
    void SetValue(const std::string&, const std::string&, const std::string&) override {}
    Records LoadRecords() override { return {}; }
};

/// For what asks no file: none exists, and every path is normal.
class NoFiles : public PDF::IFileSystem, public PDF::IHashCalculator
{
public:
    bool Exists(const ioPath&) override { return false; }
    ioPath NormalizePath(const ioPath& path) override { return path; }
    std::string CalculateFileHash(const ioPath&) override { return {}; }
};

} // namespace Orvane::Benchmarks
