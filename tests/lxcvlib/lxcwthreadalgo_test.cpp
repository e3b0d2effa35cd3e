#include "lxcwthreadalgo.h"

#include "orx/btservices/btexception.h"
#include "orx/logging/logger.h"
#include "orx/platform/threads.h"
#include "tests/lxcvlib/workerprobe.h"
#include "tests/support/nothreads.h"
#include "tests/support/virtualslot.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::ComesTrue;
using TestSupport::CWatchdog;
using TestSupport::SlotBehindDestructor;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCWThreadAlgo";
constexpr unsigned long c_ulLong = 10000; // ms; longer than any wait that succeeds

/// Each test has a time limit and a capture of the log.
class LxCWThreadAlgoTest : public testing::Test
{
protected:
    CWatchdog m_watchdog;
    Logging::CCapture m_log;

    int Logged(ELevel level, const std::wstring& text) const { return m_log.Count(level, c_sChannel, text); }
};

/// Steps that two threads note.
class Notes
{
public:
    void Add(const std::string& step)
    {
        const std::lock_guard lock(m_mutex);
        m_steps.push_back(step);
    }
    std::vector<std::string> Get() const
    {
        const std::lock_guard lock(m_mutex);
        return m_steps;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_steps;
};

TEST_F(LxCWThreadAlgoTest, NewWorkerIsIdleAndNameless)
{
    WorkerProbe worker(17, 4);
    EXPECT_EQ(worker.GetName(), "NamelessThread");
    EXPECT_EQ(worker.GetControlThreadID(), 17U);
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_FALSE(worker.IsPauseRequestPending());
    for (BtEvent* const event :
         {worker.GetPauseThreadEvent(), worker.GetThreadPausedEvent(), worker.GetThreadFinishedEvent()}) {
        EXPECT_FALSE(event->IsSet());
    }
    EXPECT_EQ(worker.GetNumberOfStarts(), 0);
    worker.SetName("Poller");
    EXPECT_EQ(worker.GetName(), "Poller");
}

TEST(LxCWThreadAlgo, VirtualFunctionsKeepTheirSlots)
{
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::Control), 0);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::DoWork), 1);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::OnStartPre), 2);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::OnStartPost), 3);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::OnPausePre), 4);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::OnPausePost), 5);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::OnExit), 6);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::IsPauseRequestPending), 7);
    EXPECT_EQ(SlotBehindDestructor(&WorkerProbe::CalcIPS), 8);
}

TEST(LxCWThreadAlgo, ReturnCodesKeepTheirNumbers)
{
    EXPECT_EQ(LxCWThreadAlgo::eRC_OK, 0);
    EXPECT_EQ(LxCWThreadAlgo::eRC_ThreadNotCreated, 2);
    EXPECT_EQ(LxCWThreadAlgo::eRC_StartFailed, 4);
    EXPECT_EQ(LxCWThreadAlgo::eRC_PauseTimeout, 5);
    EXPECT_EQ(LxCWThreadAlgo::eRC_NotYetPaused, 8);
}

TEST_F(LxCWThreadAlgoTest, HooksComeInOrderOnTheWorkersThread)
{
    WorkerProbe worker;
    Notes notes;
    const std::uint32_t controller = platform::GetCurrentThreadId();
    const auto note = [&](const char* step) {
        return [&, step] {
            EXPECT_NE(platform::GetCurrentThreadId(), controller);
            notes.Add(std::string(step) + (worker.IsRunning() ? " running" : "") +
                      (worker.GetThreadPausedEvent()->IsSet() ? " paused" : ""));
        };
    };
    worker.startPre = note("startPre");
    worker.startPost = note("startPost");
    worker.pausePre = note("pausePre");
    worker.pausePost = note("pausePost");
    worker.atExit = note("exit");
    BtEvent inside;
    BtEvent release;
    worker.work = [&] {
        note("work")();
        inside.Set();
        release.Wait();
    };
    EXPECT_EQ(worker.Start(), 0);
    inside.Wait();
    EXPECT_EQ(worker.Pause(false, 0), 8);
    release.Set();
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_TRUE(worker.Exit());
    EXPECT_EQ(notes.Get(), (std::vector<std::string>{"startPre", "startPost running", "work running",
                                                     "pausePre running", "pausePost paused", "exit paused"}));
    EXPECT_TRUE(worker.GetThreadFinishedEvent()->IsSet());
}

TEST_F(LxCWThreadAlgoTest, LogTellsEachChangeOfState)
{
    WorkerProbe worker;
    worker.SetName("Poller");
    worker.Start();
    worker.Pause(true, c_ulLong);
    worker.Exit();
    std::vector<std::wstring> worked;
    std::vector<std::wstring> controlled;
    for (const Logging::CRecord& record : m_log.GetRecords()) {
        EXPECT_EQ(record.level, ELevel::eDebug);
        EXPECT_EQ(record.channel, c_sChannel);
        const bool byController = record.text.find(L"left") != std::wstring::npos ||
                                  record.text.find(L"may exit now") != std::wstring::npos;
        (byController ? controlled : worked).push_back(record.text);
    }
    EXPECT_EQ(worked,
              (std::vector<std::wstring>{L"Poller is running\n", L"Poller is paused\n", L"Poller cleanup\n",
                                         L"Poller waiting for exit event\n", L"Poller exiting\n"}));
    EXPECT_EQ(controlled,
              (std::vector<std::wstring>{L"Poller has left the work loop!\n", L"Poller may exit now\n"}));
}

TEST_F(LxCWThreadAlgoTest, DebuggersSeeTheNameThatStandsAtTheStart)
{
    WorkerProbe worker;
    worker.SetName("Poller");
    std::string seen;
    worker.startPre = [&] { seen = platform::GetCurrentThreadName(); };
    worker.Start();
    EXPECT_EQ(seen, "Poller");
}

TEST_F(LxCWThreadAlgoTest, CyclesFollowOneAnotherUntilThePause)
{
    WorkerProbe worker;
    worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return worker.cycles > 100; }));
    EXPECT_EQ(worker.Pause(true, c_ulLong), 0);
    EXPECT_FALSE(worker.IsRunning());
    const int paused = worker.cycles;
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
    EXPECT_EQ(worker.cycles, paused);
    EXPECT_EQ(worker.GetCyclesSinceStart(), static_cast<std::uint32_t>(paused));
}

TEST_F(LxCWThreadAlgoTest, EachStartCountsAndBeginsItsCyclesAnew)
{
    WorkerProbe worker;
    std::uint32_t cyclesAtStart = 1;
    worker.startPre = [&] { cyclesAtStart = worker.GetCyclesSinceStart(); };
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(worker.Start(), 0);
        EXPECT_TRUE(ComesTrue([&] { return worker.cycles > 0; }));
        EXPECT_EQ(worker.Pause(true, c_ulLong), 0);
        EXPECT_EQ(worker.GetNumberOfStarts(), i);
        EXPECT_EQ(cyclesAtStart, 0U);
        EXPECT_EQ(worker.GetCyclesSinceStart(), static_cast<std::uint32_t>(worker.cycles.exchange(0)));
    }
}

TEST_F(LxCWThreadAlgoTest, SecondStartReturnsAtOnce)
{
    WorkerProbe worker;
    EXPECT_EQ(worker.Start(), 0);
    EXPECT_EQ(worker.Start(), 0);
    worker.Pause(true, c_ulLong);
    EXPECT_EQ(worker.GetNumberOfStarts(), 1);
}

TEST_F(LxCWThreadAlgoTest, PauseOfAnIdleWorkerDoesNothing)
{
    WorkerProbe worker;
    EXPECT_EQ(worker.Pause(true, BtEvent::c_ulInfinite), 0);
    EXPECT_EQ(worker.Pause(false, 0), 0);
    EXPECT_FALSE(worker.IsPauseRequestPending()) << "the next start runs";
    EXPECT_EQ(worker.WaitForThreadPaused(0), 5) << "it has never paused";
}

TEST_F(LxCWThreadAlgoTest, PauseThatTimesOutStaysRequested)
{
    WorkerProbe worker;
    BtEvent inside;
    BtEvent release;
    worker.work = [&] {
        inside.Set();
        release.Wait();
    };
    worker.Start();
    inside.Wait();
    EXPECT_EQ(worker.Pause(true, 0), 5);
    EXPECT_TRUE(worker.IsPauseRequestPending());
    EXPECT_TRUE(worker.GetPauseThreadEvent()->IsSet());
    EXPECT_EQ(worker.Pause(true, 5), 5);
    EXPECT_EQ(worker.WaitForThreadPaused(0), 5);
    EXPECT_EQ(worker.Start(), 0) << "it still runs";
    release.Set();
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_FALSE(worker.IsPauseRequestPending());
    EXPECT_EQ(worker.cycles, 1);
}

TEST_F(LxCWThreadAlgoTest, PauseWithoutWaitingTellsWhetherItHasCome)
{
    WorkerProbe worker;
    BtEvent inside;
    BtEvent release;
    worker.work = [&] {
        inside.Set();
        release.Wait();
    };
    worker.Start();
    inside.Wait();
    EXPECT_EQ(worker.Pause(false, c_ulLong), 8);
    release.Set();
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_EQ(worker.Pause(false, 0), 0);
}

TEST_F(LxCWThreadAlgoTest, APauseAnswersTheRequestsThatComeWhileItIsPrepared)
{
    WorkerProbe worker;
    BtEvent preparing;
    BtEvent release;
    worker.pausePre = [&] {
        preparing.Set();
        release.Wait();
    };
    worker.Start();
    worker.Pause(false, 0);
    preparing.Wait();
    EXPECT_EQ(worker.Pause(false, 0), 8) << "still running";
    release.Set();
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_FALSE(worker.IsPauseRequestPending());
    worker.cycles = 0;
    EXPECT_EQ(worker.Start(), 0);
    EXPECT_TRUE(ComesTrue([&] { return worker.cycles > 10; })) << "the next start runs";
}

TEST_F(LxCWThreadAlgoTest, StartReturnsThoughThePauseFollowsAtOnce)
{
    WorkerProbe worker;
    for (int i = 0; i < 200; ++i) {
        worker.GetPauseThreadEvent()->Set();
        EXPECT_EQ(worker.Start(), 0);
        EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    }
    EXPECT_EQ(worker.cycles, 0);
}

TEST_F(LxCWThreadAlgoTest, EventsOfTheWorkerCanBeWaitedForTogether)
{
    WorkerProbe worker;
    BtEvent cancelled;
    worker.Start();
    worker.Pause(false, 0);
    EXPECT_EQ(BtEvent::WaitForAny(
                  {&cancelled, worker.GetThreadFinishedEvent(), worker.GetThreadPausedEvent()}, c_ulLong),
              2U);
}

TEST_F(LxCWThreadAlgoTest, ExitEndsAnIdleWorker)
{
    WorkerProbe worker;
    EXPECT_TRUE(worker.Exit());
    EXPECT_TRUE(worker.GetThreadFinishedEvent()->IsSet());
    EXPECT_EQ(worker.cycles, 0);
    EXPECT_EQ(worker.GetNumberOfStarts(), 0) << "it left without a start";
}

TEST_F(LxCWThreadAlgoTest, ExitEndsAWorkingOneAfterItsCycle)
{
    WorkerProbe worker;
    BtEvent inside;
    int begun = 0;
    int completeAtExit = 0;
    worker.work = [&] {
        ++begun;
        inside.Set();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };
    worker.atExit = [&] { completeAtExit = worker.cycles; };
    worker.Start();
    inside.Wait();
    EXPECT_TRUE(worker.Exit());
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_GE(begun, 1); // more where the request to end comes late
    EXPECT_EQ(completeAtExit, begun);
    EXPECT_EQ(worker.cycles, begun);
}

TEST_F(LxCWThreadAlgoTest, ExitEndsAWorkerThatIsAboutToPause)
{
    WorkerProbe worker;
    BtEvent inside;
    BtEvent release;
    worker.work = [&] {
        inside.Set();
        release.Wait();
    };
    worker.Start();
    inside.Wait();
    EXPECT_EQ(worker.Pause(false, 0), 8);
    std::thread releaser([&] { release.Set(); });
    EXPECT_TRUE(worker.Exit());
    releaser.join();
    EXPECT_FALSE(worker.IsRunning());
}

TEST_F(LxCWThreadAlgoTest, AGoneWorkerRefusesToStartAndToPause)
{
    WorkerProbe worker;
    worker.Start();
    worker.Exit();
    EXPECT_EQ(worker.Start(), 4);
    EXPECT_EQ(Logged(ELevel::eError, L"NamelessThread cannot be started: its thread is gone\n"), 1);
    EXPECT_EQ(worker.Pause(true, BtEvent::c_ulInfinite), 0);
    EXPECT_TRUE(worker.Exit()) << "once more does nothing";
    EXPECT_TRUE(worker.GetThreadFinishedEvent()->IsSet());
}

TEST_F(LxCWThreadAlgoTest, InitDoesNothingWhileThereIsAThread)
{
    WorkerProbe worker;
    EXPECT_EQ(worker.Init(), 0);
    worker.Start();
    EXPECT_EQ(worker.Init(), 0);
    EXPECT_TRUE(worker.IsRunning());
    worker.Pause(true, c_ulLong);
    EXPECT_EQ(worker.Init(), 0);
    EXPECT_EQ(worker.GetNumberOfStarts(), 1);
}

TEST_F(LxCWThreadAlgoTest, InitAfterExitGivesAnIdleWorker)
{
    WorkerProbe worker;
    for (int i = 0; i < 20; ++i) {
        worker.Start();
        if (i % 2 == 0) {
            worker.Pause(true, c_ulLong);
        }
        worker.Exit(); // from the working state the start event stays behind
        EXPECT_EQ(worker.Init(), 0);
        EXPECT_EQ(worker.GetNumberOfStarts(), 0);
        EXPECT_FALSE(worker.GetThreadFinishedEvent()->IsSet());
        EXPECT_FALSE(worker.GetThreadPausedEvent()->IsSet());
        worker.cycles = 0;
        std::this_thread::yield();
        EXPECT_FALSE(worker.IsRunning());
        EXPECT_EQ(worker.cycles, 0) << "nobody started it";
    }
    worker.Start();
    EXPECT_TRUE(ComesTrue([&] { return worker.cycles > 0; }));
}

TEST_F(LxCWThreadAlgoTest, ExitWaitsForItsOwnRoundAfterInit)
{
    WorkerProbe worker;
    worker.Exit();
    worker.Init();
    bool left = false;
    worker.atExit = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        left = true;
    };
    worker.Exit();
    EXPECT_TRUE(left);
}

TEST_F(LxCWThreadAlgoTest, WithoutASystemThreadTheConstructorThrows)
{
    const TestSupport::CNoMoreThreads none;
    try {
        const WorkerProbe worker;
        FAIL() << "a worker without a thread";
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "could not create thread");
    }
}

TEST_F(LxCWThreadAlgoTest, WithoutASystemThreadInitFailsAndTheWorkerStaysGone)
{
    WorkerProbe worker;
    worker.Exit();
    {
        const TestSupport::CNoMoreThreads none;
        EXPECT_EQ(worker.Init(), 2);
        EXPECT_EQ(worker.Start(), 4);
        EXPECT_TRUE(worker.Exit());
        EXPECT_TRUE(worker.GetThreadFinishedEvent()->IsSet()) << "it can be destroyed";
    }
    EXPECT_EQ(worker.Init(), 0);
    EXPECT_EQ(worker.Start(), 0);
}

class Untold : public std::exception
{
public:
    const char* what() const noexcept override { return nullptr; }
};

TEST_F(LxCWThreadAlgoTest, ExceptionsInACycleAreLoggedAndTheCycleCounts)
{
    const struct
    {
        std::function<void()> work;
        std::wstring text;
    } cases[] = {
        {[] { throw std::runtime_error("no camera"); },
         L"LxCWThreadAlgo::Control: exception in DoWork: no camera"},
        {[] { throw std::runtime_error("caf\xC3\xA9 %s %n"); },
         L"LxCWThreadAlgo::Control: exception in DoWork: caf\u00E9 %s %n"},
        {[] { throw Untold(); }, L"LxCWThreadAlgo::Control: exception in DoWork: Unknown exception"},
        {[] { throw BtException(L"no f\u00FCnf"); },
         L"LxCWThreadAlgo::Control: exception in DoWork: no f\u00FCnf"},
        {[] { throw 3; }, L"LxCWThreadAlgo::Control: unknown exception in DoWork\n"},
        {[] { throw "text"; }, L"LxCWThreadAlgo::Control: unknown exception in DoWork\n"},
    };
    for (const auto& row : cases) {
        m_log.Clear();
        WorkerProbe worker;
        worker.work = [&] {
            if (worker.GetCyclesSinceStart() < 3) {
                row.work();
            }
        };
        worker.Start();
        EXPECT_TRUE(worker.WaitForWorkCycles(5, nullptr, nullptr, -1.0, 0.0)) << "the loop goes on";
        worker.Pause(true, c_ulLong);
        EXPECT_EQ(Logged(ELevel::eError, row.text), 3);
        EXPECT_EQ(worker.GetCyclesSinceStart(), static_cast<std::uint32_t>(worker.cycles) + 3);
    }
}

TEST_F(LxCWThreadAlgoTest, AnExceptionDoesNotKeepTheWorkerFromPausingAndLeaving)
{
    WorkerProbe worker;
    worker.work = [] { throw std::runtime_error("always"); };
    for (int i = 0; i < 5; ++i) {
        worker.Start();
        EXPECT_EQ(worker.Pause(true, c_ulLong), 0);
    }
    worker.Start();
    EXPECT_TRUE(worker.Exit());
}

TEST_F(LxCWThreadAlgoTest, WaitsForItselfFailAtOnce)
{
    WorkerProbe worker;
    int start = -1;
    int pause = -1;
    bool cycles = true;
    bool exit = true;
    BtEvent done;
    worker.startPre = [&] { start = worker.Start(); };
    worker.work = [&] {
        if (!done.IsSet()) {
            pause = worker.Pause(true, BtEvent::c_ulInfinite);
            cycles = worker.WaitForWorkCycles(1, nullptr, nullptr, -1.0, 0.0);
            exit = worker.Exit();
            done.Set();
        }
    };
    EXPECT_EQ(worker.Start(), 0);
    done.Wait();
    EXPECT_EQ(start, 4);
    EXPECT_EQ(pause, 5);
    EXPECT_FALSE(cycles);
    EXPECT_FALSE(exit);
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0) << "the request to pause stands";
    for (const wchar_t* const text : {L"NamelessThread cannot be started: it is the calling thread\n",
                                      L"NamelessThread cannot wait for its own pause\n",
                                      L"NamelessThread cannot wait for its own cycles\n",
                                      L"NamelessThread cannot wait for its own end\n"}) {
        EXPECT_EQ(Logged(ELevel::eError, text), 1) << std::string(text, text + std::wcslen(text));
    }
    EXPECT_EQ(worker.Start(), 0) << "no request to end was left behind";
    EXPECT_TRUE(worker.IsRunning());
    EXPECT_TRUE(worker.Exit());
}

TEST_F(LxCWThreadAlgoTest, AWorkerMayAskForItsOwnPause)
{
    WorkerProbe worker;
    int result = -1;
    worker.work = [&] { result = worker.Pause(false, 0); };
    worker.Start();
    EXPECT_EQ(worker.WaitForThreadPaused(c_ulLong), 0);
    EXPECT_EQ(result, 8);
    EXPECT_EQ(worker.cycles, 1);
}

TEST_F(LxCWThreadAlgoTest, SleepsEndWithARequestToPauseOrToExit)
{
    WorkerProbe worker;
    BtEvent asleep;
    worker.work = [&] {
        asleep.Set();
        worker.SleepUnlessAsked(0xFFFFFFFF);
    };
    worker.Start();
    asleep.Wait();
    EXPECT_EQ(worker.Pause(true, c_ulLong), 0);
    asleep.Reset();
    worker.Start();
    asleep.Wait();
    EXPECT_TRUE(worker.Exit());
}

TEST_F(LxCWThreadAlgoTest, SleepsLastTheirTime)
{
    WorkerProbe worker;
    const auto start = std::chrono::steady_clock::now();
    worker.SleepUnlessAsked(0);
    worker.SleepUnlessAsked(15);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

TEST_F(LxCWThreadAlgoTest, TheNameMayChangeWhileItIsLogged)
{
    WorkerProbe worker;
    for (int i = 0; i < 50; ++i) {
        worker.SetName(std::string(static_cast<std::size_t>(i), 'x'));
        worker.Start();
        worker.SetName("another name that is too long for a short text");
        worker.Pause(true, c_ulLong);
    }
}

TEST_F(LxCWThreadAlgoTest, WorkersMayEndAsSoonAsTheyAreMade)
{
    for (int i = 0; i < 200; ++i) {
        const auto worker = std::make_unique<WorkerProbe>();
        if (i % 3 == 0) {
            worker->Start();
        }
    }
}

TEST_F(LxCWThreadAlgoTest, AnyOrderOfCallsLeadsToTheStateThatIsTold)
{
    std::mt19937 random(20);
    for (int round = 0; round < 40; ++round) {
        WorkerProbe worker;
        bool running = false;
        bool gone = false;
        for (int i = 0; i < 25; ++i) {
            const unsigned int call = random() % 6;
            SCOPED_TRACE("round " + std::to_string(round) + ", call " + std::to_string(i) + ", kind " +
                         std::to_string(call));
            if (call <= 1) {
                EXPECT_EQ(worker.Start(), gone ? 4 : 0);
                running = !gone;
            } else if (call <= 3) {
                EXPECT_EQ(worker.Pause(true, c_ulLong), 0);
                running = false;
            } else if (call == 4) {
                EXPECT_TRUE(worker.Exit());
                running = false;
                gone = true;
            } else {
                EXPECT_EQ(worker.Init(), 0);
                gone = false;
            }
            EXPECT_EQ(worker.IsRunning(), running);
            EXPECT_EQ(worker.GetThreadFinishedEvent()->IsSet(), gone);
        }
    }
}

// Death tests start the program anew, as it has threads.

TEST(LxCWThreadAlgoDeathTest, WithoutExitTheDestructorLogsAndWaits)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    class Forgetful : public LxCWThreadAlgo
    {
    public:
        Forgetful() : LxCWThreadAlgo(0, 0) {}
        EReturnCode DoWork() override { return eRC_OK; }
    };
    const auto destroy = [] {
        const CWatchdog watchdog;
        const Logging::CCapture log;
        BtEvent destroyed;
        std::thread destroyer([&] {
            std::make_unique<Forgetful>().reset();
            destroyed.Set();
        });
        const bool told = ComesTrue([&] {
            return log.Count(
                       ELevel::eError, c_sChannel,
                       L"NamelessThread is destroyed without Exit; the destructor waits for its thread\n") ==
                   1;
        });
        std::_Exit(told && !destroyed.Wait(20) ? 7 : EXIT_FAILURE);
    };
    EXPECT_EXIT(destroy(), testing::ExitedWithCode(7), "");
}

TEST(LxCWThreadAlgoDeathTest, ExceptionsInHooksEndTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto throwInHook = [] {
        const CWatchdog watchdog;
        WorkerProbe worker;
        worker.startPre = [] { throw std::runtime_error("thrown by a hook"); };
        worker.Start();
    };
    EXPECT_DEATH(throwInHook(), "thrown by a hook");
}

} // namespace
} // namespace LxCV
