// The loop of the worker thread, and its handshakes with the controlling thread.
#include "lxcwthreadalgo.h"

#include "orx/btservices/btexception.h"
#include "orx/logging/logger.h"
#include "orx/platform/threadmessages.h"
#include "orx/platform/threads.h"
#include "runningclock.h"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <system_error>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCWThreadAlgo");

constexpr std::uint32_t c_uiRateWindowMs = 1000;
constexpr std::uint64_t c_uiHundredthsPerMs = 100000; // hundredths of a cycle per second in one cycle per ms
constexpr std::chrono::milliseconds c_PollInterval(10);

/// Whole ms, modulo 2^32.
std::uint32_t TickMs()
{
    return static_cast<std::uint32_t>(SRunningMoment::Now().GetMs());
}

} // namespace

LxCWThreadAlgo::LxCWThreadAlgo(unsigned long controlThreadId, unsigned int messageId)
    : m_uiMessageID(messageId), m_uiControlThreadID(static_cast<std::uint32_t>(controlThreadId))
{
    try {
        CreateThread();
    } catch (const std::system_error&) {
        throw std::runtime_error("could not create thread");
    }
}

LxCWThreadAlgo::~LxCWThreadAlgo()
{
    if (!m_FinishedEvent.IsSet()) {
        s_Logger.Error(L"%s is destroyed without Exit; the destructor waits for its thread\n", GetName());
    }
    m_FinishedEvent.Wait();
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
}

void LxCWThreadAlgo::CreateThread()
{
    m_Thread = std::thread(&LxCWThreadAlgo::WThreadFunc, this);
}

unsigned long LxCWThreadAlgo::WThreadFunc(void* self)
{
    auto* const worker = static_cast<LxCWThreadAlgo*>(self);
    // The constructors of derived classes may still be running; only what is after Start or Exit may rely on
    // the object being complete. The event stays set for Control.
    worker->m_StartEvent.Wait();
    return static_cast<unsigned long>(worker->Control());
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::Control()
{
    platform::SetCurrentThreadName(GetName());
    EState state = EState::eIdle;
    for (;;) {
        if (state == EState::eIdle) {
            if (!BeginToWork()) {
                break;
            }
            state = EState::eWorking;
            OnStartPost();
        } else if (IsPauseRequestPending()) {
            TakePause();
            state = EState::eIdle;
            s_Logger.Debug(L"%s is paused\n", GetName());
            PostRate(0);
            OnPausePost();
        } else if (m_ExitRequestEvent.IsSet()) {
            m_ExitRequestEvent.Reset();
            break;
        } else {
            WorkOnce();
        }
    }
    LeaveLoop();
    return eRC_OK;
}

/// Waits for the start. @return false if it is the end
bool LxCWThreadAlgo::BeginToWork()
{
    m_StartEvent.Wait();
    m_StartEvent.Reset();
    if (m_ExitRequestEvent.IsSet()) {
        m_ExitRequestEvent.Reset();
        return false;
    }
    m_uiCyclesSinceStart = 0;
    OnStartPre();
    s_Logger.Debug(L"%s is running\n", GetName());
    m_PausedEvent.Reset();
    m_RunningEvent.Set();
    return true;
}

void LxCWThreadAlgo::TakePause()
{
    m_PauseRequestEvent.Reset();
    OnPausePre();
    {
        // This pause answers the requests that came meanwhile, too; left over, they would end the next start.
        const std::lock_guard lock(m_PauseMutex);
        m_PauseRequestEvent.Reset();
        m_RunningEvent.Reset();
    }
    m_PausedEvent.Set();
}

void LxCWThreadAlgo::WorkOnce()
{
    DoWorkGuarded();
    ++m_uiCyclesSinceStart;
    {
        const std::lock_guard lock(m_CycleLock);
        ++m_uiTotalCycles;
    }
    CalcIPS();
}

void LxCWThreadAlgo::DoWorkGuarded()
{
    try {
        DoWork();
    } catch (const BtException& exception) {
        s_Logger.Error(L"LxCWThreadAlgo::Control: exception in DoWork: %s", exception.GetText());
    } catch (const std::exception& exception) {
        const char* const text = exception.what();
        s_Logger.Error(L"LxCWThreadAlgo::Control: exception in DoWork: %s",
                       text != nullptr ? text : "Unknown exception");
    } catch (...) {
        s_Logger.Error(L"LxCWThreadAlgo::Control: unknown exception in DoWork\n");
    }
}

void LxCWThreadAlgo::LeaveLoop()
{
    s_Logger.Debug(L"%s cleanup\n", GetName());
    OnExit();
    {
        const std::lock_guard lock(m_PauseMutex);
        m_RunningEvent.Reset();
    }
    m_LeftLoopEvent.Set();
    s_Logger.Debug(L"%s waiting for exit event\n", GetName());
    m_MayExitEvent.Wait();
    s_Logger.Debug(L"%s exiting\n", GetName());
    m_FinishedEvent.Set();
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::OnStartPost()
{
    ++m_iStarts;
    return eRC_OK;
}

bool LxCWThreadAlgo::IsPauseRequestPending()
{
    return m_PauseRequestEvent.IsSet();
}

void LxCWThreadAlgo::CalcIPS()
{
    ++m_uiCyclesInWindow;
    const std::uint32_t now = TickMs();
    if (!m_bWindowStarted) {
        m_bWindowStarted = true;
        m_uiWindowStartTick = now;
    }
    const std::uint32_t elapsedMs = now - m_uiWindowStartTick; // right across the counter's wrap, too
    if (elapsedMs > c_uiRateWindowMs) {
        PostRate(m_uiCyclesInWindow * c_uiHundredthsPerMs / elapsedMs);
        m_uiWindowStartTick = now;
        m_uiCyclesInWindow = 0;
    }
}

void LxCWThreadAlgo::PostRate(std::uint64_t rate) const
{
    if (m_uiControlThreadID != 0) {
        // A receiver that does not read loses reports, not the worker's time.
        platform::ThreadMessages::Post(m_uiControlThreadID, {m_uiMessageID, rate, 0});
    }
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::Init()
{
    if (m_Thread.joinable()) {
        return eRC_OK;
    }
    for (BtEvent* const event : {&m_StartEvent, &m_RunningEvent, &m_PauseRequestEvent, &m_PausedEvent,
                                 &m_ExitRequestEvent, &m_LeftLoopEvent, &m_MayExitEvent, &m_FinishedEvent}) {
        event->Reset();
    }
    m_iStarts = 0;
    try {
        CreateThread();
    } catch (const std::system_error& error) {
        s_Logger.Error(L"%s could not be created again: %s\n", GetName(), error.what());
        m_LeftLoopEvent.Set(); // the thread is still gone
        m_FinishedEvent.Set();
        return eRC_ThreadNotCreated;
    }
    return eRC_OK;
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::Start()
{
    if (IsRunning()) {
        return eRC_OK;
    }
    if (!m_Thread.joinable() || IsOwnThread()) {
        s_Logger.Error(L"%s cannot be started: %s\n", GetName(),
                       m_Thread.joinable() ? "it is the calling thread" : "its thread is gone");
        return eRC_StartFailed;
    }
    const std::uint64_t wait = m_RunningEvent.BeginWait(); // a pause may follow before this thread looks
    m_StartEvent.Set();
    return m_RunningEvent.EndWait(wait) ? eRC_OK : eRC_StartFailed;
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::Pause(bool wait, unsigned long timeoutMs)
{
    {
        const std::lock_guard lock(m_PauseMutex);
        if (!IsRunning()) {
            return eRC_OK;
        }
        m_PauseRequestEvent.Set();
    }
    if (wait) {
        return WaitForThreadPaused(timeoutMs);
    }
    return m_PausedEvent.IsSet() ? eRC_OK : eRC_NotYetPaused;
}

LxCWThreadAlgo::EReturnCode LxCWThreadAlgo::WaitForThreadPaused(unsigned long timeoutMs)
{
    if (IsOwnThread() && timeoutMs > 0 && !m_PausedEvent.IsSet()) {
        s_Logger.Error(L"%s cannot wait for its own pause\n", GetName());
        return eRC_PauseTimeout;
    }
    return m_PausedEvent.Wait(timeoutMs) ? eRC_OK : eRC_PauseTimeout;
}

bool LxCWThreadAlgo::Exit()
{
    if (IsOwnThread()) {
        s_Logger.Error(L"%s cannot wait for its own end\n", GetName());
        return false;
    }
    m_ExitRequestEvent.Set();
    m_StartEvent.Set();
    m_LeftLoopEvent.Wait();
    s_Logger.Debug(L"%s has left the work loop!\n", GetName());
    s_Logger.Debug(L"%s may exit now\n", GetName());
    m_MayExitEvent.Set();
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
    return true;
}

void LxCWThreadAlgo::SleepUnlessAsked(unsigned long timeMs)
{
    BtEvent::WaitForAny({&m_PauseRequestEvent, &m_ExitRequestEvent}, timeMs);
}

std::string LxCWThreadAlgo::GetName() const
{
    const std::lock_guard lock(m_NameMutex);
    return m_sName;
}

void LxCWThreadAlgo::SetName(const std::string& name)
{
    const std::lock_guard lock(m_NameMutex);
    m_sName = name;
}

bool LxCWThreadAlgo::HaveCycles(unsigned int count)
{
    const std::lock_guard lock(m_CycleLock);
    return m_uiTotalCycles >= count;
}

bool LxCWThreadAlgo::WaitForWorkCycles(unsigned int count, void* abortEvent, bool volatile* abortFlag,
                                       double minTimeMs, double maxTimeMs)
{
    if (IsOwnThread()) {
        s_Logger.Error(L"%s cannot wait for its own cycles\n", GetName());
        return false;
    }
    const SRunningMoment start = SRunningMoment::Now();
    {
        const std::lock_guard lock(m_CycleLock);
        m_uiTotalCycles = 0;
    }
    const auto* const event = static_cast<const BtEvent*>(abortEvent);
    for (;; std::this_thread::sleep_for(c_PollInterval)) {
        const double elapsedMs = start.GetElapsedMs();
        const bool flagged = abortFlag != nullptr && __atomic_load_n(abortFlag, __ATOMIC_ACQUIRE);
        if (flagged || (event != nullptr && event->IsSet())) {
            return false;
        }
        if ((minTimeMs < 0.0 || elapsedMs >= minTimeMs) && HaveCycles(count)) {
            return true;
        }
        if (maxTimeMs > 0.0 && maxTimeMs >= elapsedMs) {
            return false;
        }
    }
}

} // namespace LxCV
