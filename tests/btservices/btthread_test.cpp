#include "orx/btservices/btthread.h"

#include "orx/btservices/btexception.h"
#include "orx/btservices/btthreadinfo.h"
#include "orx/logging/logger.h"
#include "orx/platform/threads.h"
#include "tests/support/nothreads.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Logging::ELevel;
using TestSupport::ComesTrue;
using TestSupport::CWatchdog;
using EFlags = BtThreadPolicyMFC::EFlags;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.BtThread";

/// A thread whose steps a test writes.
class Job : public BtThread<Job, BtThreadPolicyMFC>
{
public:
    Job() : BtThread("Job", this, &Job::Work) {}
    ~Job() override
    {
        if (destroyed != nullptr) {
            destroyed->Set();
        }
    }

    using BtThread::WaitWhileSuspended;

    bool Work() { return work(); }

    std::function<bool()> work = [] { return true; };
    std::function<void()> before = [] {};
    std::function<void(std::uint32_t)> after = [](std::uint32_t) {};
    BtEvent* destroyed = nullptr;

private:
    void onBeforeRun() override { before(); }
    void onAfterRun(std::uint32_t code) override { after(code); }
};

/// Each test has a time limit and a capture of the log.
class BtThreadTest : public testing::Test
{
protected:
    CWatchdog m_watchdog;
    Logging::CCapture m_log;

    int Logged(ELevel level, const std::wstring& text) const { return m_log.Count(level, c_sChannel, text); }
};

TEST_F(BtThreadTest, RunsItsStepsOnceInOrderOnAnotherThread)
{
    Job job;
    std::vector<std::string> steps;
    std::uint32_t code = 1;
    unsigned int flagsInside = 0;
    std::uint32_t runner = 0;
    job.before = [&] { steps.emplace_back("before"); };
    job.work = [&] {
        steps.emplace_back("work");
        flagsInside = job.GetFlags();
        runner = job.GetThreadId();
        EXPECT_EQ(runner, platform::GetCurrentThreadId());
        EXPECT_TRUE(job.IsRunning());
        return true;
    };
    job.after = [&](std::uint32_t result) {
        steps.emplace_back("after");
        code = result;
        EXPECT_TRUE(job.IsFlagsSet(EFlags::eRunning));
    };
    EXPECT_TRUE(job.Start());
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(steps, (std::vector<std::string>{"before", "work", "after"}));
    EXPECT_EQ(code, 0U);
    EXPECT_NE(runner, platform::GetCurrentThreadId());
    EXPECT_EQ(flagsInside, 3U) << "start requested and running";
    EXPECT_EQ(job.GetFlags(), 5U) << "start requested and finished";
    EXPECT_TRUE(job.IsSuccessful());
    EXPECT_FALSE(job.IsRunning());
    EXPECT_TRUE(job.GetTerminateEvent()->IsSet());
    EXPECT_EQ(job.GetThreadId(), 0U);
}

TEST_F(BtThreadTest, NewObjectIsIdleAndSuccessful)
{
    Job job;
    EXPECT_EQ(job.GetFlags(), 0U);
    EXPECT_TRUE(job.IsSuccessful());
    EXPECT_FALSE(job.IsRunning());
    EXPECT_FALSE(job.WaitUntilTerminate(0)) << "there is no thread";
    EXPECT_FALSE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetThreadHandle(), std::thread::native_handle_type{});
    EXPECT_FALSE(job.Suspend());
    EXPECT_FALSE(job.Resume());
    EXPECT_FALSE(job.Terminate());
    EXPECT_EQ(job.GetFlags(), 0U);
}

TEST_F(BtThreadTest, AFalseResultFails)
{
    Job job;
    std::uint32_t code = 0;
    job.work = [] { return false; };
    job.after = [&](std::uint32_t result) { code = result; };
    job.Start();
    job.WaitUntilTerminate();
    EXPECT_EQ(code, 0x80004005U);
    EXPECT_EQ(job.GetFlags(), 21U);
    EXPECT_FALSE(job.IsSuccessful());
}

TEST_F(BtThreadTest, ExceptionsOfEveryKindFail)
{
    const struct
    {
        std::function<bool()> work;
        std::wstring text;
    } cases[] = {
        {[]() -> bool { throw std::runtime_error("disk is full"); },
         L"thread Job: exception in the run: disk is full"},
        {[]() -> bool { throw BtException(L"no folder"); }, L"thread Job: exception in the run: no folder"},
        {[]() -> bool { throw 7; }, L"thread Job: unknown exception in the run"},
    };
    for (const auto& row : cases) {
        Job job;
        std::uint32_t code = 0;
        job.work = row.work;
        job.after = [&](std::uint32_t result) { code = result; };
        job.Start();
        job.WaitUntilTerminate();
        EXPECT_EQ(code, 0x80004005U);
        EXPECT_EQ(job.GetFlags(), 21U);
        EXPECT_EQ(Logged(ELevel::eError, row.text), 1);
    }
}

TEST_F(BtThreadTest, AnExceptionBeforeTheRunPreventsIt)
{
    Job job;
    std::atomic<int> runs{0};
    std::uint32_t code = 0;
    job.before = [] { throw std::runtime_error("not ready"); };
    job.work = [&] { return ++runs > 0; };
    job.after = [&](std::uint32_t result) { code = result; };
    EXPECT_TRUE(job.StartAndWait());
    job.WaitUntilTerminate();
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(code, 0x80004005U);
    EXPECT_FALSE(job.IsSuccessful());
    EXPECT_EQ(Logged(ELevel::eError, L"thread Job: exception in onBeforeRun: not ready"), 1);
}

TEST_F(BtThreadTest, AnExceptionAfterTheRunFailsAndEndsTheThreadAllTheSame)
{
    Job job;
    job.after = [](std::uint32_t) { throw std::runtime_error("late"); };
    job.Start();
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 21U);
    EXPECT_EQ(Logged(ELevel::eError, L"thread Job: exception in onAfterRun: late"), 1);
}

TEST_F(BtThreadTest, ARunOfNothingFails)
{
    BtThread<Job> thread("Nothing", nullptr, nullptr);
    thread.Start();
    thread.WaitUntilTerminate();
    EXPECT_FALSE(thread.IsSuccessful());
}

TEST_F(BtThreadTest, StartIsRefusedWhileTheThreadRuns)
{
    Job job;
    BtEvent release;
    job.work = [&] { return release.Wait(); };
    EXPECT_TRUE(job.Start());
    EXPECT_FALSE(job.Start());
    EXPECT_FALSE(job.StartAndWait());
    EXPECT_FALSE(job.WaitUntilTerminate(1));
    EXPECT_NE(job.GetThreadHandle(), std::thread::native_handle_type{});
    release.Set();
    EXPECT_TRUE(job.WaitUntilTerminate());
}

TEST_F(BtThreadTest, ARunMayFollowARun)
{
    Job job;
    int runs = 0;
    job.work = [&] { return ++runs % 2 == 0; };
    for (int i = 1; i <= 50; ++i) {
        ASSERT_TRUE(job.Start());
        ASSERT_TRUE(job.GetTerminateEvent()->Wait(10000));
        EXPECT_EQ(runs, i);
        EXPECT_EQ(job.IsSuccessful(), i % 2 == 0) << "the failure of the run before does not stay";
    }
}

TEST_F(BtThreadTest, StartAndWaitReturnsAfterTheStepBeforeTheRun)
{
    for (int i = 0; i < 50; ++i) {
        Job job;
        BtEvent release;
        bool prepared = false;
        job.before = [&] { prepared = true; };
        job.work = [&] { return release.Wait(); };
        EXPECT_TRUE(job.StartAndWait());
        EXPECT_TRUE(prepared);
        EXPECT_TRUE(job.IsFlagsSet(EFlags::eStartRequested | EFlags::eRunning));
        release.Set();
        EXPECT_TRUE(job.WaitUntilTerminate());
    }
}

TEST_F(BtThreadTest, WithoutASystemThreadNothingStarts)
{
    Job job;
    {
        const TestSupport::CNoMoreThreads none;
        EXPECT_FALSE(job.Start());
        EXPECT_FALSE(job.StartAndWait());
    }
    EXPECT_EQ(job.GetFlags(), 0U);
    EXPECT_FALSE(job.IsRunning());
    EXPECT_FALSE(job.WaitUntilTerminate(0));
    int errors = 0;
    for (const Logging::CRecord& record : m_log.GetRecords()) {
        errors +=
            record.level == ELevel::eError && record.text.starts_with(L"thread Job could not be created: ");
    }
    EXPECT_EQ(errors, 2);
    EXPECT_TRUE(job.Start()) << "and now there are threads again";
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 5U);
}

TEST_F(BtThreadTest, ASuspendedThreadStopsWhereItAsks)
{
    Job job;
    std::atomic<int> rounds{0};
    std::atomic<bool> stop{false};
    job.work = [&] {
        while (!stop) {
            ++rounds;
            if (!job.WaitWhileSuspended()) {
                return false;
            }
        }
        return true;
    };
    job.StartAndWait();
    ASSERT_TRUE(ComesTrue([&] { return rounds > 0; }));
    EXPECT_TRUE(job.Suspend());
    EXPECT_TRUE(job.Suspend()) << "once more changes nothing";
    EXPECT_TRUE(job.IsFlagsSet(EFlags::eSuspended | EFlags::eRunning));
    EXPECT_TRUE(job.IsRunning());
    // One round may be under way; then nothing moves.
    int before = -1;
    ASSERT_TRUE(ComesTrue([&] { return std::exchange(before, rounds.load()) == rounds; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_LE(rounds, before + 1);
    EXPECT_TRUE(job.Resume());
    EXPECT_FALSE(job.IsOneFlagSet(EFlags::eSuspended));
    EXPECT_TRUE(ComesTrue([&] { return rounds > before + 1; }));
    EXPECT_TRUE(job.Resume());
    stop = true;
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_TRUE(job.IsSuccessful());
    EXPECT_FALSE(job.Suspend()) << "no longer running";
    EXPECT_FALSE(job.Resume());
}

TEST_F(BtThreadTest, ASuspendedThreadDoesNotEnd)
{
    Job job;
    BtEvent inside;
    BtEvent release;
    BtEvent returned;
    job.work = [&] {
        inside.Set();
        release.Wait();
        returned.Set();
        return true;
    };
    job.Start();
    inside.Wait();
    EXPECT_TRUE(job.Suspend());
    release.Set();
    returned.Wait();
    EXPECT_FALSE(job.WaitUntilTerminate(10));
    EXPECT_EQ(job.GetFlags(), 11U) << "start requested, running and suspended";
    EXPECT_TRUE(job.Resume());
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 5U);
}

TEST_F(BtThreadTest, RemovingTheFlagResumesToo)
{
    Job job;
    BtEvent release;
    job.work = [&] { return release.Wait(); };
    job.StartAndWait();
    job.Suspend();
    release.Set();
    job.RemoveFlags(EFlags::eSuspended);
    EXPECT_TRUE(job.WaitUntilTerminate());
}

TEST_F(BtThreadTest, TerminateWarnsAndEndsARunThatAsks)
{
    Job job;
    std::atomic<int> rounds{0};
    bool toldAfter = false;
    job.work = [&] {
        do {
            ++rounds;
        } while (job.WaitWhileSuspended());
        return false;
    };
    job.after = [&](std::uint32_t) { toldAfter = true; };
    job.StartAndWait();
    ASSERT_TRUE(ComesTrue([&] { return rounds > 0; }));
    const std::uint32_t id = job.GetThreadId();
    EXPECT_TRUE(job.Terminate());
    EXPECT_EQ(job.GetFlags(), 4U);
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 4U);
    EXPECT_FALSE(toldAfter) << "a terminated thread is told nothing";
    EXPECT_TRUE(job.GetTerminateEvent()->IsSet());
    EXPECT_EQ(m_log.Count(ELevel::eWarning, L"ORX.Lumorad.BtThreadInfo",
                          L"thread Job (" + std::to_wstring(id) + L") is terminated while it runs"),
              1);
    EXPECT_FALSE(job.Terminate()) << "nothing runs";
}

TEST_F(BtThreadTest, ATerminatedThreadRunsUntilItReturns)
{
    Job job;
    BtEvent inside;
    BtEvent release;
    job.work = [&] {
        inside.Set();
        return release.Wait();
    };
    job.Start();
    inside.Wait();
    EXPECT_TRUE(job.Terminate());
    EXPECT_FALSE(job.Terminate()) << "given up already";
    EXPECT_TRUE(job.IsRunning()) << "it was not killed";
    EXPECT_FALSE(job.Start()) << "two runs would share the object";
    EXPECT_FALSE(job.Suspend());
    EXPECT_FALSE(job.WaitUntilTerminate(1));
    release.Set();
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_FALSE(job.IsRunning());
    EXPECT_TRUE(job.Start());
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 5U);
}

TEST_F(BtThreadTest, TerminateBeforeTheRunPreventsIt)
{
    Job job;
    BtEvent preparing;
    BtEvent release;
    std::atomic<int> runs{0};
    job.before = [&] {
        preparing.Set();
        release.Wait();
    };
    job.work = [&] { return ++runs > 0; };
    job.Start();
    preparing.Wait();
    EXPECT_TRUE(job.Terminate());
    release.Set();
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(job.GetFlags(), 4U);
}

TEST_F(BtThreadTest, TerminateReleasesASuspendedThread)
{
    Job job;
    BtEvent stopped;
    job.work = [&] {
        job.Suspend();
        stopped.Set();
        return job.WaitWhileSuspended();
    };
    job.Start();
    stopped.Wait();
    EXPECT_TRUE(job.Terminate());
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_EQ(job.GetFlags(), 4U);
}

TEST_F(BtThreadTest, AThreadCannotWaitForItself)
{
    Job job;
    bool waited = true;
    job.work = [&] {
        waited = job.WaitUntilTerminate();
        return true;
    };
    job.Start();
    EXPECT_TRUE(job.WaitUntilTerminate());
    EXPECT_FALSE(waited);
    EXPECT_EQ(Logged(ELevel::eError, L"thread Job cannot wait for its own end"), 1);
}

TEST_F(BtThreadTest, TheTerminateEventMayBeTheCallers)
{
    BtEvent own;
    Job job;
    job.SetTerminateEvent(&own);
    EXPECT_EQ(job.GetTerminateEvent(), &own);
    job.Start();
    EXPECT_TRUE(own.Wait(10000));
    EXPECT_TRUE(job.WaitUntilTerminate());
    job.SetTerminateEvent(nullptr);
    EXPECT_NE(job.GetTerminateEvent(), nullptr);
    EXPECT_FALSE(job.GetTerminateEvent()->IsSet());
}

TEST_F(BtThreadTest, AutoDeleteDestroysTheObjectAtItsEnd)
{
    for (int i = 0; i < 50; ++i) {
        BtEvent ended;
        BtEvent destroyed;
        auto* const job = new Job;
        job->destroyed = &destroyed;
        job->SetTerminateEvent(&ended);
        job->AddFlags(EFlags::eAutoDelete);
        EXPECT_TRUE(i % 2 == 0 ? job->Start() : job->StartAndWait());
        EXPECT_TRUE(destroyed.Wait(10000));
        EXPECT_TRUE(ended.IsSet()) << "the event comes first";
    }
}

TEST_F(BtThreadTest, AWaitOutlivesAnObjectThatDeletesItself)
{
    BtEvent release;
    BtEvent destroyed;
    auto* const job = new Job;
    job->destroyed = &destroyed;
    job->work = [&] { return release.Wait(); };
    job->AddFlags(EFlags::eAutoDelete);
    job->StartAndWait();
    std::thread releaser([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        release.Set();
    });
    EXPECT_TRUE(job->WaitUntilTerminate());
    EXPECT_TRUE(destroyed.IsSet()) << "the end comes last";
    releaser.join();
}

TEST_F(BtThreadTest, ATerminatedObjectStaysItsOwners)
{
    BtEvent destroyed;
    BtEvent release;
    auto job = std::make_unique<Job>();
    job->destroyed = &destroyed;
    job->work = [&] { return release.Wait(); };
    job->AddFlags(EFlags::eAutoDelete);
    job->StartAndWait();
    job->Terminate();
    release.Set();
    EXPECT_TRUE(job->WaitUntilTerminate());
    EXPECT_FALSE(destroyed.IsSet());
    job.reset();
    EXPECT_TRUE(destroyed.IsSet());
}

struct Worker
{
    BtEvent release;
    std::atomic<bool> done{false};

    bool Work()
    {
        release.Wait();
        done = true;
        return true;
    }
};

TEST_F(BtThreadTest, DestructionWaitsForARunOfAnotherObject)
{
    Worker worker;
    std::thread releaser;
    {
        BtThread<Worker> thread("Errand", &worker, &Worker::Work);
        EXPECT_TRUE(thread.StartAndWait());
        releaser = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            worker.release.Set();
        });
    }
    releaser.join();
    EXPECT_EQ(Logged(ELevel::eError, L"thread Errand is destroyed while it runs; waiting for its end"), 1);
}

TEST_F(BtThreadTest, DestructionRightAfterStartIsSafe)
{
    Worker worker;
    worker.release.Set();
    for (int i = 0; i < 50; ++i) {
        BtThread<Worker> thread("Errand", &worker, &Worker::Work);
        EXPECT_TRUE(thread.Start());
    }
}

TEST_F(BtThreadTest, PrioritiesStepAlongTheirList)
{
    Job job;
    EXPECT_EQ(job.GetPriority(), 0);
    for (const int expected : {1, 2, 15}) {
        EXPECT_TRUE(job.SpeedUp());
        EXPECT_EQ(job.GetPriority(), expected);
    }
    EXPECT_FALSE(job.SpeedUp());
    EXPECT_EQ(job.GetPriority(), 15);
    for (const int expected : {2, 1, 0, -1, -2, -15}) {
        EXPECT_TRUE(job.SlowDown());
        EXPECT_EQ(job.GetPriority(), expected);
    }
    EXPECT_FALSE(job.SlowDown());
    EXPECT_EQ(job.GetPriority(), -15);
}

TEST_F(BtThreadTest, PrioritiesOutsideTheListAreRefused)
{
    Job job;
    EXPECT_TRUE(job.SetPriority(-2));
    EXPECT_FALSE(job.SetPriority(3));
    EXPECT_EQ(job.GetPriority(), -2);
    EXPECT_EQ(Logged(ELevel::eWarning, L"thread Job: the system refuses the priority 3"), 1);
}

TEST_F(BtThreadTest, TheThreadTakesPriorityProcessorsAndName)
{
    const std::uint64_t all = BtThreadPolicyMFC::GetProcessAffinityMask();
    const std::uint64_t lowest = all & (~all + 1);
    Job job;
    std::string name;
    std::uint64_t mask = 0;
    BtEvent looked;
    BtEvent release;
    job.SetName("Named");
    EXPECT_TRUE(job.SetPriority(-1));
    EXPECT_TRUE(job.SetThreadAffinityMask(lowest));
    job.work = [&] {
        name = platform::GetCurrentThreadName();
        mask = platform::GetThreadAffinityMask(platform::GetCurrentThreadId());
        looked.Set();
        return release.Wait();
    };
    job.Start();
    looked.Wait();
    EXPECT_EQ(name, "Named");
    EXPECT_EQ(job.GetName(), "Named");
    EXPECT_EQ(mask, lowest);
    EXPECT_TRUE(job.SlowDown());
    EXPECT_EQ(job.GetPriority(), -2);
    EXPECT_TRUE(job.SetThreadAffinityMask(0));
    EXPECT_EQ(platform::GetThreadAffinityMask(job.GetThreadId()), all)
        << "no wish: where the process may run";
    release.Set();
    job.WaitUntilTerminate();
    EXPECT_TRUE(m_log.GetRecords().empty()) << "nothing was refused";
}

TEST_F(BtThreadTest, RefusedProcessorsAreLogged)
{
    const std::uint64_t missing = std::uint64_t{1} << 63;
    if ((BtThreadPolicyMFC::GetProcessAffinityMask() & missing) != 0) {
        GTEST_SKIP() << "the machine has that many processors";
    }
    Job job;
    BtEvent release;
    job.work = [&] { return release.Wait(); };
    EXPECT_TRUE(job.SetThreadAffinityMask(missing)) << "a wish for the next run";
    job.StartAndWait();
    EXPECT_EQ(Logged(ELevel::eWarning, L"thread Job: the system refuses the processors 0x8000000000000000"),
              1);
    EXPECT_FALSE(job.SetThreadAffinityMask(missing));
    EXPECT_EQ(Logged(ELevel::eWarning, L"thread Job: the system refuses the processors 0x8000000000000000"),
              2);
    release.Set();
    job.WaitUntilTerminate();
    EXPECT_TRUE(job.IsSuccessful()) << "it ran without";
}

TEST_F(BtThreadTest, AnIdealProcessorIsNotTaken)
{
    Job job;
    EXPECT_FALSE(job.SetThreadIdealProcessor(3));
    EXPECT_EQ(Logged(ELevel::eInfo, L"thread Job: the system takes no ideal processor, 3 is not used"), 1);
}

TEST_F(BtThreadTest, FlagsAreAddedRemovedAndAsked)
{
    Job job;
    job.SetFlags(EFlags::eAutoDelete | EFlags::eFailed);
    EXPECT_EQ(job.GetFlags(), 48U);
    EXPECT_FALSE(job.IsSuccessful());
    job.AddFlags(EFlags::eFinished);
    EXPECT_TRUE(job.IsFlagsSet(EFlags::eAutoDelete | EFlags::eFinished));
    EXPECT_FALSE(job.IsFlagsSet(EFlags::eAutoDelete | EFlags::eRunning));
    EXPECT_TRUE(job.IsOneFlagSet(EFlags::eAutoDelete | EFlags::eRunning));
    EXPECT_FALSE(job.IsOneFlagSet(EFlags::eSuspended | EFlags::eRunning));
    job.RemoveFlags(EFlags::eAutoDelete | EFlags::eFailed);
    EXPECT_EQ(job.GetFlags(), 4U);
}

TEST_F(BtThreadTest, ManyThreadsMayAskAndSteer)
{
    Job job;
    std::atomic<bool> stop{false};
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&] {
            while (!stop) {
                job.Start();
                job.Suspend();
                job.SlowDown();
                job.IsRunning();
                job.GetThreadHandle();
                job.Resume();
                job.Terminate();
                job.WaitUntilTerminate(1);
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    job.Terminate();
    job.WaitUntilTerminate();
    EXPECT_FALSE(job.IsRunning());
}

} // namespace
