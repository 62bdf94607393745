#pragma once

#include <pthread.h>

/// While it lives the system gives no new thread: each would have a stack that no address space holds.
class NoThreads
{
public:
    NoThreads()
    {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t endless = m_before;
        pthread_attr_setstacksize(&endless, std::size_t{1} << 60);
        pthread_setattr_default_np(&endless);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t m_before{};
};
