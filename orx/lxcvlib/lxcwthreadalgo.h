// A worker thread that runs a work function in a loop between a start and a pause.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"
#include "orx/btservices/btevent.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace LxCV {

/// A worker with a thread of its own, which lives as long as the object and calls `DoWork` again and again
/// while the worker is started. Its states and what leads from one to the next:
///
///     idle --Start--> working --Pause--> idle
///     idle or working --first half of Exit--> left loop --second half of Exit--> gone --Init--> idle
///
/// Events carry the state, so each change can be waited for. One thread controls the worker: `Init`, `Start`,
/// `Pause`, `Exit` and `WaitForWorkCycles` are called from there alone, and not from the worker's own hooks,
/// since they wait for the worker. On the worker's own thread the waits would never end; they fail at once
/// instead, with an error logged.
///
/// A derived object must be complete before `Start`; the thread touches nothing of it before.
///
/// `Exit` must be called before the object is destroyed, in the destructor of the last derived class at the
/// latest (and where a derived constructor throws, by that constructor). Otherwise the destructor logs an
/// error and waits for ever.
///
/// Exceptions out of `DoWork` are logged, and the loop goes on. Nothing catches what the other hooks throw:
/// it ends the process, as from any thread. Nothing in the loop has a time limit: while `DoWork` hangs,
/// `Pause` gives up after its limit and `Exit` waits for ever.
class ORX_EXPORT LxCWThreadAlgo
{
public:
    enum EReturnCode : int
    {
        eRC_OK = 0,
        eRC_ThreadNotCreated = 2, ///< the system gave no thread
        eRC_StartFailed = 4,      ///< the running state cannot come: no thread, or the caller is it
        eRC_PauseTimeout = 5,     ///< the paused state did not come in time
        eRC_NotYetPaused = 8      ///< asked without waiting, the thread was not yet paused
    };

    /// Creates the thread, which waits for `Start`.
    /// @param controlThreadId  the thread that rate reports are posted to (`platform::ThreadMessages`), 0 for
    ///                         none
    /// @param messageId        id of these messages. Their first parameter is the rate in hundredths of a
    ///                         cycle per second; 0 tells a pause
    /// @throws std::runtime_error "could not create thread"
    LxCWThreadAlgo(unsigned long controlThreadId, unsigned int messageId);

    /// Waits without limit until the thread has ended. See the class.
    virtual ~LxCWThreadAlgo();

    LxCWThreadAlgo(const LxCWThreadAlgo&) = delete;
    LxCWThreadAlgo& operator=(const LxCWThreadAlgo&) = delete;

protected:
    // The virtual functions stand in the order of their slots, which modules built earlier rely on.

    /// The body of the thread, from the first `Start` or `Exit` on: the loop, and the handshake with `Exit`.
    virtual EReturnCode Control();

    /// One work cycle, on the worker's thread. The result is ignored, as is that of the hooks below.
    virtual EReturnCode DoWork() = 0;

    /// On the worker's thread, before `Start` returns: nothing is running yet.
    virtual EReturnCode OnStartPre() { return eRC_OK; }

    /// On the worker's thread, before the first cycle; `Start` may have returned. Counts the starts.
    virtual EReturnCode OnStartPost();

    /// On the worker's thread, before `Pause` returns.
    virtual EReturnCode OnPausePre() { return eRC_OK; }

    /// On the worker's thread, when the pause has been told; `Pause` may have returned.
    virtual EReturnCode OnPausePost() { return eRC_OK; }

    /// On the worker's thread, after its last cycle, before `Exit` goes on.
    virtual EReturnCode OnExit() { return eRC_OK; }

public:
    /// Whether a pause was asked for that the worker has not yet taken up. The worker asks it before each
    /// cycle.
    virtual bool IsPauseRequestPending();

protected:
    /// The rate report, on the worker's thread after each cycle: posts the rate when more than 1000 ms have
    /// passed since the last report or the first cycle. The time in which the worker is paused counts. Takes
    /// no lock when there is nothing to post.
    virtual void CalcIPS();

public:
    /// Creates the thread again after `Exit`, with all events reset and the starts at 0. Does nothing while
    /// there is a thread. @return 0, or 2 if the system gave no thread
    EReturnCode Init();

    /// Lets the worker run, and returns when it does; at once if it runs already, also if it is about to
    /// pause.
    /// @return 0, or 4
    EReturnCode Start();

    /// Asks the worker to pause after its present cycle. Does nothing, with the result 0, unless it is
    /// running. After 5 and 8 the request stays, and the worker pauses when its cycle ends.
    /// Without `wait` the worker itself may call it.
    /// @param wait       whether to wait for the pause, at most `timeoutMs`; 0xFFFFFFFF ms are no limit
    /// @return 0; with `wait` 5 after the time limit; without it 8 if the worker has not paused yet
    EReturnCode Pause(bool wait, unsigned long timeoutMs);

    /// @return 0 when the worker has paused, 5 if that did not come within the time limit
    EReturnCode WaitForThreadPaused(unsigned long timeoutMs);

    bool IsRunning() const { return m_RunningEvent.IsSet(); }

    /// Ends the thread after its present cycle, and returns when it has ended. The worker leaves its loop,
    /// calls `OnExit` and then waits until this thread lets it go. Does nothing more once the thread is gone.
    /// @return true; false, with nothing done, on the worker's own thread
    bool Exit();

    /// Counts the cycles from now on, and waits until `count` are complete and `minTimeMs` have passed. Looks
    /// every 10 ms. Time is that of the system's running clock, not of the processor. Where the worker is not
    /// running, this waits for an abort.
    ///
    /// A positive `maxTimeMs` does not limit the time: the wait gives up in the first look at which
    /// `maxTimeMs` is at least the elapsed time and the cycles are not reached, which mostly is the very
    /// first; past `maxTimeMs` it goes on. Callers rely on it.
    /// @param abortEvent  a `BtEvent*`; set, it ends the wait; may be null
    /// @param abortFlag   true ends the wait; may be null. Others may write it while this waits
    /// @param minTimeMs   ms; negative for none
    /// @param maxTimeMs   ms; 0 or negative for none
    /// @return true when the cycles were reached, false after an abort or when `maxTimeMs` gave up
    bool WaitForWorkCycles(unsigned int count, void* abortEvent, bool volatile* abortFlag, double minTimeMs,
                           double maxTimeMs);

    /// The events, each with manual reset, for a caller that wants to wait for several. They belong to the
    /// worker.
    BtEvent* GetPauseThreadEvent() { return &m_PauseRequestEvent; }
    BtEvent* GetThreadPausedEvent() { return &m_PausedEvent; }
    BtEvent* GetThreadFinishedEvent() { return &m_FinishedEvent; }

    std::uint32_t GetControlThreadID() const { return m_uiControlThreadID; }

    /// The name, in UTF-8, in log lines; the one that stands when the thread is first started is shown by
    /// debuggers, too.
    std::string GetName() const;
    void SetName(const std::string& name);

protected:
    /// For the hooks: complete cycles since the last start, and starts since the thread was created.
    std::uint32_t GetCyclesSinceStart() const { return m_uiCyclesSinceStart; }
    std::int32_t GetNumberOfStarts() const { return m_iStarts; }

    /// For the hooks: when the present window of the rate report began, in ms of the running clock, modulo 2^32; 0
    /// before the first cycle.
    std::uint32_t GetTickCount() const { return m_uiWindowStartTick; }

    /// For `DoWork`: sleeps for a time, in ms, but not past a request to pause or to exit.
    void SleepUnlessAsked(unsigned long timeMs);

private:
    enum class EState
    {
        eIdle,
        eWorking
    };

    static unsigned long WThreadFunc(void* self);
    void CreateThread();
    bool IsOwnThread() const { return m_Thread.get_id() == std::this_thread::get_id(); }
    bool BeginToWork();
    void TakePause();
    void WorkOnce();
    void DoWorkGuarded();
    void LeaveLoop();
    void PostRate(std::uint64_t rate) const;
    bool HaveCycles(unsigned int count);

    BtEvent m_StartEvent;
    BtEvent m_RunningEvent;
    BtEvent m_PauseRequestEvent;
    BtEvent m_PausedEvent;
    BtEvent m_ExitRequestEvent;
    BtEvent m_LeftLoopEvent;
    BtEvent m_MayExitEvent;
    std::string m_sName = "NamelessThread";
    std::uint32_t m_uiWindowStartTick = 0; ///< ms
    std::uint32_t m_uiCyclesSinceStart = 0;
    std::uint32_t m_uiCyclesInWindow = 0;
    std::int32_t m_iStarts = 0;
    std::uint32_t m_uiMessageID;
    std::thread m_Thread;
    std::uint64_t m_uiTotalCycles = 0; ///< since the last `WaitForWorkCycles`; guarded by the cycle lock
    BtCriticalSection m_CycleLock;
    std::uint32_t m_uiControlThreadID;
    BtEvent m_FinishedEvent;
    bool m_bWindowStarted = false;  ///< the tick is noted
    mutable std::mutex m_NameMutex; ///< guards the name, which the worker logs
    std::mutex m_PauseMutex;        ///< a pause request is made for a running worker or not at all
};

} // namespace LxCV
