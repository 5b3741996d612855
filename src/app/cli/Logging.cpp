#include "Logging.h"

#include <support/PathText.h>
#include <support/PrivateFiles.h>

#include <QFile>

#include <glog/logging.h>

#include <cstdio>

namespace Orvane::CommandLine {

namespace filesystem = std::filesystem;

namespace {

constexpr std::uintmax_t kLargestLogInBytes = 1024 * 1024;

void OnQtMessage(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "orvane-cloud: %s\n", qUtf8Printable(message));
    if (type == QtDebugMsg || type == QtInfoMsg)
        LOG(INFO) << message.toStdString();
    else
        LOG(WARNING) << message.toStdString();
}

/// Two files at most: the present one and the one before it.
void RotateIfLarge(const filesystem::path& file)
{
    const auto former = filesystem::path(file).concat(".1");
    std::error_code error;
    if (filesystem::file_size(file, error) > kLargestLogInBytes && !error)
        filesystem::rename(file, former, error);
    Support::MakePrivate(former);
    Support::MakePrivateFile(file);
}

void KeepGlogOutOfTheWay(Logging::Echo echo)
{
    for (int severity = 0; severity < google::NUM_SEVERITIES; ++severity)
        google::SetLogDestination(severity, ""); // else it fills the temporary folder
    FLAGS_logtostderr = echo == Logging::Echo::ToStderr;
    FLAGS_stderrthreshold = google::NUM_SEVERITIES;
}

} // namespace

class Logging::FileSink : public google::LogSink
{
public:
    explicit FileSink(const filesystem::path& path)
        : m_file(Support::ToText(path)) // unlike a stream's, helper programs do not inherit it
    {
        m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
        google::AddLogSink(this);
    }
    ~FileSink() override { google::RemoveLogSink(this); }

    void send(google::LogSeverity severity, const char*, const char* file, int line,
              const google::LogMessageTime& time, const char* message, std::size_t length) override
    {
        if (!m_file.isOpen())
            return; // Qt would warn, and so log again while this line is being logged
        m_file.write(QByteArray::fromStdString(ToString(severity, file, line, time, message, length) + '\n'));
    }

private:
    QFile m_file;
};

Logging::Logging(const filesystem::path& dataFolder, Echo echo)
{
    KeepGlogOutOfTheWay(echo);
    google::InitGoogleLogging("orvane-cloud");
    qInstallMessageHandler(OnQtMessage);

    const filesystem::path file = dataFolder / "logs" / "orvane-cloud.log";
    (void)Support::TryToMakePrivateFolder(file.parent_path());
    RotateIfLarge(file);
    m_sink = std::make_unique<FileSink>(file);
}

Logging::~Logging()
{
    qInstallMessageHandler(nullptr);
    m_sink.reset();
    google::ShutdownGoogleLogging();
}

} // namespace Orvane::CommandLine
