#include "orx/platform/threadmessages.h"

#include "orx/platform/threads.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

namespace platform {
namespace {

using TestSupport::CWatchdog;

/// Runs `body` on a thread of its own, whose queue of messages ends with it.
template <typename Body>
void OnNewThread(Body body)
{
    std::thread(body).join();
}

TEST(ThreadMessages, ArriveInTheOrderOfPosting)
{
    OnNewThread([] {
        ThreadMessages::Open();
        const std::uint32_t self = GetCurrentThreadId();
        EXPECT_TRUE(ThreadMessages::Post(self, {7, std::numeric_limits<std::uint64_t>::max(), -1}));
        EXPECT_TRUE(ThreadMessages::Post(self, {8, 0, std::numeric_limits<std::int64_t>::min()}));
        ThreadMessage message;
        EXPECT_TRUE(ThreadMessages::Read(message, 0));
        EXPECT_EQ(message.id, 7U);
        EXPECT_EQ(message.firstParameter, 0xFFFFFFFFFFFFFFFFU);
        EXPECT_EQ(message.secondParameter, -1);
        EXPECT_TRUE(ThreadMessages::Read(message, 0));
        EXPECT_EQ(message.id, 8U);
        EXPECT_EQ(message.secondParameter, std::numeric_limits<std::int64_t>::min());
        EXPECT_FALSE(ThreadMessages::Read(message, 0));
    });
}

TEST(ThreadMessages, AThreadWithoutAQueueGetsNone)
{
    OnNewThread([] {
        const std::uint32_t self = GetCurrentThreadId();
        EXPECT_FALSE(ThreadMessages::Post(self, {1, 2, 3}));
        ThreadMessage message;
        EXPECT_FALSE(ThreadMessages::Read(message, 0)) << "begins the queue";
        EXPECT_TRUE(ThreadMessages::Post(self, {1, 2, 3}));
    });
    EXPECT_FALSE(ThreadMessages::Post(0, {1, 2, 3}));
}

TEST(ThreadMessages, EndWithTheirThread)
{
    std::uint32_t gone = 0;
    OnNewThread([&] {
        ThreadMessages::Open();
        gone = GetCurrentThreadId();
        EXPECT_TRUE(ThreadMessages::Post(gone, {1, 2, 3}));
    });
    EXPECT_FALSE(ThreadMessages::Post(gone, {1, 2, 3}));
}

TEST(ThreadMessages, BeyondTheLimitAreRefused)
{
    OnNewThread([] {
        ThreadMessages::Open();
        const std::uint32_t self = GetCurrentThreadId();
        std::size_t accepted = 0;
        while (accepted <= ThreadMessages::c_uiLimit && ThreadMessages::Post(self, {1, accepted, 0})) {
            ++accepted;
        }
        EXPECT_EQ(accepted, ThreadMessages::c_uiLimit);
        ThreadMessage message;
        EXPECT_TRUE(ThreadMessages::Read(message, 0));
        EXPECT_EQ(message.firstParameter, 0U) << "the oldest stays";
        EXPECT_TRUE(ThreadMessages::Post(self, {1, accepted, 0}));
        EXPECT_FALSE(ThreadMessages::Post(self, {1, accepted, 0}));
    });
}

TEST(ThreadMessages, ReadLeavesTheMessageWhenTheTimeIsUp)
{
    const CWatchdog watchdog;
    OnNewThread([] {
        ThreadMessage message{5, 6, 7};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(ThreadMessages::Read(message, 10));
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(10));
        EXPECT_EQ(message.id, 5U);
        EXPECT_EQ(message.firstParameter, 6U);
        EXPECT_EQ(message.secondParameter, 7);
    });
}

TEST(ThreadMessages, ReadWaitsForAnotherThread)
{
    const CWatchdog watchdog;
    std::atomic<std::uint32_t> reader{0};
    std::thread thread([&] {
        ThreadMessages::Open();
        reader = GetCurrentThreadId();
        ThreadMessage message;
        EXPECT_TRUE(ThreadMessages::Read(message, ThreadMessages::c_ulInfinite));
        EXPECT_EQ(message.id, 9U);
        EXPECT_TRUE(ThreadMessages::Read(message, 10000));
        EXPECT_EQ(message.id, 10U);
    });
    ASSERT_TRUE(TestSupport::ComesTrue([&] { return reader != 0; }));
    EXPECT_TRUE(ThreadMessages::Post(reader, {9, 0, 0}));
    EXPECT_TRUE(ThreadMessages::Post(reader, {10, 0, 0}));
    thread.join();
}

TEST(ThreadMessages, ManyPostersLoseNothingAndKeepTheirOrder)
{
    constexpr std::uint32_t c_uiPosters = 4;
    constexpr std::uint64_t c_uiMessages = 2000; // 8000 together, below the limit
    const CWatchdog watchdog;
    OnNewThread([] {
        ThreadMessages::Open();
        const std::uint32_t self = GetCurrentThreadId();
        std::vector<std::thread> posters;
        for (std::uint32_t poster = 0; poster < c_uiPosters; ++poster) {
            posters.emplace_back([=] {
                for (std::uint64_t i = 0; i < c_uiMessages; ++i) {
                    EXPECT_TRUE(ThreadMessages::Post(self, {poster, i, 0}));
                }
            });
        }
        std::vector<std::uint64_t> next(c_uiPosters, 0);
        int wrong = 0;
        for (std::uint64_t i = 0; i < c_uiPosters * c_uiMessages; ++i) {
            ThreadMessage message;
            ASSERT_TRUE(ThreadMessages::Read(message, 10000));
            wrong += message.firstParameter != next[message.id]++;
        }
        EXPECT_EQ(wrong, 0);
        for (std::thread& poster : posters) {
            poster.join();
        }
    });
}

TEST(ThreadMessages, PostersMayMeetTheEndOfTheThread)
{
    const CWatchdog watchdog;
    std::atomic<std::uint32_t> reader{0};
    std::atomic<bool> stop{false};
    std::thread poster([&] {
        while (!stop) {
            ThreadMessages::Post(reader, {1, 2, 3});
        }
    });
    for (int i = 0; i < 100; ++i) {
        OnNewThread([&] {
            ThreadMessages::Open();
            reader = GetCurrentThreadId();
            ThreadMessage message;
            ThreadMessages::Read(message, 1);
        });
    }
    stop = true;
    poster.join();
}

} // namespace
} // namespace platform
