#include "ellipsefit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();
constexpr double c_dPi = std::numbers::pi;

struct Points
{
    std::vector<double> x;
    std::vector<double> y;
    int Count() const { return static_cast<int>(x.size()); }
    bool Fit(LxCEllipse& ellipse) const { return FitEllipseDirect(x.data(), y.data(), Count(), &ellipse); }
};

Points PointsOn(const LxCEllipse& e, int count, double from = 0.0, double to = 2.0 * c_dPi)
{
    Points points;
    for (int i = 0; i < count; ++i) {
        const double t = from + (to - from) * i / count;
        const double u = e.GetA() * std::cos(t);
        const double v = e.GetB() * std::sin(t);
        points.x.push_back(e.GetX() + std::cos(e.GetAlpha()) * u - std::sin(e.GetAlpha()) * v);
        points.y.push_back(e.GetY() + std::sin(e.GetAlpha()) * u + std::cos(e.GetAlpha()) * v);
    }
    return points;
}

/// An ellipse of a calibration mark, its semi-axis a within 45 degrees of the x axis.
LxCEllipse RandomEllipse(std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double a = 5.0 + 25.0 * unit(random);
    const double b = a * (0.4 + 0.5 * unit(random));
    const bool upright = unit(random) < 0.5;
    return {50.0 + 550.0 * unit(random), 50.0 + 400.0 * unit(random), upright ? b : a, upright ? a : b,
            (unit(random) - 0.5) * 0.49 * c_dPi};
}

void ExpectEllipse(const LxCEllipse& found, const LxCEllipse& expected, double tolerance, int trial)
{
    EXPECT_NEAR(found.GetX(), expected.GetX(), tolerance) << "trial " << trial;
    EXPECT_NEAR(found.GetY(), expected.GetY(), tolerance) << "trial " << trial;
    EXPECT_NEAR(found.GetA(), expected.GetA(), tolerance) << "trial " << trial;
    EXPECT_NEAR(found.GetB(), expected.GetB(), tolerance) << "trial " << trial;
    EXPECT_NEAR(found.GetAlpha(), expected.GetAlpha(), tolerance) << "trial " << trial;
}

TEST(FitEllipseDirect, RecoversExactEllipsesOfAnyPlaceAndDirection)
{
    // The raised pivot moves the ellipse by some 1e-12 of its size, rounding of coordinates by less.
    constexpr double c_dTolerance = 1e-8;
    std::mt19937 random(1);
    for (int trial = 0; trial < 2000; ++trial) {
        const LxCEllipse expected = RandomEllipse(random);
        LxCEllipse found;
        ASSERT_TRUE(PointsOn(expected, 6 + trial % 100).Fit(found)) << "trial " << trial;
        ExpectEllipse(found, expected, c_dTolerance, trial);
    }
}

TEST(FitEllipseDirect, RecoversEllipsesFromHalfOfThem)
{
    std::mt19937 random(2);
    for (int trial = 0; trial < 500; ++trial) {
        const LxCEllipse expected = RandomEllipse(random);
        const double from = 0.01 * trial;
        LxCEllipse found;
        ASSERT_TRUE(PointsOn(expected, 60, from, from + c_dPi).Fit(found)) << "trial " << trial;
        ExpectEllipse(found, expected, 1e-6, trial);
    }
}

TEST(FitEllipseDirect, FindsTheCentreWithin005PixelsAtNoiseOf01Pixels)
{
    std::mt19937 random(3);
    std::normal_distribution<double> noise(0.0, 0.1);
    for (int trial = 0; trial < 1000; ++trial) {
        const LxCEllipse expected = RandomEllipse(random);
        // As many points as pixels along the edge, and at least as many as bring the mean of the noise, with
        // a standard deviation of 0.1·√(2/200) = 0.01 on an axis, well below the bound.
        Points points = PointsOn(expected, 200);
        for (int i = 0; i < points.Count(); ++i) {
            points.x[i] += noise(random);
            points.y[i] += noise(random);
        }
        LxCEllipse found;
        ASSERT_TRUE(points.Fit(found)) << "trial " << trial;
        EXPECT_NEAR(found.GetX(), expected.GetX(), 0.05) << "trial " << trial;
        EXPECT_NEAR(found.GetY(), expected.GetY(), 0.05) << "trial " << trial;
        EXPECT_NEAR(found.GetA(), expected.GetA(), 0.1) << "trial " << trial;
        EXPECT_NEAR(found.GetB(), expected.GetB(), 0.1) << "trial " << trial;
    }
}

TEST(FitEllipseDirect, NoiseIsFittedTheSameAtTheOriginAndFarFromIt)
{
    std::mt19937 random(4);
    std::normal_distribution<double> noise(0.0, 0.3);
    for (int trial = 0; trial < 200; ++trial) {
        Points points = PointsOn({0.0, 0.0, 12.0, 7.0, 0.3}, 40);
        for (int i = 0; i < points.Count(); ++i) {
            points.x[i] += noise(random);
            points.y[i] += noise(random);
        }
        LxCEllipse near;
        ASSERT_TRUE(points.Fit(near));
        for (int i = 0; i < points.Count(); ++i) {
            points.x[i] = 1000.0 * (points.x[i] + 1024.0);
            points.y[i] = 1000.0 * (points.y[i] - 4096.0);
        }
        LxCEllipse far;
        ASSERT_TRUE(points.Fit(far));
        constexpr double c_dTolerance =
            1e-7; // pixels at the origin: roundings of coordinates near 4e6 and their sums
        EXPECT_NEAR(far.GetX() / 1000.0 - 1024.0, near.GetX(), c_dTolerance);
        EXPECT_NEAR(far.GetY() / 1000.0 + 4096.0, near.GetY(), c_dTolerance);
        EXPECT_NEAR(far.GetA() / 1000.0, near.GetA(), c_dTolerance);
        EXPECT_NEAR(far.GetB() / 1000.0, near.GetB(), c_dTolerance);
        EXPECT_NEAR(far.GetAlpha(), near.GetAlpha(), c_dTolerance);
    }
}

/// The sum of squared conic values under the constraint 4·a·c - b² = 1, for the ellipse itself.
double ConstrainedError(const Points& points, const LxCEllipse& e)
{
    const double co = std::cos(e.GetAlpha());
    const double si = std::sin(e.GetAlpha());
    double sum = 0.0;
    for (int i = 0; i < points.Count(); ++i) {
        const double dx = points.x[i] - e.GetX();
        const double dy = points.y[i] - e.GetY();
        const double u = (co * dx + si * dy) / e.GetA();
        const double v = (co * dy - si * dx) / e.GetB();
        // u² + v² - 1 as a conic has 4·a·c - b² = 4/(A·B)².
        const double value = (u * u + v * v - 1.0) * e.GetA() * e.GetB() / 2.0;
        sum += value * value;
    }
    return sum;
}

TEST(FitEllipseDirect, NoNeighbouringEllipseHasLessAlgebraicError)
{
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0.0, 0.5);
    for (int trial = 0; trial < 200; ++trial) {
        Points points = PointsOn(RandomEllipse(random), 30);
        for (int i = 0; i < points.Count(); ++i) {
            points.x[i] += noise(random);
            points.y[i] += noise(random);
        }
        LxCEllipse e;
        ASSERT_TRUE(points.Fit(e));
        const double best = ConstrainedError(points, e);
        constexpr double c_dStep = 1e-3;
        for (const double d : {-c_dStep, c_dStep}) {
            const LxCEllipse neighbours[] = {{e.GetX() + d, e.GetY(), e.GetA(), e.GetB(), e.GetAlpha()},
                                             {e.GetX(), e.GetY() + d, e.GetA(), e.GetB(), e.GetAlpha()},
                                             {e.GetX(), e.GetY(), e.GetA() + d, e.GetB(), e.GetAlpha()},
                                             {e.GetX(), e.GetY(), e.GetA(), e.GetB() + d, e.GetAlpha()},
                                             {e.GetX(), e.GetY(), e.GetA(), e.GetB(), e.GetAlpha() + d}};
            for (const LxCEllipse& neighbour : neighbours) {
                EXPECT_GE(ConstrainedError(points, neighbour), best * (1.0 - 1e-12)) << "trial " << trial;
            }
        }
    }
}

TEST(FitEllipseDirect, ACircleKeepsItsRadiusWhateverItsAngle)
{
    LxCEllipse found;
    ASSERT_TRUE(PointsOn({300.0, 200.0, 10.0, 10.0, 0.0}, 64).Fit(found));
    EXPECT_NEAR(found.GetA(), 10.0, 1e-9);
    EXPECT_NEAR(found.GetB(), 10.0, 1e-9);
    EXPECT_NEAR(found.GetX(), 300.0, 1e-9);
    EXPECT_LE(std::abs(found.GetAlpha()), c_dPi / 4.0);
}

TEST(FitEllipseDirect, ACircleThroughPointsOfAGridIsFittedAtAnySizeOfIt)
{
    // 3² + 4² = 5²: the coefficients of x² and y² are equal, now and then to the last digit.
    const int gridX[12] = {5, -5, 0, 0, 3, 3, -3, -3, 4, 4, -4, -4};
    const int gridY[12] = {0, 0, 5, -5, 4, -4, 4, -4, 3, -3, 3, -3};
    for (int trial = 1; trial <= 500; ++trial) {
        const double unit = 0.01 * trial * trial;
        Points points;
        for (int i = 0; i < 12; ++i) {
            points.x.push_back(unit * gridX[i]);
            points.y.push_back(unit * gridY[i]);
        }
        LxCEllipse found;
        ASSERT_TRUE(points.Fit(found)) << unit;
        EXPECT_NEAR(found.GetX() / unit, 0.0, 1e-9);
        EXPECT_NEAR(found.GetY() / unit, 0.0, 1e-9);
        EXPECT_NEAR(found.GetA() / unit, 5.0, 1e-9);
        EXPECT_NEAR(found.GetB() / unit, 5.0, 1e-9);
        EXPECT_LE(std::abs(found.GetAlpha()), c_dPi / 4.0);
    }
}

TEST(FitEllipseDirect, RefusesUntouchedFewerThanSixPointsAndNulls)
{
    const LxCEllipse before(1.0, 2.0, 3.0, 4.0, 0.5);
    LxCEllipse ellipse = before;
    const Points six = PointsOn({0.0, 0.0, 3.0, 2.0, 0.1}, 6);
    for (const int count : {5, 1, 0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_FALSE(FitEllipseDirect(six.x.data(), six.y.data(), count, &ellipse)) << count;
    }
    EXPECT_FALSE(FitEllipseDirect(nullptr, six.y.data(), 6, &ellipse));
    EXPECT_FALSE(FitEllipseDirect(six.x.data(), nullptr, 6, &ellipse));
    EXPECT_FALSE(FitEllipseDirect(six.x.data(), six.y.data(), 6, nullptr));
    EXPECT_EQ(ellipse.GetX(), before.GetX());
    EXPECT_EQ(ellipse.GetA(), before.GetA());
    EXPECT_TRUE(six.Fit(ellipse));
}

TEST(FitEllipseDirect, RefusesPointsOnALineInOnePlaceAndOfFewKinds)
{
    LxCEllipse ellipse;
    std::mt19937 random(6);
    std::uniform_real_distribution<double> value(-100.0, 100.0);
    for (int trial = 0; trial < 500; ++trial) {
        const double x0 = value(random);
        const double y0 = value(random);
        const double dx = value(random);
        const double dy = trial % 5 == 0 ? 0.0 : value(random);
        Points line;
        Points place;
        Points three;
        for (int i = 0; i < 30; ++i) {
            line.x.push_back(x0 + i * dx);
            line.y.push_back(y0 + i * dy);
            place.x.push_back(x0);
            place.y.push_back(y0);
            three.x.push_back(x0 + (i % 3 == 0 ? dx : 0.0));
            three.y.push_back(y0 + (i % 3 == 1 ? 13.0 : 0.0));
        }
        EXPECT_FALSE(line.Fit(ellipse)) << "trial " << trial;
        EXPECT_FALSE(place.Fit(ellipse)) << "trial " << trial;
        EXPECT_FALSE(three.Fit(ellipse)) << "trial " << trial;
    }
}

TEST(FitEllipseDirect, RefusesFourPlacesThroughWhichManyEllipsesGo)
{
    std::mt19937 random(8);
    std::uniform_real_distribution<double> value(0.0, 600.0);
    for (int trial = 0; trial < 2000; ++trial) {
        Points points;
        for (int i = 0; i < 4; ++i) {
            points.x.push_back(value(random));
            points.y.push_back(value(random));
        }
        for (int i = 0; i < 2 + trial % 40; ++i) {
            points.x.push_back(points.x[i % 4]);
            points.y.push_back(points.y[i % 4]);
        }
        LxCEllipse ellipse;
        EXPECT_FALSE(points.Fit(ellipse)) << "trial " << trial;
    }
}

TEST(FitEllipseDirect, RefusesValuesThatAreNotFinite)
{
    for (const double bad : {c_dNaN, c_dInfinity, -c_dInfinity, 1e200, 1.7e308}) {
        for (const int place : {0, 3, 9}) {
            LxCEllipse ellipse(1.0, 2.0, 3.0, 4.0, 0.5);
            Points points = PointsOn({0.0, 0.0, 3.0, 2.0, 0.1}, 10);
            points.x[place] = bad;
            const bool fitted = points.Fit(ellipse);
            EXPECT_TRUE(std::isfinite(ellipse.GetA()) && std::isfinite(ellipse.GetX())) << bad;
            EXPECT_TRUE(fitted || ellipse.GetX() == 1.0);
            if (!std::isfinite(bad)) {
                EXPECT_FALSE(fitted);
            }
        }
    }
}

TEST(FitEllipseDirect, AnyNumbersGiveAFiniteEllipseOrNone)
{
    const double special[] = {0.0, 1.0, -1.0, 2.0, 1e-300, 1e300, 1e-8, 1e150, 5e-324, 3.5, 100.0};
    std::mt19937 random(7);
    for (int trial = 0; trial < 5000; ++trial) {
        Points points;
        for (int i = 0; i < 6 + trial % 6; ++i) {
            points.x.push_back(special[random() % std::size(special)]);
            points.y.push_back(special[random() % std::size(special)]);
        }
        LxCEllipse e;
        if (points.Fit(e)) {
            EXPECT_TRUE(std::isfinite(e.GetX()) && std::isfinite(e.GetY()) && std::isfinite(e.GetA()) &&
                        std::isfinite(e.GetB()) && std::isfinite(e.GetAlpha()))
                << testing::PrintToString(points.x) << testing::PrintToString(points.y);
        }
    }
}

} // namespace
} // namespace LxCV
