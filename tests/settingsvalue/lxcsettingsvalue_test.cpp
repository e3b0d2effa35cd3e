#include "orx/settingsvalue/lxcsettingsvalue.h"

#include "orx/logging/logger.h"
#include "orx/settingsvalue/settingsstore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

class LxCSettingsValueTest : public testing::Test
{
protected:
    LxCSettingsValueTest()
    {
        unsetenv("LXCV_SETTINGS");
        LxCSettingsStore::Instance().Reset();
    }
    ~LxCSettingsValueTest() override { LxCSettingsStore::Instance().Reset(); }

    static void SetHost(const std::string& entries)
    {
        ASSERT_TRUE(LxCSettingsStore::Instance().SetHostText("Test = {" + entries + "}"));
    }
};

TEST_F(LxCSettingsValueTest, NamesItsGroupAndKey)
{
    const LxCSettingsValue<int> value("Test", "Key");
    EXPECT_EQ(value.GetGroup(), "Test");
    EXPECT_EQ(value.GetKey(), "Key");
    EXPECT_FALSE(value.IsLoaded());
    EXPECT_FALSE(value.IsChanged());
}

TEST_F(LxCSettingsValueTest, IsFetchedAtFirstUseAndKept)
{
    LxCSettingsValue<int> value("Test", "Key");
    SetHost("Key = 5");
    EXPECT_EQ(value.Get(), 5);
    EXPECT_TRUE(value.IsLoaded());
    SetHost("Key = 6");
    EXPECT_EQ(value.Get(), 5);
}

TEST_F(LxCSettingsValueTest, InvalidateFetchesAnewAndDropsTheChange)
{
    LxCSettingsValue<int> value("Test", "Key");
    SetHost("Key = 5");
    value.Set(9);
    EXPECT_TRUE(value.IsChanged());
    value.Invalidate();
    EXPECT_FALSE(value.IsChanged());
    EXPECT_FALSE(value.IsLoaded());
    EXPECT_EQ(value.Get(), 5);
}

TEST_F(LxCSettingsValueTest, ReadWithoutMarkFetchesAgainAtTheNextUse)
{
    LxCSettingsValue<int> value("Test", "Key");
    SetHost("Key = 5");
    EXPECT_TRUE(value.Read(false));
    EXPECT_FALSE(value.IsLoaded());
    SetHost("Key = 6");
    EXPECT_EQ(value.Get(), 6);
}

TEST_F(LxCSettingsValueTest, SettingTheSameValueIsNoChange)
{
    LxCSettingsValue<std::wstring> value("Test", "Key");
    SetHost("Key = 'a'");
    value.Set(L"a");
    EXPECT_FALSE(value.IsChanged());
    value.Set(L"b");
    EXPECT_TRUE(value.IsChanged());
    EXPECT_EQ(value.Get(), L"b");
}

TEST_F(LxCSettingsValueTest, ChangeStaysMarkedWhenTheValueReturns)
{
    LxCSettingsValue<bool> value("Test", "Key");
    SetHost("Key = true");
    value.Set(false);
    value.Set(true);
    EXPECT_TRUE(value.IsChanged());
}

TEST_F(LxCSettingsValueTest, UndefinedKeyKeepsTheValueAndWarnsOnce)
{
    const Logging::CCapture log;
    LxCSettingsValue<float> value("Test", "Missing");
    EXPECT_EQ(value.Get(), 0.0F);
    EXPECT_EQ(value.Get(), 0.0F);
    EXPECT_TRUE(value.IsLoaded());
    EXPECT_EQ(log.Count(Logging::ELevel::eWarning, L"ORX.Lumorad.LxCSettingsValueBase",
                        L"setting Test.Missing is not defined"),
              1);
    EXPECT_FALSE(LxCSettingsValue<float>("Test", "Missing").Read(true));
}

TEST_F(LxCSettingsValueTest, FirstUseOnManyThreadsGivesTheValueToAll)
{
    const std::wstring text = L"a text that is too long for the small buffer of a string";
    SetHost("Key = '" + std::string(text.begin(), text.end()) + "'");
    for (int round = 0; round < 50; ++round) {
        LxCSettingsValue<std::wstring> value("Test", "Key");
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] { EXPECT_EQ(value.Get(), text); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
}

} // namespace
} // namespace LxCV
