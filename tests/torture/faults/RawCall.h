#pragma once

namespace Orvane::Torture {

// The only code whose system calls the kernel carries out at once; all others it hands to us (see
// Dispatch.cpp).
extern "C" {
/// Returns what the kernel returns: -errno for an error. Does not touch errno.
long OrvaneRawCall(long number, long first = 0, long second = 0, long third = 0, long fourth = 0,
                   long fifth = 0, long sixth = 0);
void OrvaneRawReturn(); ///< the end of a signal handler; never called by name
/// Asked by vfork, which stands among the raw calls. Returns whether a fault befalls it, and sets errno then.
__attribute__((visibility("hidden"))) int OrvaneRefuseProcess();
extern const char kOrvaneRawCallsBegin[];
extern const char kOrvaneRawCallsEnd[];
}

template <typename Pointer>
long AsArgument(const Pointer* pointer)
{
    return reinterpret_cast<long>(pointer);
}

} // namespace Orvane::Torture
