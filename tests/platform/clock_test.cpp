#include "orx/platform/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace platform {
namespace {

using std::chrono::system_clock;

/// Sets the time zone of the process, and restores it.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* zone)
    {
        const char* const present = std::getenv("TZ");
        m_hadZone = present != nullptr;
        m_zone = m_hadZone ? present : "";
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTimeZone()
    {
        if (m_hadZone) {
            setenv("TZ", m_zone.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    bool m_hadZone;
    std::string m_zone;
};

TEST(Clock, SystemTicksNeverRunBackwardsAndCountNanoseconds)
{
    std::int64_t frequency = 0;
    ASSERT_TRUE(Clock::QueryFrequency(frequency));
    EXPECT_EQ(frequency, 1'000'000'000);
    std::int64_t previous = 0;
    ASSERT_TRUE(Clock::QueryTicks(previous));
    for (int i = 0; i < 1000; ++i) {
        std::int64_t ticks = 0;
        ASSERT_TRUE(Clock::QueryTicks(ticks));
        EXPECT_GE(ticks, previous);
        previous = ticks;
    }
}

TEST(Clock, LocalTimeIsTheMomentInTheZoneOfTheProcess)
{
    // date -u -d "2015-03-03 08:05:06" +%s gives 1425369906; the day was a Tuesday.
    const auto moment = system_clock::time_point(std::chrono::milliseconds(1425369906789));
    const ScopedTimeZone zone("XST-1"); // one hour east of Greenwich
    const LocalTime time = Clock::ToLocalTime(moment);
    EXPECT_EQ(time.year, 2015);
    EXPECT_EQ(time.month, 3);
    EXPECT_EQ(time.day, 3);
    EXPECT_EQ(time.hour, 9);
    EXPECT_EQ(time.minute, 5);
    EXPECT_EQ(time.second, 6);
    EXPECT_EQ(time.millisecond, 789);
    EXPECT_EQ(time.dayOfWeek, 2);
}

TEST(Clock, ZoneOfTheSystemAppliesAgainWhereTheProcessNamesNone)
{
    const auto moment = system_clock::time_point(std::chrono::milliseconds(1425369906789));
    const auto hourIn = [&moment](const char* zone) {
        const ScopedTimeZone scope(zone);
        return Clock::ToLocalTime(moment).hour;
    };
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(hourIn("XST-1"), 9);
        EXPECT_EQ(hourIn("YST5"), 3);
        const int hourOfTheSystem = hourIn(":/etc/localtime");
        const ScopedTimeZone scope("none");
        unsetenv("TZ");
        EXPECT_EQ(Clock::ToLocalTime(moment).hour, hourOfTheSystem);
        EXPECT_EQ(Clock::ToLocalTime(moment).hour, hourOfTheSystem);
    }
}

TEST(Clock, MomentBeforeTheEpochHasAPositiveMillisecond)
{
    const ScopedTimeZone zone("UTC0");
    const LocalTime time = Clock::ToLocalTime(system_clock::time_point(std::chrono::milliseconds(-1)));
    EXPECT_EQ(time.year, 1969);
    EXPECT_EQ(time.month, 12);
    EXPECT_EQ(time.day, 31);
    EXPECT_EQ(time.second, 59);
    EXPECT_EQ(time.millisecond, 999);
}

TEST(Clock, ScopedClockReplacesEveryReadingWhileItLives)
{
    ManualClock manual;
    manual.SetTicks(42);
    manual.SetFrequency(10);
    manual.SetNow(system_clock::time_point(std::chrono::seconds(86400)));
    {
        const ScopedClock scope(manual);
        const ScopedTimeZone zone("UTC0");
        std::int64_t ticks = 0;
        std::int64_t frequency = 0;
        EXPECT_TRUE(Clock::QueryTicks(ticks));
        EXPECT_TRUE(Clock::QueryFrequency(frequency));
        EXPECT_EQ(ticks, 42);
        EXPECT_EQ(frequency, 10);
        EXPECT_EQ(Clock::GetLocalTime().day, 2);
    }
    std::int64_t frequency = 0;
    EXPECT_TRUE(Clock::QueryFrequency(frequency));
    EXPECT_EQ(frequency, 1'000'000'000);
}

TEST(Clock, ScopedClocksNest)
{
    ManualClock outer;
    ManualClock inner;
    outer.SetTicks(1);
    inner.SetTicks(2);
    std::int64_t ticks = 0;
    const ScopedClock outerScope(outer);
    {
        const ScopedClock innerScope(inner);
        Clock::QueryTicks(ticks);
        EXPECT_EQ(ticks, 2);
    }
    Clock::QueryTicks(ticks);
    EXPECT_EQ(ticks, 1);
}

TEST(Clock, UnavailableReadingLeavesTheOutputAsItIs)
{
    ManualClock manual;
    manual.SetTicksAvailable(false);
    manual.SetFrequencyAvailable(false);
    const ScopedClock scope(manual);
    std::int64_t ticks = 7;
    std::int64_t frequency = 8;
    EXPECT_FALSE(Clock::QueryTicks(ticks));
    EXPECT_FALSE(Clock::QueryFrequency(frequency));
    EXPECT_EQ(ticks, 7);
    EXPECT_EQ(frequency, 8);
}

TEST(ManualClock, AdvanceMovesTicksAtTheirFrequency)
{
    ManualClock manual;
    manual.SetFrequency(1000);
    manual.SetTicks(5);
    manual.Advance(std::chrono::milliseconds(2500));
    std::int64_t ticks = 0;
    manual.QueryTicks(ticks);
    EXPECT_EQ(ticks, 2505);
    EXPECT_EQ(manual.Now(), system_clock::time_point(std::chrono::milliseconds(2500)));
}

TEST(Clock, ReadingOnManyThreadsOutlivesAnOverride)
{
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&stop, &wrong] {
            while (!stop) {
                std::int64_t frequency = 0;
                const bool known = Clock::QueryFrequency(frequency);
                wrong += !known || (frequency != 10 && frequency != 1'000'000'000);
            }
        });
    }
    for (int i = 0; i < 500; ++i) {
        ManualClock manual;
        manual.SetFrequency(10);
        const ScopedClock scope(manual);
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace platform
