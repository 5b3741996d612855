#pragma once

#include "FakeCloudProtocol.h"
#include "FakeFiles.h"
#include "LogCapture.h"
#include "SignalLog.h"

#include <OrvaneCloud/OrvaneCloudManager.h>

namespace Orvane::Tests {

class FakeSettings : public PDF::Settings::ICloudAccountSettings
{
public:
    bool IsAutoRefreshEnabled() override { return m_isAutoRefreshEnabled; }
    int GetAutoRefreshInterval() override { return m_interval; }

    bool m_isAutoRefreshEnabled = false;
    int m_interval = 60'000;
};

/// A manager over fakes. Everything that happens goes to one journal.
class CloudManagerFixture : public JournalFixture
{
protected:
    CloudManagerFixture() { MakeManager(); }

    void MakeManager()
    {
        m_manager =
            std::make_unique<PDF::Cloud::OrvaneCloudManager>(m_protocol, m_hashes, m_fileSystem, m_settings);
        m_signals.Watch(*m_manager);
    }

    /// What happens when the request started last is answered.
    Events WhenAnswered(RequestResult result)
    {
        return During([&] { m_protocol->Finish(m_protocol->m_requests.size() - 1, result); });
    }

    LogCapture m_log{m_journal};
    std::shared_ptr<FakeCloudProtocol> m_protocol = std::make_shared<FakeCloudProtocol>(m_journal);
    std::shared_ptr<FakeHashCalculator> m_hashes = std::make_shared<FakeHashCalculator>(m_journal);
    std::shared_ptr<FakeFileSystem> m_fileSystem = std::make_shared<FakeFileSystem>(m_journal);
    std::shared_ptr<FakeSettings> m_settings = std::make_shared<FakeSettings>();
    SignalLog m_signals{m_journal};
    std::unique_ptr<PDF::Cloud::OrvaneCloudManager> m_manager;
};

constexpr auto kSuccess = RequestResult::Success;
constexpr auto kError = RequestResult::Error;
constexpr auto kCanceled = RequestResult::Canceled;

} // namespace Orvane::Tests
