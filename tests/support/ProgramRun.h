#pragma once

#include "Journal.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <csignal>

namespace Orvane::Testing {

using Tests::operator""_q;

constexpr int kLongestRunInMs = 120'000;
constexpr int kDone = 0, kFailed = 1, kUsage = 2, kNotFound = 3, kSignInNeeded = 4, kRefused = 5,
              kConflict = 6, kLocalDisk = 8, kInterrupted = 130;

/// The words of a text in which nothing but spaces separates them.
inline QStringList Words(const QByteArray& text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// What a finished run of the program has left.
struct RunResult
{
    int exitCode = -1; ///< -1: killed, crashed or never ended
    std::string out;
    std::string err;

    /// stdout as exactly one JSON object; a failed expectation when it is anything else.
    [[nodiscard]] QJsonValue Json() const
    {
        const auto document = QJsonDocument::fromJson(QByteArray::fromStdString(out));
        EXPECT_TRUE(document.isObject() && std::count(out.begin(), out.end(), '\n') == 1) << out;
        return document.object();
    }
};

/// A user with a home of their own, who runs the program in the folder "work".
class ProgramUser
{
public:
    ProgramUser()
    {
        for (const QString& name : m_environment.keys()) {
            if (name.startsWith("ORVANE_"_q) || name.startsWith("XDG_"_q))
                m_environment.remove(name);
        }
        SetVariable("HOME"_q, Path("home"_q));
        SetVariable("ORVANE"_q, QStringLiteral(ORVANE_CLOUD_PROGRAM));
        QDir().mkpath(Path("home"_q));
        QDir().mkpath(Work({}));
        std::signal(SIGINT, SIG_DFL); // a build in the background has it ignored, and children inherit that
    }

    /// A path below the test's own folder.
    [[nodiscard]] QString Path(const QString& below) const
    {
        return QDir(m_folder.path()).canonicalPath() + QLatin1Char('/') + below;
    }
    [[nodiscard]] QString Work(const QString& name) const { return Path("work/"_q + name); }
    [[nodiscard]] QString Data(const QString& name = {}) const
    {
        return Path("home/.local/share/orvane-cloud/"_q + name);
    }
    [[nodiscard]] QString Cloud(const QString& name = {}) const { return Data("cloud/"_q + name); }

    void SetVariable(const QString& name, const QString& value) { m_environment.insert(name, value); }

    [[nodiscard]] std::unique_ptr<QProcess>
    Start(const QStringList& arguments, const QString& program = QStringLiteral(ORVANE_CLOUD_PROGRAM)) const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(m_environment);
        process->setWorkingDirectory(Work({}));
        process->start(program, arguments);
        EXPECT_TRUE(process->waitForStarted());
        return process;
    }

    static RunResult Finish(QProcess& process, int expectedExitCode)
    {
        process.closeWriteChannel();
        const bool isFinished = process.waitForFinished(kLongestRunInMs);
        const bool isExit = isFinished && process.exitStatus() == QProcess::NormalExit;
        const RunResult result{isExit ? process.exitCode() : -1,
                               process.readAllStandardOutput().toStdString(),
                               process.readAllStandardError().toStdString()};
        EXPECT_EQ(result.exitCode, expectedExitCode)
            << process.arguments().join(QLatin1Char(' ')).toStdString() << '\n'
            << result.out << result.err;
        return result;
    }

    RunResult Run(const QStringList& arguments, int expectedExitCode = kDone) const
    {
        return Finish(*Start(arguments), expectedExitCode);
    }
    RunResult Run(const QByteArray& words, int expectedExitCode = kDone) const
    {
        return Run(Words(words), expectedExitCode);
    }

    /// Runs a shell command line, in which "$ORVANE" is the program.
    RunResult RunShell(const QString& line, int expectedExitCode = kDone) const
    {
        return Finish(*Start({"-c"_q, line}, "sh"_q), expectedExitCode);
    }

    /// Whether a process that runs has this file open.
    [[nodiscard]] static bool IsReading(const QProcess& process, const QString& file)
    {
        const QDir descriptors("/proc/%1/fd"_q.arg(process.processId()));
        const auto opened = descriptors.entryInfoList(QDir::AllEntries | QDir::System);
        return std::any_of(opened.begin(), opened.end(),
                           [&](const QFileInfo& each) { return each.symLinkTarget() == file; });
    }

    static void Write(const QString& path, const QByteArray& content)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        EXPECT_EQ(file.write(content), content.size());
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
    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
};

} // namespace Orvane::Testing
