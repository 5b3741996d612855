#pragma once

#include "Journal.h"

#include <IFileSystem.h>
#include <IHashCalculator.h>

#include <set>

namespace Orvane::Tests {

/// Knows the files that the test names. A path is normalized by taking out "/." parts.
class FakeFileSystem : public PDF::IFileSystem, public JournalWriter
{
public:
    using JournalWriter::JournalWriter;

    bool Exists(const ioPath& path) override
    {
        m_journal.Add("Exists(" + path.utf8string() + ")");
        return m_existing.count(path.utf8string()) > 0;
    }

    ioPath NormalizePath(const ioPath& path) override
    {
        m_journal.Add("NormalizePath(" + path.utf8string() + ")");
        auto text = path.utf8string();
        for (auto at = text.find("/./"); at != std::string::npos; at = text.find("/./"))
            text.erase(at, 2);
        return text;
    }

    std::set<std::string> m_existing;
};

/// Answers with "hash of <path>".
class FakeHashCalculator : public PDF::IHashCalculator, public JournalWriter
{
public:
    using JournalWriter::JournalWriter;

    std::string CalculateFileHash(const ioPath& path) override
    {
        m_journal.Add("CalculateFileHash(" + path.utf8string() + ")");
        return "hash of " + path.utf8string();
    }
};

} // namespace Orvane::Tests
