#pragma once

#include <FileInfo.h>

#include <memory>
#include <string>
#include <utility>

namespace Orvane::PDF::Cloud {

/// A copy of a record's local side, which can be given back to the record once.
class KeptLocalSide
{
public:
    explicit KeptLocalSide(std::shared_ptr<FileInfo> document)
        : m_path(document->GetPath())
        , m_hash(document->GetMd5Hash())
        , m_cloudHashBeforeChange(document->GetCloudHashBeforeChange())
        , m_document(std::move(document))
    {}

    void GiveBack()
    {
        if (const auto document = std::exchange(m_document, nullptr))
            document->SetPath(m_path, m_hash, m_cloudHashBeforeChange);
    }

private:
    ioPath m_path;
    std::string m_hash;
    std::string m_cloudHashBeforeChange;
    std::shared_ptr<FileInfo> m_document;
};

} // namespace Orvane::PDF::Cloud
