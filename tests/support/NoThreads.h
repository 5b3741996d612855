#pragma once

#include <pthread.h>

#include <cstddef>

namespace Orvane::Testing {

/// While it lives, the system makes no more threads: each would need a stack larger than the address space.
class NoThreads
{
public:
    NoThreads()
    {
        pthread_getattr_default_np(&m_former);
        pthread_attr_t impossible;
        pthread_attr_init(&impossible);
        pthread_attr_setstacksize(&impossible, std::size_t{1} << 56);
        pthread_setattr_default_np(&impossible);
        pthread_attr_destroy(&impossible);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&m_former);
        pthread_attr_destroy(&m_former);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t m_former = {};
};

} // namespace Orvane::Testing
