#pragma once

#include "Journal.h"

#include <IFileSystem.h>

#include <set>

namespace Orvane::Tests {

/// Knows the files that the test names. A path is normalized by taking out "/." parts.
class FakeFileSystem : public PDF::IFileSystem
{
public:
    explicit FakeFileSystem(Journal& journal)
        : m_journal(journal)
    {}

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

private:
    Journal& m_journal;
};

} // namespace Orvane::Tests
