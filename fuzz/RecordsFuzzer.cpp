#include "support/Require.h"

#include <OrvaneCloud/StoredDocument.h>
#include <OrvaneCloudHost/PackedRecord.h>

#include <fuzzer/FuzzedDataProvider.h>

#include <set>

namespace {

using namespace Orvane;
using namespace Orvane::PDF;
using namespace Orvane::PDF::Cloud;
using Fuzzing::Require;
using Record = ICloudInfoStorage::Record;

Record Stored(const Record& record)
{
    auto cloudInfo = StoredDocument::ReadCloudInfo("id", record);
    cloudInfo.SetPreviewsSet(StoredDocument::ReadPreviews(record));
    FileInfo document(cloudInfo);
    const auto copy = StoredDocument::ReadLocalCopy(record);
    document.SetPath(copy.path, copy.hash, copy.cloudHashBeforeChange);
    Record again;
    for (auto& [key, value] : StoredDocument::Write(document, cloudInfo))
        again[key] = value;
    return again;
}

/// A document that has been stored and loaded once is stored the same for ever.
void RequireLasting(const Record& record)
{
    const auto once = Stored(record);
    Require(Stored(once) == once, "a stored document is stored the same again");
    for (const char* text : {"file_name", "file_hash"}) {
        const auto found = record.find(text);
        Require(once.at(text) == (found == record.end() ? std::string() : found->second), "texts are exact");
    }
}

/// Does to a packed record what it does to a map.
void RequirePacked(FuzzedDataProvider& input, Record record)
{
    PackedRecord packed;
    for (const auto& [key, value] : record)
        packed.Append(key, value);
    std::set<std::string> changed;
    while (input.remaining_bytes() > 0) {
        const auto key = input.ConsumeRandomLengthString(20);
        const auto value = input.ConsumeRandomLengthString(20);
        const auto found = record.find(key);
        const bool isNews = found == record.end() || found->second != value;
        Require(packed.Set(key, value) == isNews, "only another value is a change");
        record[key] = value;
        if (isNews)
            changed.insert(key);
    }
    Require(packed.Unpacked() == record, "a packed record holds what was put into it");
    packed.VisitChanged([&](std::string_view key, std::string_view value) {
        Require(changed.erase(std::string(key)) == 1 && record.at(std::string(key)) == value,
                "a change is visited once, with its value");
    });
    Require(changed.empty(), "every change is visited");
    packed.ForgetChanges();
    packed.VisitChanged([](auto&&...) { Require(false, "no change is left"); });
}

} // namespace

/// Takes the input for the values of a stored document, and for changes to them.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    Record record;
    for (const char* key :
         {"file_path", "local_file_hash", "file_hash", "last_sync_file_hash", "file_name", "is_private",
          "download_url", "created_at", "modified_time", "lifetime_in_sec", "cloud_size", "preview_path"}) {
        if (input.ConsumeBool())
            record[key] = input.ConsumeRandomLengthString(120);
    }
    RequireLasting(record);
    RequirePacked(input, std::move(record));
    return 0;
}
