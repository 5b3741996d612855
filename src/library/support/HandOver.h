#pragma once

/// Qt comes without ThreadSanitizer's instrumentation, which therefore does not see that what a thread did
/// before it handed work to Qt comes before what the work does. These two tell it; in other builds they are
/// nothing.

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ // as g++ calls it
#endif
#endif

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace Orvane::Support {

#ifdef __SANITIZE_THREAD__
inline char handOverMark;
#endif

/// Before work is given to Qt.
inline void HandOver()
{
#ifdef __SANITIZE_THREAD__
    __tsan_release(&handOverMark);
#endif
}

/// First thing in the work.
inline void TakeOver()
{
#ifdef __SANITIZE_THREAD__
    __tsan_acquire(&handOverMark);
#endif
}

} // namespace Orvane::Support
