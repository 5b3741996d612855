#pragma once

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <memory>

namespace Orvane::Testing {

/// What a finished run of the program has left.
struct RunResult
{
    int exitCode = -1; ///< -1: killed, crashed or never ended
    QByteArray out;
    QByteArray err;

    /// stdout as exactly one JSON object; a failed expectation when it is anything else.
    [[nodiscard]] QJsonObject Json() const
    {
        QJsonParseError error;
        const auto document = QJsonDocument::fromJson(out, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << out.toStdString();
        EXPECT_EQ(out.count('\n'), 1) << out.toStdString();
        return document.object();
    }
};

inline void PrintTo(const RunResult& result, std::ostream* stream)
{
    *stream << "exit code " << result.exitCode << "\n--- stdout\n"
            << result.out.toStdString() << "--- stderr\n"
            << result.err.toStdString();
}

/// A user with a home of their own, who runs the program.
class ProgramUser
{
public:
    static constexpr int kLongestRunInMs = 120'000;

    ProgramUser()
        : m_environment(QProcessEnvironment::systemEnvironment())
    {
        for (const QString& name : m_environment.keys()) {
            if (name.startsWith(QLatin1String("ORVANE_")) || name.startsWith(QLatin1String("XDG_")))
                m_environment.remove(name);
        }
        m_environment.insert(QStringLiteral("HOME"), Path(QStringLiteral("home")));
        QDir().mkpath(Path(QStringLiteral("home")));
        QDir().mkpath(Path(QStringLiteral("work")));
        std::signal(SIGINT, SIG_DFL); // a build in the background has it ignored, and children inherit that
    }

    /// A path below the test's own folder.
    [[nodiscard]] QString Path(const QString& below) const
    {
        return QDir(m_folder.path()).canonicalPath() + QLatin1Char('/') + below;
    }
    [[nodiscard]] QString Work(const QString& name) const { return Path(QStringLiteral("work/") + name); }
    [[nodiscard]] QString Data(const QString& name = {}) const
    {
        return Path(QStringLiteral("home/.local/share/orvane-cloud/") + name);
    }
    [[nodiscard]] QString Cloud(const QString& name = {}) const
    {
        return Data(QStringLiteral("cloud/") + name);
    }

    void SetVariable(const char* name, const QString& value)
    {
        m_environment.insert(QLatin1String(name), value);
    }

    /// Starts the program in the folder "work".
    [[nodiscard]] std::unique_ptr<QProcess> Start(const QStringList& arguments) const
    {
        return StartOther(QStringLiteral(ORVANE_CLOUD_PROGRAM), arguments);
    }

    [[nodiscard]] std::unique_ptr<QProcess> StartOther(const QString& program,
                                                       const QStringList& arguments) const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(m_environment);
        process->setWorkingDirectory(Work({}));
        process->start(program, arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    [[nodiscard]] RunResult Run(const QStringList& arguments) const { return Finish(*Start(arguments)); }

    /// Runs a shell command line, in which $ORVANE is the program.
    [[nodiscard]] RunResult RunShell(const QString& shell, const QString& commandLine)
    {
        SetVariable("ORVANE", QStringLiteral(ORVANE_CLOUD_PROGRAM));
        return Finish(*StartOther(shell, {QStringLiteral("-c"), commandLine}));
    }

    [[nodiscard]] static RunResult Finish(QProcess& process)
    {
        process.closeWriteChannel();
        const bool isFinished = process.waitForFinished(kLongestRunInMs);
        const bool isExit = isFinished && process.exitStatus() == QProcess::NormalExit;
        return {isExit ? process.exitCode() : -1, process.readAllStandardOutput(),
                process.readAllStandardError()};
    }

    static void Signal(const QProcess& process, int number)
    {
        kill(static_cast<pid_t>(process.processId()), number);
    }

    void Write(const QString& path, const QByteArray& content) const
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write(content);
    }

    /// A file that is large but takes no room.
    void WriteSparse(const QString& path, qint64 size) const
    {
        Write(path, {});
        EXPECT_TRUE(QFile::resize(path, size));
    }

    [[nodiscard]] static QByteArray Read(const QString& path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
        return file.readAll();
    }

    /// Everything in a folder, hidden files included.
    [[nodiscard]] static QStringList FilesIn(const QString& folder)
    {
        return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

private:
    QTemporaryDir m_folder;
    QProcessEnvironment m_environment;
};

/// Waits, with a generous limit, until something is so.
inline bool WaitUntil(const std::function<bool()>& isSo)
{
    QElapsedTimer clock;
    clock.start();
    while (!isSo()) {
        if (clock.hasExpired(ProgramUser::kLongestRunInMs))
            return false;
        QThread::msleep(5);
    }
    return true;
}

} // namespace Orvane::Testing
