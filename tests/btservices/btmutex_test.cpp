#include "orx/btservices/btmutex.h"

#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using TestSupport::CWatchdog;

/// What `Take` gives on another thread, which releases it again.
bool AnotherTakes(BtMutex& mutex, unsigned long timeoutMs)
{
    bool taken = false;
    std::thread([&] {
        taken = mutex.Take(timeoutMs);
        if (taken) {
            EXPECT_TRUE(mutex.Release());
        }
    }).join();
    return taken;
}

TEST(BtMutex, NewOneIsFreeAndReleasedByNobody)
{
    const CWatchdog watchdog;
    BtMutex mutex;
    EXPECT_FALSE(mutex.Release());
    EXPECT_TRUE(AnotherTakes(mutex, 0));
    EXPECT_FALSE(mutex.Release());
}

TEST(BtMutex, IsHeldUntilEachTakeIsReleased)
{
    const CWatchdog watchdog;
    BtMutex mutex;
    EXPECT_TRUE(mutex.Take());
    EXPECT_TRUE(mutex.Take(0)) << "once more by its holder";
    EXPECT_FALSE(AnotherTakes(mutex, 0));
    EXPECT_TRUE(mutex.Release());
    EXPECT_FALSE(AnotherTakes(mutex, 1));
    EXPECT_TRUE(mutex.Release());
    EXPECT_TRUE(AnotherTakes(mutex, 0));
    EXPECT_FALSE(mutex.Release());
}

TEST(BtMutex, OnlyTheHolderReleases)
{
    const CWatchdog watchdog;
    BtMutex mutex;
    EXPECT_TRUE(mutex.Take());
    bool released = true;
    std::thread([&] { released = mutex.Release(); }).join();
    EXPECT_FALSE(released);
    EXPECT_FALSE(AnotherTakes(mutex, 0));
    EXPECT_TRUE(mutex.Release());
}

TEST(BtMutex, AWaitEndsAtItsTimeLimit)
{
    const CWatchdog watchdog;
    BtMutex mutex;
    EXPECT_TRUE(mutex.Take());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(AnotherTakes(mutex, 20));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
    EXPECT_TRUE(mutex.Release());
}

TEST(BtMutex, AReleaseWakesTheOneThatWaitsWithoutLimit)
{
    const CWatchdog watchdog;
    BtMutex mutex;
    EXPECT_TRUE(mutex.Take());
    std::atomic<bool> begun{false};
    bool taken = false;
    std::thread waiter([&] {
        begun = true;
        taken = mutex.Take(BtMutex::c_ulInfinite) && mutex.Release();
    });
    ASSERT_TRUE(TestSupport::ComesTrue([&] { return begun.load(); }));
    EXPECT_TRUE(mutex.Release());
    waiter.join();
    EXPECT_TRUE(taken);
}

TEST(BtMutex, GuardsAPlainCounter)
{
    constexpr int c_iThreads = 4;
    constexpr int c_iRounds = 1000;
    const CWatchdog watchdog;
    BtMutex mutex;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < c_iThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < c_iRounds; ++round) {
                mutex.Take();
                ++counter;
                mutex.Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, c_iThreads * c_iRounds);
}

} // namespace
