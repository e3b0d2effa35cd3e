#include "lxcalgorithmconfig.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>

namespace LxCV {
namespace {

using Settings = LxCLxCVLibSettings;

constexpr int c_iLeast = std::numeric_limits<int>::min();
constexpr int c_iGreatest = std::numeric_limits<int>::max();

/// Leaves the settings as it finds them.
class LxCAlgorithmConfigTest : public testing::Test
{
protected:
    LxCAlgorithmConfigTest() { Settings::Invalidate(); }
    ~LxCAlgorithmConfigTest() override { Settings::Invalidate(); }
};

LxCAlgorithmConfig Preset(int number)
{
    return LxCAlgorithmConfig(static_cast<LxCAlgorithmConfig::ESettings>(number));
}

std::array<int, 4> Numbers(const LxCRoi& roi)
{
    return {roi.GetLeftCol(), roi.GetTopRow(), roi.GetWidth(), roi.GetHeight()};
}

void SetBorders(int allRound, int right)
{
    Settings::m_iBoundary3DDataAllRound.Set(allRound);
    Settings::m_iBoundary3DData.Set(right);
}

/// One flag setting with the member that takes it.
struct SFlag
{
    LxCSettingsValue<bool>& setting;
    bool LxCAlgorithmConfig::*member;
};

std::array<SFlag, 9> Flags()
{
    return {{{Settings::m_bRepairEdgesUndercutFree, &LxCAlgorithmConfig::m_bRepairEdgesUndercutFree},
             {Settings::m_bClean3DData, &LxCAlgorithmConfig::m_bClean3DData},
             {Settings::m_bUseReferenceShift, &LxCAlgorithmConfig::m_bUseReferenceShift},
             {Settings::m_bRepairEdges, &LxCAlgorithmConfig::m_bRepairEdges},
             {Settings::m_bCheckOtherSymbols, &LxCAlgorithmConfig::m_bCheckOtherSymbols},
             {Settings::m_bOrderingConstraint, &LxCAlgorithmConfig::m_bOrderingConstraint},
             {Settings::m_bEnableDepthCulling, &LxCAlgorithmConfig::m_bDepthCulling},
             {Settings::m_bEnableExitWindowCulling, &LxCAlgorithmConfig::m_bExitWindowCulling},
             {Settings::m_bSmoothReducedData, &LxCAlgorithmConfig::m_bSmoothReducedData}}};
}

TEST_F(LxCAlgorithmConfigTest, PresetsZeroAndThreeTakeEachFlagFromItsSetting)
{
    for (const int preset : {0, 3}) {
        for (std::size_t on = 0; on < Flags().size(); ++on) {
            for (std::size_t i = 0; i < Flags().size(); ++i) {
                Flags()[i].setting.Set(i == on);
            }
            const LxCAlgorithmConfig config = Preset(preset);
            for (std::size_t i = 0; i < Flags().size(); ++i) {
                EXPECT_EQ(config.*Flags()[i].member, i == on) << preset << ' ' << i << ' ' << on;
            }
            EXPECT_TRUE(config.m_bUsePyrApproach);
            EXPECT_TRUE(config.m_bUseCompSceneColor);
        }
    }
}

TEST_F(LxCAlgorithmConfigTest, PresetsZeroAndThreeTakeNumbersFromTheSettings)
{
    Settings::m_iMinNumSymbols.Set(41);
    Settings::m_iBoundaryShiftedRefImg.Set(-42);
    Settings::SetReduceData(Settings::eRD_Reduction2);
    for (const int preset : {0, 3}) {
        const LxCAlgorithmConfig config = Preset(preset);
        EXPECT_EQ(config.m_iMinNumSymbols, 41);
        EXPECT_EQ(config.m_iBoundaryShiftedRefImg, -42);
        EXPECT_EQ(config.m_eReduceData, Settings::eRD_Reduction2);
        EXPECT_EQ(config.m_iMaxIpolGap, 10);
    }
}

TEST_F(LxCAlgorithmConfigTest, ReduceDataIsReadByTheCheckedGetter)
{
    const Logging::CCapture capture;
    Settings::SetReduceData(Settings::eRD_Reduction1);
    Settings::m_iCalibrationVariant.Set(3);
    EXPECT_EQ(Preset(0).m_eReduceData, Settings::eRD_None);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCLxCVLibSettings",
                            L"invalid value for ReduceData in lua settings"),
              1);
}

TEST_F(LxCAlgorithmConfigTest, PresetsOneAndTwoAreBareWhateverTheSettings)
{
    for (const bool on : {false, true}) {
        for (const SFlag& flag : Flags()) {
            flag.setting.Set(on);
        }
        Settings::m_iMinNumSymbols.Set(41);
        Settings::m_iBoundaryShiftedRefImg.Set(42);
        Settings::SetReduceData(Settings::eRD_Reduction1);
        for (const int preset : {1, 2}) {
            const LxCAlgorithmConfig config = Preset(preset);
            for (const SFlag& flag : Flags()) {
                const bool undercutFree = flag.member == &LxCAlgorithmConfig::m_bRepairEdgesUndercutFree;
                EXPECT_EQ(config.*flag.member, undercutFree);
            }
            EXPECT_FALSE(config.m_bUsePyrApproach);
            EXPECT_FALSE(config.m_bUseCompSceneColor);
            EXPECT_EQ(config.m_iMinNumSymbols, 0);
            EXPECT_EQ(config.m_iBoundaryShiftedRefImg, 0);
            EXPECT_EQ(config.m_iMaxIpolGap, 10);
            EXPECT_EQ(config.m_eReduceData, Settings::eRD_None);
        }
    }
}

TEST_F(LxCAlgorithmConfigTest, TheDefaultAndUnknownNumbersArePresetZero)
{
    SetBorders(10, 7);
    for (const LxCAlgorithmConfig& config :
         {LxCAlgorithmConfig(), Preset(4), Preset(-1), Preset(c_iLeast), Preset(c_iGreatest)}) {
        EXPECT_TRUE(config.m_bUsePyrApproach);
        EXPECT_EQ(config.m_Roi.GetWidth(), 658 - 20 - 7);
    }
}

TEST_F(LxCAlgorithmConfigTest, RegionsLeaveOutTheBorders)
{
    SetBorders(10, 0);
    for (const int preset : {0, 1, 2, 3}) {
        EXPECT_EQ(Numbers(Preset(preset).m_Roi), (std::array{10, 10, 638, 474}));
        EXPECT_EQ(Numbers(Preset(preset).m_RoiHalf), (std::array{6, 6, 317, 235}));
    }
}

TEST_F(LxCAlgorithmConfigTest, TheRightBorderCountsForPresetsZeroAndThreeAlone)
{
    SetBorders(3, 40);
    for (const int preset : {0, 3}) {
        EXPECT_EQ(Numbers(Preset(preset).m_Roi), (std::array{3, 3, 612, 488}));
        EXPECT_EQ(Numbers(Preset(preset).m_RoiHalf), (std::array{2, 2, 304, 242}));
    }
    for (const int preset : {1, 2}) {
        EXPECT_EQ(Numbers(Preset(preset).m_Roi), (std::array{3, 3, 652, 488}));
        EXPECT_EQ(Numbers(Preset(preset).m_RoiHalf), (std::array{2, 2, 324, 242}));
    }
}

TEST_F(LxCAlgorithmConfigTest, BordersThatLeaveNothingGiveNegativeSizes)
{
    SetBorders(400, 1);
    EXPECT_EQ(Numbers(Preset(0).m_Roi), (std::array{400, 400, -143, -306}));
    // Integer division drops the fraction: -143 / 2 - 2 = -71 - 2.
    EXPECT_EQ(Numbers(Preset(0).m_RoiHalf), (std::array{201, 201, -73, -155}));
    SetBorders(-5, 0);
    EXPECT_EQ(Numbers(Preset(0).m_Roi), (std::array{-5, -5, 668, 504}));
    EXPECT_EQ(Numbers(Preset(0).m_RoiHalf), (std::array{-1, -1, 332, 250}));
}

TEST_F(LxCAlgorithmConfigTest, BordersOfAnySizeSaturate)
{
    SetBorders(c_iGreatest, c_iGreatest);
    EXPECT_EQ(Numbers(Preset(3).m_Roi), (std::array{c_iGreatest, c_iGreatest, c_iLeast, c_iLeast}));
    EXPECT_EQ(Numbers(Preset(3).m_RoiHalf), (std::array{1073741824, 1073741824, -1073741826, -1073741826}));
    SetBorders(c_iLeast, c_iLeast);
    EXPECT_EQ(Numbers(Preset(0).m_Roi), (std::array{c_iLeast, c_iLeast, c_iGreatest, c_iGreatest}));
}

/// Every key away from the values of preset 1, in file order.
const char* const c_sAllKeys = "::Algo\n"
                               "OrderingConstraint=1\n"
                               "CheckOtherSymbols=1\n"
                               "MinNumSymbols=-101\n"
                               "RepairEdges=1\n"
                               "RepairEdgesUndercutFree=0\n"
                               "Clean3DData=1\n"
                               "UseReferenceShift=1\n"
                               "BoundaryShiftedRefImg=102\n"
                               "UsePyrApproach=1\n"
                               "MaxIpolGap=103\n"
                               "UseCompSceneColor=1\n"
                               "DepthCulling=1\n"
                               "ExitWindowCulling=1\n"
                               "::Algo::Roi\n"
                               "LeftCol=21\n"
                               "TopRow=30\n"
                               "Width=401\n"
                               "Height=-4\n";

TEST_F(LxCAlgorithmConfigTest, LoadsAndStoresEveryKeyInOrder)
{
    LxCAlgorithmConfig config = Preset(1);
    TestSupport::Load(config, "::Algo", c_sAllKeys);
    EXPECT_EQ(config.m_iMinNumSymbols, -101);
    EXPECT_EQ(config.m_iBoundaryShiftedRefImg, 102);
    EXPECT_EQ(config.m_iMaxIpolGap, 103);
    EXPECT_FALSE(config.m_bRepairEdgesUndercutFree);
    EXPECT_EQ(Numbers(config.m_Roi), (std::array{21, 30, 401, -4}));
    EXPECT_EQ(TestSupport::Store(config, "::Algo"), c_sAllKeys);
}

TEST_F(LxCAlgorithmConfigTest, LoadsEachFlagIntoItsMember)
{
    struct SKey
    {
        const char* key;
        bool LxCAlgorithmConfig::*member;
    };
    const std::array<SKey, 10> keys{
        {{"OrderingConstraint", &LxCAlgorithmConfig::m_bOrderingConstraint},
         {"CheckOtherSymbols", &LxCAlgorithmConfig::m_bCheckOtherSymbols},
         {"RepairEdges", &LxCAlgorithmConfig::m_bRepairEdges},
         {"RepairEdgesUndercutFree", &LxCAlgorithmConfig::m_bRepairEdgesUndercutFree},
         {"Clean3DData", &LxCAlgorithmConfig::m_bClean3DData},
         {"UseReferenceShift", &LxCAlgorithmConfig::m_bUseReferenceShift},
         {"UsePyrApproach", &LxCAlgorithmConfig::m_bUsePyrApproach},
         {"UseCompSceneColor", &LxCAlgorithmConfig::m_bUseCompSceneColor},
         {"DepthCulling", &LxCAlgorithmConfig::m_bDepthCulling},
         {"ExitWindowCulling", &LxCAlgorithmConfig::m_bExitWindowCulling}}};
    for (const SKey& changed : keys) {
        LxCAlgorithmConfig config = Preset(1);
        const bool before = config.*changed.member;
        TestSupport::Load(config, "::Algo",
                          std::string("::Algo\n") + changed.key + "=" + (before ? "0" : "1") + "\n");
        const LxCAlgorithmConfig fresh = Preset(1);
        for (const SKey& key : keys) {
            EXPECT_EQ(config.*key.member != fresh.*key.member, &key == &changed) << changed.key << key.key;
        }
    }
}

TEST_F(LxCAlgorithmConfigTest, ALoadedRegionTakesTheHalfRegionAlong)
{
    LxCAlgorithmConfig config;
    TestSupport::Load(config, "::Algo", c_sAllKeys);
    EXPECT_EQ(Numbers(config.m_RoiHalf), (std::array{11, 16, 198, -4}));
    const LxCRoi half(1, 2, 3, 4);
    config.m_RoiHalf = half;
    TestSupport::Store(config, "::Algo");
    EXPECT_EQ(Numbers(config.m_RoiHalf), Numbers(half)) << "storing changes nothing";
}

TEST_F(LxCAlgorithmConfigTest, LeavesWhatATextLacks)
{
    LxCAlgorithmConfig config = Preset(2);
    config.m_iMaxIpolGap = 11;
    config.m_bSmoothReducedData = true;
    config.m_eReduceData = Settings::eRD_Reduction1;
    const Logging::CCapture quiet;
    TestSupport::Load(config, "::Algo", "::Algo\nMinNumSymbols=5\nRepairEdges=perhaps\n");
    EXPECT_EQ(config.m_iMinNumSymbols, 5);
    EXPECT_EQ(config.m_iMaxIpolGap, 11);
    EXPECT_FALSE(config.m_bRepairEdges);
    EXPECT_TRUE(config.m_bSmoothReducedData);
    EXPECT_EQ(config.m_eReduceData, Settings::eRD_Reduction1);
    EXPECT_EQ(Numbers(config.m_Roi), Numbers(Preset(2).m_Roi));
}

} // namespace
} // namespace LxCV
