#pragma once

/// Qt comes without ThreadSanitizer's instrumentation, so the sanitizer does not see that what a thread did
/// before it gave something to Qt comes before what another thread does once it has got it. The two functions
/// say so for one thing, such as the event that is posted. A mark orders only the threads that name the same
/// address, so it hides no other race. In other builds both do nothing.

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ // as g++ calls it
#endif
#endif

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace Orvane::Support {

/// To be called before the thing is given to Qt.
inline void TsanRelease([[maybe_unused]] const void* thing)
{
#ifdef __SANITIZE_THREAD__
    __tsan_release(const_cast<void*>(thing));
#endif
}

/// To be called once Qt has handed over the thing, before anything in it is read.
inline void TsanAcquire([[maybe_unused]] const void* thing)
{
#ifdef __SANITIZE_THREAD__
    __tsan_acquire(const_cast<void*>(thing));
#endif
}

} // namespace Orvane::Support
