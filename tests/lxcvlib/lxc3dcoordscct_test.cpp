#include "lxc3dcoordscct.h"

#include <gtest/gtest.h>

#include <cmath>

namespace LxCV {
namespace {

void ExpectCoords(const LxC3DCoordsCCT& coords, double x, double y, double z)
{
    EXPECT_EQ(coords.X(), x);
    EXPECT_EQ(coords.Y(), y);
    EXPECT_EQ(coords.Z(), z);
}

TEST(LxC3DCoordsCCT, BeginsAtTheOrigin)
{
    ExpectCoords(LxC3DCoordsCCT(), 0.0, 0.0, 0.0);
}

TEST(LxC3DCoordsCCT, TakesAnArrayOfThree)
{
    const double values[3] = {1.5, -2.5, 3.5};
    ExpectCoords(LxC3DCoordsCCT(values), 1.5, -2.5, 3.5);
    ExpectCoords(LxC3DCoordsCCT(static_cast<const double*>(nullptr)), 0.0, 0.0, 0.0);
}

TEST(LxC3DCoordsCCT, ArithmeticIsComponentwise)
{
    const LxC3DCoordsCCT a(1.0, 2.0, 3.0);
    const LxC3DCoordsCCT b(10.0, -4.0, 6.0);
    ExpectCoords(a + b, 11.0, -2.0, 9.0);
    ExpectCoords(a - b, -9.0, 6.0, -3.0);
    ExpectCoords(-b, -10.0, 4.0, -6.0);
    ExpectCoords(b * 0.5, 5.0, -2.0, 3.0);
    ExpectCoords(b.ScalarMult(0.5), 5.0, -2.0, 3.0);
    LxC3DCoordsCCT c;
    c.Set(1.0, 2.0, 3.0);
    ExpectCoords(c += b, 11.0, -2.0, 9.0);
    ExpectCoords(c -= a, 10.0, -4.0, 6.0);
    ExpectCoords(c *= 3.0, 30.0, -12.0, 18.0);
}

TEST(LxC3DCoordsCCT, EqualityComparesYWithTheOthersX)
{
    EXPECT_FALSE(LxC3DCoordsCCT(1, 2, 3) == LxC3DCoordsCCT(1, 2, 3));
    EXPECT_TRUE(LxC3DCoordsCCT(1, 1, 3) == LxC3DCoordsCCT(1, 2, 3));
    EXPECT_FALSE(LxC3DCoordsCCT(1, 1, 3) == LxC3DCoordsCCT(2, 2, 3));
    EXPECT_FALSE(LxC3DCoordsCCT(1, 1, 3) == LxC3DCoordsCCT(1, 2, 4));
}

TEST(LxC3DCoordsCCT, ConstIndexReadsZeroOutside)
{
    const LxC3DCoordsCCT a(1, 2, 3);
    EXPECT_EQ(a[0], 1.0);
    EXPECT_EQ(a[1], 2.0);
    EXPECT_EQ(a[2], 3.0);
    EXPECT_EQ(a[3], 0.0);
    EXPECT_EQ(a[-1], 0.0);
}

TEST(LxC3DCoordsCCT, ReferenceIndexTakesZOutside)
{
    LxC3DCoordsCCT a;
    a[0] = 1.0;
    a[1] = 2.0;
    a[2] = 3.0;
    ExpectCoords(a, 1.0, 2.0, 3.0);
    a[7] = 4.0;
    ExpectCoords(a, 1.0, 2.0, 4.0);
    a[-1] = 5.0;
    ExpectCoords(a, 1.0, 2.0, 5.0);
}

TEST(LxC3DCoordsCCT, ProductsMatchHandCalculation)
{
    const LxC3DCoordsCCT a(1, 2, 3);
    const LxC3DCoordsCCT b(4, 5, 7);
    EXPECT_EQ(a.Dot(b), 35.0); // 4 + 10 + 21
    EXPECT_EQ(a.DotProduct(b), 35.0);
    EXPECT_EQ(a * b, 35.0);
    ExpectCoords(a.CrossProduct(b), -1.0, 5.0, -3.0); // (14 - 15, 12 - 7, 5 - 8)
    ExpectCoords(LxC3DCoordsCCT(1, 0, 0).CrossProduct(LxC3DCoordsCCT(0, 1, 0)), 0.0, 0.0, 1.0);
}

TEST(LxC3DCoordsCCT, LengthIsEuclidean)
{
    EXPECT_EQ(LxC3DCoordsCCT(2, -3, 6).GetLength(), 7.0);
    EXPECT_EQ(LxC3DCoordsCCT(2, -3, 6).GetLengthSq(), 49.0);
}

TEST(LxC3DCoordsCCT, ToleranceIncludesItsBorder)
{
    EXPECT_TRUE(LxC3DCoordsCCT().IsEqualTol(LxC3DCoordsCCT(2, -3, 6), 7.0));
    EXPECT_FALSE(LxC3DCoordsCCT().IsEqualTol(LxC3DCoordsCCT(2, -3, 6), std::nextafter(7.0, 0.0)));
    EXPECT_FALSE(LxC3DCoordsCCT(NAN, 0, 0).IsEqualTol(LxC3DCoordsCCT(NAN, 0, 0), 1.0));
}

TEST(LxC3DCoordsCCT, NormalizedExcludesTheTolerance)
{
    EXPECT_FALSE(LxC3DCoordsCCT(1.5, 0, 0).IsNormalized(0.5));
    EXPECT_TRUE(LxC3DCoordsCCT(1.5, 0, 0).IsNormalized(0.5000001));
    EXPECT_TRUE(LxC3DCoordsCCT(0, 0.75, 0).IsNormalized(0.2500001));
    EXPECT_FALSE(LxC3DCoordsCCT(NAN, 0, 0).IsNormalized(1.0));
}

TEST(LxC3DCoordsCCT, NormalizeRefusesTheZeroVector)
{
    LxC3DCoordsCCT a(2, -3, 6);
    EXPECT_TRUE(a.Normalize());
    ExpectCoords(a, 2.0 / 7.0, -3.0 / 7.0, 6.0 / 7.0);
    LxC3DCoordsCCT zero;
    EXPECT_FALSE(zero.Normalize());
    ExpectCoords(zero, 0.0, 0.0, 0.0);
}

TEST(LxC3DCoordsCCT, NormalizedHasNoGuardAgainstZero)
{
    ExpectCoords(LxC3DCoordsCCT(0, 0, -2).Normalized(), 0.0, 0.0, -1.0);
    EXPECT_TRUE(std::isnan(LxC3DCoordsCCT().Normalized().x));
}

TEST(LxC3DCoordsCCT, MatrixIsStoredByRows)
{
    const double m[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    // (1 + 20 + 300, 4 + 50 + 600, 7 + 80 + 900)
    ExpectCoords(LxC3DCoordsCCT(1, 10, 100).MatrixMult(m), 321.0, 654.0, 987.0);
    ExpectCoords(LxC3DCoordsCCT(1, 10, 100).MatrixMult(nullptr), 0.0, 0.0, 0.0);
}

} // namespace
} // namespace LxCV
