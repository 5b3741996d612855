// Preloaded into the program. Linux (5.11, x86-64) hands every system call that the program makes to our
// handler of SIGSYS, which carries it out or lets it go wrong. So the calls that the C library makes by
// itself count as well. A child gets none of this: the kernel drops it when a process is made.

#include "Fault.h"
#include "RawCall.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>

#ifndef PR_SET_SYSCALL_USER_DISPATCH
#define PR_SET_SYSCALL_USER_DISPATCH 59
#define PR_SYS_DISPATCH_OFF 0
#define PR_SYS_DISPATCH_ON 1
#endif

namespace Orvane::Torture {
namespace {

using SignalSet = unsigned long; ///< as the kernel has it

constexpr SignalSet kOwnSignal = 1UL << (SIGSYS - 1);

long DispatchHere()
{
    return OrvaneRawCall(SYS_prctl, PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON,
                         AsArgument(kOrvaneRawCallsBegin), kOrvaneRawCallsEnd - kOrvaneRawCallsBegin, 0);
}

/// While one exists, this thread's calls go to the kernel.
class Pause
{
public:
    Pause() { OrvaneRawCall(SYS_prctl, PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_OFF, 0, 0, 0); }
    ~Pause() { DispatchHere(); }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

/// The end of the handler would undo a change that the kernel makes now. Our own signal is never held back.
long ChangeSignalMask(const Call& call, ucontext_t& context)
{
    const auto* const change = reinterpret_cast<const SignalSet*>(call.arguments[1]);
    auto* const before = reinterpret_cast<SignalSet*>(call.arguments[2]);
    SignalSet mask = 0;
    std::memcpy(&mask, &context.uc_sigmask, sizeof mask);
    const SignalSet present = mask;
    if (change) {
        const SignalSet signals = *change & ~kOwnSignal;
        const long how = call.arguments[0];
        mask = how == SIG_BLOCK ? mask | signals : how == SIG_UNBLOCK ? mask & ~signals : signals;
        std::memcpy(&context.uc_sigmask, &mask, sizeof mask);
    }
    if (before)
        *before = present;
    return 0;
}

void OnSystemCall(int, siginfo_t*, void* state)
{
    auto& context = *static_cast<ucontext_t*>(state);
    auto& registers = context.uc_mcontext.gregs;
    const Call call{registers[REG_RAX],
                    {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX], registers[REG_R10],
                     registers[REG_R8], registers[REG_R9]}};
    registers[REG_RAX] = call.number == SYS_rt_sigprocmask ? ChangeSignalMask(call, context) : Perform(call);
}

/// As the kernel has it.
struct KernelAction
{
    void (*handler)(int, siginfo_t*, void*);
    unsigned long flags;
    void (*restorer)();
    SignalSet mask;
};

constexpr unsigned long kHasRestorer = 0x04000000;

__attribute__((constructor)) void Begin()
{
    ReadFault();
    const KernelAction action{OnSystemCall, SA_SIGINFO | SA_NODEFER | kHasRestorer, OrvaneRawReturn, 0};
    OrvaneRawCall(SYS_rt_sigaction, SIGSYS, AsArgument(&action), 0, sizeof action.mask);
    if (DispatchHere() != 0) {
        std::fputs("This kernel cannot hand over system calls; that takes Linux 5.11 on x86-64.\n", stderr);
        std::_Exit(125);
    }
}

struct ThreadStart
{
    void* (*run)(void*);
    void* argument;
};

void* RunThread(void* given)
{
    const ThreadStart start = *static_cast<ThreadStart*>(given);
    delete static_cast<ThreadStart*>(given);
    DispatchHere();
    void* const result = start.run(start.argument);
    OrvaneRawCall(SYS_prctl, PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_OFF, 0, 0, 0);
    return result;
}

template <typename Function>
Function* Next(Function*, const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace
} // namespace Orvane::Torture

// A thread or a process that is made inside the handler would begin on the wrong stack: these go round it.
extern "C" int OrvaneRefuseProcess()
{
    const int error = Orvane::Torture::ErrorFor(Orvane::Torture::kMakeProcess);
    if (error != 0)
        errno = error;
    return error;
}

extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* attributes,
                                                                     void* (*run)(void*),
                                                                     void* argument) noexcept
{
    using namespace Orvane::Torture;
    if (const int error = ErrorFor(kMakeThread))
        return error;
    const Pause pause;
    auto* const start = new ThreadStart{run, argument};
    const int error = Next(&pthread_create, "pthread_create")(thread, attributes, RunThread, start);
    if (error != 0)
        delete start;
    return error;
}

extern "C" __attribute__((visibility("default"))) int
posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* files,
            const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[])
{
    using namespace Orvane::Torture;
    if (const int error = ErrorFor(kMakeProcess))
        return error;
    const Pause pause;
    return Next(&posix_spawn, "posix_spawn")(process, path, files, attributes, arguments, environment);
}
