#include "scanner/device/colourchart.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace device {
namespace {

constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();

/// Two columns of 3 mm and two rows of 2 mm.
ColourChart SmallChart()
{
    ColourChart chart;
    chart.depth = 30.0;
    chart.least = {-1.0, 2.0};
    chart.greatest = {5.0, 6.0};
    chart.columns = 2;
    chart.albedos = {{0.1, 0.2, 0.3}, {0.4, 0.5, 0.6}, {0.7, 0.8, 0.9}, {1.0, 0.0, 0.5}};
    return chart;
}

TEST(ColourChart, TellsThePatchOfAPoint)
{
    const ColourChart chart = SmallChart();
    EXPECT_EQ(chart.PatchAt({-1.0, 2.0}), 0);
    EXPECT_EQ(chart.PatchAt({1.99, 3.99}), 0);
    EXPECT_EQ(chart.PatchAt({2.01, 3.99}), 1);
    EXPECT_EQ(chart.PatchAt({1.99, 4.01}), 2);
    EXPECT_EQ(chart.PatchAt({4.99, 5.99}), 3);
}

TEST(ColourChart, HasNoPatchBesideItsRectangle)
{
    const ColourChart chart = SmallChart();
    for (const Vec2& point : std::vector<Vec2>{{-1.01, 3.0},
                                               {5.0, 3.0},
                                               {0.0, 1.99},
                                               {0.0, 6.0},
                                               {c_nan, 3.0},
                                               {0.0, c_nan},
                                               {1e300, 3.0},
                                               {0.0, -std::numeric_limits<double>::infinity()}}) {
        EXPECT_EQ(chart.PatchAt(point), -1) << point.x << ", " << point.y;
    }
}

TEST(ColourChart, KeepsAMarginToAllFourBordersOfAPatch)
{
    const ColourChart chart = SmallChart();
    EXPECT_EQ(chart.PatchAt({-0.5, 3.0}, 0.5), 0);
    EXPECT_EQ(chart.PatchAt({-0.51, 3.0}, 0.5), -1);
    EXPECT_EQ(chart.PatchAt({1.51, 3.0}, 0.5), -1);
    EXPECT_EQ(chart.PatchAt({0.0, 2.49}, 0.5), -1);
    EXPECT_EQ(chart.PatchAt({0.0, 3.51}, 0.5), -1);
    EXPECT_EQ(chart.PatchAt({3.5, 5.0}, 1.0), 3) << "the middle of the last patch";
}

TEST(ColourChart, IsASceneWithAPieceOfSurfaceForEachPatch)
{
    const std::unique_ptr<Scene> scene = MakeColourChart(SmallChart());
    // The ray through (x, y, 30) from the origin.
    const auto hit = [&scene](double x, double y) {
        return scene->Intersect({{}, {x / 30.0, y / 30.0, 1.0}});
    };
    const std::optional<Hit> patch = hit(3.0, 5.0);
    ASSERT_TRUE(patch.has_value());
    EXPECT_EQ(patch->surface, 3);
    EXPECT_NEAR(patch->point.x, 3.0, 1e-12);
    EXPECT_NEAR(patch->point.z, 30.0, 1e-12);
    EXPECT_EQ(patch->normal.z, -1.0);
    EXPECT_EQ(scene->Albedo(*patch), (Colour{1.0, 0.0, 0.5}));
    const std::optional<Hit> beside = hit(-2.0, 5.0);
    ASSERT_TRUE(beside.has_value());
    EXPECT_EQ(beside->surface, -1);
    EXPECT_EQ(scene->Albedo(*beside), Colour{}) << "black";
    EXPECT_FALSE(scene->Hides({0.0, -7.0, 0.0}, patch->point));
}

TEST(ColourChart, IsNotHitByRaysThatLeadAway)
{
    const std::unique_ptr<Scene> scene = MakeColourChart(SmallChart());
    EXPECT_FALSE(scene->Intersect({{}, {0.0, 0.1, -1.0}}).has_value());
    EXPECT_FALSE(scene->Intersect({{}, {1.0, 0.0, 0.0}}).has_value());
    EXPECT_FALSE(scene->Intersect({{}, {c_nan, 0.0, c_nan}}).has_value());
}

TEST(ColourChart, IsRefusedUnlessItsNumbersDescribeOne)
{
    const auto refused = [](auto change) {
        ColourChart chart = SmallChart();
        change(chart);
        EXPECT_THROW(MakeColourChart(chart), std::invalid_argument);
    };
    refused([](ColourChart& chart) { chart.depth = 0.0; });
    refused([](ColourChart& chart) { chart.depth = c_nan; });
    refused([](ColourChart& chart) { chart.least.x = 5.0; });
    refused([](ColourChart& chart) { chart.greatest.y = std::numeric_limits<double>::infinity(); });
    refused([](ColourChart& chart) { chart.columns = 0; });
    refused([](ColourChart& chart) { chart.columns = 3; });
    refused([](ColourChart& chart) { chart.albedos.clear(); });
    refused([](ColourChart& chart) { chart.albedos.resize(20'000); });
    refused([](ColourChart& chart) { chart.albedos[1][2] = 1.01; });
    refused([](ColourChart& chart) { chart.albedos[1][2] = -0.01; });
    refused([](ColourChart& chart) { chart.albedos[1][2] = c_nan; });
    EXPECT_NO_THROW(MakeColourChart(SmallChart()));
}

} // namespace
} // namespace device
