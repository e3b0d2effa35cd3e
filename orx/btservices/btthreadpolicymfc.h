// How a one-shot thread is begun, steered, waited for and ended.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btevent.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

/// A thread that runs `Run` once after each `Start`. The state is a set of flags, see `EFlags`:
///
///     new 0 --Start--> 1 --on the thread--> 1 | 2 --Run has ended--> 1 | 4, with 16 after a failure
///
/// Nothing can end or stop another thread safely in the midst of its work, when it may hold any lock of the
/// process. `Suspend` and `Terminate` are therefore requests: the thread stops, or ends, where `Run` calls
/// `WaitWhileSuspended`, and otherwise when `Run` returns.
///
/// The object must outlive the run: its owner calls `WaitUntilTerminate` before it destroys it. With
/// `eAutoDelete` the thread destroys the object as its last act, and the owner lets go of it when `Start`
/// succeeds; after that only events and data of its own tell the owner how it went.
///
/// All operations may be called from any thread while the object lives.
class ORX_EXPORT BtThreadPolicyMFC
{
public:
    enum EFlags : unsigned int
    {
        eStartRequested = 1, ///< `Start` was called; stays until the next one fails
        eRunning = 2,        ///< the thread is between its beginning and the return of `onAfterRun`
        eFinished = 4,       ///< the last run is over, or was given up by `Terminate`
        eSuspended = 8,      ///< the thread stops where it next can, until `Resume`
        eFailed = 16,        ///< the run returned false or threw, or `onBeforeRun` or `onAfterRun` threw
        eAutoDelete = 32     ///< the object was made with `new`, and the thread deletes it at its end
    };

    /// What `onAfterRun` is told.
    static constexpr std::uint32_t c_uiSuccess = 0;
    static constexpr std::uint32_t c_uiFailure = 0x80004005;

    virtual ~BtThreadPolicyMFC();
    BtThreadPolicyMFC(const BtThreadPolicyMFC&) = delete;
    BtThreadPolicyMFC& operator=(const BtThreadPolicyMFC&) = delete;

    /// Begins a run. Flags of the run before are cleared, the own terminate event is reset.
    /// @return false if a thread still runs, also one that `Terminate` gave up, or if none could be created; the
    ///         latter clears `eStartRequested`
    bool Start();

    /// `Start`, and returns when the thread has passed `onBeforeRun`.
    bool StartAndWait();

    /// Whether the thread has begun and not yet ended; true as well while it is suspended.
    bool IsRunning() const;

    /// Whether `eFailed` is clear, as it also is before and during a run.
    bool IsSuccessful() const;

    /// Asks the thread to stop where it next can (see the class), until `Resume`. A suspended thread does not
    /// end: it stops at the return of `Run` at the latest.
    /// @return false, with nothing done, unless `eRunning` is set
    bool Suspend();
    bool Resume();

    /// Gives the run up: logs a warning, asks the thread to end and sets the flags to 4. Nothing is killed.
    /// The thread ends when `WaitWhileSuspended` has told `Run` so and it returns; `onAfterRun` is not
    /// called, the object is not deleted, and `IsRunning` and `WaitUntilTerminate` tell when the thread has
    /// really ended.
    /// @return false, with nothing done, if no thread runs
    bool Terminate();

    /// Waits until the thread has ended.
    /// @return false after `timeoutMs`, without a thread, and at once, with an error logged, on the thread
    ///         itself
    bool WaitUntilTerminate(unsigned long timeoutMs = BtEvent::c_ulInfinite);

    /// The event that the end of a run sets: the object's own, or a caller's in its place until null is
    /// given. The caller's must live until it is set, and is reset by nobody else.
    void SetTerminateEvent(BtEvent* event);
    BtEvent* GetTerminateEvent() const;

    /// One of -15, -2, -1, 0, 1, 2, 15. It is noted for the runs to come, and given to a running thread. What
    /// a beginning thread cannot be given is logged, and it runs without.
    /// @return false, with nothing changed and a warning logged, for another number and where the system
    ///         refuses
    bool SetPriority(int priority);
    int GetPriority() const;
    /// One step up or down. @return false at the end of the list too
    bool SpeedUp();
    bool SlowDown();

    /// The processors of the process: bit n for processor n.
    static std::uint64_t GetProcessAffinityMask();

    /// The processors that the thread may run on, 0 for no wish; noted and given as a priority is.
    bool SetThreadAffinityMask(std::uint64_t mask);

    /// The processor that the thread would best run on. The system takes no such hint: this logs so and
    /// returns false.
    bool SetThreadIdealProcessor(unsigned int processor);

    /// The name that the system shows from the next start on.
    void SetName(const std::string& name);
    std::string GetName() const;

    void AddFlags(unsigned int flags);
    void RemoveFlags(unsigned int flags);
    void SetFlags(unsigned int flags);
    unsigned int GetFlags() const;
    /// Whether all, or at least one, of `flags` are set.
    bool IsFlagsSet(unsigned int flags) const;
    bool IsOneFlagSet(unsigned int flags) const;

    /// The system's handle; 0 without a thread. It is valid until the next `Start` and the end of the object.
    std::thread::native_handle_type GetThreadHandle();

    /// The thread's id; 0 unless it runs.
    std::uint32_t GetThreadId() const;

protected:
    BtThreadPolicyMFC(const std::string& name, std::uint64_t affinityMask);

    /// For `Run`, at places where it can stop: waits while the thread is suspended.
    /// @return false if the thread is to end
    bool WaitWhileSuspended();

    /// For destructors: lets go of the thread. One that still runs is given up by `Terminate`, with an error
    /// logged, and waited for without limit. It is late for that: the members of a derived object are gone
    /// already, so an owner does not let it come to this.
    void EndBeforeDestruction();

private:
    struct Life;

    /// The work. @return whether it succeeded; an exception is a failure, which is logged
    virtual bool Run() = 0;

    /// On the thread, before `Run`, which an exception prevents.
    virtual void onBeforeRun() {}

    /// On the thread, after `Run`, with `c_uiSuccess` or `c_uiFailure`.
    virtual void onAfterRun(std::uint32_t /*code*/) {}

    static void ThreadProc(void* self);
    bool BeginLife(BtEvent* started);
    void RunOnThread();
    void Begin();
    void TellStarted();
    bool End();
    bool MarkIfFailed(bool succeeded);
    bool StepPriority(int step);

    mutable std::mutex m_Mutex; ///< guards all that follows
    std::condition_variable m_Changed;
    std::string m_sName;
    std::uint64_t m_uiAffinityMask;
    int m_iPriority = 0;
    unsigned int m_uiFlags = 0;
    bool m_bActive = false;     ///< a thread exists that still uses the object
    bool m_bTerminated = false; ///< the run was given up
    std::uint32_t m_uiThreadId = 0;
    BtEvent* m_pStartedEvent = nullptr; ///< of `StartAndWait`, which waits for it
    BtEvent m_TerminateEvent;
    BtEvent* m_pTerminateEvent = &m_TerminateEvent; ///< the own one or a caller's
    std::shared_ptr<Life> m_spLife;
    std::thread m_Thread;
};
