// The worker thread: how soon it starts and pauses, and what a cycle costs beside its work.
#include "lxcwthreadalgo.h"
#include "orx/btservices/btevent.h"
#include "orx/btservices/btthread.h"
#include "orx/platform/threadmessages.h"
#include "orx/platform/threads.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace LxCV {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int c_uiMessage = 1;
constexpr int c_iCycles = 100000; // of one run

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Notes when its first cycle begins, and tells when some are done; a cycle has no other work.
class Worker : public LxCWThreadAlgo
{
public:
    Worker() : LxCWThreadAlgo(platform::GetCurrentThreadId(), c_uiMessage) {}
    ~Worker() override { Exit(); }

    using LxCWThreadAlgo::CalcIPS;

    Clock::time_point firstCycle;
    std::atomic<int> cycles{0};
    BtEvent counted;
    int limit = 0; ///< cycles after which the worker tells, 0 for never

private:
    EReturnCode DoWork() override
    {
        const int before = cycles.fetch_add(1, std::memory_order_relaxed);
        if (before == 0) {
            firstCycle = Clock::now();
        }
        if (before + 1 == limit) {
            counted.Set();
        }
        return eRC_OK;
    }
};

/// The floor of all that wakes a thread: an event there and one back, half of it.
void WakeByEvent(benchmark::State& state)
{
    BtEvent there(false);
    BtEvent back(false);
    std::atomic<bool> stop{false};
    std::thread partner([&] {
        while (there.Wait() && !stop) {
            back.Set();
        }
    });
    for (auto _ : state) {
        const auto start = Clock::now();
        there.Set();
        back.Wait();
        state.SetIterationTime(SecondsSince(start) / 2);
    }
    stop = true;
    there.Set();
    partner.join();
}
BENCHMARK(WakeByEvent)->UseManualTime()->Unit(benchmark::kMicrosecond);

void WorkerStartToFirstCycle(benchmark::State& state)
{
    Worker worker;
    for (auto _ : state) {
        worker.cycles = 0;
        const auto start = Clock::now();
        worker.Start();
        while (worker.cycles.load(std::memory_order_acquire) == 0) {
            std::this_thread::yield();
        }
        worker.Pause(true, BtEvent::c_ulInfinite);
        state.SetIterationTime(std::chrono::duration<double>(worker.firstCycle - start).count());
    }
}
BENCHMARK(WorkerStartToFirstCycle)->UseManualTime()->Unit(benchmark::kMicrosecond);

void WorkerPause(benchmark::State& state)
{
    Worker worker;
    for (auto _ : state) {
        worker.Start();
        const auto start = Clock::now();
        worker.Pause(true, BtEvent::c_ulInfinite);
        state.SetIterationTime(SecondsSince(start));
    }
}
BENCHMARK(WorkerPause)->UseManualTime()->Unit(benchmark::kMicrosecond);

/// All that the loop does around a cycle that does nothing: two events looked at, the counts, the rate.
void WorkerCycle(benchmark::State& state)
{
    Worker worker;
    worker.limit = c_iCycles;
    for (auto _ : state) {
        worker.cycles = 0;
        worker.counted.Reset();
        const auto start = Clock::now();
        worker.Start();
        worker.counted.Wait();
        state.SetIterationTime(SecondsSince(start));
        worker.Pause(true, BtEvent::c_ulInfinite);
    }
    state.SetItemsProcessed(state.iterations() * c_iCycles);
}
BENCHMARK(WorkerCycle)->UseManualTime()->Unit(benchmark::kMillisecond);

/// One look at the clock is the floor of the rate report.
void ClockLook(benchmark::State& state)
{
    for (auto _ : state) {
        benchmark::DoNotOptimize(Clock::now());
    }
}
BENCHMARK(ClockLook);

void RateReportWithNothingToTell(benchmark::State& state)
{
    Worker worker;
    for (auto _ : state) {
        worker.CalcIPS();
    }
}
BENCHMARK(RateReportWithNothingToTell);

void EventLookedAt(benchmark::State& state)
{
    BtEvent event;
    for (auto _ : state) {
        benchmark::DoNotOptimize(event.IsSet());
    }
}
BENCHMARK(EventLookedAt);

void MessageToOneself(benchmark::State& state)
{
    platform::ThreadMessages::Open();
    const std::uint32_t self = platform::GetCurrentThreadId();
    platform::ThreadMessage message;
    for (auto _ : state) {
        platform::ThreadMessages::Post(self, {c_uiMessage, 7, 0});
        platform::ThreadMessages::Read(message, 0);
        benchmark::DoNotOptimize(message);
    }
}
BENCHMARK(MessageToOneself);

class Errand
{
public:
    bool Run() { return true; }
};

/// A whole one-shot thread, beside a bare std::thread.
void OneShotThread(benchmark::State& state)
{
    Errand errand;
    BtThread<Errand> thread("Errand", &errand, &Errand::Run);
    for (auto _ : state) {
        thread.Start();
        thread.WaitUntilTerminate();
    }
}
BENCHMARK(OneShotThread)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BareThread(benchmark::State& state)
{
    Errand errand;
    for (auto _ : state) {
        std::thread thread([&] { benchmark::DoNotOptimize(errand.Run()); });
        thread.join();
    }
}
BENCHMARK(BareThread)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace LxCV
