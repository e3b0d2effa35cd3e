#include "orx/platform/threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace platform {
namespace {

template <typename Body>
void OnNewThread(Body body)
{
    std::thread(body).join();
}

TEST(Threads, IdsDifferAndAreNotZero)
{
    const std::uint32_t own = GetCurrentThreadId();
    EXPECT_NE(own, 0U);
    EXPECT_EQ(own, GetCurrentThreadId());
    std::uint32_t other = 0;
    OnNewThread([&] { other = GetCurrentThreadId(); });
    EXPECT_NE(other, 0U);
    EXPECT_NE(other, own);
}

TEST(Threads, NamesAreCutToWhatTheSystemKeeps)
{
    OnNewThread([] {
        EXPECT_TRUE(SetCurrentThreadName("short"));
        EXPECT_EQ(GetCurrentThreadName(), "short");
        EXPECT_TRUE(SetCurrentThreadName("LxCBackgroundRawImageWriter"));
        EXPECT_EQ(GetCurrentThreadName(), "LxCBackgroundRa");
        // 14 letters and a character of two bytes, of which one would fit.
        EXPECT_TRUE(SetCurrentThreadName("abcdefghijklmn\xC3\xA4"));
        EXPECT_EQ(GetCurrentThreadName(), "abcdefghijklmn");
        EXPECT_TRUE(SetCurrentThreadName(std::string("ab\0cd", 5)));
        EXPECT_EQ(GetCurrentThreadName(), "ab");
        EXPECT_TRUE(SetCurrentThreadName(std::string(40, '\x80'))) << "no characters at all";
        EXPECT_TRUE(SetCurrentThreadName(""));
        EXPECT_EQ(GetCurrentThreadName(), "");
    });
}

TEST(Threads, LowerPrioritiesAreNiceValuesBesideTheProcess)
{
    OnNewThread([] {
        const std::uint32_t self = GetCurrentThreadId();
        const int ofProcess = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
        const struct
        {
            int priority;
            int nice;
        } table[] = {{0, 0}, {-1, 5}, {-2, 10}, {-15, 19}};
        for (const auto& row : table) {
            EXPECT_TRUE(SetThreadPriority(self, row.priority)) << row.priority;
            EXPECT_EQ(getpriority(PRIO_PROCESS, self), std::min(ofProcess + row.nice, 19)) << row.priority;
        }
        EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(getpid())), ofProcess) << "this thread's alone";
    });
}

TEST(Threads, PrioritiesThatAreNoneAreRefused)
{
    for (const int priority : {-16, -3, 3, 14, 16, std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(SetThreadPriority(GetCurrentThreadId(), priority)) << priority;
    }
    EXPECT_FALSE(SetThreadPriority(0, 0));
}

TEST(Threads, AreHeldToTheProcessorsOfAMask)
{
    const std::uint64_t all = GetProcessAffinityMask();
    ASSERT_NE(all, 0U);
    const std::uint64_t lowest = all & (~all + 1);
    OnNewThread([=] {
        const std::uint32_t self = GetCurrentThreadId();
        EXPECT_EQ(GetThreadAffinityMask(self), all);
        EXPECT_TRUE(SetThreadAffinityMask(self, lowest));
        EXPECT_EQ(GetThreadAffinityMask(self), lowest);
        EXPECT_FALSE(SetThreadAffinityMask(self, 0));
        EXPECT_EQ(GetThreadAffinityMask(self), lowest) << "a refused mask changes nothing";
    });
    EXPECT_EQ(GetProcessAffinityMask(), all);
    EXPECT_FALSE(SetThreadAffinityMask(0, all));
    EXPECT_EQ(GetThreadAffinityMask(0), 0U);
}

} // namespace
} // namespace platform
