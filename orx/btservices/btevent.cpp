// Events on a condition variable. Those who wait for several events share one more condition variable.
#include "orx/btservices/btevent.h"

#include <chrono>
#include <vector>

namespace {

using Deadline = std::chrono::steady_clock::time_point;

/// Where the waits for several events sleep. `Set` wakes them all, if there are any.
struct WaitersForAny
{
    std::atomic<int> count{0};
    std::mutex mutex;
    std::condition_variable changed;
};

/// Never destroyed, so that static events may be set by threads that outlive it.
WaitersForAny& TheWaitersForAny()
{
    static WaitersForAny* const waiters = new WaitersForAny;
    return *waiters;
}

/// Waits for `done` until the time limit. @return what `done` gave last
template <typename Done>
bool WaitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock, unsigned long timeoutMs,
               Done done)
{
    if (timeoutMs >= BtEvent::c_ulInfinite) {
        changed.wait(lock, done);
        return true;
    }
    const Deadline deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    return changed.wait_until(lock, deadline, done);
}

} // namespace

void BtEvent::Set()
{
    WaitersForAny& waiters = TheWaitersForAny();
    {
        // Notified with the lock held: a waiter that destroys the event comes out of its wait after this
        // block.
        const std::lock_guard lock(m_Mutex);
        m_bSignalled.store(true, std::memory_order_release);
        ++m_uiSets;
        m_Changed.notify_all();
    }
    if (waiters.count.load() > 0) {
        const std::lock_guard lock(waiters.mutex);
        waiters.changed.notify_all();
    }
}

void BtEvent::Reset()
{
    const std::lock_guard lock(m_Mutex);
    m_bSignalled.store(false, std::memory_order_release);
}

bool BtEvent::Take(std::uint64_t begun)
{
    if (m_bManualReset) {
        return m_bSignalled.load(std::memory_order_relaxed) || m_uiSets != begun;
    }
    return m_bSignalled.exchange(false);
}

std::uint64_t BtEvent::BeginWait()
{
    const std::lock_guard lock(m_Mutex);
    return m_uiSets;
}

bool BtEvent::EndWait(std::uint64_t begun, unsigned long timeoutMs)
{
    std::unique_lock lock(m_Mutex);
    return WaitUntil(m_Changed, lock, timeoutMs, [&] { return Take(begun); });
}

std::size_t BtEvent::WaitForAny(std::initializer_list<BtEvent*> events, unsigned long timeoutMs)
{
    std::vector<std::uint64_t> begun(events.size());
    WaitersForAny& waiters = TheWaitersForAny();
    // A `Set` that does not see this count came before the events are looked at below.
    waiters.count.fetch_add(1);
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (BtEvent* const event = events.begin()[i]) {
            begun[i] = event->BeginWait();
        }
    }
    std::size_t index = 0;
    const auto lookAtAll = [&] {
        for (index = 0; index < events.size(); ++index) {
            if (BtEvent* const event = events.begin()[index]) {
                const std::lock_guard lock(event->m_Mutex);
                if (event->Take(begun[index])) {
                    return true;
                }
            }
        }
        return false;
    };
    {
        std::unique_lock lock(waiters.mutex);
        WaitUntil(waiters.changed, lock, timeoutMs, lookAtAll);
    }
    waiters.count.fetch_sub(1);
    return index;
}
