// A lock that its holder may take again.
#pragma once

#include <mutex>

/// A recursive lock of one process. The thread that holds it may enter again, and leaves as often as it entered.
/// `std::lock_guard<BtCriticalSection>` holds it for a scope.
class BtCriticalSection
{
public:
    BtCriticalSection() = default;
    BtCriticalSection(const BtCriticalSection&) = delete;
    BtCriticalSection& operator=(const BtCriticalSection&) = delete;

    void Enter() { m_mutex.lock(); }
    bool TryEnter() { return m_mutex.try_lock(); }
    void Leave() { m_mutex.unlock(); }

    void lock() { Enter(); }
    bool try_lock() { return TryEnter(); }
    void unlock() { Leave(); }

private:
    std::recursive_mutex m_mutex;
};
