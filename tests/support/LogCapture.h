#pragma once

#include "Journal.h"

#include <glog/logging.h>

namespace Orvane::Tests {

/// Writes every log line to the journal as "SEVERITY: text" while it lives.
class LogCapture : public google::LogSink, public JournalWriter
{
public:
    explicit LogCapture(Journal& journal)
        : JournalWriter(journal)
    {
        FLAGS_minloglevel = google::GLOG_INFO;
        google::AddLogSink(this);
    }

    ~LogCapture() override { google::RemoveLogSink(this); }

    using google::LogSink::send;
    void send(google::LogSeverity severity, const char*, const char*, int, const google::LogMessageTime&,
              const char* message, std::size_t length) override
    {
        m_journal.Add(google::GetLogSeverityName(severity) + std::string(": ") +
                      std::string(message, length));
    }
};

} // namespace Orvane::Tests
