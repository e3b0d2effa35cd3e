#include "lxcwthreadalgo.h"

#include "orx/platform/clock.h"
#include "orx/platform/threadmessages.h"
#include "orx/platform/threads.h"
#include "tests/lxcvlib/workerprobe.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

namespace LxCV {
namespace {

using platform::ThreadMessage;
using platform::ThreadMessages;
using std::chrono::milliseconds;
using TestSupport::ComesTrue;
using TestSupport::CWatchdog;

constexpr unsigned int c_uiMessage = 0x8001;
constexpr unsigned long c_ulLong = 10000; // ms; longer than any wait that succeeds

/// Rate reports to the test's own thread, at times that the test sets. The worker is idle; the test itself makes
/// its cycles.
class LxCWThreadAlgoRateTest : public testing::Test
{
protected:
    LxCWThreadAlgoRateTest()
    {
        ThreadMessages::Open();
        DropReports();
    }
    ~LxCWThreadAlgoRateTest() override { DropReports(); }

    static void DropReports()
    {
        ThreadMessage message;
        while (ThreadMessages::Read(message, 0)) {
        }
    }

    void Cycles(int count)
    {
        for (int i = 0; i < count; ++i) {
            m_worker.CalcIPS();
        }
    }

    /// The rate that was reported, -1 without a report.
    static std::int64_t Report()
    {
        ThreadMessage message;
        if (!ThreadMessages::Read(message, 0)) {
            return -1;
        }
        EXPECT_EQ(message.id, c_uiMessage);
        EXPECT_EQ(message.secondParameter, 0);
        return static_cast<std::int64_t>(message.firstParameter);
    }

    CWatchdog m_watchdog;
    platform::ManualClock m_clock;
    platform::ScopedClock m_scope{m_clock};
    WorkerProbe m_worker{platform::GetCurrentThreadId(), c_uiMessage};
};

TEST_F(LxCWThreadAlgoRateTest, ComesWhenMoreThanASecondHasPassed)
{
    Cycles(10);
    m_clock.Advance(milliseconds(1000));
    Cycles(1);
    EXPECT_EQ(Report(), -1) << "exactly a second is not enough";
    m_clock.Advance(milliseconds(1));
    Cycles(1);
    EXPECT_EQ(Report(), 1198) << "12 cycles in 1001 ms: 12 * 100000 / 1001 = 1198.8";
    EXPECT_EQ(Report(), -1);
}

TEST_F(LxCWThreadAlgoRateTest, EachWindowCountsItsOwnCycles)
{
    Cycles(1);
    m_clock.Advance(milliseconds(1250));
    Cycles(1);
    EXPECT_EQ(Report(), 160) << "2 * 100000 / 1250";
    Cycles(24);
    EXPECT_EQ(Report(), -1);
    m_clock.Advance(milliseconds(2000));
    Cycles(1);
    EXPECT_EQ(Report(), 1250) << "25 * 100000 / 2000";
}

TEST_F(LxCWThreadAlgoRateTest, TheTickIsThatOfTheWindowsBegin)
{
    m_clock.Advance(milliseconds(500));
    EXPECT_EQ(m_worker.GetTickCount(), 0U);
    Cycles(1);
    EXPECT_EQ(m_worker.GetTickCount(), 500U);
    m_clock.Advance(milliseconds(1000));
    Cycles(1);
    EXPECT_EQ(m_worker.GetTickCount(), 500U);
    m_clock.Advance(milliseconds(1));
    Cycles(1);
    EXPECT_EQ(m_worker.GetTickCount(), 1501U);
}

TEST_F(LxCWThreadAlgoRateTest, PartsOfAMillisecondDoNotCount)
{
    Cycles(1);
    m_clock.Advance(std::chrono::microseconds(1000999));
    Cycles(1);
    EXPECT_EQ(Report(), -1);
    m_clock.Advance(std::chrono::microseconds(1));
    Cycles(1);
    EXPECT_EQ(Report(), 299) << "3 * 100000 / 1001 = 299.7";
}

TEST_F(LxCWThreadAlgoRateTest, FastCyclesDoNotOverflow)
{
    // 50000 * 100000 is more than 32 bits hold.
    Cycles(49999);
    m_clock.Advance(milliseconds(2000));
    Cycles(1);
    EXPECT_EQ(Report(), 2500000) << "25000 cycles per second";
}

TEST_F(LxCWThreadAlgoRateTest, TheTickCounterMayWrap)
{
    m_clock.Advance(milliseconds(0xFFFFFFFFLL - 400)); // ticks of 32 bits end 401 ms later
    Cycles(1);
    m_clock.Advance(milliseconds(1000));
    Cycles(1);
    EXPECT_EQ(Report(), -1);
    m_clock.Advance(milliseconds(1000));
    Cycles(1);
    EXPECT_EQ(Report(), 150) << "3 * 100000 / 2000";
}

TEST_F(LxCWThreadAlgoRateTest, ClocksOfAnyKindAreBorne)
{
    for (const std::int64_t frequency :
         {std::int64_t{0}, std::int64_t{-5}, std::int64_t{1}, std::numeric_limits<std::int64_t>::max()}) {
        for (const std::int64_t ticks : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                         std::numeric_limits<std::int64_t>::max()}) {
            m_clock.SetFrequency(frequency);
            m_clock.SetTicks(ticks);
            Cycles(2);
        }
    }
    DropReports();
    m_clock.SetFrequency(1000);
    m_clock.SetTicks(5000);
    Cycles(1);
    DropReports();
    m_clock.SetTicksAvailable(false);
    WorkerProbe worker(platform::GetCurrentThreadId(), c_uiMessage);
    worker.CalcIPS();
    worker.CalcIPS();
    EXPECT_EQ(Report(), -1) << "without a clock no time passes";
}

TEST_F(LxCWThreadAlgoRateTest, APauseReportsARateOfZero)
{
    m_worker.Start();
    EXPECT_EQ(Report(), -1);
    m_worker.Pause(true, c_ulLong);
    ThreadMessage message;
    ASSERT_TRUE(ThreadMessages::Read(message, c_ulLong));
    EXPECT_EQ(message.id, c_uiMessage);
    EXPECT_EQ(message.firstParameter, 0U);
}

TEST_F(LxCWThreadAlgoRateTest, TheWorkersOwnCyclesAreReported)
{
    m_worker.work = [this] { m_clock.Advance(milliseconds(100)); };
    m_worker.Start();
    ThreadMessage message;
    ASSERT_TRUE(ThreadMessages::Read(message, c_ulLong));
    // The tick is noted after the first cycle; after the twelfth, 1100 ms have passed.
    EXPECT_EQ(message.firstParameter, 12U * 100000U / 1100U);
    ASSERT_TRUE(ThreadMessages::Read(message, c_ulLong));
    EXPECT_EQ(message.firstParameter, 1000U) << "11 cycles in 1100 ms";
}

TEST_F(LxCWThreadAlgoRateTest, WithoutAReceiverNothingIsPosted)
{
    WorkerProbe nobody(0, c_uiMessage);
    WorkerProbe gone(0xFFFFFFFF, c_uiMessage);
    for (WorkerProbe* const worker : {&nobody, &gone}) {
        worker->CalcIPS();
        m_clock.Advance(milliseconds(1500));
        worker->CalcIPS();
        worker->Start();
        EXPECT_EQ(worker->Pause(true, c_ulLong), 0);
    }
    EXPECT_EQ(Report(), -1);
}

/// Moves on by the same time with each look at it.
class SteppingClock : public platform::ClockSource
{
public:
    explicit SteppingClock(std::int64_t stepMs) : m_stepMs(stepMs) {}
    bool QueryTicks(std::int64_t& ticks) override
    {
        ticks = m_stepMs * looks++;
        return true;
    }
    bool QueryFrequency(std::int64_t& frequency) override
    {
        frequency = 1000;
        return true;
    }
    std::chrono::system_clock::time_point Now() override { return {}; }

    std::atomic<std::int64_t> looks{0};

private:
    const std::int64_t m_stepMs;
};

/// Waiting for cycles of a worker that is idle or runs.
class LxCWThreadAlgoCyclesTest : public testing::Test
{
protected:
    CWatchdog m_watchdog;
    WorkerProbe m_worker;
    BtEvent m_abort;
};

TEST_F(LxCWThreadAlgoCyclesTest, AreCountedFromTheCallOn)
{
    m_worker.Start();
    ASSERT_TRUE(ComesTrue([this] { return m_worker.cycles > 20; }));
    const int before = m_worker.cycles;
    EXPECT_TRUE(m_worker.WaitForWorkCycles(20, nullptr, nullptr, -1.0, 0.0));
    EXPECT_GE(m_worker.cycles, before + 19) << "one cycle may have been between its work and its count";
}

TEST_F(LxCWThreadAlgoCyclesTest, OfNoneAreThereAtOnce)
{
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, nullptr, nullptr, -1.0, 0.0));
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, nullptr, nullptr, 0.0, 5.0));
}

TEST_F(LxCWThreadAlgoCyclesTest, OfAnIdleWorkerComeNever)
{
    // Without limits only the abort ends the wait.
    std::thread aborter([this] {
        std::this_thread::sleep_for(milliseconds(15));
        m_abort.Set();
    });
    EXPECT_FALSE(m_worker.WaitForWorkCycles(1, &m_abort, nullptr, -1.0, 0.0));
    EXPECT_TRUE(m_abort.IsSet());
    aborter.join();
}

TEST_F(LxCWThreadAlgoCyclesTest, AnAbortComesBeforeTheCount)
{
    bool flag = true;
    EXPECT_FALSE(m_worker.WaitForWorkCycles(0, nullptr, &flag, -1.0, 0.0));
    flag = false;
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, &m_abort, &flag, -1.0, 0.0));
    m_abort.Set();
    EXPECT_FALSE(m_worker.WaitForWorkCycles(0, &m_abort, &flag, -1.0, 0.0));
}

TEST_F(LxCWThreadAlgoCyclesTest, TheFlagAbortsWhileTheWaitLasts)
{
    alignas(std::atomic_ref<bool>::required_alignment) bool flag = false;
    std::thread aborter([&] {
        std::this_thread::sleep_for(milliseconds(5));
        std::atomic_ref<bool>(flag).store(true);
    });
    EXPECT_FALSE(m_worker.WaitForWorkCycles(1, nullptr, &flag, -1.0, 0.0));
    aborter.join();
}

TEST_F(LxCWThreadAlgoCyclesTest, TheLeastTimePassesThoughTheCountIsReached)
{
    SteppingClock clock(10);
    const platform::ScopedClock scope(clock);
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, nullptr, nullptr, 25.0, 0.0));
    EXPECT_EQ(clock.looks, 4) << "the start, and looks after 10, 20 and 30 ms";
}

TEST_F(LxCWThreadAlgoCyclesTest, ALeastTimeThatIsReachedExactlyIsEnough)
{
    SteppingClock clock(10);
    const platform::ScopedClock scope(clock);
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, nullptr, nullptr, 10.0, 0.0));
    EXPECT_EQ(clock.looks, 2);
}

TEST_F(LxCWThreadAlgoCyclesTest, APositiveMostTimeGivesUpAtTheFirstLook)
{
    SteppingClock clock(10);
    const platform::ScopedClock scope(clock);
    EXPECT_FALSE(m_worker.WaitForWorkCycles(1, nullptr, nullptr, -1.0, 1e9));
    EXPECT_EQ(clock.looks, 2);
    clock.looks = 0;
    EXPECT_FALSE(m_worker.WaitForWorkCycles(1, nullptr, nullptr, -1.0, 10.0)) << "10 ms are at least 10 ms";
    EXPECT_EQ(clock.looks, 2);
}

TEST_F(LxCWThreadAlgoCyclesTest, PastTheMostTimeTheWaitGoesOn)
{
    SteppingClock clock(10);
    const platform::ScopedClock scope(clock);
    std::thread aborter([&] {
        EXPECT_TRUE(ComesTrue([&] { return clock.looks >= 4; }));
        m_abort.Set();
    });
    EXPECT_FALSE(m_worker.WaitForWorkCycles(1, &m_abort, nullptr, -1.0, 9.0));
    EXPECT_GE(clock.looks, 4) << "it went on until the abort";
    aborter.join();
}

TEST_F(LxCWThreadAlgoCyclesTest, PastTheMostTimeTheCountStillEndsTheWait)
{
    SteppingClock clock(10);
    const platform::ScopedClock scope(clock);
    std::thread starter([&] {
        EXPECT_TRUE(ComesTrue([&] { return clock.looks >= 3; }));
        m_worker.Start();
    });
    EXPECT_TRUE(m_worker.WaitForWorkCycles(3, nullptr, nullptr, -1.0, 9.0));
    starter.join();
}

TEST_F(LxCWThreadAlgoCyclesTest, AMostTimeOfZeroOrLessIsNone)
{
    for (const double most : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        bool flag = false;
        std::thread aborter([&] {
            std::this_thread::sleep_for(milliseconds(3));
            std::atomic_ref<bool>(flag).store(true);
        });
        EXPECT_FALSE(m_worker.WaitForWorkCycles(1, nullptr, &flag, -1.0, most));
        aborter.join();
        EXPECT_TRUE(flag) << "only the abort ended it";
    }
}

TEST_F(LxCWThreadAlgoCyclesTest, TimeIsThatOfTheRunningClock)
{
    // While the thread sleeps, hardly any processor time passes.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(m_worker.WaitForWorkCycles(0, nullptr, nullptr, 15.0, 0.0));
    const auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, milliseconds(15));
}

} // namespace
} // namespace LxCV
