#include "lxccallstack.h"

#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

std::string Stack()
{
    return LxCCallStack::getInstance().getCallStackString();
}

TEST(LxCCallStack, IsOneObject)
{
    EXPECT_EQ(&LxCCallStack::getInstance(), &LxCCallStack::getInstance());
}

TEST(LxCCallStack, NoEntriesHaveATextOfTheirOwn)
{
    EXPECT_EQ(Stack(), "no strCallStack");
}

TEST(LxCCallStack, GuardsNestAndEndWithTheirScope)
{
    {
        const LxCAutomaticGuardUnguard outer("outer");
        EXPECT_EQ(Stack(), "outer");
        {
            const LxCAutomaticGuardUnguard middle("middle");
            const LxCAutomaticGuardUnguard inner("inner");
            EXPECT_EQ(Stack(), "outer -> middle -> inner");
        }
        EXPECT_EQ(Stack(), "outer");
    }
    EXPECT_EQ(Stack(), "no strCallStack");
}

TEST(LxCCallStack, GuardEndsWithAnException)
{
    try {
        const LxCAutomaticGuardUnguard guard("thrower");
        throw 1;
    } catch (int) {
        EXPECT_EQ(Stack(), "no strCallStack");
    }
}

TEST(LxCCallStack, PopOfAnEmptyStackDoesNothing)
{
    LxCCallStack::getInstance().popFunction();
    EXPECT_EQ(Stack(), "no strCallStack");
    LxCCallStack::getInstance().pushFunction("a");
    LxCCallStack::getInstance().popFunction();
    LxCCallStack::getInstance().popFunction();
    EXPECT_EQ(Stack(), "no strCallStack");
}

TEST(LxCCallStack, NamesAreCopiedAndMayBeEmptyOrNull)
{
    std::string name = "name";
    const LxCAutomaticGuardUnguard first(nullptr);
    const LxCAutomaticGuardUnguard second(name.c_str());
    const LxCAutomaticGuardUnguard third("");
    name = "changed afterwards";
    EXPECT_EQ(Stack(), " -> name -> ");
}

TEST(LxCCallStack, EachThreadSeesItsOwnStack)
{
    const LxCAutomaticGuardUnguard here("here");
    std::thread([] {
        EXPECT_EQ(Stack(), "no strCallStack");
        const LxCAutomaticGuardUnguard there("there");
        EXPECT_EQ(Stack(), "there");
    }).join();
    EXPECT_EQ(Stack(), "here");
}

TEST(LxCCallStack, ManyThreadsPushAndPopAtOnce)
{
    const ::TestSupport::CWatchdog watchdog;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            const std::string name = "f" + std::to_string(thread);
            for (int i = 0; i < 500; ++i) {
                const LxCAutomaticGuardUnguard outer(name.c_str());
                const LxCAutomaticGuardUnguard inner("g");
                ASSERT_EQ(Stack(), name + " -> g");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Stack(), "no strCallStack");
}

} // namespace
} // namespace LxCV
