#include "scanner/decoder/pointculling.h"

#include "lxccclalgoconfig.h"
#include "tests/scanner/algorithmtext.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace decoder {
namespace {

using LxCV::LxC3DCoordsCCT;
using LxCV::LxCCCLAlgoConfig;
using LxCV::LxCRoi;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

/// Left column, top row, width, height.
using Numbers = std::array<int, 4>;

Numbers Measured(const Numbers& region, int width, int height)
{
    LxCRoi ofWindow;
    ofWindow.Set(region[0], region[1], region[2], region[3]);
    const LxCRoi measured = MeasuredRegion(ofWindow, width, height);
    return {measured.GetLeftCol(), measured.GetTopRow(), measured.GetWidth(), measured.GetHeight()};
}

TEST(MeasuredRegion, IsTheRegionInAnImageOfTheWindowsSize)
{
    EXPECT_EQ(Measured({10, 10, 638, 474}, 658, 494), (Numbers{10, 10, 638, 474}));
    EXPECT_EQ(Measured({100, 200, 1, 2}, 658, 494), (Numbers{100, 200, 1, 2}));
}

TEST(MeasuredRegion, KeepsItsBordersInImagesOfOtherSizes)
{
    // Borders of 5, 6, 658 - 5 - 633 = 20 and 494 - 6 - 458 = 30 pixels.
    EXPECT_EQ(Measured({5, 6, 633, 458}, 1280, 960), (Numbers{5, 6, 1280 - 25, 960 - 36}));
    EXPECT_EQ(Measured({5, 6, 633, 458}, 40, 494), (Numbers{5, 6, 15, 458}));
    EXPECT_EQ(Measured({0, 0, 658, 494}, 3, 2000), (Numbers{0, 0, 3, 2000}));
}

TEST(MeasuredRegion, EndsWithTheImage)
{
    EXPECT_EQ(Measured({-7, -8, 680, 520}, 658, 494), (Numbers{0, 0, 658, 494}));
    EXPECT_EQ(Measured({600, 400, 100, 100}, 658, 494), (Numbers{600, 400, 58, 94}));
}

TEST(MeasuredRegion, HasNoSizeWhereNothingIsLeft)
{
    EXPECT_EQ(Measured({10, 10, 638, 474}, 20, 20), (Numbers{10, 10, 0, 0}));
    EXPECT_EQ(Measured({10, 10, 638, 474}, 1, 1), (Numbers{1, 1, 0, 0}));
    EXPECT_EQ(Measured({400, 300, -142, -106}, 658, 494), (Numbers{400, 300, 0, 0}));
    EXPECT_EQ(Measured({700, 0, 10, 494}, 658, 494), (Numbers{658, 0, 0, 494}));
    EXPECT_EQ(Measured({0, 0, 0, 0}, 0, 0), (Numbers{0, 0, 0, 0}));
}

TEST(MeasuredRegion, TakesAnyNumbers)
{
    EXPECT_EQ(Measured({kLeast, kLeast, kMost, kMost}, 658, 494), (Numbers{0, 0, 0, 0}));
    EXPECT_EQ(Measured({kMost, kMost, kMost, kMost}, kMost, 494), (Numbers{kMost, 494, 0, 0}));
    EXPECT_EQ(Measured({0, 0, kMost, kMost}, 658, 494), (Numbers{0, 0, 658, 494}));
    EXPECT_EQ(Measured({kLeast, 0, kLeast, 1}, 658, 494), (Numbers{0, 0, 0, 1}));
}

/// A configuration with both cullings switched on in the active preset.
LxCCCLAlgoConfig Culling()
{
    LxCCCLAlgoConfig config;
    config.GetActiveAlgorithmConfig().m_bDepthCulling = true;
    config.GetActiveAlgorithmConfig().m_bExitWindowCulling = true;
    return config;
}

bool IsKept(const LxCCCLAlgoConfig& config, double x, double y, double z)
{
    return PointCulling(config).IsKept(LxC3DCoordsCCT(x, y, z));
}

TEST(DepthCulling, DropsWhatIsFartherThanTheCullingDistanceBeyondTheFocalDistance)
{
    LxCCCLAlgoConfig config = Culling();
    scannertest::LoadDepthCulling(config, 33.0F, 2.5F);
    EXPECT_TRUE(IsKept(config, 9.0, -9.0, 35.5)) << "on the limit";
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 25.0));
    EXPECT_FALSE(IsKept(config, 0.0, 0.0, std::nextafter(35.5, 36.0)));
    EXPECT_FALSE(IsKept(config, -9.0, 9.0, 40.0));
}

TEST(DepthCulling, IsOffUnlessTheActivePresetWantsIt)
{
    LxCCCLAlgoConfig config;
    scannertest::LoadDepthCulling(config, 33.0F, 2.5F);
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 40.0)) << "the settings' default";
    config.GetAlgorithmConfig(LxCV::LxCAlgorithmConfig::eS_Preset2).m_bDepthCulling = true;
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 40.0));
    config.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset2);
    EXPECT_FALSE(IsKept(config, 0.0, 0.0, 40.0));
}

TEST(DepthCulling, DropsNothingWhereNoDistanceIsCalibrated)
{
    EXPECT_TRUE(IsKept(Culling(), 0.0, 0.0, 1e9));
    for (const float distance : {0.0F, -1.0F}) {
        LxCCCLAlgoConfig config = Culling();
        scannertest::LoadDepthCulling(config, 33.0F, distance);
        EXPECT_TRUE(IsKept(config, 0.0, 0.0, 1e9)) << distance;
    }
}

TEST(ExitWindowCulling, DropsWhatLiesOnTheCamerasSideOfTheWindow)
{
    LxCCCLAlgoConfig config = Culling();
    config.SetExitWindow(0.0F, 0.6F, 0.8F, 10.0F); // 0.6 y + 0.8 z = 10
    EXPECT_FALSE(IsKept(config, 0.0, 0.0, 12.4));
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 12.6));
    EXPECT_TRUE(IsKept(config, 50.0, 10.0, 6.0)) << "6 + 4.8 is beyond 10";
    EXPECT_FALSE(IsKept(config, -50.0, -10.0, 18.0)) << "-6 + 14.4 is before 10";
}

TEST(ExitWindowCulling, KeepsThePointsOfTheWindow)
{
    LxCCCLAlgoConfig config = Culling();
    config.SetExitWindow(0.0F, 0.0F, 1.0F, 12.0F);
    EXPECT_TRUE(IsKept(config, 3.0, 4.0, 12.0));
    EXPECT_FALSE(IsKept(config, 3.0, 4.0, std::nextafter(12.0, 0.0)));
}

TEST(ExitWindowCulling, DoesNotDependOnWhichWayTheNormalPointsNorOnItsLength)
{
    // The camera is the origin. A point is on its side if the way there does not pass the plane, which it meets at
    // the share d / (n p) of the way.
    constexpr int kTrials = 5000;
    constexpr double kNear = 1e-3; // float normals and distances move the plane by less
    std::mt19937 random(5);
    std::uniform_real_distribution<double> anywhere(-20.0, 20.0);
    for (int trial = 0; trial < kTrials; ++trial) {
        const LxC3DCoordsCCT normal{anywhere(random), anywhere(random), anywhere(random)};
        const LxC3DCoordsCCT point{anywhere(random), anywhere(random), anywhere(random)};
        const double distance = anywhere(random);
        const double share = distance / (normal.Dot(point) / normal.GetLength());
        if (std::abs(share - 1.0) < kNear || std::abs(distance) < kNear) {
            continue;
        }
        const bool isBehindTheWindow = share > 0.0 && share < 1.0;
        for (const float sign : {1.0F, -1.0F}) {
            LxCCCLAlgoConfig config = Culling();
            config.SetExitWindow(sign * static_cast<float>(normal.x), sign * static_cast<float>(normal.y),
                                 sign * static_cast<float>(normal.z), sign * static_cast<float>(distance));
            ASSERT_EQ(PointCulling(config).IsKept(point), isBehindTheWindow)
                << "normal " << normal.x << " " << normal.y << " " << normal.z << " at " << distance
                << ", point " << point.x << " " << point.y << " " << point.z;
        }
    }
}

TEST(ExitWindowCulling, IsOffUnlessTheActivePresetWantsIt)
{
    LxCCCLAlgoConfig config;
    config.SetExitWindow(0.0F, 0.0F, 1.0F, 30.0F);
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 20.0)) << "the settings' default";
    config.GetActiveAlgorithmConfig().m_bExitWindowCulling = true;
    EXPECT_FALSE(IsKept(config, 0.0, 0.0, 20.0));
    config.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset1);
    EXPECT_TRUE(IsKept(config, 0.0, 0.0, 20.0));
}

TEST(ExitWindowCulling, DropsNothingWhereNoWindowIsCalibrated)
{
    const std::array<std::array<float, 4>, 8> windows{{{0.0F, 0.0F, 0.0F, 0.0F},
                                                       {0.0F, 0.0F, 0.0F, 30.0F},
                                                       {0.0F, 0.0F, 1.0F, 0.0F},
                                                       {0.0F, 0.0F, 1.0F, kNotANumber},
                                                       {0.0F, 0.0F, 1.0F, kInfinity},
                                                       {0.0F, kNotANumber, 1.0F, 30.0F},
                                                       {kInfinity, 0.0F, 1.0F, 30.0F},
                                                       {0.0F, 0.0F, -kInfinity, -30.0F}}};
    for (const auto& [x, y, z, distance] : windows) {
        LxCCCLAlgoConfig config = Culling();
        config.SetExitWindow(x, y, z, distance);
        for (const double depth : {-100.0, 0.0, 20.0, 1e9}) {
            EXPECT_TRUE(IsKept(config, 5.0, 5.0, depth)) << x << " " << y << " " << z << " " << distance;
        }
    }
}

} // namespace
} // namespace decoder
