#include "lxctrace.h"

#include "orx/platform/threads.h"
#include "tests/lxcvlib/tracetestsupport.h"
#include "tests/support/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::LxCTraceTest;

/// Waits for the end of what it runs.
template <typename Function>
void OnAnotherThread(Function function)
{
    std::thread(function).join();
}

TEST_F(LxCTraceTest, FilterLetsOnlyItsThreadsThrough)
{
    ASSERT_TRUE(InitBare());
    m_Trace.AddThreadIdFilter(platform::GetCurrentThreadId());
    EXPECT_TRUE(m_Trace.ThreadIsRelevant());
    m_Trace.Message("mine");
    OnAnotherThread([this] {
        EXPECT_FALSE(m_Trace.ThreadIsRelevant());
        m_Trace.Message("theirs");
        m_Trace.Error("theirs");
        m_Trace.Append(1, "theirs");
        m_Trace.AddThreadIdFilter(platform::GetCurrentThreadId());
        EXPECT_TRUE(m_Trace.ThreadIsRelevant());
        m_Trace.Message(" other");
    });
    m_Trace.Message(" mine");
    m_Trace.ShowAllThreads();
    OnAnotherThread([this] { m_Trace.Message(" all"); });
    EXPECT_EQ(Text(), "mine other mine all");
}

TEST_F(LxCTraceTest, FiltersOfTwoTracesDoNotMix)
{
    TestSupport::COpenTrace other;
    m_Trace.AddThreadIdFilter(platform::GetCurrentThreadId());
    other.AddThreadIdFilter(0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(m_Trace.ThreadIsRelevant());
        EXPECT_FALSE(other.ThreadIsRelevant());
    }
    other.ShowAllThreads();
    EXPECT_TRUE(other.ThreadIsRelevant());
}

TEST_F(LxCTraceTest, TimersBelongToTheirThread)
{
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer(3, "a", false);
    m_Clock.Advance(std::chrono::milliseconds(4));
    OnAnotherThread([this] {
        EXPECT_EQ(m_Trace.StopTimer(3, "a", true), 0.0);
        m_Trace.StartTimer("a"); // depth 0 on this thread
    });
    EXPECT_EQ(m_Trace.StopTimer(3, "a", false), 4.0);
    EXPECT_EQ(Text(), "a timer started\n");
}

TEST_F(LxCTraceTest, LinesOfManyThreadsStayWhole)
{
    const ::TestSupport::CWatchdog watchdog;
    constexpr int c_iThreads = 4;
    constexpr int c_iLines = 100;
    m_Trace.SetOptions(LxCTrace::eO_Level);
    ASSERT_TRUE(Init());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < c_iThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int line = 0; line < c_iLines; ++line) {
                m_Trace.Message("thread %d line %d\n", thread, line);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::istringstream text(Text());
    std::map<int, int> next; // by thread
    int lines = 0;
    for (std::string line; std::getline(text, line); ++lines) {
        int thread = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(line.c_str(), "3 thread %d line %d", &thread, &number), 2) << line;
        EXPECT_EQ(number, next[thread]++);
    }
    EXPECT_EQ(lines, c_iThreads * c_iLines);
}

// Chiefly for the thread sanitizer: what may change does, while others trace in both modes and read.
TEST_F(LxCTraceTest, EverythingMayChangeWhileOthersTrace)
{
    const ::TestSupport::CWatchdog watchdog;
    constexpr int c_iRounds = 60;
    ASSERT_TRUE(Init(2000, 3));
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this, &stop] {
            while (!stop) {
                m_Trace.StartTimer("timer");
                m_Trace.Message("message %d\n", 1);
                m_Trace.Append(1, "%s\n", "appended");
                m_Trace.SplitTime(2, "timer", true);
                m_Trace.StopTimer("timer");
            }
        });
    }
    for (int round = 0; round < c_iRounds; ++round) {
        m_Trace.SetLevel(round % 4);
        m_Trace.AddThreadIdFilter(static_cast<std::uint32_t>(round));
        m_Trace.SetOptions(round % 8 < 4 ? LxCTrace::eO_Level : LxCTrace::eO_Level | LxCTrace::eO_Silent);
        EXPECT_TRUE(m_Trace.WriteTrace());
        EXPECT_NE(m_Trace.GetTraceFile(), "");
        EXPECT_TRUE(m_Trace.IsInitialized());
        m_Trace.SetPath(m_Trace.GetPath());
        m_Trace.ShowAllThreads();
        std::this_thread::yield();
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(Init());
}

} // namespace
} // namespace LxCV
