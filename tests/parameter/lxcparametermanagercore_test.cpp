#include "orx/parameter/lxcparametermanagercore.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

LxCParameterManagerCore& Manager()
{
    return BtSingleton<LxCParameterManagerCore>::Instance();
}

TEST(LxCParameterManagerCore, UnknownNameLeavesTheValue)
{
    BtVariant value(5);
    EXPECT_FALSE(Manager().GetParameterValue("NeverSet", value));
    EXPECT_EQ(value, BtVariant(5));
}

TEST(LxCParameterManagerCore, GivesTheLastValueSet)
{
    Manager().SetParameterValue("Test", BtVariant(1));
    Manager().SetParameterValue("Test", BtVariant(L"two"));
    BtVariant value;
    EXPECT_TRUE(Manager().GetParameterValue("Test", value));
    EXPECT_EQ(value, BtVariant(L"two"));
    EXPECT_TRUE(Manager().RemoveParameter("Test"));
    EXPECT_FALSE(Manager().RemoveParameter("Test"));
    EXPECT_FALSE(Manager().GetParameterValue("Test", value));
}

TEST(LxCParameterManagerCore, EmptyVariantIsAValue)
{
    Manager().SetParameterValue("Empty", BtVariant());
    BtVariant value(5);
    EXPECT_TRUE(Manager().GetParameterValue("Empty", value));
    EXPECT_TRUE(value.IsEmpty());
    Manager().RemoveParameter("Empty");
}

TEST(LxCParameterManagerCore, ServesManyThreads)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            const std::string own = "Thread" + std::to_string(i);
            for (int round = 0; round < 500; ++round) {
                Manager().SetParameterValue(own, BtVariant(round));
                BtVariant value;
                EXPECT_TRUE(Manager().GetParameterValue(own, value));
                EXPECT_EQ(value, BtVariant(round));
            }
            Manager().RemoveParameter(own);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace LxCV
