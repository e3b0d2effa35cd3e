// What a message costs that is kept out, that goes to the ring in memory, and that goes to a file; each beside a call
// that takes the same arguments and does no more than that, than formatting them, or than writing them.
#include "lxctrace.h"

#include "orx/platform/threads.h"

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using LxCV::LxCTrace;

/// The trace of the process with files in a folder of their own.
class CTraceInFolder
{
public:
    explicit CTraceInFolder(int options)
        : m_Folder(std::filesystem::temp_directory_path() / "lxcvbench.trace")
    {
        std::filesystem::create_directories(m_Folder);
        constexpr unsigned long kMaxFileSize = 1'000'000; // bytes
        m_Trace.SetOptions(options);
        m_Trace.Init("bench", m_Folder.string(), kMaxFileSize, 2, "trace");
    }
    ~CTraceInFolder()
    {
        m_Trace.Invaldidate();
        m_Trace.ShowAllThreads();
        std::filesystem::remove_all(m_Folder);
    }
    CTraceInFolder(const CTraceInFolder&) = delete;
    CTraceInFolder& operator=(const CTraceInFolder&) = delete;

    LxCTrace& m_Trace = BtSingleton<LxCTrace>::Instance();

private:
    std::filesystem::path m_Folder;
};

std::atomic<int> s_iLevel{3};

/// What a message that is kept out cannot do without: a call with its arguments and a look at the level.
[[gnu::noinline, gnu::format(printf, 2, 3)]] void LookAtTheLevel(int level, const char* format, ...)
{
    if (level <= s_iLevel.load(std::memory_order_relaxed)) {
        benchmark::DoNotOptimize(format);
    }
    benchmark::ClobberMemory();
}

void BM_TraceFloorOfACall(benchmark::State& state)
{
    int i = 0;
    for (auto _ : state) {
        LookAtTheLevel(4, "value %d of %s\n", ++i, "nobody");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceFloorOfACall);

void BM_TraceAboveTheLevel(benchmark::State& state)
{
    const CTraceInFolder files(LxCTrace::eO_Level);
    int i = 0;
    for (auto _ : state) {
        files.m_Trace.Msg(4, "value %d of %s\n", ++i, "nobody");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceAboveTheLevel);

void BM_TraceOfAnotherThread(benchmark::State& state)
{
    const CTraceInFolder files(LxCTrace::eO_Level);
    files.m_Trace.AddThreadIdFilter(platform::GetCurrentThreadId() + 1);
    int i = 0;
    for (auto _ : state) {
        files.m_Trace.Msg(3, "value %d of %s\n", ++i, "nobody");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceOfAnotherThread);

void BM_TraceFloorOfALine(benchmark::State& state)
{
    std::array<char, 1024> line{};
    int i = 0;
    for (auto _ : state) {
        std::snprintf(line.data(), line.size(), "2015-03-04 05:06:07.089 3 value %d of %s\n", ++i,
                      "somebody");
        benchmark::DoNotOptimize(line);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceFloorOfALine);

void BM_TraceSilentLine(benchmark::State& state)
{
    const CTraceInFolder files(LxCTrace::eO_Silent | LxCTrace::eO_Date | LxCTrace::eO_Time |
                               LxCTrace::eO_Level);
    int i = 0;
    for (auto _ : state) {
        files.m_Trace.Msg(3, "value %d of %s\n", ++i, "somebody");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceSilentLine);

void BM_TraceFloorOfAFile(benchmark::State& state)
{
    const CTraceInFolder files(LxCTrace::eO_Level);
    const std::string path =
        (std::filesystem::temp_directory_path() / "lxcvbench.trace" / "floor.txt").string();
    for (auto _ : state) {
        std::FILE* const file = std::fopen(path.c_str(), "a");
        std::fputs("2015-03-04 05:06:07.089 3 value 12345 of somebody\n", file);
        std::fclose(file);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceFloorOfAFile);

void BM_TraceLineInAFile(benchmark::State& state)
{
    const CTraceInFolder files(LxCTrace::eO_Date | LxCTrace::eO_Time | LxCTrace::eO_Level);
    int i = 0;
    for (auto _ : state) {
        files.m_Trace.Msg(3, "value %d of %s\n", ++i, "somebody");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TraceLineInAFile);

} // namespace
