#include "Fault.h"

#include "RawCall.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Orvane::Torture {
namespace {

struct OutcomeName
{
    const char* name;
    Outcome outcome;
    int error;
};

constexpr OutcomeName kOutcomes[] = {
    {"kill", Killed, 0},
    {"tear", Torn, 0},
    {"short", Short, 0},
    {"EIO", IoError, EIO},
    {"ENOSPC", NoSpace, ENOSPC},
    {"EMFILE", NoFiles, EMFILE},
    {"EACCES", NoAccess, EACCES},
    {"EINTR", Interrupted, EINTR},
    {"ECONNRESET", Reset, ECONNRESET},
    {"EAGAIN", NoThread, EAGAIN},
};

constexpr int kUsage = 125;

const OutcomeName* wanted = nullptr;
long first = 0;
long last = 0;
char folder[PATH_MAX];
char reportFile[PATH_MAX];
std::atomic<long> seen{0};

const char* TakeVariable(const char* name)
{
    const char* const value = std::getenv(name);
    const char* const kept = value ? ::strdup(value) : "";
    ::unsetenv(name);
    return kept;
}

void Report(const CallDescription& call)
{
    char line[2 * kLongestSubject];
    int length = std::snprintf(line, sizeof line, "%s\t%s\t", call.name, call.subject);
    for (const auto& entry : kOutcomes)
        if ((call.outcomes & entry.outcome) != 0)
            length += std::snprintf(line + length, sizeof line - static_cast<std::size_t>(length), "%s ",
                                    entry.name);
    line[length - 1] = '\n';
    const long file =
        OrvaneRawCall(SYS_open, AsArgument(reportFile), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    OrvaneRawCall(SYS_write, file, AsArgument(line), length);
    OrvaneRawCall(SYS_close, file);
}

bool IsBefallen(const CallDescription& call)
{
    if (!wanted) {
        if (call.outcomes != 0)
            Report(call);
        return false;
    }
    if ((call.outcomes & wanted->outcome) == 0)
        return false;
    const long number = ++seen;
    if (number < first || number > last)
        return false;
    Report(call);
    return true;
}

long Forward(const Call& call)
{
    const long* const to = call.arguments;
    return OrvaneRawCall(call.number, to[0], to[1], to[2], to[3], to[4], to[5]);
}

/// Of a call that moves bytes.
int CountArgument(long number)
{
    return number == SYS_copy_file_range ? 4 : number == SYS_sendfile ? 3 : 2;
}

long ForwardHalf(Call call)
{
    long& count = call.arguments[CountArgument(call.number)];
    count = (count + 1) / 2;
    return Forward(call);
}

void End()
{
    OrvaneRawCall(SYS_kill, OrvaneRawCall(SYS_getpid), SIGKILL);
}

long GoWrong(const Call& call)
{
    switch (wanted->outcome) {
    case Killed:
        End();
        break;
    case Torn:
        ForwardHalf(call);
        End();
        break;
    case Short:
        return ForwardHalf(call);
    default:
        break;
    }
    if (call.number == SYS_close)
        Forward(call); // Linux closes, whatever it then says
    return -wanted->error;
}

} // namespace

void ReadFault()
{
    const char* const name = TakeVariable("ORVANE_FAULT");
    for (const auto& entry : kOutcomes)
        if (std::strcmp(entry.name, name) == 0)
            wanted = &entry;
    if (!wanted && std::strcmp(name, "count") != 0) {
        std::fprintf(stderr, "ORVANE_FAULT is \"%s\", which is nothing that can go wrong.\n", name);
        std::_Exit(kUsage);
    }
    first = std::atol(TakeVariable("ORVANE_FAULT_AT"));
    const char* const end = TakeVariable("ORVANE_FAULT_LAST");
    last = std::strcmp(end, "end") == 0 ? LONG_MAX : std::atol(end);
    std::snprintf(folder, sizeof folder, "%s", TakeVariable("ORVANE_FAULT_FOLDER"));
    std::snprintf(reportFile, sizeof reportFile, "%s", TakeVariable("ORVANE_FAULT_REPORT"));
    ::unsetenv("LD_PRELOAD");
}

long Perform(const Call& call)
{
    const auto description = Describe(call, folder);
    return description.outcomes != 0 && IsBefallen(description) ? GoWrong(call) : Forward(call);
}

int ErrorFor(long number)
{
    return IsBefallen(Describe({number, {}}, folder)) ? wanted->error : 0;
}

} // namespace Orvane::Torture
