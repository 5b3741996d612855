#pragma once

#include "Journal.h"

#include <glog/logging.h>

namespace Orvane::Tests {

/// Writes every log line to the journal as "SEVERITY file: text" while it lives, and to nowhere else.
class LogCapture : public google::LogSink
{
public:
    explicit LogCapture(Journal& journal)
        : m_journal(journal)
    {
        FLAGS_minloglevel = google::GLOG_INFO;
        FLAGS_logtostderr = false;
        FLAGS_stderrthreshold = google::GLOG_FATAL;
        for (int severity = google::GLOG_INFO; severity < google::NUM_SEVERITIES; ++severity)
            google::SetLogDestination(severity, "");
        google::AddLogSink(this);
    }

    ~LogCapture() override { google::RemoveLogSink(this); }

    using google::LogSink::send;
    void send(google::LogSeverity severity, const char*, const char* fileName, int,
              const google::LogMessageTime&, const char* message, std::size_t length) override
    {
        m_journal.Add(google::GetLogSeverityName(severity) + std::string(" ") + fileName + ": " +
                      std::string(message, length));
    }

private:
    Journal& m_journal;
};

} // namespace Orvane::Tests
