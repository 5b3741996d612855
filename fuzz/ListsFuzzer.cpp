#include "support/Require.h"
#include "support/Scratch.h"

#include <OrvaneCloudHost/SqliteCloudInfoStorage.h>

#include <glog/logging.h>

namespace {

using namespace Orvane;
using namespace Orvane::PDF::Cloud;
using Fuzzing::Require;
namespace fs = std::filesystem;

const fs::path& Folder()
{
    static const Fuzzing::Scratch scratch;
    static const fs::path folder = [] {
        FLAGS_minloglevel = google::GLOG_FATAL;
        return scratch.Path();
    }();
    scratch.Clear();
    return folder;
}

/// The bytes of a damaged list must be there still, under whatever name.
bool IsKept(const fs::path& folder, const std::string& bytes)
{
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (Fuzzing::Read(entry.path()) == bytes)
            return true;
    }
    return false;
}

/// Stores one more value, and answers what the list holds then.
ICloudInfoStorage::Records AddTo(const QString& file, QString& notice)
{
    SqliteCloudInfoStorage storage(file);
    notice = storage.Notice();
    auto records = storage.LoadRecords();
    records["new"]["key"] = "value";
    storage.SetValue("new", "key", "value");
    Require(storage.Flush(), "a list that opens can be written");
    return records;
}

} // namespace

/// Takes the input for the file of a document list.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const auto& folder = Folder();
    const auto file = folder / "documents.sqlite";
    Fuzzing::Write(file, bytes);
    const QString name = QString::fromStdString(file.string());
    try {
        QString notice;
        const auto records = AddTo(name, notice);
        Require(notice.isEmpty() || IsKept(folder, bytes), "a damaged list is kept as it was");
        Require(SqliteCloudInfoStorage(name).LoadRecords() == records, "a list is read as it was written");
    } catch (const StorageError&) {
        Require(Fuzzing::Read(file) == bytes, "a list that cannot be opened is left alone");
    }
    return 0;
}
