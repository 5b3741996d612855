#include "ProcessSetup.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextCodec>

#include <csignal>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

namespace Orvane::CommandLine {

namespace {

void UseNoDisplay()
{
    // A desktop session exports what suits its windows. This program has none, and must run without one.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("QT_QPA_PLATFORMTHEME");
}

void NameTimeZone()
{
    // Without it the C library looks at the zone file again for every local time.
    const QByteArray zone = "/etc/localtime";
    if (!qEnvironmentVariableIsSet("TZ") && QFile::exists(QString::fromLatin1(zone)))
        qputenv("TZ", ':' + zone);
}

} // namespace

void SetUpProcess()
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QCoreApplication::setApplicationName(QStringLiteral("orvane-cloud"));
    UseNoDisplay();
#ifdef Q_OS_UNIX
    NameTimeZone();
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

void KeepMemoryPrivate()
{
#ifdef Q_OS_UNIX
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
#endif
#ifdef Q_OS_LINUX
    prctl(PR_SET_DUMPABLE, 0); // also where a program takes the cores, which asks for no limit
#endif
}

} // namespace Orvane::CommandLine
