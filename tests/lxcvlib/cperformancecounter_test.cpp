#include "cperformancecounter.h"

#include "orx/platform/clock.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using std::chrono::milliseconds;

std::wstring TraceOf(const CPerformanceCounter& counter)
{
    std::wostringstream stream;
    counter.Trace(stream);
    return stream.str();
}

class CPerformanceCounterTest : public testing::Test
{
protected:
    platform::ManualClock m_clock;
    platform::ScopedClock m_scope{m_clock};
};

TEST_F(CPerformanceCounterTest, StampIsTheTimeSinceTheStartInSeconds)
{
    m_clock.Advance(milliseconds(5000));
    CPerformanceCounter counter;
    m_clock.Advance(milliseconds(250));
    EXPECT_TRUE(counter.addTimestamp(L"a"));
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), 0.25);
}

TEST_F(CPerformanceCounterTest, InterfaceForwardsToTheCounter)
{
    CPerformanceCounter counter;
    LxIPerformanceCounter& face = counter;
    m_clock.Advance(milliseconds(7));
    face.AddTimestamp(L"a");
    EXPECT_DOUBLE_EQ(face.GetTimestamp(L"a"), 0.007);
    m_clock.Advance(milliseconds(7));
    AddTimestamp(&face, L"b");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"b"), 0.014);
}

TEST_F(CPerformanceCounterTest, StampingNoCounterDoesNothing)
{
    AddTimestamp(nullptr, L"a");
}

TEST_F(CPerformanceCounterTest, UnknownNameHasTheTimeZeroAndStaysUnknown)
{
    CPerformanceCounter counter;
    EXPECT_EQ(counter.getTimeStamp(L"never"), 0.0);
    EXPECT_FALSE(counter.hasTimeStamp(L"never"));
    EXPECT_EQ(TraceOf(counter), L"");
}

TEST_F(CPerformanceCounterTest, LaterStampOfANameReplacesTheEarlier)
{
    CPerformanceCounter counter;
    counter.addTimestamp(L"a");
    m_clock.Advance(milliseconds(3));
    counter.addTimestamp(L"a");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), 0.003);
}

TEST_F(CPerformanceCounterTest, RestartMovesTheStartAndKeepsStamps)
{
    CPerformanceCounter counter;
    m_clock.Advance(milliseconds(3));
    counter.addTimestamp(L"before");
    EXPECT_TRUE(counter.Restart());
    m_clock.Advance(milliseconds(2));
    counter.addTimestamp(L"after");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"before"), 0.003);
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"after"), 0.002);
}

TEST_F(CPerformanceCounterTest, FailingTickQueryGivesFalseAndNoStamp)
{
    CPerformanceCounter counter;
    m_clock.SetTicksAvailable(false);
    EXPECT_FALSE(counter.addTimestamp(L"a"));
    EXPECT_FALSE(counter.hasTimeStamp(L"a"));
    EXPECT_FALSE(counter.Restart());
}

TEST_F(CPerformanceCounterTest, UnknownFrequencyCountsAsOneTickASecond)
{
    m_clock.SetFrequencyAvailable(false);
    CPerformanceCounter counter;
    m_clock.SetTicks(5);
    counter.addTimestamp(L"a");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), 5.0);
}

TEST_F(CPerformanceCounterTest, FrequencyThatIsNotPositiveCountsAsOneTickASecond)
{
    for (const std::int64_t frequency : {std::int64_t{0}, std::int64_t{-10}}) {
        m_clock.SetTicks(0);
        m_clock.SetFrequency(frequency);
        CPerformanceCounter counter;
        m_clock.SetTicks(5);
        counter.addTimestamp(L"a");
        EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), 5.0) << frequency;
    }
}

TEST_F(CPerformanceCounterTest, TicksBecomeWholeNanosecondsByIntegerDivision)
{
    m_clock.SetFrequency(3);
    CPerformanceCounter counter;
    m_clock.SetTicks(2);
    counter.addTimestamp(L"a");
    // 2 * 1000000000 / 3 = 666666666, rounded towards 0.
    EXPECT_EQ(counter.getTimeStamp(L"a"), 666666666 * 1e-9);
}

TEST_F(CPerformanceCounterTest, AYearOfNanosecondTicksDoesNotOverflow)
{
    CPerformanceCounter counter;
    constexpr std::int64_t c_iSecondsPerYear = 31'557'600;
    m_clock.SetTicks(c_iSecondsPerYear * 1'000'000'000);
    counter.addTimestamp(L"a");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), static_cast<double>(c_iSecondsPerYear));
}

TEST_F(CPerformanceCounterTest, ExtremeTicksGiveTheirDistance)
{
    m_clock.SetFrequency(1);
    m_clock.SetTicks(std::numeric_limits<std::int64_t>::min());
    CPerformanceCounter counter;
    m_clock.SetTicks(std::numeric_limits<std::int64_t>::max());
    counter.addTimestamp(L"a");
    EXPECT_DOUBLE_EQ(counter.getTimeStamp(L"a"), 18446744073709551615.0); // 2^64 - 1
}

TEST_F(CPerformanceCounterTest, DifferenceLeadsFromThisStartToTheOther)
{
    CPerformanceCounter first;
    m_clock.Advance(milliseconds(40));
    CPerformanceCounter second;
    EXPECT_DOUBLE_EQ(first.getDiff(second), 0.04);
    EXPECT_DOUBLE_EQ(second.getDiff(first), -0.04);
    EXPECT_EQ(first.getDiff(first), 0.0);
    first.addTimestampDiff(L"second", second);
    EXPECT_DOUBLE_EQ(first.getTimeStamp(L"second"), 0.04);
}

TEST_F(CPerformanceCounterTest, TraceListsStampsByTimeThenName)
{
    CPerformanceCounter counter;
    m_clock.Advance(std::chrono::microseconds(1500));
    counter.addTimestamp(L"DoPreprocessing: Start");
    counter.addTimestamp(L"ConvertRawImages: End");
    CPerformanceCounter late;
    m_clock.Advance(milliseconds(1234567));
    counter.addTimestamp(L"A");
    EXPECT_EQ(TraceOf(counter), L"1.500\tConvertRawImages: End\n"
                                L"1.500\tDoPreprocessing: Start\n"
                                L"1234568.500\tA\n");
    late.addTimestampDiff(L"early", counter);
    EXPECT_EQ(TraceOf(late), L"-1.500\tearly\n");
}

TEST_F(CPerformanceCounterTest, TraceDoesNotFollowTheStreamsLocale)
{
    struct Grouping : std::numpunct<wchar_t>
    {
        wchar_t do_decimal_point() const override { return L','; }
        wchar_t do_thousands_sep() const override { return L'.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    CPerformanceCounter counter;
    m_clock.Advance(milliseconds(1234));
    counter.addTimestamp(L"A");
    std::wostringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new Grouping));
    counter.Trace(stream);
    EXPECT_EQ(stream.str(), L"1234.000\tA\n");
}

TEST(CPerformanceCounter, ManyThreadsStampAndReadAtOnce)
{
    constexpr int c_iThreads = 8;
    constexpr int c_iRounds = 300;
    CPerformanceCounter counter;
    CPerformanceCounter other;
    std::vector<std::thread> threads;
    for (int i = 0; i < c_iThreads; ++i) {
        threads.emplace_back([&counter, &other, i] {
            for (int round = 0; round < c_iRounds; ++round) {
                counter.addTimestamp(L"thread " + std::to_wstring(i));
                counter.addTimestampDiff(L"other", other);
                other.addTimestampDiff(L"counter", counter);
                counter.getTimeStamp(L"thread 0");
                if (round % 100 == 0) {
                    TraceOf(counter);
                    counter.Restart();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < c_iThreads; ++i) {
        EXPECT_TRUE(counter.hasTimeStamp(L"thread " + std::to_wstring(i)));
    }
    EXPECT_EQ(counter.getDiff(other), -other.getDiff(counter));
}

} // namespace
} // namespace LxCV
