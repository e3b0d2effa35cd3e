// Tests of straight lines in the image plane.
#include "c2dstraightline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace LxCV {
namespace {

constexpr double kLargest = 1.7976931348623157e308;

/// Base and direction, seen from outside: y at x = 0 and 1, and the distance of two points.
void ExpectSameLine(const C2DStraightLine& a, const C2DStraightLine& b)
{
    EXPECT_EQ(a.f(0.0), b.f(0.0));
    EXPECT_EQ(a.f(1.0), b.f(1.0));
    EXPECT_EQ(a.GetDistToPoint(3.0, -8.0), b.GetDistToPoint(3.0, -8.0));
}

TEST(C2DStraightLine, DefaultIsTheZeroLine)
{
    const C2DStraightLine line;
    EXPECT_TRUE(line.IsVertical());
    EXPECT_TRUE(std::isnan(line.GetDistToPoint(1.0, 1.0)));
}

TEST(C2DStraightLine, GoesThroughItsTwoPoints)
{
    // From (1, 2) to (3, 6): slope 4/2 = 2, y = 2x + 0.
    const C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 6.0));
    EXPECT_EQ(line.GetSlope(), 2.0);
    EXPECT_EQ(line.GetIntercept(), 0.0);
    EXPECT_EQ(line.f(5.0), 10.0);
    EXPECT_FALSE(line.IsVertical());
}

TEST(C2DStraightLine, ConstructorTakesEqualPoints)
{
    const C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(1.0, 2.0));
    EXPECT_TRUE(line.IsVertical());
    EXPECT_TRUE(std::isnan(line.GetDistToPoint(LxCSensorCoordsCCT(0.0, 0.0))));
}

TEST(C2DStraightLine, EqualCoordinateObjectsLeaveTheLine)
{
    C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 6.0));
    const C2DStraightLine before = line;
    EXPECT_FALSE(line.InitFromPoints(LxCSensorCoordsCCT(7.0, 7.0), LxCSensorCoordsCCT(7.0, 7.0)));
    ExpectSameLine(line, before);
    EXPECT_TRUE(line.InitFromPoints(LxCSensorCoordsCCT(0.0, 1.0), LxCSensorCoordsCCT(1.0, 4.0)));
    EXPECT_EQ(line.GetSlope(), 3.0);
    EXPECT_EQ(line.GetIntercept(), 1.0);
}

TEST(C2DStraightLine, EqualDoublesOverwriteTheLine)
{
    C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 6.0));
    EXPECT_FALSE(line.InitFromPoints(7.0, 5.0, 7.0, 5.0));
    EXPECT_TRUE(line.IsVertical());
    EXPECT_EQ(line.f(7.0), 5.0);
    EXPECT_TRUE(std::isnan(line.GetDistToPoint(0.0, 0.0)));
    EXPECT_TRUE(line.InitFromPoints(0.0, 1.0, 2.0, 0.0));
    EXPECT_EQ(line.GetSlope(), -0.5);
    EXPECT_TRUE(line.InitFromPoints(4.0, 1.0, 4.0, 0.0));
    EXPECT_TRUE(line.IsVertical());
}

TEST(C2DStraightLine, ZeroDirectionLeavesTheLine)
{
    C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 6.0));
    const C2DStraightLine before = line;
    EXPECT_FALSE(line.InitFromPointAndDirection(LxCSensorCoordsCCT(9.0, 9.0), LxCSensorCoordsCCT(0.0, -0.0)));
    ExpectSameLine(line, before);
    EXPECT_TRUE(line.InitFromPointAndDirection(LxCSensorCoordsCCT(1.0, 1.0), LxCSensorCoordsCCT(4.0, 0.0)));
    EXPECT_EQ(line.f(100.0), 1.0);
}

TEST(C2DStraightLine, SlopeAndInterceptComeBack)
{
    C2DStraightLine line;
    EXPECT_TRUE(line.InitFromSlopeAndIntercept(-0.25, 8.0));
    EXPECT_EQ(line.GetSlope(), -0.25);
    EXPECT_EQ(line.GetIntercept(), 8.0);
    EXPECT_EQ(line.f(4.0), 7.0);
}

TEST(C2DStraightLine, VerticalLineHasTheLargestSlope)
{
    C2DStraightLine line;
    line.InitFromPoints(2.0, 3.0, 2.0, 5.0);
    EXPECT_EQ(line.GetSlope(), kLargest);
    EXPECT_EQ(line.f(2.0), 3.0);
    EXPECT_EQ(line.f(3.0), kLargest);
    EXPECT_EQ(line.f(4.0), std::numeric_limits<double>::infinity());
    EXPECT_EQ(line.GetIntercept(), -std::numeric_limits<double>::infinity());
}

TEST(C2DStraightLine, IsVerticalIsAnExactTest)
{
    C2DStraightLine line;
    line.InitFromPointAndDirection(LxCSensorCoordsCCT(0.0, 0.0), LxCSensorCoordsCCT(1e-300, 1.0));
    EXPECT_FALSE(line.IsVertical());
}

TEST(C2DStraightLine, DistanceIsMeasuredToTheOrthogonalFoot)
{
    // The line y = 3/4 x has the normal (3, -4) / 5: (5, 0) lies 15/5 = 3 away, on either side.
    C2DStraightLine line;
    line.InitFromPoints(0.0, 0.0, 4.0, 3.0);
    EXPECT_DOUBLE_EQ(line.GetDistToPoint(5.0, 0.0), 3.0);
    EXPECT_DOUBLE_EQ(line.GetDistToPoint(LxCSensorCoordsCCT(-5.0, 0.0)), 3.0);
    EXPECT_EQ(line.GetDistToPoint(4.0, 3.0), 0.0);
}

TEST(C2DStraightLine, DistanceIsTheCrossProductOverTheLength)
{
    std::mt19937 random(20);
    std::uniform_real_distribution<double> coordinate(-1000.0, 1000.0);
    for (int i = 0; i < 5000; ++i) {
        const double bx = coordinate(random), by = coordinate(random);
        const double dx = coordinate(random), dy = coordinate(random);
        const double px = coordinate(random), py = coordinate(random);
        C2DStraightLine line;
        line.InitFromPointAndDirection(LxCSensorCoordsCCT(bx, by), LxCSensorCoordsCCT(dx, dy));
        const double expected = std::abs((px - bx) * dy - (py - by) * dx) / std::hypot(dx, dy);
        // Coordinates up to 1e3 at 1e-16 relative, a few operations, and t of up to 1e3 over a short direction.
        const double tolerance = 1e-9 * (1.0 + 1000.0 / std::hypot(dx, dy));
        EXPECT_NEAR(line.GetDistToPoint(px, py), expected, tolerance) << i;
    }
}

TEST(C2DStraightLine, RightOfIsThePositiveSideOfTheDirection)
{
    C2DStraightLine line;
    line.InitFromPoints(0.0, 0.0, 1.0, 0.0);
    EXPECT_TRUE(line.PointIsRightOf(LxCSensorCoordsCCT(0.0, 1.0)));
    EXPECT_FALSE(line.PointIsRightOf(LxCSensorCoordsCCT(0.0, -1.0)));
    EXPECT_FALSE(line.PointIsRightOf(LxCSensorCoordsCCT(5.0, 0.0)));
    line.InitFromPoints(1.0, 0.0, 0.0, 0.0);
    EXPECT_FALSE(line.PointIsRightOf(LxCSensorCoordsCCT(0.0, 1.0)));
}

TEST(C2DStraightLine, LinesMeetInTheirCommonPoint)
{
    // y = x + 1 and y = -2x + 7 meet at x = 2, y = 3.
    C2DStraightLine a, b;
    a.InitFromSlopeAndIntercept(1.0, 1.0);
    b.InitFromSlopeAndIntercept(-2.0, 7.0);
    double x = 0.0, y = 0.0;
    EXPECT_TRUE(a.Intersect(&b, &x, &y));
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 3.0);
}

TEST(C2DStraightLine, IntersectionLiesOnBothLines)
{
    std::mt19937 random(21);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    std::uniform_real_distribution<double> angle(0.0, 3.14159);
    for (int i = 0; i < 5000; ++i) {
        const double first = angle(random), between = 0.1 + 0.9 * angle(random) * 0.9;
        C2DStraightLine a, b;
        a.InitFromPointAndDirection(LxCSensorCoordsCCT(coordinate(random), coordinate(random)),
                                    LxCSensorCoordsCCT(std::cos(first), std::sin(first)));
        b.InitFromPointAndDirection(LxCSensorCoordsCCT(coordinate(random), coordinate(random)),
                                    LxCSensorCoordsCCT(std::cos(first + between), std::sin(first + between)));
        double x = 0.0, y = 0.0;
        ASSERT_TRUE(a.Intersect(&b, &x, &y));
        // Points up to 3000 away (100 / sin 0.1), 1e-16 relative, amplified by 1 / sin(0.1).
        constexpr double kTolerance = 1e-10;
        EXPECT_LE(a.GetDistToPoint(x, y), kTolerance) << i;
        EXPECT_LE(b.GetDistToPoint(x, y), kTolerance) << i;
    }
}

TEST(C2DStraightLine, EqualDirectionsDoNotMeet)
{
    C2DStraightLine a, b;
    a.InitFromSlopeAndIntercept(1.0, 1.0);
    b.InitFromSlopeAndIntercept(1.0, 5.0);
    double x = 42.0, y = 43.0;
    EXPECT_FALSE(a.Intersect(&b, &x, &y));
    EXPECT_FALSE(a.Intersect(&a, &x, &y));
    EXPECT_EQ(x, 42.0);
    EXPECT_EQ(y, 43.0);
}

TEST(C2DStraightLine, OppositeParallelsDivideByZero)
{
    C2DStraightLine a, mirrored, shifted;
    a.InitFromPointAndDirection(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 4.0));
    mirrored.InitFromPointAndDirection(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(-3.0, -4.0));
    shifted.InitFromPointAndDirection(LxCSensorCoordsCCT(1.0, 5.0), LxCSensorCoordsCCT(-3.0, -4.0));
    double x = 0.0, y = 0.0;
    EXPECT_TRUE(a.Intersect(&mirrored, &x, &y));
    EXPECT_TRUE(std::isnan(x) && std::isnan(y));
    EXPECT_TRUE(a.Intersect(&shifted, &x, &y));
    EXPECT_TRUE(std::isinf(x) && std::isinf(y));
}

TEST(C2DStraightLine, NullArgumentsDoNotMeet)
{
    C2DStraightLine a, b;
    a.InitFromSlopeAndIntercept(1.0, 1.0);
    b.InitFromSlopeAndIntercept(2.0, 1.0);
    double x = 0.0, y = 0.0;
    EXPECT_FALSE(a.Intersect(nullptr, &x, &y));
    EXPECT_FALSE(a.Intersect(&b, nullptr, &y));
    EXPECT_FALSE(a.Intersect(&b, &x, nullptr));
}

TEST(C2DStraightLine, InvertMirrorsAtTheDiagonal)
{
    // y = 2x + 1 becomes x = 2y + 1, that is y = x/2 - 1/2.
    C2DStraightLine line;
    line.InitFromSlopeAndIntercept(2.0, 1.0);
    line.Invert();
    EXPECT_EQ(line.GetSlope(), 0.5);
    EXPECT_EQ(line.GetIntercept(), -0.5);
    line.InitFromSlopeAndIntercept(0.0, 3.0);
    line.Invert();
    EXPECT_TRUE(line.IsVertical());
    EXPECT_EQ(line.GetDistToPoint(3.0, 77.0), 0.0);
}

} // namespace
} // namespace LxCV
