// What a message costs that is kept out, that goes to the ring in memory, and that goes to a file.
#include "lxctrace.h"

#include "orx/platform/threads.h"

#include <benchmark/benchmark.h>

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
