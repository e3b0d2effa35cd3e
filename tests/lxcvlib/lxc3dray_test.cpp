// Tests of rays in space.
#include "lxc3dray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace LxCV {
namespace {

void ExpectPoint(const LxC3DCoordsCCT& p, double x, double y, double z, double tolerance = 0.0)
{
    EXPECT_NEAR(p.X(), x, tolerance);
    EXPECT_NEAR(p.Y(), y, tolerance);
    EXPECT_NEAR(p.Z(), z, tolerance);
}

TEST(LxC3DRay, DefaultLooksAlongZ)
{
    const LxC3DRay ray;
    ExpectPoint(ray.GetPoint(0.0), 0.0, 0.0, 0.0);
    ExpectPoint(ray.GetPoint(2.5), 0.0, 0.0, 2.5);
}

TEST(LxC3DRay, DirectionIsNormalised)
{
    const LxC3DRay ray(LxC3DCoordsCCT(1.0, 2.0, 3.0), LxC3DCoordsCCT(0.0, 0.0, -8.0));
    ExpectPoint(ray.GetDirection(), 0.0, 0.0, -1.0);
    ExpectPoint(ray.GetOrigin(), 1.0, 2.0, 3.0);
    ExpectPoint(ray.GetPoint(2.0), 1.0, 2.0, 1.0);
    ExpectPoint(ray.GetPoint(-2.0), 1.0, 2.0, 5.0);
}

TEST(LxC3DRay, ZeroDirectionStaysZero)
{
    const LxC3DRay ray(LxC3DCoordsCCT(1.0, 2.0, 3.0), LxC3DCoordsCCT());
    ExpectPoint(ray.GetPoint(5.0), 1.0, 2.0, 3.0);
}

TEST(LxC3DRay, DistanceIsThatOfTheCarryingLine)
{
    const LxC3DRay ray(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(0.0, 0.0, 2.0));
    EXPECT_EQ(ray.GetDistToPoint(LxC3DCoordsCCT(3.0, 4.0, 10.0)), 5.0);
    EXPECT_EQ(ray.GetDistToPoint(LxC3DCoordsCCT(3.0, 4.0, -10.0)), 5.0);
}

TEST(LxC3DRay, ClosestPointMayLieBehindTheOrigin)
{
    const LxC3DRay ray;
    ExpectPoint(ray.ClosestPoint(LxC3DCoordsCCT(1.0, 0.0, 7.0)), 0.0, 0.0, 7.0);
    ExpectPoint(ray.ClosestPoint(LxC3DCoordsCCT(0.0, -2.0, -7.0)), 0.0, 0.0, -7.0);
}

TEST(LxC3DRay, ClosestPointOfAPointOnTheRayIsTheZeroPoint)
{
    const LxC3DRay ray(LxC3DCoordsCCT(1.0, 2.0, 3.0), LxC3DCoordsCCT(1.0, 0.0, 0.0));
    ExpectPoint(ray.ClosestPoint(LxC3DCoordsCCT(5.0, 2.0, 3.0)), 0.0, 0.0, 0.0);
}

TEST(LxC3DRay, ClosestPointIsTheFootOfThePerpendicular)
{
    std::mt19937 random(32);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    const auto point = [&] {
        const double x = coordinate(random), y = coordinate(random);
        return LxC3DCoordsCCT(x, y, coordinate(random));
    };
    for (int i = 0; i < 5000; ++i) {
        const LxC3DRay ray(point(), point());
        const LxC3DCoordsCCT p = point();
        const double along = (p - ray.GetOrigin()).Dot(ray.GetDirection());
        const LxC3DCoordsCCT expected = ray.GetPoint(along);
        // Coordinates to some hundred mm; the plane's normal is conditioned by the distance to the line.
        const double tolerance = 1e-10 * (1.0 + 100.0 / ray.GetDistToPoint(p));
        ExpectPoint(ray.ClosestPoint(p), expected.X(), expected.Y(), expected.Z(), tolerance);
        EXPECT_NEAR(ray.GetDistToPoint(p), (p - expected).GetLength(), 1e-10) << i;
    }
}

} // namespace
} // namespace LxCV
