#pragma once

#include "FakeFiles.h"
#include "FakeStorage.h"
#include "LogCapture.h"
#include "SignalLog.h"

#include <OrvaneCloud/OrvaneCloudFilesManager.h>

namespace Orvane::Tests {

using PreviewSize = PDF::FileInfo::PreviewSize;

/// A document list over fakes. Everything that happens goes to one journal.
class FilesManagerFixture : public JournalFixture
{
protected:
    FilesManagerFixture() { Open(); }

    /// Makes the list from what the storage holds.
    void Open()
    {
        m_list = std::make_unique<PDF::Cloud::OrvaneCloudFilesManager>(m_storage, m_fileSystem, m_hashes);
        m_signals.Watch(*m_list);
    }

    /// Adds an own document, and forgets the events.
    Document Add(const Document& document)
    {
        m_list->Add(Own(document));
        (void)m_journal.Take();
        return document;
    }

    Document Add(const std::string& id) { return Add(CloudDocument(id)); }

    [[nodiscard]] std::vector<std::string> Ids() const
    {
        std::vector<std::string> ids;
        for (int row = 0; row < m_list->FilesCount(); ++row)
            ids.push_back(m_list->GetDocumentId(row).toStdString());
        return ids;
    }

    [[nodiscard]] PDF::FileInfo Stored(const std::string& id) const
    {
        return *m_list->GetFileInfo(QString::fromStdString(id));
    }

    LogCapture m_log{m_journal};
    std::shared_ptr<FakeStorage> m_storage = std::make_shared<FakeStorage>(m_journal);
    std::shared_ptr<FakeFileSystem> m_fileSystem = std::make_shared<FakeFileSystem>(m_journal);
    std::shared_ptr<FakeHashCalculator> m_hashes = std::make_shared<FakeHashCalculator>(m_journal);
    SignalLog m_signals{m_journal};
    std::unique_ptr<PDF::Cloud::OrvaneCloudFilesManager> m_list;
};

} // namespace Orvane::Tests
