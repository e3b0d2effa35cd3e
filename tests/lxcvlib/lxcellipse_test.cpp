#include "lxcellipse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr double c_dPi = 3.14159265358979323846;
constexpr double c_dTolerance = 1e-12;

// The iteration ends at a residual of 1.2e-7 of a polynomial whose slope at the root is above 1 for semi-axes of
// 2 and more.
constexpr double c_dNewtonTolerance = 1e-6;

/// The distance by sampling the parameter and a ternary search around the best sample.
double BruteForceDistance(const LxCEllipse& e, double px, double py)
{
    const auto distanceAt = [&](double t) {
        const double p = e.GetA() * std::cos(t);
        const double q = e.GetB() * std::sin(t);
        const double x = std::cos(e.GetAlpha()) * p - std::sin(e.GetAlpha()) * q + e.GetX();
        const double y = std::sin(e.GetAlpha()) * p + std::cos(e.GetAlpha()) * q + e.GetY();
        return std::hypot(x - px, y - py);
    };
    constexpr int c_iSamples = 1000;
    constexpr double c_dStep = 2.0 * c_dPi / c_iSamples;
    double best = 0.0;
    for (int i = 0; i < c_iSamples; ++i) {
        if (distanceAt(i * c_dStep) < distanceAt(best)) {
            best = i * c_dStep;
        }
    }
    double low = best - c_dStep;
    double high = best + c_dStep;
    for (int i = 0; i < 80; ++i) {
        const double left = low + (high - low) / 3.0;
        const double right = high - (high - low) / 3.0;
        (distanceAt(left) < distanceAt(right) ? high : low) =
            distanceAt(left) < distanceAt(right) ? right : left;
    }
    return distanceAt((low + high) / 2.0);
}

TEST(LxCEllipse, KeepsItsFields)
{
    const LxCEllipse e(1.0, 2.0, 3.0, 4.0, 0.5);
    EXPECT_EQ(e.GetX(), 1.0);
    EXPECT_EQ(e.GetY(), 2.0);
    EXPECT_EQ(e.GetA(), 3.0);
    EXPECT_EQ(e.GetB(), 4.0);
    EXPECT_EQ(e.GetAlpha(), 0.5);
}

TEST(LxCEllipse, ShrinkNeverGivesANegativeSemiAxis)
{
    LxCEllipse e(0.0, 0.0, 3.0, 4.0, 0.5);
    e.Shrink(3.0);
    EXPECT_EQ(e.GetA(), 0.0);
    EXPECT_EQ(e.GetB(), 1.0);
    e.Shrink(1e300);
    EXPECT_EQ(e.GetB(), 0.0);
    e.Grow(-1.0);
    EXPECT_EQ(e.GetA(), 0.0);
    e.Shrink(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(e.GetA(), 0.0);
}

TEST(LxCEllipse, GrowLeavesTheDirectionAlone)
{
    LxCEllipse e(0.0, 0.0, 3.0, 4.0, c_dPi / 2.0);
    e.Grow(2.0);
    EXPECT_EQ(e.GetA(), 5.0);
    EXPECT_EQ(e.GetB(), 6.0);
    EXPECT_EQ(e.GetAlpha(), c_dPi / 2.0);
    // Semi-axis a lies along y.
    EXPECT_NEAR(e.Distance(0.0, 7.0), 2.0, c_dTolerance);
    EXPECT_NEAR(e.Distance(7.0, 0.0), 1.0, c_dTolerance);
}

TEST(LxCEllipse, PointSetStartsOnSemiAxisAAndTurnsTowardsB)
{
    const LxCEllipse e(10.0, 20.0, 3.0, 2.0, c_dPi / 2.0);
    double xs[4];
    double ys[4];
    e.ConvertToPointSet(xs, ys, 4);
    // a points along +y, b along -x. The single-precision step is off by up to 1e-7 of a radian.
    constexpr double c_dStepTolerance = 2e-6;
    EXPECT_NEAR(xs[0], 10.0, c_dStepTolerance);
    EXPECT_NEAR(ys[0], 23.0, c_dStepTolerance);
    EXPECT_NEAR(xs[1], 8.0, c_dStepTolerance);
    EXPECT_NEAR(ys[1], 20.0, c_dStepTolerance);
    EXPECT_NEAR(xs[2], 10.0, c_dStepTolerance);
    EXPECT_NEAR(ys[2], 17.0, c_dStepTolerance);
    EXPECT_NEAR(xs[3], 12.0, c_dStepTolerance);
    EXPECT_NEAR(ys[3], 20.0, c_dStepTolerance);
}

TEST(LxCEllipse, PointSetStepsInSinglePrecision)
{
    double xs[4];
    double ys[4];
    LxCEllipse(0.0, 0.0, 1.0, 1.0, 0.0).ConvertToPointSet(xs, ys, 4);
    // The quarter turn is the float 1.57079637050628662109375, which is 4.371139000186e-8 above pi / 2.
    EXPECT_NEAR(xs[1], -4.371139000186e-8, 1e-18);
    EXPECT_NEAR(ys[3], -1.0, c_dTolerance);
}

TEST(LxCEllipse, PointSetLiesOnTheEllipse)
{
    const LxCEllipse e(-4.0, 7.0, 30.0, 12.0, 0.7);
    std::vector<double> xs(360);
    std::vector<double> ys(360);
    e.ConvertToPointSet(xs.data(), ys.data(), 360);
    for (int i = 0; i < 360; ++i) {
        EXPECT_NEAR(e.Distance(xs[i], ys[i]), 0.0, c_dNewtonTolerance) << i;
    }
}

TEST(LxCEllipse, PointSetOfNoPointsWritesNothing)
{
    double x = 5.0;
    double y = 6.0;
    const LxCEllipse e(0.0, 0.0, 1.0, 1.0, 0.0);
    e.ConvertToPointSet(&x, &y, 0);
    e.ConvertToPointSet(&x, &y, -3);
    e.ConvertToPointSet(nullptr, &y, 1);
    e.ConvertToPointSet(&x, nullptr, 1);
    EXPECT_EQ(x, 5.0);
    EXPECT_EQ(y, 6.0);
}

TEST(LxCEllipse, DistanceToACircleIsRadial)
{
    const LxCEllipse circle(1.0, 2.0, 5.0, 5.0, 0.3);
    EXPECT_NEAR(circle.Distance(1.0 + 6.0, 2.0 + 8.0), 5.0, c_dNewtonTolerance);
    EXPECT_NEAR(circle.Distance(1.0 + 1.2, 2.0 - 1.6), 3.0, c_dNewtonTolerance);
    EXPECT_NEAR(circle.Distance(1.0, 2.0), 5.0, c_dTolerance);
}

TEST(LxCEllipse, DistanceOnTheAxesHasAClosedForm)
{
    const LxCEllipse e(0.0, 0.0, 5.0, 3.0, 0.0);
    EXPECT_NEAR(e.Distance(8.0, 0.0), 3.0, c_dTolerance);
    EXPECT_NEAR(e.Distance(-8.0, 0.0), 3.0, c_dTolerance);
    EXPECT_NEAR(e.Distance(0.0, -7.0), 4.0, c_dTolerance);
    EXPECT_NEAR(e.Distance(0.0, 1.0), 2.0, c_dTolerance);
    // The centre is nearest to the ends of b.
    EXPECT_NEAR(e.Distance(0.0, 0.0), 3.0, c_dTolerance);
    // At (1, 0), inside the evolute (|u| < 5 - 9/5): the foot is at 25/16, height 3 sqrt(1 - (5/16)^2).
    EXPECT_NEAR(e.Distance(1.0, 0.0), std::sqrt(std::pow(25.0 / 16.0 - 1.0, 2) + 9.0 * (1.0 - 25.0 / 256.0)),
                c_dTolerance);
    const LxCEllipse turned(0.0, 0.0, 3.0, 5.0, 0.0);
    EXPECT_NEAR(turned.Distance(0.0, -1.0), e.Distance(1.0, 0.0), c_dTolerance);
}

TEST(LxCEllipse, DistanceMatchesBruteForce)
{
    std::mt19937 random(4);
    std::uniform_real_distribution<double> axis(2.0, 30.0);
    std::uniform_real_distribution<double> coordinate(-40.0, 40.0);
    std::uniform_real_distribution<double> angle(-4.0, 4.0);
    for (int i = 0; i < 1000; ++i) {
        const LxCEllipse e(coordinate(random), coordinate(random), axis(random), axis(random), angle(random));
        const double px = e.GetX() + coordinate(random);
        const double py = e.GetY() + coordinate(random);
        ASSERT_NEAR(e.Distance(px, py), BruteForceDistance(e, px, py), c_dNewtonTolerance)
            << i << ": a " << e.GetA() << " b " << e.GetB() << " at " << px - e.GetX() << " "
            << py - e.GetY();
    }
}

TEST(LxCEllipse, AnEllipseOfOneSemiAxisIsASegment)
{
    const LxCEllipse segment(0.0, 0.0, 0.0, 3.0, 0.0);
    EXPECT_NEAR(segment.Distance(2.0, 1.0), 2.0, c_dNewtonTolerance);
    EXPECT_NEAR(segment.Distance(0.0, 1.0), 0.0, c_dTolerance);
    EXPECT_NEAR(segment.Distance(-4.0, 0.0), 4.0, c_dTolerance);
    const LxCEllipse point(0.0, 0.0, 0.0, 0.0, 0.0);
    EXPECT_EQ(point.Distance(0.0, -4.0), 4.0);
    EXPECT_TRUE(std::isnan(point.Distance(1.0, 1.0)));
}

TEST(LxCEllipse, DistanceOfWhatIsNoNumberIsNoNumber)
{
    const LxCEllipse e(0.0, 0.0, 5.0, 3.0, 0.0);
    EXPECT_TRUE(std::isnan(e.Distance(std::numeric_limits<double>::quiet_NaN(), 1.0)));
}

TEST(LxCEllipse, ApproximateDistanceIsAlongTheRay)
{
    const LxCEllipse e(1.0, 1.0, 4.0, 2.0, c_dPi / 2.0);
    // a lies along y: on the axes the radial distance is the exact one.
    EXPECT_NEAR(e.DistanceApproximate(1.0, 7.0, false), 2.0, c_dTolerance);
    EXPECT_NEAR(e.DistanceApproximate(1.5, 1.0, false), 1.5, c_dTolerance);
    // Along the diagonal the ellipse has the radius ab / sqrt((a^2 + b^2) / 2) = 8 / sqrt(10).
    EXPECT_NEAR(e.DistanceApproximate(1.0 + 3.0, 1.0 + 3.0, false),
                3.0 * std::sqrt(2.0) - 8.0 / std::sqrt(10.0), c_dTolerance);
}

TEST(LxCEllipse, SignedApproximateDistanceIsNegativeInside)
{
    const LxCEllipse e(0.0, 0.0, 4.0, 2.0, 0.0);
    EXPECT_NEAR(e.DistanceApproximate(1.0, 0.0, true), -3.0, c_dTolerance);
    EXPECT_NEAR(e.DistanceApproximate(1.0, 0.0, false), 3.0, c_dTolerance);
    EXPECT_NEAR(e.DistanceApproximate(6.0, 0.0, true), 2.0, c_dTolerance);
    EXPECT_LE(e.DistanceApproximate(4.0, 0.0, true), 0.0);
    EXPECT_TRUE(std::isnan(e.DistanceApproximate(0.0, 0.0, true)));
}

} // namespace
} // namespace LxCV
