#include "orx/settingsvalue/settingsstore.h"

#include "orx/logging/logger.h"
#include "orx/settingsvalue/defaultsettings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

namespace fs = std::filesystem;

constexpr std::wstring_view c_sChannel = L"ORX.Lumorad.LxCSettingsStore";
constexpr const char* c_sGroup = "LxCVLib";

/// Each test begins without the host's settings, in an empty folder of its own.
class LxCSettingsStoreTest : public testing::Test
{
protected:
    LxCSettingsStoreTest()
        : m_folder(fs::path(testing::TempDir()) /
                   ("settings" + std::to_string(getpid()) + "_" +
                    testing::UnitTest::GetInstance()->current_test_info()->name()))
    {
        fs::create_directories(m_folder);
        unsetenv("LXCV_SETTINGS");
        m_store.Reset();
    }
    ~LxCSettingsStoreTest() override
    {
        unsetenv("LXCV_SETTINGS");
        m_store.Reset();
        fs::remove_all(m_folder);
    }

    fs::path WriteFile(const std::string& name, const std::string& text)
    {
        const fs::path path = m_folder / name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    /// The value of a key, or a value that tells that there is none.
    template <typename T>
    T Find(const std::string& key, T absent, const std::string& group = c_sGroup)
    {
        m_store.Find(group, key, absent);
        return absent;
    }

    LxCSettingsStore& m_store = LxCSettingsStore::Instance();
    fs::path m_folder;
    Logging::CCapture m_log;
};

TEST(DefaultSettings, AreTheTextOfTheFileInTheTree)
{
    std::ifstream file(LXCV_SOURCE_DIR "/data/settings.lua", std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(GetDefaultSettings(), text);
}

TEST_F(LxCSettingsStoreTest, DefaultsHoldWhereTheHostIsSilent)
{
    EXPECT_EQ(Find("CalibrationVariant", -1), 1);
    ASSERT_TRUE(m_store.SetHostText("LxCVLib = { MinNumSymbols = 5 }"));
    EXPECT_EQ(Find("CalibrationVariant", -1), 1);
    EXPECT_EQ(Find("MinNumSymbols", -1), 5);
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCSettingsStoreTest, UnknownKeyOrGroupLeavesTheValue)
{
    int value = 42;
    EXPECT_FALSE(m_store.Find(c_sGroup, "NoSuchKey", value));
    EXPECT_FALSE(m_store.Find("NoSuchGroup", "MinNumSymbols", value));
    EXPECT_EQ(value, 42);
}

TEST_F(LxCSettingsStoreTest, GroupsOfTheHostAreServed)
{
    ASSERT_TRUE(m_store.SetHostText("Mine = { a = 1, b = 'x' }"));
    EXPECT_EQ(Find("a", -1, "Mine"), 1);
    EXPECT_EQ(Find(std::string("b"), std::wstring(), "Mine"), L"x");
    EXPECT_TRUE(m_log.GetRecords().empty());
}

TEST_F(LxCSettingsStoreTest, IntegralNumberIsAnInt)
{
    ASSERT_TRUE(m_store.SetHostText("M = { a = 3.0, b = 2147483647, c = -2147483648, d = -0.0 }"));
    EXPECT_EQ(Find("a", -1, "M"), 3);
    EXPECT_EQ(Find("b", -1, "M"), std::numeric_limits<int>::max());
    EXPECT_EQ(Find("c", -1, "M"), std::numeric_limits<int>::min());
    EXPECT_EQ(Find("d", -1, "M"), 0);
}

TEST_F(LxCSettingsStoreTest, AnyNumberThatFitsIsAFloat)
{
    ASSERT_TRUE(m_store.SetHostText("M = { a = 3, b = 0.1, c = -3.4e38, d = 1e-60 }"));
    EXPECT_EQ(Find("a", -1.0F, "M"), 3.0F);
    EXPECT_EQ(Find("b", -1.0F, "M"), 0.1F);
    EXPECT_EQ(Find("c", -1.0F, "M"), -3.4e38F);
    EXPECT_EQ(Find("d", -1.0F, "M"), 0.0F);
}

TEST_F(LxCSettingsStoreTest, TextIsUtf8)
{
    ASSERT_TRUE(m_store.SetHostText("M = { a = 'Gr\u00fc\u00dfe \u20ac', b = 'C:\\\\x', c = '\\xFF' }"));
    EXPECT_EQ(Find(std::string("a"), std::wstring(), "M"), L"Gr\u00fc\u00dfe \u20ac");
    EXPECT_EQ(Find(std::string("b"), std::wstring(), "M"), L"C:\\x");
    EXPECT_EQ(Find(std::string("c"), std::wstring(), "M"), std::wstring(1, static_cast<wchar_t>(0xDCFF)));
}

TEST_F(LxCSettingsStoreTest, WrongTypeIsLoggedAndGivesTheDefault)
{
    ASSERT_TRUE(
        m_store.SetHostText("LxCVLib = { CheckOtherSymbols = 1, MinNumSymbols = 2.5, MaxCalibErrCam = '0.7', "
                            "DumpAddInfosFilename = false, NumShutterSteps = {} }"));
    EXPECT_EQ(Find("CheckOtherSymbols", false), true);
    EXPECT_EQ(Find("MinNumSymbols", -1), 2);
    EXPECT_EQ(Find("MaxCalibErrCam", -1.0F), 0.2F);
    EXPECT_EQ(Find(std::string("DumpAddInfosFilename"), std::wstring()), L"AddInfos.txt");
    EXPECT_EQ(Find("NumShutterSteps", -1), 8);
    const auto warning = Logging::ELevel::eWarning;
    EXPECT_EQ(m_log.Count(warning, c_sChannel, L"setting LxCVLib.CheckOtherSymbols is no bool"), 1);
    EXPECT_EQ(m_log.Count(warning, c_sChannel, L"setting LxCVLib.MinNumSymbols is no int"), 1);
    EXPECT_EQ(m_log.Count(warning, c_sChannel, L"setting LxCVLib.MaxCalibErrCam is no float"), 1);
    EXPECT_EQ(m_log.Count(warning, c_sChannel, L"setting LxCVLib.DumpAddInfosFilename is no text"), 1);
    EXPECT_EQ(m_log.Count(warning, c_sChannel, L"setting LxCVLib.NumShutterSteps is no int"), 1);
    EXPECT_EQ(m_log.GetRecords().size(), 5U);
}

TEST_F(LxCSettingsStoreTest, NumberThatDoesNotFitIsNoIntAndNoFloat)
{
    for (const char* const text :
         {"2147483648", "-2147483649", "9007199254740993", "1e300", "0/0", "1/0", "-1/0"}) {
        ASSERT_TRUE(m_store.SetHostText(std::string("M = { a = ") + text + " }")) << text;
        EXPECT_EQ(Find("a", -5, "M"), -5) << text;
    }
    for (const char* const text : {"3.5e38", "-1e300", "0/0", "1/0", "-1/0"}) {
        ASSERT_TRUE(m_store.SetHostText(std::string("M = { a = ") + text + " }")) << text;
        EXPECT_EQ(Find("a", -5.0F, "M"), -5.0F) << text;
    }
}

TEST_F(LxCSettingsStoreTest, MisspeltKeyOfAKnownGroupIsLogged)
{
    ASSERT_TRUE(m_store.SetHostText("LxCVLib = { Dump3dData = true }"));
    EXPECT_EQ(m_log.Count(Logging::ELevel::eWarning, c_sChannel, L"setting LxCVLib.Dump3dData is unknown"),
              1);
}

TEST_F(LxCSettingsStoreTest, RefusedTextIsLoggedAndKeepsTheSettings)
{
    ASSERT_TRUE(m_store.SetHostText("LxCVLib = { MinNumSymbols = 5 }"));
    EXPECT_FALSE(m_store.SetHostText("while true do end"));
    EXPECT_EQ(Find("MinNumSymbols", -1), 5);
    EXPECT_EQ(m_log.Count(Logging::ELevel::eError, c_sChannel,
                          L"settings in the host's text refused: settings:1: takes too long"),
              1);
}

TEST_F(LxCSettingsStoreTest, NewTextReplacesTheOldOneAsAWhole)
{
    ASSERT_TRUE(m_store.SetHostText("LxCVLib = { MinNumSymbols = 5, NumShutterSteps = 9 }"));
    ASSERT_TRUE(m_store.SetHostText("LxCVLib = { MinNumSymbols = 6 }"));
    EXPECT_EQ(Find("MinNumSymbols", -1), 6);
    EXPECT_EQ(Find("NumShutterSteps", -1), 8);
}

TEST_F(LxCSettingsStoreTest, FileIsReadThroughEitherSeparator)
{
    WriteFile("host.lua", "LxCVLib = { MinNumSymbols = 7 }");
    EXPECT_TRUE(m_store.SetHostFile(m_folder.wstring() + L"\\host.lua"));
    EXPECT_EQ(Find("MinNumSymbols", -1), 7);
}

TEST_F(LxCSettingsStoreTest, FileThatCannotBeReadIsLogged)
{
    const auto error = Logging::ELevel::eError;
    const fs::path missing = m_folder / "missing.lua";
    EXPECT_FALSE(m_store.SetHostFile(missing.wstring()));
    EXPECT_EQ(m_log.Count(error, c_sChannel, L"can't read settings file " + missing.wstring()), 1);
    EXPECT_FALSE(m_store.SetHostFile(m_folder.wstring()));
    EXPECT_EQ(m_log.Count(error, c_sChannel, L"can't read settings file " + m_folder.wstring()), 1);
    EXPECT_FALSE(m_store.SetHostFile(L"/dev/zero"));
    EXPECT_EQ(m_log.Count(error, c_sChannel, L"can't read settings file /dev/zero"), 1);
}

TEST_F(LxCSettingsStoreTest, FileBeyondTheLongestSizeIsRefused)
{
    const fs::path path = WriteFile("long.lua", std::string(c_longestSettingsText + 1, ' '));
    EXPECT_FALSE(m_store.SetHostFile(path.wstring()));
    EXPECT_EQ(m_log.Count(Logging::ELevel::eError, c_sChannel,
                          L"settings in " + path.wstring() + L" refused: too long"),
              1);
}

TEST_F(LxCSettingsStoreTest, EnvironmentNamesTheFileThatIsReadAtFirstUse)
{
    const fs::path path = WriteFile("env.lua", "LxCVLib = { MinNumSymbols = 9 }");
    setenv("LXCV_SETTINGS", path.c_str(), 1);
    EXPECT_EQ(Find("MinNumSymbols", -1), 9);
    WriteFile("env.lua", "LxCVLib = { MinNumSymbols = 10 }");
    EXPECT_EQ(Find("MinNumSymbols", -1), 9) << "read once";
    m_store.Reset();
    EXPECT_EQ(Find("MinNumSymbols", -1), 10);
}

TEST_F(LxCSettingsStoreTest, HostsCallTakesPrecedenceOverTheEnvironment)
{
    const fs::path path = WriteFile("env.lua", "LxCVLib = { MinNumSymbols = 9 }");
    setenv("LXCV_SETTINGS", path.c_str(), 1);
    ASSERT_TRUE(m_store.SetHostText(""));
    EXPECT_EQ(Find("MinNumSymbols", -1), 2);
}

TEST_F(LxCSettingsStoreTest, MissingFileOfTheEnvironmentIsLoggedOnce)
{
    const fs::path missing = m_folder / "missing.lua";
    setenv("LXCV_SETTINGS", missing.c_str(), 1);
    EXPECT_EQ(Find("MinNumSymbols", -1), 2);
    EXPECT_EQ(Find("MinNumSymbols", -1), 2);
    EXPECT_EQ(
        m_log.Count(Logging::ELevel::eError, c_sChannel, L"can't read settings file " + missing.wstring()),
        1);
}

TEST_F(LxCSettingsStoreTest, ManyThreadsFindWhileTheHostSets)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 500; ++round) {
                int value = -1;
                EXPECT_TRUE(m_store.Find(c_sGroup, "MinNumSymbols", value));
                EXPECT_TRUE(value == 2 || value == 5) << value;
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        m_store.SetHostText("LxCVLib = { MinNumSymbols = 5 }");
        m_store.Reset();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace LxCV
