#include "orx/btservices/btcriticalsection.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <vector>

namespace {

TEST(BtCriticalSection, HolderMayEnterAgain)
{
    BtCriticalSection section;
    section.Enter();
    EXPECT_TRUE(section.TryEnter());
    section.Leave();
    bool entered = true;
    std::thread([&] { entered = section.TryEnter(); }).join();
    EXPECT_FALSE(entered);
    section.Leave();
    std::thread([&] {
        entered = section.TryEnter();
        if (entered) {
            section.Leave();
        }
    }).join();
    EXPECT_TRUE(entered);
}

TEST(BtCriticalSection, GuardsAPlainCounter)
{
    constexpr int c_iThreads = 4;
    constexpr int c_iRounds = 2000;
    BtCriticalSection section;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < c_iThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < c_iRounds; ++round) {
                const std::lock_guard lock(section);
                ++counter;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, c_iThreads * c_iRounds);
}

} // namespace
