#include "orx/btservices/btsingletoninstance.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

class Counted
{
public:
    static inline std::atomic<int> s_iMade{0};

private:
    friend class BtSingleton<Counted>;
    Counted() { ++s_iMade; }
};

/// Exits with 3 if it is destroyed while the object that it needs still lives, which is the promised order.
class Needed
{
public:
    ~Needed() { m_bAlive = false; }
    bool m_bAlive = true;
};

class Needing
{
public:
    Needing() : m_rNeeded(BtSingleton<Needed>::Instance()) {}
    ~Needing() { std::_Exit(m_rNeeded.m_bAlive ? 3 : 4); }

private:
    Needed& m_rNeeded;
};

TEST(BtSingleton, IsMadeOnceHoweverManyThreadsAskFirst)
{
    constexpr int c_iThreads = 8;
    std::vector<Counted*> objects(c_iThreads);
    std::vector<std::thread> threads;
    for (Counted*& object : objects) {
        threads.emplace_back([&object] { object = &BtSingleton<Counted>::Instance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Counted* object : objects) {
        EXPECT_EQ(object, objects.front());
    }
    EXPECT_EQ(Counted::s_iMade, 1);
}

TEST(BtSingletonDeathTest, ObjectEndsBeforeTheOneItsConstructorAskedFor)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            BtSingleton<Needing>::Instance();
            std::exit(0);
        },
        testing::ExitedWithCode(3), "");
}

} // namespace
