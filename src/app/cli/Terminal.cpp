#include "Terminal.h"

#include <QByteArray>

#ifdef Q_OS_UNIX
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace Orvane::CommandLine {

namespace {

constexpr int kUsualWidth = 80;

}

#ifdef Q_OS_UNIX

bool IsTerminal(std::FILE* stream)
{
    return ::isatty(::fileno(stream)) == 1 && qgetenv("TERM") != "dumb";
}

int TerminalWidth(std::FILE* stream)
{
    winsize size{};
    const bool isKnown = ::ioctl(::fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : kUsualWidth;
}

#else

bool IsTerminal(std::FILE*)
{
    return false;
}

int TerminalWidth(std::FILE*)
{
    return kUsualWidth;
}

#endif

} // namespace Orvane::CommandLine
