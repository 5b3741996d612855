#pragma once

#include "Journal.h"

#include <IHashCalculator.h>

#include <functional>

namespace Orvane::Tests {

/// Answers with the hash that the test gave for the path, otherwise with "hash of <path>".
class FakeHashCalculator : public PDF::IHashCalculator
{
public:
    explicit FakeHashCalculator(Journal& journal)
        : m_journal(journal)
    {}

    std::string CalculateFileHash(const ioPath& path) override
    {
        m_journal.Add("CalculateFileHash(" + path.utf8string() + ")");
        m_duringCall();
        const auto known = m_hashes.find(path.utf8string());
        return known == m_hashes.end() ? "hash of " + path.utf8string() : known->second;
    }

    std::map<std::string, std::string> m_hashes;
    std::function<void()> m_duringCall = [] {};

private:
    Journal& m_journal;
};

} // namespace Orvane::Tests
