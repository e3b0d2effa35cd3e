#include "lxcsensorcoordscct.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <locale>
#include <random>
#include <string>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();

// A few roundings of an angle of up to 180 degrees.
constexpr double c_dAngleTolerance = 1e-12;

void ExpectCoords(const LxCSensorCoordsCCT& coords, double x, double y)
{
    EXPECT_EQ(coords.x, x);
    EXPECT_EQ(coords.y, y);
}

TEST(LxCSensorCoordsCCT, BeginsAtTheOrigin)
{
    ExpectCoords(LxCSensorCoordsCCT(), 0.0, 0.0);
}

TEST(LxCSensorCoordsCCT, TakesIntsAndDoubles)
{
    ExpectCoords(LxCSensorCoordsCCT(3, -4), 3.0, -4.0);
    ExpectCoords(LxCSensorCoordsCCT(3.5, -4.25), 3.5, -4.25);
}

TEST(LxCSensorCoordsCCT, ArithmeticIsComponentwise)
{
    const LxCSensorCoordsCCT a(1.0, 2.0);
    const LxCSensorCoordsCCT b(10.0, -4.0);
    ExpectCoords(a + b, 11.0, -2.0);
    ExpectCoords(a - b, -9.0, 6.0);
    ExpectCoords(-b, -10.0, 4.0);
    ExpectCoords(b * 0.5, 5.0, -2.0);
    ExpectCoords(b / 4.0, 2.5, -1.0);
    LxCSensorCoordsCCT c;
    c.Set(1.0, 2.0);
    ExpectCoords(c += b, 11.0, -2.0);
    ExpectCoords(c -= a, 10.0, -4.0);
    ExpectCoords(c *= 3.0, 30.0, -12.0);
    ExpectCoords(c /= 2.0, 15.0, -6.0);
}

TEST(LxCSensorCoordsCCT, EqualityIsExact)
{
    const LxCSensorCoordsCCT a(1.0, 2.0);
    EXPECT_TRUE(a == LxCSensorCoordsCCT(1, 2));
    EXPECT_TRUE(a != LxCSensorCoordsCCT(std::nextafter(1.0, 2.0), 2.0));
    EXPECT_TRUE(a != LxCSensorCoordsCCT(1.0, std::nextafter(2.0, 3.0)));
    EXPECT_FALSE(LxCSensorCoordsCCT(c_dNaN, 0.0) == LxCSensorCoordsCCT(c_dNaN, 0.0));
}

TEST(LxCSensorCoordsCCT, ProductsMatchHandCalculation)
{
    const LxCSensorCoordsCCT a(2.0, 3.0);
    const LxCSensorCoordsCCT b(5.0, 7.0);
    EXPECT_EQ(a.Dot(b), 31.0); // 10 + 21
    EXPECT_EQ(a * b, 31.0);
    EXPECT_EQ(a.Cross(b), -1.0); // 14 - 15
}

TEST(LxCSensorCoordsCCT, LengthIsEuclidean)
{
    EXPECT_EQ(LxCSensorCoordsCCT(3, -4).GetLength(), 5.0);
    EXPECT_EQ(LxCSensorCoordsCCT(3, -4).GetLengthSq(), 25.0);
}

TEST(LxCSensorCoordsCCT, OrthogonalTurnsByPlusNinetyDegrees)
{
    ExpectCoords(LxCSensorCoordsCCT(3, 4).GetOrthogonal(), -4.0, 3.0);
}

TEST(LxCSensorCoordsCCT, NormalizeReturnsTheObjectItself)
{
    LxCSensorCoordsCCT a(3, 4);
    EXPECT_EQ(&a.Normalize(), &a);
    ExpectCoords(a, 3.0 / 5.0, 4.0 / 5.0);
}

TEST(LxCSensorCoordsCCT, NormalizeLeavesTheZeroVector)
{
    LxCSensorCoordsCCT zero;
    ExpectCoords(zero.Normalize(), 0.0, 0.0);
}

TEST(LxCSensorCoordsCCT, DistanceToALineIsSignedAndNotNormalised)
{
    const LxCSensorCoordsCCT a(0, 0);
    const LxCSensorCoordsCCT b(10, 0);
    // 2 above a line of length 10: (2 - 0) * 10 - 0.
    EXPECT_EQ(LxCSensorCoordsCCT(5, 2).GetDistance(a, b), 20.0);
    EXPECT_TRUE(LxCSensorCoordsCCT(5, 2).IsLeftOf(a, b));
    EXPECT_FALSE(LxCSensorCoordsCCT(5, 2).IsRightOf(a, b));
    EXPECT_TRUE(LxCSensorCoordsCCT(5, 2).IsRightOf(b, a));
    EXPECT_FALSE(LxCSensorCoordsCCT(5, 0).IsLeftOf(a, b));
    EXPECT_FALSE(LxCSensorCoordsCCT(5, 0).IsRightOf(a, b));
}

TEST(LxCSensorCoordsCCT, ToleranceIncludesItsBorder)
{
    const LxCSensorCoordsCCT a(0, 0);
    const LxCSensorCoordsCCT b(3, 4);
    EXPECT_TRUE(a.IsEqualTol(b, 5.0));
    EXPECT_FALSE(a.IsNEqualTol(b, 5.0));
    const double below = std::nextafter(5.0, 0.0);
    EXPECT_FALSE(a.IsEqualTol(b, below));
    EXPECT_TRUE(a.IsNEqualTol(b, below));
}

TEST(LxCSensorCoordsCCT, NoNumberIsNeitherEqualNorUnequalWithinATolerance)
{
    const LxCSensorCoordsCCT nan(c_dNaN, 0.0);
    EXPECT_FALSE(nan.IsEqualTol(nan, 1.0));
    EXPECT_FALSE(nan.IsNEqualTol(nan, 1.0));
}

TEST(LxCSensorCoordsCCT, QuadrantsOwnTheirAxes)
{
    EXPECT_EQ(LxCSensorCoordsCCT(0, 0).GetQuadrant(), -1);
    EXPECT_EQ(LxCSensorCoordsCCT(1, 0).GetQuadrant(), 0);
    EXPECT_EQ(LxCSensorCoordsCCT(-1, 0).GetQuadrant(), 2);
    EXPECT_EQ(LxCSensorCoordsCCT(0, -1).GetQuadrant(), 3);
    EXPECT_EQ(LxCSensorCoordsCCT(0, 1).GetQuadrant(), 1);
    EXPECT_EQ(LxCSensorCoordsCCT(1, 1).GetQuadrant(), 0);
    EXPECT_EQ(LxCSensorCoordsCCT(-1, 1).GetQuadrant(), 1);
    EXPECT_EQ(LxCSensorCoordsCCT(-1, -1).GetQuadrant(), 2);
    EXPECT_EQ(LxCSensorCoordsCCT(1, -1).GetQuadrant(), 3);
    EXPECT_EQ(LxCSensorCoordsCCT(c_dNaN, 1.0).GetQuadrant(), -1);
}

TEST(LxCSensorCoordsCCT, SubtendedAngleRunsFromTheFirstToTheSecondDirection)
{
    const LxCSensorCoordsCCT corner(10, 20);
    const LxCSensorCoordsCCT right(15, 20);
    const LxCSensorCoordsCCT up(10, 27);
    const LxCSensorCoordsCCT down(10, 13);
    const LxCSensorCoordsCCT left(5, 20);
    EXPECT_NEAR(corner.ComputeSubtendedAngle(right, up), 90.0, c_dAngleTolerance);
    EXPECT_NEAR(corner.ComputeSubtendedAngle(up, right), -90.0, c_dAngleTolerance);
    // The direction straight down is 3 pi / 2, so the difference is wrapped.
    EXPECT_NEAR(corner.ComputeSubtendedAngle(right, down), -90.0, c_dAngleTolerance);
    EXPECT_NEAR(corner.ComputeSubtendedAngle(down, right), 90.0, c_dAngleTolerance);
    EXPECT_NEAR(corner.ComputeSubtendedAngle(left, down), 90.0, c_dAngleTolerance);
    EXPECT_NEAR(std::abs(corner.ComputeSubtendedAngle(up, down)), 180.0, c_dAngleTolerance);
}

TEST(LxCSensorCoordsCCT, ADirectionOfLengthZeroCountsAsUp)
{
    const LxCSensorCoordsCCT corner(10, 20);
    EXPECT_NEAR(corner.ComputeSubtendedAngle(LxCSensorCoordsCCT(11, 20), corner), 90.0, c_dAngleTolerance);
}

TEST(LxCSensorCoordsCCT, SecondSubtendedAngleIsTheTurnOfAPath)
{
    const LxCSensorCoordsCCT corner(0, 0);
    const LxCSensorCoordsCCT from(-3, 0);
    EXPECT_NEAR(corner.ComputeSubtendedAngle2(from, LxCSensorCoordsCCT(5, 0)), 0.0, c_dAngleTolerance);
    EXPECT_NEAR(corner.ComputeSubtendedAngle2(from, LxCSensorCoordsCCT(0, 5)), 90.0, c_dAngleTolerance);
    EXPECT_NEAR(corner.ComputeSubtendedAngle2(from, LxCSensorCoordsCCT(2, -2)), -45.0, c_dAngleTolerance);
}

TEST(LxCSensorCoordsCCT, SubtendedAnglesMatchTheAngleByCrossAndDot)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    for (int i = 0; i < 5000; ++i) {
        const LxCSensorCoordsCCT corner(coordinate(random), coordinate(random));
        const LxCSensorCoordsCCT p1(coordinate(random), coordinate(random));
        const LxCSensorCoordsCCT p2(coordinate(random), coordinate(random));
        const LxCSensorCoordsCCT u = p1 - corner;
        const LxCSensorCoordsCCT v = p2 - corner;
        const double expected = std::atan2(u.Cross(v), u.Dot(v)) * 180.0 / M_PI;
        // Conditioning of the cross product: a few roundings over the shorter side, which is above 1e-3 here.
        ASSERT_NEAR(corner.ComputeSubtendedAngle(p1, p2), expected, 1e-9) << i;
        const double turn = std::atan2((-u).Cross(v), (-u).Dot(v)) * 180.0 / M_PI;
        ASSERT_NEAR(corner.ComputeSubtendedAngle2(p1, p2), turn, 1e-9) << i;
    }
}

TEST(LxCSensorCoordsCCT, TextHasTheStreamPrecision)
{
    EXPECT_EQ(LxCSensorCoordsCCT(1.0 / 3.0, -2.0).ToString(3), "(0.333, -2)");
    EXPECT_EQ(LxCSensorCoordsCCT(1234567.0, 0.5).ToString(6), "(1.23457e+06, 0.5)");
}

TEST(LxCSensorCoordsCCT, TextOfAnyPrecisionIsTheExactValueAtMost)
{
    // The double next to 0.1, in full.
    const std::string tenth = "0.1000000000000000055511151231257827021181583404541015625";
    EXPECT_EQ(LxCSensorCoordsCCT(0.1, -0.5).ToString(std::numeric_limits<int>::max()),
              "(" + tenth + ", -0.5)");
    // The smallest double, 2^-1074, has 751 significant digits: 5^1074 is an integer of so many.
    const std::string smallest =
        LxCSensorCoordsCCT(std::numeric_limits<double>::denorm_min(), 0.0).ToString(1000);
    EXPECT_EQ(smallest.size(), std::string("(4.").size() + 750 + std::string("e-324, 0)").size());
    EXPECT_EQ(LxCSensorCoordsCCT(0.5, 2.0).ToString(std::numeric_limits<int>::min()), "(0.5, 2)");
}

TEST(LxCSensorCoordsCCT, TextIsTheSameInEveryLocale)
{
    class CommaDecimal : public std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaDecimal));
    const std::string text = LxCSensorCoordsCCT(12345.5, 0.25).ToString(7);
    std::locale::global(before);
    EXPECT_EQ(text, "(12345.5, 0.25)");
}

} // namespace
} // namespace LxCV
