#pragma once

#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

/// Programs that stand in for the one that renders pages.
namespace Orvane::Tests {

/// A shell script that is found as "pdftoppm" while this lives.
class HelperStandIn
{
public:
    explicit HelperStandIn(const QByteArray& script, const QByteArray& interpreter = "/bin/sh")
    {
        QFile file(m_folder.filePath(QStringLiteral("pdftoppm")));
        file.open(QIODevice::WriteOnly);
        file.write("#!" + interpreter + '\n' + script + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", m_folder.path().toUtf8() + ':' + m_formerPath);
    }
    ~HelperStandIn() { qputenv("PATH", m_formerPath); }

    /// For the rest of its life no "pdftoppm" is found at all.
    void Uninstall() const { qputenv("PATH", "/nowhere"); }

    /// What the script has written to "$0.note" so far.
    [[nodiscard]] QByteArray Note() const
    {
        QFile file(m_folder.filePath(QStringLiteral("pdftoppm.note")));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    const QTemporaryDir m_folder;
    const QByteArray m_formerPath = qgetenv("PATH");
};

/// The real helper, with its runs counted.
struct CountedHelper : HelperStandIn
{
    CountedHelper()
        : HelperStandIn("printf x >> \"$0.note\"; exec " +
                        QStandardPaths::findExecutable(QStringLiteral("pdftoppm")).toUtf8() + " \"$@\"")
    {}

    [[nodiscard]] int Runs() const { return Note().size(); }
};

} // namespace Orvane::Tests
