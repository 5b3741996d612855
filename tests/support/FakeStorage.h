#pragma once

#include "Journal.h"

#include <ICloudInfoStorage.h>

namespace Orvane::Tests {

/// Keeps records in memory; may be shared by several lists, one after the other.
class FakeStorage : public PDF::Cloud::ICloudInfoStorage, public JournalWriter
{
public:
    using JournalWriter::JournalWriter;

    void RemoveRecord(const std::string& documentId) override
    {
        m_journal.Add("RemoveRecord(" + documentId + ")");
        m_records.erase(documentId);
    }

    void SetValue(const std::string& documentId, const std::string& key, const std::string& value) override
    {
        m_journal.Add("SetValue(" + documentId + ", " + key + ", " + value + ")");
        m_records[documentId][key] = value;
    }

    Records LoadRecords() override
    {
        m_journal.Add("LoadRecords()");
        return m_records;
    }

    Records m_records;
};

} // namespace Orvane::Tests
