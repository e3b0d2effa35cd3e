// A lock that knows its holder, on a condition variable.
#include "orx/btservices/btmutex.h"

#include <chrono>

bool BtMutex::Take(unsigned long timeoutMs)
{
    const std::thread::id self = std::this_thread::get_id();
    std::unique_lock lock(m_Mutex);
    const auto mayTake = [&] { return m_uiTaken == 0 || m_Holder == self; };
    if (timeoutMs >= c_ulInfinite) {
        m_Released.wait(lock, mayTake);
    } else if (!m_Released.wait_until(
                   lock, std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs), mayTake)) {
        return false;
    }
    m_Holder = self;
    ++m_uiTaken;
    return true;
}

bool BtMutex::Release()
{
    const std::lock_guard lock(m_Mutex);
    if (m_Holder != std::this_thread::get_id()) {
        return false;
    }
    if (--m_uiTaken == 0) {
        m_Holder = {};
        m_Released.notify_one();
    }
    return true;
}
