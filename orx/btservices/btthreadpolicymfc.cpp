// The one-shot thread on std::thread.
#include "orx/btservices/btthreadpolicymfc.h"

#include "orx/btservices/btexception.h"
#include "orx/btservices/btthreadinfo.h"
#include "orx/logging/logger.h"
#include "orx/platform/threads.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.BtThread");

constexpr std::array<int, 7> c_aiPriorities = {-15, -2, -1, 0, 1, 2, 15};

/// Runs `step` and logs what it throws. @return its result, false after an exception
template <typename Step>
bool Guarded(const wchar_t* what, const std::string& name, Step step)
{
    try {
        return step();
    } catch (const BtException& exception) {
        s_Logger.Error(L"thread %s: exception in %s: %s", name, what, exception.GetText());
    } catch (const std::exception& exception) {
        s_Logger.Error(L"thread %s: exception in %s: %s", name, what, exception.what());
    } catch (...) {
        s_Logger.Error(L"thread %s: unknown exception in %s", name, what);
    }
    return false;
}

} // namespace

/// What the thread and those who wait for it share; it may outlive the object, which the thread may delete.
struct BtThreadPolicyMFC::Life
{
    BtEvent resumed; ///< the creator has noted all about the thread
    BtEvent ended;   ///< the thread's last act
};

BtThreadPolicyMFC::BtThreadPolicyMFC(const std::string& name, std::uint64_t affinityMask)
    : m_sName(name), m_uiAffinityMask(affinityMask)
{}

BtThreadPolicyMFC::~BtThreadPolicyMFC()
{
    EndBeforeDestruction();
}

void BtThreadPolicyMFC::EndBeforeDestruction()
{
    if (m_Thread.get_id() == std::this_thread::get_id()) {
        m_Thread.detach(); // the thread deletes the object as its last act
        return;
    }
    if (IsRunning()) {
        s_Logger.Error(L"thread %s is destroyed while it runs; waiting for its end", GetName());
        Terminate();
    }
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
}

bool BtThreadPolicyMFC::BeginLife(BtEvent* started)
{
    std::unique_lock lock(m_Mutex);
    if (m_bActive) {
        return false;
    }
    if (m_Thread.joinable()) {
        m_Thread.join(); // it has ended but for its last instructions, which need no lock
    }
    m_uiFlags = (m_uiFlags & ~(eRunning | eFinished | eSuspended | eFailed)) | eStartRequested;
    m_bTerminated = false;
    m_TerminateEvent.Reset();
    std::shared_ptr<Life> life;
    try {
        life = std::make_shared<Life>();
        m_Thread = std::thread([this, life] {
            life->resumed.Wait();
            ThreadProc(this);
            life->ended.Set();
        });
    } catch (const std::exception& error) {
        s_Logger.Error(L"thread %s could not be created: %s", m_sName, error.what());
        m_uiFlags &= ~eStartRequested;
        return false;
    }
    m_bActive = true;
    m_spLife = life;
    m_pStartedEvent = started;
    lock.unlock();
    life->resumed.Set(); // from here on the object may be gone
    return true;
}

bool BtThreadPolicyMFC::Start()
{
    return BeginLife(nullptr);
}

bool BtThreadPolicyMFC::StartAndWait()
{
    BtEvent started;
    return BeginLife(&started) && started.Wait();
}

void BtThreadPolicyMFC::ThreadProc(void* self)
{
    auto* const thread = static_cast<BtThreadPolicyMFC*>(self);
    thread->RunOnThread();
    if (thread->End()) {
        delete thread;
    }
}

void BtThreadPolicyMFC::Begin()
{
    const std::lock_guard lock(m_Mutex);
    m_uiThreadId = platform::GetCurrentThreadId();
    if (!m_bTerminated) {
        m_uiFlags |= eRunning;
    }
    platform::SetCurrentThreadName(m_sName);
    if (m_iPriority != 0 && !platform::SetThreadPriority(m_uiThreadId, m_iPriority)) {
        s_Logger.Warning(L"thread %s: the system refuses the priority %i", m_sName, m_iPriority);
    }
    if (m_uiAffinityMask != 0 && !platform::SetThreadAffinityMask(m_uiThreadId, m_uiAffinityMask)) {
        s_Logger.Warning(L"thread %s: the system refuses the processors 0x%llx", m_sName,
                         static_cast<unsigned long long>(m_uiAffinityMask));
    }
}

void BtThreadPolicyMFC::TellStarted()
{
    const std::lock_guard lock(m_Mutex);
    if (BtEvent* const started = std::exchange(m_pStartedEvent, nullptr)) {
        started->Set();
    }
}

bool BtThreadPolicyMFC::MarkIfFailed(bool succeeded)
{
    const std::lock_guard lock(m_Mutex);
    if (!succeeded && !m_bTerminated) {
        m_uiFlags |= eFailed;
    }
    return succeeded;
}

void BtThreadPolicyMFC::RunOnThread()
{
    Begin();
    const std::string name = GetName();
    const auto beforeRun = [this] {
        onBeforeRun();
        return true;
    };
    const bool prepared = MarkIfFailed(WaitWhileSuspended() && Guarded(L"onBeforeRun", name, beforeRun));
    TellStarted();

    const auto run = [this] { return Run(); };
    const bool succeeded = MarkIfFailed(prepared && WaitWhileSuspended() && Guarded(L"the run", name, run));
    const auto afterRun = [&] {
        onAfterRun(succeeded ? c_uiSuccess : c_uiFailure);
        return true;
    };
    MarkIfFailed(!WaitWhileSuspended() || Guarded(L"onAfterRun", name, afterRun));
}

bool BtThreadPolicyMFC::End()
{
    std::unique_lock lock(m_Mutex);
    if (m_bTerminated) {
        m_uiFlags = eFinished;
    } else {
        m_uiFlags = (m_uiFlags & ~(eRunning | eSuspended)) | eFinished;
    }
    m_bActive = false;
    m_uiThreadId = 0;
    const bool deleteObject = (m_uiFlags & eAutoDelete) != 0;
    BtEvent* const event = m_pTerminateEvent;
    lock.unlock();
    event->Set();
    return deleteObject;
}

bool BtThreadPolicyMFC::WaitWhileSuspended()
{
    std::unique_lock lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_bTerminated || (m_uiFlags & eSuspended) == 0; });
    return !m_bTerminated;
}

bool BtThreadPolicyMFC::IsRunning() const
{
    const std::lock_guard lock(m_Mutex);
    return m_bActive;
}

bool BtThreadPolicyMFC::IsSuccessful() const
{
    return !IsOneFlagSet(eFailed);
}

bool BtThreadPolicyMFC::Suspend()
{
    const std::lock_guard lock(m_Mutex);
    if ((m_uiFlags & eRunning) == 0) {
        return false;
    }
    m_uiFlags |= eSuspended;
    return true;
}

bool BtThreadPolicyMFC::Resume()
{
    const std::lock_guard lock(m_Mutex);
    if ((m_uiFlags & eRunning) == 0) {
        return false;
    }
    m_uiFlags &= ~eSuspended;
    m_Changed.notify_all();
    return true;
}

bool BtThreadPolicyMFC::Terminate()
{
    const std::lock_guard lock(m_Mutex);
    if (!m_bActive || m_bTerminated) {
        return false;
    }
    BtThreadInfo::WarnOnTermination(m_sName, m_uiThreadId);
    m_bTerminated = true;
    m_uiFlags = eFinished;
    m_Changed.notify_all();
    return true;
}

bool BtThreadPolicyMFC::WaitUntilTerminate(unsigned long timeoutMs)
{
    std::unique_lock lock(m_Mutex);
    if (m_Thread.joinable() && m_Thread.get_id() == std::this_thread::get_id()) {
        s_Logger.Error(L"thread %s cannot wait for its own end", m_sName);
        return false;
    }
    const std::shared_ptr<Life> life = m_spLife;
    lock.unlock(); // from here on the object may be gone
    return life != nullptr && life->ended.Wait(timeoutMs);
}

void BtThreadPolicyMFC::SetTerminateEvent(BtEvent* event)
{
    const std::lock_guard lock(m_Mutex);
    m_pTerminateEvent = event != nullptr ? event : &m_TerminateEvent;
}

BtEvent* BtThreadPolicyMFC::GetTerminateEvent() const
{
    const std::lock_guard lock(m_Mutex);
    return m_pTerminateEvent;
}

bool BtThreadPolicyMFC::SetPriority(int priority)
{
    const std::lock_guard lock(m_Mutex);
    const bool known =
        std::find(c_aiPriorities.begin(), c_aiPriorities.end(), priority) != c_aiPriorities.end();
    if (!known || (m_uiThreadId != 0 && !platform::SetThreadPriority(m_uiThreadId, priority))) {
        s_Logger.Warning(L"thread %s: the system refuses the priority %i", m_sName, priority);
        return false;
    }
    m_iPriority = priority;
    return true;
}

int BtThreadPolicyMFC::GetPriority() const
{
    const std::lock_guard lock(m_Mutex);
    return m_iPriority;
}

bool BtThreadPolicyMFC::StepPriority(int step)
{
    const auto place = std::find(c_aiPriorities.begin(), c_aiPriorities.end(), GetPriority());
    const auto index = place - c_aiPriorities.begin() + step;
    if (index < 0 || index >= static_cast<std::ptrdiff_t>(c_aiPriorities.size())) {
        return false;
    }
    return SetPriority(c_aiPriorities[static_cast<std::size_t>(index)]);
}

bool BtThreadPolicyMFC::SpeedUp()
{
    return StepPriority(1);
}

bool BtThreadPolicyMFC::SlowDown()
{
    return StepPriority(-1);
}

std::uint64_t BtThreadPolicyMFC::GetProcessAffinityMask()
{
    return platform::GetProcessAffinityMask();
}

bool BtThreadPolicyMFC::SetThreadAffinityMask(std::uint64_t mask)
{
    const std::lock_guard lock(m_Mutex);
    const bool everywhere = mask == 0;
    const std::uint64_t processors = everywhere ? platform::GetProcessAffinityMask() : mask;
    if (m_uiThreadId != 0 && !platform::SetThreadAffinityMask(m_uiThreadId, processors)) {
        s_Logger.Warning(L"thread %s: the system refuses the processors 0x%llx", m_sName,
                         static_cast<unsigned long long>(mask));
        return false;
    }
    m_uiAffinityMask = mask;
    return true;
}

bool BtThreadPolicyMFC::SetThreadIdealProcessor(unsigned int processor)
{
    s_Logger.Info(L"thread %s: the system takes no ideal processor, %u is not used", GetName(), processor);
    return false;
}

void BtThreadPolicyMFC::SetName(const std::string& name)
{
    const std::lock_guard lock(m_Mutex);
    m_sName = name;
}

std::string BtThreadPolicyMFC::GetName() const
{
    const std::lock_guard lock(m_Mutex);
    return m_sName;
}

void BtThreadPolicyMFC::AddFlags(unsigned int flags)
{
    const std::lock_guard lock(m_Mutex);
    m_uiFlags |= flags;
}

void BtThreadPolicyMFC::RemoveFlags(unsigned int flags)
{
    const std::lock_guard lock(m_Mutex);
    m_uiFlags &= ~flags;
    m_Changed.notify_all();
}

void BtThreadPolicyMFC::SetFlags(unsigned int flags)
{
    const std::lock_guard lock(m_Mutex);
    m_uiFlags = flags;
    m_Changed.notify_all();
}

unsigned int BtThreadPolicyMFC::GetFlags() const
{
    const std::lock_guard lock(m_Mutex);
    return m_uiFlags;
}

bool BtThreadPolicyMFC::IsFlagsSet(unsigned int flags) const
{
    return (GetFlags() & flags) == flags;
}

bool BtThreadPolicyMFC::IsOneFlagSet(unsigned int flags) const
{
    return (GetFlags() & flags) != 0;
}

std::thread::native_handle_type BtThreadPolicyMFC::GetThreadHandle()
{
    const std::lock_guard lock(m_Mutex);
    return m_Thread.joinable() ? m_Thread.native_handle() : 0;
}

std::uint32_t BtThreadPolicyMFC::GetThreadId() const
{
    const std::lock_guard lock(m_Mutex);
    return m_uiThreadId;
}
