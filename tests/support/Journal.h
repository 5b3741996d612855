#pragma once

#include <FileInfo.h>

#include <QString>

#include <gmock/gmock.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Orvane::Tests {

using Document = std::shared_ptr<PDF::FileInfo>;
using Events = std::vector<std::string>;

/// A QString from a literal, NUL characters included.
inline QString operator""_q(const char* text, std::size_t size)
{
    return QString::fromUtf8(text, static_cast<int>(size));
}

/// A std::string from a literal, NUL characters included.
inline std::string operator""_s(const char* text, std::size_t size)
{
    return {text, size};
}

/// The texts with ", " between them.
inline std::string Joined(const Events& texts)
{
    std::string joined;
    for (const auto& text : texts)
        joined += (&text == &texts.front() ? "" : ", ") + text;
    return joined;
}

/// What happened, in order and as text: the calls that the fakes received, the signals and the log lines.
class Journal
{
public:
    void Add(std::string event) { m_events.push_back(std::move(event)); }

    /// What happened since the last call.
    [[nodiscard]] Events Take() { return std::exchange(m_events, {}); }

    /// Marks a document as the test's own. All others are written as new ones.
    void Own(const Document& document) { m_own.push_back(document); }

    /// "own abc" for the very object that the test made, "new abc" for any other with that id.
    [[nodiscard]] std::string Name(const std::shared_ptr<const PDF::FileInfo>& document) const
    {
        const bool isOwn = std::find(m_own.begin(), m_own.end(), document) != m_own.end();
        return (isOwn ? "own " : "new ") + document->GetId();
    }

private:
    Events m_events;
    std::vector<std::shared_ptr<const PDF::FileInfo>> m_own;
};

/// A fake that writes the calls which it receives to the test's journal.
class JournalWriter
{
public:
    explicit JournalWriter(Journal& journal)
        : m_journal(journal)
    {}

protected:
    Journal& m_journal;
};

inline PDF::FileInfo::CloudInfo CloudSide(const std::string& id, const std::string& name = "a.pdf",
                                          unsigned long long size = 5000,
                                          const std::string& md5 = "cloud hash")
{
    return {id, name, size, true, QUrl(), QDateTime(), QDateTime(), 0, md5};
}

inline Document CloudDocument(const std::string& id, const std::string& name = "a.pdf")
{
    return std::make_shared<PDF::FileInfo>(CloudSide(id, name));
}

inline Document DocumentWithoutCloudSide(const std::string& id = "abc")
{
    const auto document = CloudDocument(id);
    document->GetRedactableCloudInfo().reset();
    return document;
}

/// Whether @p action throws an exception of exactly the type std::exception.
template <typename Action>
bool ThrowsPlainException(Action action)
{
    try {
        action();
    } catch (const std::exception& exception) {
        return typeid(exception) == typeid(std::exception);
    }
    return false;
}

/// A test that reads its journal.
class JournalFixture : public testing::Test
{
protected:
    void SetUp() override { (void)m_journal.Take(); }

    [[nodiscard]] Events Happened() { return m_journal.Take(); }

    /// What happens while @p action runs.
    template <typename Action>
    Events During(Action action)
    {
        (void)m_journal.Take();
        action();
        return m_journal.Take();
    }

    Document Own(const Document& document)
    {
        m_journal.Own(document);
        return document;
    }

    Journal m_journal;
};

} // namespace Orvane::Tests
