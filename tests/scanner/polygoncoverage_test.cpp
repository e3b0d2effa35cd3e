#include "scanner/device/polygoncoverage.h"

#include "scanner/device/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace device {
namespace {

constexpr double c_floatRounding = 2.0 * std::numeric_limits<float>::epsilon(); // of shares up to 1

double Sum(const PolygonCoverage& coverage)
{
    double sum = 0.0;
    for (const float share : coverage.Shares()) {
        sum += share;
    }
    return sum;
}

double Area(const std::vector<Vec2>& polygon)
{
    double twice = 0.0;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Vec2 &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return 0.5 * std::abs(twice);
}

/// Regular-angled star around a point: star-shaped, so that it never crosses itself, and rarely convex.
std::vector<Vec2> RandomStar(const CounterRandom& random, std::uint64_t trial, const Vec2& centre,
                             double radius)
{
    const int corners = 3 + static_cast<int>(random.Word(100 * trial) % 8);
    std::vector<Vec2> star;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2.0 * std::numbers::pi *
                             (i + 0.8 * random.Uniform(100 * trial + 1 + static_cast<std::uint64_t>(i))) /
                             corners;
        const double reach =
            radius * (0.1 + 0.9 * random.Uniform(100 * trial + 20 + static_cast<std::uint64_t>(i)));
        star.push_back({centre.x + reach * std::cos(angle), centre.y + reach * std::sin(angle)});
    }
    return star;
}

bool Inside(const std::vector<Vec2>& polygon, double x, double y)
{
    bool inside = false;
    for (std::size_t i = 0; i < polygon.size(); ++i) {
        const Vec2 &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
        if ((a.y > y) != (b.y > y) && x < a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y)) {
            inside = !inside;
        }
    }
    return inside;
}

TEST(PolygonCoverage, RectangleCoversProductsOfItsOverlaps)
{
    PolygonCoverage coverage(6, 5);
    // x from 1.25 to 3.75, y from 0.9 to 2.5: in pixels 1 (-0.5..): columns 1: 1.25..1.5, 2: all, 3: all, 4: 3.5..3.75.
    coverage.Add(std::vector<Vec2>{{1.25, 0.9}, {3.75, 0.9}, {3.75, 2.5}, {1.25, 2.5}});
    const double ofColumn[] = {0.0, 0.25, 1.0, 1.0, 0.25, 0.0};
    const double ofRow[] = {0.0, 0.6, 1.0, 0.0, 0.0};
    for (int row = 0; row < 5; ++row) {
        for (int col = 0; col < 6; ++col) {
            EXPECT_NEAR(coverage.At(col, row), ofColumn[col] * ofRow[row], c_floatRounding)
                << col << " " << row;
        }
    }
}

TEST(PolygonCoverage, TriangleHalvesThePixelsOfItsDiagonal)
{
    PolygonCoverage coverage(4, 4);
    // Corners of pixels: the diagonal cuts pixels (0,0) to (3,3) in halves.
    coverage.Add(std::vector<Vec2>{{-0.5, -0.5}, {3.5, 3.5}, {-0.5, 3.5}});
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            EXPECT_FLOAT_EQ(coverage.At(col, row), col < row ? 1.0F : col == row ? 0.5F : 0.0F);
        }
    }
}

TEST(PolygonCoverage, FlatTriangleCoversTrapezoids)
{
    PolygonCoverage coverage(4, 1);
    // Height 1 over a base of 4: the hypotenuse falls from 1 to 0, so the shares are 7/8, 5/8, 3/8, 1/8.
    coverage.Add(std::vector<Vec2>{{-0.5, -0.5}, {-0.5, 0.5}, {3.5, 0.5}});
    for (int col = 0; col < 4; ++col) {
        EXPECT_NEAR(coverage.At(col, 0), (7.0 - 2.0 * col) / 8.0, c_floatRounding);
    }
}

TEST(PolygonCoverage, AgreesWithFineSampling)
{
    constexpr int c_size = 12, c_samples = 48;
    // A side misjudges at most a row of samples per sample row, twice for the corner, a pixel holds up to three sides.
    constexpr double c_samplingError = 3.0 / c_samples;
    const CounterRandom random(11);
    for (std::uint64_t trial = 0; trial < 8; ++trial) {
        const std::vector<Vec2> star = RandomStar(random, trial, {5.7, 5.2}, 7.0);
        PolygonCoverage coverage(c_size, c_size);
        coverage.Add(star);
        for (int row = 0; row < c_size; ++row) {
            for (int col = 0; col < c_size; ++col) {
                int hits = 0;
                for (int j = 0; j < c_samples; ++j) {
                    for (int i = 0; i < c_samples; ++i) {
                        hits +=
                            Inside(star, col - 0.5 + (i + 0.5) / c_samples, row - 0.5 + (j + 0.5) / c_samples)
                                ? 1
                                : 0;
                    }
                }
                ASSERT_NEAR(coverage.At(col, row), hits / (1.0 * c_samples * c_samples), c_samplingError)
                    << "trial " << trial << " at " << col << " " << row;
            }
        }
    }
}

/// The share of one pixel by cutting the polygon at the pixel's four sides and taking the area of what is left.
double ShareByCutting(std::vector<Vec2> polygon, int col, int row)
{
    for (int side = 0; side < 4; ++side) {
        const auto distance = [&](const Vec2& p) {
            switch (side) {
            case 0:
                return p.x - (col - 0.5);
            case 1:
                return (col + 0.5) - p.x;
            case 2:
                return p.y - (row - 0.5);
            default:
                return (row + 0.5) - p.y;
            }
        };
        std::vector<Vec2> kept;
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            const Vec2 &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
            const double ofA = distance(a), ofB = distance(b);
            if (ofA > 0.0) {
                kept.push_back(a);
            }
            if ((ofA > 0.0) != (ofB > 0.0)) {
                const double t = ofA / (ofA - ofB);
                kept.push_back({a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)});
            }
        }
        polygon = kept;
    }
    return Area(polygon);
}

TEST(PolygonCoverage, AgreesWithCuttingThePolygonAtEveryPixel)
{
    constexpr int c_width = 14, c_height = 9;
    const CounterRandom random(12);
    for (std::uint64_t trial = 0; trial < 300; ++trial) {
        const Vec2 centre{15.0 * random.Uniform(5000000 + 2 * trial) - 1.0,
                          10.0 * random.Uniform(5000001 + 2 * trial) - 1.0};
        const std::vector<Vec2> star = RandomStar(random, trial, centre, trial % 3 == 0 ? 1.0 : 9.0);
        PolygonCoverage coverage(c_width, c_height);
        coverage.Add(star);
        for (int row = 0; row < c_height; ++row) {
            for (int col = 0; col < c_width; ++col) {
                ASSERT_NEAR(coverage.At(col, row), ShareByCutting(star, col, row), c_floatRounding)
                    << "trial " << trial << " at " << col << " " << row;
            }
        }
    }
}

TEST(PolygonCoverage, SharesSumToTheArea)
{
    const CounterRandom random(13);
    for (std::uint64_t trial = 0; trial < 500; ++trial) {
        const std::vector<Vec2> star = RandomStar(random, trial, {30.3, 19.6}, 18.0);
        PolygonCoverage coverage(60, 40);
        coverage.Add(star);
        ASSERT_NEAR(Sum(coverage), Area(star), 1e-5) << trial; // 1000 pixels, each rounded to 6e-8
    }
}

TEST(PolygonCoverage, WayRoundAndFirstCornerDoNotCount)
{
    std::vector<Vec2> polygon{{1.2, 0.7}, {6.1, 2.2}, {3.3, 7.4}};
    PolygonCoverage first(8, 8), second(8, 8);
    first.Add(polygon);
    std::reverse(polygon.begin(), polygon.end());
    second.Add(polygon);
    for (std::size_t i = 0; i < first.Shares().size(); ++i) {
        EXPECT_NEAR(first.Shares()[i], second.Shares()[i], c_floatRounding);
    }
}

TEST(PolygonCoverage, WeightsOfSeveralPolygonsAdd)
{
    PolygonCoverage coverage(3, 3);
    coverage.Add(std::vector<Vec2>{{-0.5, -0.5}, {2.5, -0.5}, {2.5, 2.5}, {-0.5, 2.5}});
    coverage.Add(std::vector<Vec2>{{0.5, 0.5}, {1.5, 0.5}, {1.5, 1.5}, {0.5, 1.5}}, -0.75);
    EXPECT_FLOAT_EQ(coverage.At(0, 0), 1.0F);
    EXPECT_FLOAT_EQ(coverage.At(1, 1), 0.25F);
}

TEST(PolygonCoverage, WhatTheOutlineGoesRoundTwiceCountsTwice)
{
    PolygonCoverage coverage(3, 1);
    coverage.Add(std::vector<Vec2>{
        {0.5, -0.5}, {1.5, -0.5}, {1.5, 0.5}, {0.5, 0.5}, {0.5, -0.5}, {1.5, -0.5}, {1.5, 0.5}, {0.5, 0.5}});
    EXPECT_FLOAT_EQ(coverage.At(1, 0), 2.0F);
    EXPECT_FLOAT_EQ(coverage.At(2, 0), 0.0F);
}

TEST(PolygonCoverage, WhatLiesOutsideIsCutOff)
{
    PolygonCoverage all(5, 4);
    all.Add(std::vector<Vec2>{{-1e9, -1e9}, {1e9, -1e9}, {1e9, 1e9}, {-1e9, 1e9}});
    EXPECT_NEAR(Sum(all), 20.0, 1e-5);
    for (const Vec2& shift : {Vec2{50, 0}, Vec2{-50, 0}, Vec2{0, 50}, Vec2{0, -50}}) {
        PolygonCoverage none(5, 4);
        none.Add(std::vector<Vec2>{
            {shift.x, shift.y}, {shift.x + 3, shift.y}, {shift.x + 3, shift.y + 3}, {shift.x, shift.y + 3}});
        EXPECT_EQ(Sum(none), 0.0);
    }
}

TEST(PolygonCoverage, NothingIsCoveredByLinesAndPoints)
{
    PolygonCoverage coverage(4, 4);
    coverage.Add({});
    coverage.Add(std::vector<Vec2>{{1, 1}});
    coverage.Add(std::vector<Vec2>{{1, 1}, {3, 2}});
    coverage.Add(std::vector<Vec2>{{1, 1}, {3, 1}, {2, 1}});
    coverage.Add(std::vector<Vec2>{{1, 1}, {3, 2}, {1, 1}, {3, 2}});
    EXPECT_NEAR(Sum(coverage), 0.0, 1e-12);
}

TEST(PolygonCoverage, ARasterMayBeEmpty)
{
    for (const auto& [width, height] : {std::pair{0, 0}, std::pair{3, 0}, std::pair{0, 3}}) {
        PolygonCoverage coverage(width, height);
        coverage.Add(std::vector<Vec2>{{-1, -1}, {5, -1}, {5, 5}, {-1, 5}});
        EXPECT_TRUE(coverage.Shares().empty());
    }
}

TEST(PolygonCoverage, RefusesWhatIsNoPolygon)
{
    constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double c_infinity = std::numeric_limits<double>::infinity();
    PolygonCoverage coverage(4, 4);
    EXPECT_THROW(coverage.Add(std::vector<Vec2>{{0, 0}, {c_nan, 0}, {0, 1}}), std::invalid_argument);
    EXPECT_THROW(coverage.Add(std::vector<Vec2>{{0, 0}, {1, c_infinity}, {0, 1}}), std::invalid_argument);
    EXPECT_THROW(PolygonCoverage(-1, 4), std::invalid_argument);
    EXPECT_EQ(Sum(coverage), 0.0);
}

} // namespace
} // namespace device
