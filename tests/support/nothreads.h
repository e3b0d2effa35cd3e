// A system that gives no more threads.
#pragma once

#include <cstddef>
#include <pthread.h>

namespace TestSupport {

/// While it lives, every new thread of the process asks for a stack larger than the address space, so that none can
/// be created.
class CNoMoreThreads
{
public:
    CNoMoreThreads()
    {
        pthread_getattr_default_np(&m_Before);
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        pthread_attr_setstacksize(&attributes, std::size_t{1} << 48);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }
    ~CNoMoreThreads()
    {
        pthread_setattr_default_np(&m_Before);
        pthread_attr_destroy(&m_Before);
    }
    CNoMoreThreads(const CNoMoreThreads&) = delete;
    CNoMoreThreads& operator=(const CNoMoreThreads&) = delete;

private:
    pthread_attr_t m_Before;
};

} // namespace TestSupport
