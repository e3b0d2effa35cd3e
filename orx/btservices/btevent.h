// A flag that threads wait for.
#pragma once

#include "orx/base/export.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <mutex>

/// An event: signalled or not, and threads that wait until it is.
///
/// - With manual reset it stays signalled until `Reset`. Otherwise the first wait that it ends resets it.
/// - With manual reset, `Set` releases every thread that waits at that moment, even if `Reset` follows before
///   they run.
/// - A thread whose `Wait` has ended may destroy the event, even while the `Set` that ended it still runs.
///
/// All operations may be called from any thread. Time limits are in ms of monotonic time.
class ORX_EXPORT BtEvent
{
public:
    /// A time limit that means none; so does every larger one.
    static constexpr unsigned long c_ulInfinite = 0xFFFFFFFF;

    explicit BtEvent(bool manualReset = true, bool signalled = false)
        : m_bManualReset(manualReset), m_bSignalled(signalled)
    {}
    BtEvent(const BtEvent&) = delete;
    BtEvent& operator=(const BtEvent&) = delete;

    void Set();
    void Reset();

    /// Whether it is signalled now. Takes no lock and changes nothing, also without manual reset. It does not
    /// tell that the event may be destroyed; `Wait(0)` does.
    bool IsSet() const { return m_bSignalled.load(std::memory_order_acquire); }

    /// Waits until the event is signalled. @return false if that did not come within the time limit
    bool Wait(unsigned long timeoutMs = c_ulInfinite) { return EndWait(BeginWait(), timeoutMs); }

    /// A wait in two parts, for a thread that first sets off what is to signal the event: every `Set` after
    /// `BeginWait` ends the wait, even if `Reset` follows before `EndWait`. `EndWait` takes what `BeginWait`
    /// gave.
    std::uint64_t BeginWait();
    bool EndWait(std::uint64_t begun, unsigned long timeoutMs = c_ulInfinite);

    /// Waits until one of several events is signalled; null entries never are.
    /// @return the index of the first that is, or `events.size()` if none came within the time limit
    static std::size_t WaitForAny(std::initializer_list<BtEvent*> events,
                                  unsigned long timeoutMs = c_ulInfinite);

private:
    /// Whether a wait that began so ends now. The lock is held.
    bool Take(std::uint64_t begun);

    const bool m_bManualReset;
    std::atomic<bool> m_bSignalled; ///< written with the lock held
    std::uint64_t m_uiSets = 0;     ///< calls of `Set`
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
};
