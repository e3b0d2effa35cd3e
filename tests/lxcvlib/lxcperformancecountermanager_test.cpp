#include "lxcperformancecountermanager.h"

#include "orx/platform/clock.h"
#include "orx/platform/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

/// Each test begins and ends with a manager without counters that is disabled.
class LxCPerformanceCounterManagerTest : public testing::Test
{
protected:
    LxCPerformanceCounterManagerTest() { Reset(); }
    ~LxCPerformanceCounterManagerTest() override { Reset(); }

    LxCPerformanceCounterManager& m_manager = BtSingleton<LxCPerformanceCounterManager>::Instance();
    platform::ManualClock m_clock;
    platform::ScopedClock m_scope{m_clock};

    void Reset()
    {
        m_manager.Clear();
        m_manager.Enable(false);
    }

    /// A measurement whose preprocessing took `duration`.
    CPerformanceCounter& AddMeasurement(milliseconds duration)
    {
        m_manager.Enable(true);
        CPerformanceCounter& counter = *m_manager.GetNewPerformanceCounter();
        m_clock.Advance(milliseconds(2));
        counter.addTimestamp(L"DoPreprocessing: Start");
        m_clock.Advance(duration);
        counter.addTimestamp(L"DoPreprocessing: End");
        return counter;
    }

    std::wstring Statistics()
    {
        std::wostringstream stream;
        m_manager.CalculateAndTraceStatistics(stream);
        return stream.str();
    }
};

fs::path TraceFile()
{
    return fs::path(platform::GetExecutablePath()).parent_path() / "Trace" / "PerformanceCounter.txt";
}

std::string ReadFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(LxCPerformanceCounterManagerTest, DisabledManagerGivesNoCounter)
{
    EXPECT_EQ(m_manager.GetNewPerformanceCounter(), nullptr);
}

TEST_F(LxCPerformanceCounterManagerTest, CountersStartWhenTheyAreHandedOut)
{
    m_manager.Enable(true);
    m_clock.Advance(milliseconds(100));
    CPerformanceCounter* const counter = m_manager.GetNewPerformanceCounter();
    ASSERT_NE(counter, nullptr);
    EXPECT_NE(counter, m_manager.GetNewPerformanceCounter());
    m_clock.Advance(milliseconds(3));
    counter->addTimestamp(L"a");
    EXPECT_DOUBLE_EQ(counter->getTimeStamp(L"a"), 0.003);
}

TEST_F(LxCPerformanceCounterManagerTest, TraceOfAStreamWritesEveryCounter)
{
    m_manager.Enable(true);
    CPerformanceCounter* const first = m_manager.GetNewPerformanceCounter();
    CPerformanceCounter* const second = m_manager.GetNewPerformanceCounter();
    m_clock.Advance(milliseconds(1));
    second->addTimestamp(L"second");
    m_clock.Advance(milliseconds(1));
    first->addTimestamp(L"first");
    const fs::path path = fs::path(testing::TempDir()) / "counters.txt";
    {
        std::wofstream stream(path);
        EXPECT_TRUE(m_manager.Trace(stream));
    }
    EXPECT_EQ(ReadFile(path), "2.000\tfirst\n1.000\tsecond\n");
    fs::remove(path);
}

TEST_F(LxCPerformanceCounterManagerTest, TraceOfAStreamThatIsNotOpenFails)
{
    std::wofstream stream;
    EXPECT_FALSE(m_manager.Trace(stream));
}

TEST_F(LxCPerformanceCounterManagerTest, StatisticsOfNothingHaveAllRows)
{
    EXPECT_EQ(Statistics(), L"Verwendet:\t0\n"
                            L"Verworfen:\t0\n"
                            L"Ausserhalb:\t0\n"
                            L"\n"
                            L"Stage\tValues\tMean [ms]\tSpread [ms]\n"
                            L"RGB-image acquired\t0\t-\t-\n"
                            L"Acquire image: White\t0\t-\t-\n"
                            L"Compute live images\t0\t-\t-\n"
                            L"Provide raw images\t0\t-\t-\n"
                            L"ConvertRawImages\t0\t-\t-\n"
                            L"DoPreprocessing\t0\t-\t-\n"
                            L"DoMainprocessing\t0\t-\t-\n"
                            L"DoPostprocessing\t0\t-\t-\n"
                            L"computeFromScanData\t0\t-\t-\n"
                            L"Depth image fetched\t0\t-\t-\n"
                            L"ComputeRegistration\t0\t-\t-\n"
                            L"Add Registered Model\t0\t-\t-\n");
}

TEST_F(LxCPerformanceCounterManagerTest, EveryStageReadsItsOwnStamps)
{
    const wchar_t* const stamps[] = {
        L"Start of performance counter: RGB-image acquired",
        L"Acquire image: start: White",
        L"Acquire image:   end: White",
        L"Compute live images: start",
        L"Compute live images: end",
        L"Provide raw images: start",
        L"Provide raw images: end",
        L"ConvertRawImages: Start",
        L"ConvertRawImages: End",
        L"DoPreprocessing: Start",
        L"DoPreprocessing: End",
        L"DoMainprocessing: Start",
        L"DoMainprocessing: End",
        L"DoPostprocessing: Start",
        L"DoPostprocessing: End",
        L"computeFromScanData: Start",
        L"computeFromScanData: End",
        L"Depth image fetched: Start",
        L"Depth image fetched: End",
        L"ComputeRegistration: Start",
        L"ComputeRegistration: End",
        L"Add Registered Model: Start",
        L"Add Registered Model: End",
    };
    m_manager.Enable(true);
    CPerformanceCounter* const counter = m_manager.GetNewPerformanceCounter();
    int duration = 1;
    for (const wchar_t* const stamp : stamps) {
        m_clock.Advance(milliseconds(duration)); // stamp number n comes n ms after the one before
        counter->addTimestamp(stamp);
        ++duration;
    }
    // Stage k, from 1, ends with stamp 2k + 1, counted from 1.
    EXPECT_EQ(Statistics(), L"Verwendet:\t1\n"
                            L"Verworfen:\t0\n"
                            L"Ausserhalb:\t0\n"
                            L"\n"
                            L"Stage\tValues\tMean [ms]\tSpread [ms]\n"
                            L"RGB-image acquired\t1\t1.000\t0.000\n"
                            L"Acquire image: White\t1\t3.000\t0.000\n"
                            L"Compute live images\t1\t5.000\t0.000\n"
                            L"Provide raw images\t1\t7.000\t0.000\n"
                            L"ConvertRawImages\t1\t9.000\t0.000\n"
                            L"DoPreprocessing\t1\t11.000\t0.000\n"
                            L"DoMainprocessing\t1\t13.000\t0.000\n"
                            L"DoPostprocessing\t1\t15.000\t0.000\n"
                            L"computeFromScanData\t1\t17.000\t0.000\n"
                            L"Depth image fetched\t1\t19.000\t0.000\n"
                            L"ComputeRegistration\t1\t21.000\t0.000\n"
                            L"Add Registered Model\t1\t23.000\t0.000\n");
}

TEST_F(LxCPerformanceCounterManagerTest, MeanAndSpreadAreThoseOfTheValues)
{
    for (const int duration : {2, 4, 4, 4, 5, 5, 7, 9}) { // mean 5, mean squared deviation 32 / 8 = 4
        AddMeasurement(milliseconds(duration));
    }
    EXPECT_NE(Statistics().find(L"\nDoPreprocessing\t8\t5.000\t2.000\n"), std::wstring::npos);
}

TEST_F(LxCPerformanceCounterManagerTest, BrokenOffMeasurementsAreDiscarded)
{
    AddMeasurement(milliseconds(5));
    AddMeasurement(milliseconds(5)).addTimestamp(L"DoMainprocessing: Start"); // no end
    AddMeasurement(milliseconds(5)).addTimestamp(L"DoMainprocessing: End");   // no start
    CPerformanceCounter& reversed = AddMeasurement(milliseconds(5));
    reversed.addTimestamp(L"DoMainprocessing: End");
    m_clock.Advance(milliseconds(1));
    reversed.addTimestamp(L"DoMainprocessing: Start");
    m_manager.GetNewPerformanceCounter(); // nothing at all
    const std::wstring text = Statistics();
    EXPECT_TRUE(text.starts_with(L"Verwendet:\t1\nVerworfen:\t4\nAusserhalb:\t0\n")) << text.size();
    EXPECT_NE(text.find(L"\nDoPreprocessing\t1\t5.000\t0.000\n"), std::wstring::npos);
}

TEST_F(LxCPerformanceCounterManagerTest, MeasurementBeyondThreeSpreadsIsOutsideAndNotInTheRows)
{
    for (int i = 0; i < 20; ++i) {
        AddMeasurement(milliseconds(10));
    }
    // Mean (200 + 900) / 21 = 52.4 ms; spread 189.6 ms, three of them 568.9 ms; 900 ms deviates by 847.6 ms.
    AddMeasurement(milliseconds(900));
    const std::wstring text = Statistics();
    EXPECT_TRUE(text.starts_with(L"Verwendet:\t20\nVerworfen:\t0\nAusserhalb:\t1\n"));
    EXPECT_NE(text.find(L"\nDoPreprocessing\t20\t10.000\t0.000\n"), std::wstring::npos);
}

TEST_F(LxCPerformanceCounterManagerTest, AnOutlierAmongFewIsUsed)
{
    // Of n values one deviates by (n - 1) / sqrt(n) spreads at most: 2.67 of nine.
    for (int i = 0; i < 8; ++i) {
        AddMeasurement(milliseconds(10));
    }
    AddMeasurement(milliseconds(900));
    EXPECT_TRUE(Statistics().starts_with(L"Verwendet:\t9\nVerworfen:\t0\nAusserhalb:\t0\n"));
}

TEST_F(LxCPerformanceCounterManagerTest, EqualTimesAreNotOutside)
{
    m_clock.SetFrequency(3); // times that are no finite sum of powers of two
    m_manager.Enable(true);
    for (int i = 0; i < 1000; ++i) {
        CPerformanceCounter* const counter = m_manager.GetNewPerformanceCounter();
        counter->addTimestamp(L"DoPreprocessing: Start");
        m_clock.Advance(std::chrono::seconds(1));
        counter->addTimestamp(L"DoPreprocessing: End");
    }
    EXPECT_TRUE(Statistics().starts_with(L"Verwendet:\t1000\nVerworfen:\t0\nAusserhalb:\t0\n"));
}

TEST_F(LxCPerformanceCounterManagerTest, ClearForgetsAllMeasurements)
{
    AddMeasurement(milliseconds(10));
    m_manager.Clear();
    EXPECT_TRUE(Statistics().starts_with(L"Verwendet:\t0\nVerworfen:\t0\nAusserhalb:\t0\n"));
}

// One test for all that happens to this file, since tests may run at once in several processes.
TEST_F(LxCPerformanceCounterManagerTest, TraceWritesTheStatisticsBesideTheProgramWhenEnabled)
{
    const fs::path folder = TraceFile().parent_path();
    fs::remove_all(folder);
    EXPECT_TRUE(m_manager.Trace()) << "disabled";
    EXPECT_FALSE(fs::exists(TraceFile())) << "disabled";

    AddMeasurement(milliseconds(10));
    EXPECT_TRUE(m_manager.Trace());
    const std::wstring expected = Statistics();
    const std::string text = ReadFile(TraceFile());
    EXPECT_EQ(std::wstring(text.begin(), text.end()), expected); // ASCII
    m_manager.Clear();
    EXPECT_TRUE(m_manager.Trace());
    EXPECT_TRUE(ReadFile(TraceFile()).starts_with("Verwendet:\t0\n")) << "replaces the earlier text";

    fs::remove_all(folder);
    fs::create_directories(TraceFile()); // a folder in the file's place
    EXPECT_FALSE(m_manager.Trace());
    fs::remove_all(folder);
}

TEST_F(LxCPerformanceCounterManagerTest, TraceFileNameIsCutAtTheLastSeparator)
{
    EXPECT_EQ(LxCPerformanceCounterManager::GetTraceFileName(L"C:\\tools\\scan.exe"),
              L"C:\\tools\\Trace\\PerformanceCounter.txt");
    EXPECT_EQ(LxCPerformanceCounterManager::GetTraceFileName(L"/opt/tools/scan"),
              L"/opt/tools\\Trace\\PerformanceCounter.txt");
}

TEST_F(LxCPerformanceCounterManagerTest, ProgramPathOf260CharactersHasNoTraceFile)
{
    const std::wstring folder = L"/opt/";
    EXPECT_NE(LxCPerformanceCounterManager::GetTraceFileName(folder + std::wstring(254, L'x')), L"");
    EXPECT_EQ(LxCPerformanceCounterManager::GetTraceFileName(folder + std::wstring(255, L'x')), L"");
    EXPECT_EQ(LxCPerformanceCounterManager::GetTraceFileName(L""), L"");
}

TEST_F(LxCPerformanceCounterManagerTest, ManyThreadsTakeStampAndTrace)
{
    constexpr int c_iThreads = 6;
    constexpr int c_iRounds = 60;
    m_manager.Enable(true);
    std::vector<std::thread> threads;
    for (int i = 0; i < c_iThreads; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < c_iRounds; ++round) {
                CPerformanceCounter* const counter = m_manager.GetNewPerformanceCounter();
                counter->addTimestamp(L"DoPreprocessing: Start");
                counter->addTimestamp(L"DoPreprocessing: End");
                if (round % 20 == 0) {
                    Statistics();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Statistics().starts_with(L"Verwendet:\t360\nVerworfen:\t0\nAusserhalb:\t0\n"));
}

} // namespace
} // namespace LxCV
