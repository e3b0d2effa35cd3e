// Lines, blocks and curves against the pixels that geometry asks for.
#include "drawing.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <utility>

namespace LxCV {
namespace {

using namespace Drawing;
using Pixels = std::set<std::pair<int, int>>;

constexpr SCanvas c_Canvas{40, 30};

/// Collects pixels, and fails for one off the canvas.
Plot Into(Pixels& pixels, const SCanvas& canvas = c_Canvas)
{
    return [&pixels, canvas](int x, int y) {
        ASSERT_TRUE(x >= 0 && x < canvas.width && y >= 0 && y < canvas.height) << x << ' ' << y;
        pixels.emplace(x, y);
    };
}

Pixels LineOf(double x1, double y1, double x2, double y2, const SCanvas& canvas = c_Canvas)
{
    Pixels pixels;
    Line(canvas, x1, y1, x2, y2, Into(pixels, canvas));
    return pixels;
}

TEST(Drawing, LinesHaveTheirEndsAndOnePixelAColumnOrRowWithinHalfAPixel)
{
    std::mt19937 random(1);
    for (int i = 0; i < 2000; ++i) {
        const int x1 = static_cast<int>(random() % 40);
        const int y1 = static_cast<int>(random() % 30);
        const int x2 = static_cast<int>(random() % 40);
        const int y2 = static_cast<int>(random() % 30);
        const Pixels pixels = LineOf(x1, y1, x2, y2);
        ASSERT_TRUE(pixels.contains({x1, y1}) && pixels.contains({x2, y2}));
        const int dx = x2 - x1;
        const int dy = y2 - y1;
        ASSERT_EQ(static_cast<int>(pixels.size()), std::max(std::abs(dx), std::abs(dy)) + 1);
        for (const auto& [x, y] : pixels) {
            // The distance from the line along the minor axis is |cross product| / major extent.
            const int cross = std::abs(dx * (y - y1) - dy * (x - x1));
            ASSERT_LE(2 * cross, std::max(std::abs(dx), std::abs(dy))) << x << ' ' << y;
        }
    }
}

TEST(Drawing, TheSeenPartOfALineIsThatOfTheWholeLine)
{
    constexpr SCanvas c_Large{400, 300};
    constexpr int c_iShift = 150;
    std::mt19937 random(2);
    for (int i = 0; i < 500; ++i) {
        const int x1 = static_cast<int>(random() % 400);
        const int y1 = static_cast<int>(random() % 300);
        const int x2 = static_cast<int>(random() % 400);
        const int y2 = static_cast<int>(random() % 300);
        Pixels expected;
        for (const auto& [x, y] : LineOf(x1, y1, x2, y2, c_Large)) {
            if (x >= c_iShift && x < c_iShift + c_Canvas.width && y >= c_iShift &&
                y < c_iShift + c_Canvas.height) {
                expected.emplace(x - c_iShift, y - c_iShift);
            }
        }
        ASSERT_EQ(LineOf(x1 - c_iShift, y1 - c_iShift, x2 - c_iShift, y2 - c_iShift), expected);
    }
}

TEST(Drawing, LinesOfAnyCoordinatesEndSoon)
{
    EXPECT_EQ(LineOf(INT_MIN, 5, INT_MAX, 5).size(), 40U);
    EXPECT_EQ(LineOf(7, -1e300, 7, 1e300).size(), 30U);
    EXPECT_TRUE(LineOf(INT_MAX, INT_MAX, INT_MAX, INT_MAX).empty());
    EXPECT_FALSE(LineOf(INT_MIN, INT_MIN, INT_MAX, INT_MAX).empty());
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(LineOf(nan, 1, 2, 3).empty());
    EXPECT_TRUE(LineOf(1, infinity, 2, 3).empty());
    EXPECT_TRUE(LineOf(1, 1, -infinity, 3).empty());
    EXPECT_TRUE(LineOf(0, 0, 5, 5, {0, 0}).empty());
}

TEST(Drawing, BlocksHoldBothCornersInAnyOrder)
{
    Pixels expected;
    for (int y = 3; y <= 5; ++y) {
        for (int x = 10; x <= 12; ++x) {
            expected.emplace(x, y);
        }
    }
    Pixels found;
    Block(c_Canvas, 12, 3, 10, 5, Into(found));
    EXPECT_EQ(found, expected);
    found.clear();
    Block(c_Canvas, INT_MIN, INT_MIN, INT_MAX, INT_MAX, Into(found));
    EXPECT_EQ(found.size(), 1200U);
    found.clear();
    Block(c_Canvas, -5, -5, -1, -1, Into(found));
    EXPECT_TRUE(found.empty());
}

TEST(Drawing, CurvesPassThroughEachPosition)
{
    const auto parabola = [](double p) { return 0.05 * (p - 20.0) * (p - 20.0) + 2.0; };
    Pixels along;
    Curve(c_Canvas, true, 5, 35, parabola, Into(along));
    Pixels across;
    Curve(c_Canvas, false, 5, 35, parabola, Into(across));
    for (int p = 5; p <= 29; ++p) {
        const int value = static_cast<int>(std::floor(parabola(p) + 0.5));
        EXPECT_TRUE(along.contains({p, value})) << p;
        EXPECT_TRUE(across.contains({value, p})) << p;
    }
    EXPECT_EQ(along.lower_bound({0, 0})->first, 5); // nothing before the first position
    EXPECT_EQ(along.rbegin()->first, 35);
}

TEST(Drawing, CurvesWithGapsInTheirValuesAndHugeRangesEndSoon)
{
    Pixels found;
    Curve(
        c_Canvas, true, INT_MIN, INT_MAX, [](double p) { return 10.0 + 0.0 * p; }, Into(found));
    EXPECT_EQ(found.size(), 40U);
    found.clear();
    Curve(
        c_Canvas, true, 0, 39, [](double) { return std::numeric_limits<double>::quiet_NaN(); }, Into(found));
    EXPECT_TRUE(found.empty());
    Curve(
        c_Canvas, true, 30, 20, [](double) { return 1.0; }, Into(found));
    EXPECT_EQ(found.size(), 11U);
}

} // namespace
} // namespace LxCV
