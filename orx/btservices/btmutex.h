// A lock with a time limit that knows its holder.
#pragma once

#include "orx/base/export.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

/// A recursive lock of one process, new one free. Unlike a `BtCriticalSection`, taking it may have a time limit,
/// and releasing it on a thread that does not hold it is a refused call, not a fault. A thread releases what it
/// holds before it ends.
class ORX_EXPORT BtMutex
{
public:
    static constexpr unsigned long c_ulInfinite =
        0xFFFFFFFF; ///< ms that mean no time limit; so does all above

    BtMutex() = default;
    BtMutex(const BtMutex&) = delete;
    BtMutex& operator=(const BtMutex&) = delete;

    /// Waits until the calling thread holds it, once more if it does already. @return false at the time limit
    bool Take(unsigned long timeoutMs = c_ulInfinite);

    /// Undoes one `Take`. @return false, with nothing changed, unless the calling thread holds it
    bool Release();

private:
    std::mutex m_Mutex; ///< guards the members below
    std::condition_variable m_Released;
    std::thread::id m_Holder; ///< of no thread while the lock is free
    std::uint64_t m_uiTaken = 0;
};
