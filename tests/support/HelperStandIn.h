#pragma once

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

/// Programs that stand in for the one that renders pages.
namespace Orvane::Tests {

/// Sets an environment variable while it lives.
class ScopedVariable
{
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : m_name(name)
        , m_before(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~ScopedVariable() { qputenv(m_name, m_before); }
    Q_DISABLE_COPY_MOVE(ScopedVariable)

private:
    const char* const m_name;
    const QByteArray m_before;
};

/// A shell script that is found as "pdftoppm" while this lives.
class HelperStandIn
{
public:
    explicit HelperStandIn(const QByteArray& script)
        : m_path("PATH", m_folder.path().toUtf8() + ':' + qgetenv("PATH"))
    {
        QFile file(m_folder.filePath(QStringLiteral("pdftoppm")));
        file.open(QIODevice::WriteOnly);
        file.write("#!/bin/sh\n" + script + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    /// What the script has written to "$0.note" so far.
    [[nodiscard]] QByteArray Note() const
    {
        QFile file(m_folder.filePath(QStringLiteral("pdftoppm.note")));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    const QTemporaryDir m_folder;
    const ScopedVariable m_path;
};

/// The real helper, with its runs counted.
class CountedHelper : public HelperStandIn
{
public:
    CountedHelper()
        : HelperStandIn("printf x >> \"$0.note\"; exec " + RealHelper() + " \"$@\"")
    {}

    [[nodiscard]] int Runs() const { return Note().size(); }

private:
    static QByteArray RealHelper()
    {
        return QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).toUtf8();
    }
};

} // namespace Orvane::Tests
