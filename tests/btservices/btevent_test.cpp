#include "orx/btservices/btevent.h"

#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using TestSupport::ComesTrue;
using TestSupport::CWatchdog;

TEST(BtEvent, IsNotSignalledAtFirstAndStaysSignalledUntilReset)
{
    BtEvent event;
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.Wait(0));
    event.Set();
    event.Set();
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_TRUE(event.Wait());
    event.Reset();
    event.Reset();
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.Wait(0));
}

TEST(BtEvent, MayBeSignalledFromTheBeginning)
{
    BtEvent event(true, true);
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.Wait(0));
}

TEST(BtEvent, WithoutManualResetIsTakenByOneWait)
{
    BtEvent event(false);
    event.Set();
    event.Set();
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.Wait(0));
    EXPECT_FALSE(event.IsSet());
    EXPECT_FALSE(event.Wait(0));
}

TEST(BtEvent, WaitLastsAsLongAsItsLimit)
{
    const CWatchdog watchdog;
    BtEvent event;
    const auto start = Clock::now();
    EXPECT_FALSE(event.Wait(15));
    EXPECT_GE(Clock::now() - start, milliseconds(15));
}

TEST(BtEvent, SetReleasesAllWaitersHoweverLongTheirLimit)
{
    const CWatchdog watchdog;
    BtEvent event;
    std::atomic<int> released{0};
    std::vector<std::thread> threads;
    for (const unsigned long limit : {BtEvent::c_ulInfinite, BtEvent::c_ulInfinite - 1, ~0UL, 20000UL}) {
        threads.emplace_back([&, limit] { released += event.Wait(limit) ? 1 : 0; });
    }
    event.Set();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(released, 4);
}

TEST(BtEvent, SetReleasesAWaiterEvenIfResetFollowsAtOnce)
{
    const CWatchdog watchdog;
    BtEvent event;
    std::atomic<bool> released{false};
    std::thread waiter([&] {
        event.Wait();
        released = true;
    });
    // A pulse that comes before the thread waits is lost, so it is repeated.
    EXPECT_TRUE(ComesTrue([&] {
        event.Set();
        event.Reset();
        return released.load();
    }));
    EXPECT_FALSE(event.IsSet());
    event.Set();
    waiter.join();
}

TEST(BtEvent, AWaitThatBeginsAfterAPulseGoesOnWaiting)
{
    BtEvent event;
    event.Set();
    event.Reset();
    EXPECT_FALSE(event.Wait(0));
    EXPECT_FALSE(event.Wait(1));
}

TEST(BtEvent, AWaitInTwoPartsSeesAPulseBetweenThem)
{
    const CWatchdog watchdog;
    BtEvent event;
    const std::uint64_t first = event.BeginWait();
    event.Set();
    event.Reset();
    const std::uint64_t second = event.BeginWait();
    EXPECT_TRUE(event.EndWait(first));
    EXPECT_TRUE(event.EndWait(first, 0));
    EXPECT_FALSE(event.EndWait(second, 1));
}

TEST(BtEvent, WithoutManualResetEachSetReleasesOneWaiter)
{
    constexpr int c_iRounds = 300;
    const CWatchdog watchdog;
    BtEvent request(false);
    BtEvent answer(false);
    int count = 0;
    std::thread partner([&] {
        for (int i = 0; i < c_iRounds; ++i) {
            request.Wait();
            ++count;
            answer.Set();
        }
    });
    for (int i = 0; i < c_iRounds; ++i) {
        request.Set();
        ASSERT_TRUE(answer.Wait(10000));
        EXPECT_EQ(count, i + 1);
    }
    partner.join();
}

TEST(BtEvent, TheReleasedThreadMayDestroyIt)
{
    const CWatchdog watchdog;
    for (int i = 0; i < 300; ++i) {
        auto event = std::make_unique<BtEvent>();
        std::thread setter([event = event.get()] { event->Set(); });
        event->Wait();
        event.reset();
        setter.join();
    }
}

TEST(BtEvent, WaitForAnyTellsTheFirstThatIsSignalled)
{
    BtEvent first;
    BtEvent second;
    BtEvent third;
    EXPECT_EQ(BtEvent::WaitForAny({&first, &second, &third}, 0), 3U);
    third.Set();
    EXPECT_EQ(BtEvent::WaitForAny({&first, &second, &third}, 0), 2U);
    second.Set();
    EXPECT_EQ(BtEvent::WaitForAny({&first, nullptr, &second, &third}, 0), 2U);
    EXPECT_EQ(BtEvent::WaitForAny({nullptr}, 1), 1U);
    EXPECT_EQ(BtEvent::WaitForAny({}, 1), 0U);
}

TEST(BtEvent, WaitForAnyTakesOnlyTheEventThatItTells)
{
    BtEvent first(false);
    BtEvent second(false);
    first.Set();
    second.Set();
    EXPECT_EQ(BtEvent::WaitForAny({&first, &second}), 0U);
    EXPECT_FALSE(first.IsSet());
    EXPECT_TRUE(second.IsSet());
    EXPECT_EQ(BtEvent::WaitForAny({&first, &second}), 1U);
    EXPECT_EQ(BtEvent::WaitForAny({&first, &second}, 5), 2U);
}

TEST(BtEvent, WaitForAnyWakesForEachOfItsEvents)
{
    constexpr int c_iRounds = 300;
    const CWatchdog watchdog;
    BtEvent left(false);
    BtEvent right(false);
    BtEvent answer(false);
    std::atomic<std::size_t> told{0};
    std::thread waiter([&] {
        for (int i = 0; i < c_iRounds; ++i) {
            told = BtEvent::WaitForAny({&left, &right}, 10000);
            answer.Set();
        }
    });
    for (int i = 0; i < c_iRounds; ++i) {
        (i % 2 == 0 ? left : right).Set();
        ASSERT_TRUE(answer.Wait(10000));
        EXPECT_EQ(told, static_cast<std::size_t>(i % 2));
    }
    waiter.join();
}

TEST(BtEvent, WaitForAnyIsReleasedByAPulse)
{
    const CWatchdog watchdog;
    BtEvent never;
    BtEvent pulsed;
    std::atomic<std::size_t> told{9};
    std::thread waiter([&] { told = BtEvent::WaitForAny({&never, &pulsed}); });
    EXPECT_TRUE(ComesTrue([&] {
        pulsed.Set();
        pulsed.Reset();
        return told != 9;
    }));
    pulsed.Set();
    waiter.join();
    EXPECT_EQ(told, 1U);
}

} // namespace
