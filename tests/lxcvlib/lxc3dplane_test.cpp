// Tests of planes in space.
#include "lxc3dplane.h"

#include "lxc3dray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace LxCV {
namespace {

LxC3DCoordsCCT NormalOf(const LxC3DPlane& plane)
{
    LxC3DCoordsCCT normal;
    plane.GetNormalVector(&normal);
    return normal;
}

void ExpectPoint(const LxC3DCoordsCCT& p, double x, double y, double z)
{
    EXPECT_EQ(p.X(), x);
    EXPECT_EQ(p.Y(), y);
    EXPECT_EQ(p.Z(), z);
}

TEST(LxC3DPlane, DefaultIsInvalid)
{
    const LxC3DPlane plane;
    EXPECT_FALSE(plane.IsValid());
    ExpectPoint(NormalOf(plane), 0.0, 0.0, 0.0);
    EXPECT_EQ(plane.GetDistToPoint(1.0, 2.0, 3.0), 0.0);
}

TEST(LxC3DPlane, ThreePointsGiveTheRightHandedUnitNormal)
{
    // (2, 0, 0) x (0, 5, 0) points along z; all points have z = 4.
    const LxC3DPlane plane(LxC3DCoordsCCT(0.0, 0.0, 4.0), LxC3DCoordsCCT(2.0, 0.0, 4.0),
                           LxC3DCoordsCCT(0.0, 5.0, 4.0));
    EXPECT_TRUE(plane.IsValid());
    ExpectPoint(NormalOf(plane), 0.0, 0.0, 1.0);
    EXPECT_EQ(plane.GetDistToPoint(LxC3DCoordsCCT(9.0, 9.0, 10.0)), 6.0);
    EXPECT_EQ(plane.GetDistToPoint(0.0, 0.0, 1.0), -3.0);
}

TEST(LxC3DPlane, CollinearPointsGiveAnInvalidPlane)
{
    const LxC3DPlane plane(LxC3DCoordsCCT(1.0, 1.0, 1.0), LxC3DCoordsCCT(2.0, 2.0, 2.0),
                           LxC3DCoordsCCT(5.0, 5.0, 5.0));
    EXPECT_FALSE(plane.IsValid());
    EXPECT_EQ(plane.GetDistToPoint(7.0, 8.0, 9.0), 0.0);
}

TEST(LxC3DPlane, ConstructorNormalisesTheNormalButNotTheConstant)
{
    const LxC3DPlane plane(LxC3DCoordsCCT(0.0, 0.0, 5.0), 10.0);
    ExpectPoint(NormalOf(plane), 0.0, 0.0, 1.0);
    EXPECT_EQ(plane.GetDistToPoint(0.0, 0.0, 0.0), -10.0);
}

TEST(LxC3DPlane, SetKeepsTheNormalAsGiven)
{
    LxC3DPlane plane;
    plane.Set(LxC3DCoordsCCT(0.0, 0.0, 5.0), 10.0);
    ExpectPoint(NormalOf(plane), 0.0, 0.0, 5.0);
    EXPECT_EQ(plane.GetDistToPoint(0.0, 0.0, 3.0), 5.0);
}

TEST(LxC3DPlane, NormalIsWrittenAsThreeDoubles)
{
    LxC3DPlane plane;
    plane.Set(LxC3DCoordsCCT(1.0, 2.0, 3.0), 0.0);
    double normal[3] = {};
    plane.GetNormalVector(normal);
    EXPECT_EQ(normal[0], 1.0);
    EXPECT_EQ(normal[1], 2.0);
    EXPECT_EQ(normal[2], 3.0);
    double* const nothing = nullptr;
    plane.GetNormalVector(nothing);
    EXPECT_EQ(plane.GetDistToPoint(nothing), 0.0);
    EXPECT_EQ(plane.GetDistToPoint(normal), 14.0);
}

TEST(LxC3DPlane, SlopesGiveTheDepthBackAndAnUpwardNormal)
{
    std::mt19937 random(30);
    std::uniform_real_distribution<double> slope(-20.0, 20.0);
    for (int i = 0; i < 5000; ++i) {
        const double a = slope(random), b = slope(random), c = slope(random);
        const double x = slope(random), y = slope(random);
        const LxC3DPlane plane(a, b, c);
        // |z| <= 820; one division by normal.z >= 1/29 with rounding errors of some 1e-13.
        EXPECT_NEAR(plane.GetZ(x, y), a * x + b * y + c, 1e-10) << i;
        EXPECT_GT(NormalOf(plane).Z(), 0.0) << i;
        // The normal is (-a, -b, 1) over its length.
        EXPECT_NEAR(NormalOf(plane).X() / NormalOf(plane).Z(), -a, 1e-12) << i;
    }
}

TEST(LxC3DPlane, DepthOfAnUprightPlaneIsNotFinite)
{
    const LxC3DPlane plane(LxC3DCoordsCCT(1.0, 0.0, 0.0), 2.0);
    EXPECT_FALSE(std::isfinite(plane.GetZ(5.0, 0.0)));
    EXPECT_TRUE(std::isnan(plane.GetZ(2.0, 0.0)));
}

TEST(LxC3DPlane, ResetInvalidates)
{
    LxC3DPlane plane(1.0, 2.0, 3.0);
    EXPECT_TRUE(plane.IsValid());
    plane.Reset();
    EXPECT_FALSE(plane.IsValid());
    EXPECT_EQ(plane.GetDistToPoint(1.0, 1.0, 1.0), 0.0);
}

TEST(LxC3DPlane, TheWholeLineIntersects)
{
    // The plane z = 4 lies before, between and behind the two points.
    const LxC3DPlane plane(0.0, 0.0, 4.0);
    LxC3DCoordsCCT hit;
    EXPECT_TRUE(plane.Intersect(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(1.0, 2.0, 8.0), hit));
    ExpectPoint(hit, 0.5, 1.0, 4.0);
    EXPECT_TRUE(plane.Intersect(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(1.0, 2.0, 1.0), hit));
    ExpectPoint(hit, 4.0, 8.0, 4.0);
    EXPECT_TRUE(plane.Intersect(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(1.0, 2.0, -1.0), hit));
    ExpectPoint(hit, -4.0, -8.0, 4.0);
}

TEST(LxC3DPlane, ParallelLineLeavesTheResult)
{
    const LxC3DPlane plane(0.0, 0.0, 4.0);
    LxC3DCoordsCCT hit(7.0, 8.0, 9.0);
    EXPECT_FALSE(plane.Intersect(LxC3DCoordsCCT(0.0, 0.0, 1.0), LxC3DCoordsCCT(1.0, 2.0, 1.0), hit));
    ExpectPoint(hit, 7.0, 8.0, 9.0);
}

TEST(LxC3DPlane, RayIntersectsForwardOnly)
{
    const LxC3DPlane plane(0.0, 0.0, 4.0);
    LxC3DCoordsCCT hit(7.0, 8.0, 9.0);
    EXPECT_FALSE(
        plane.Intersect(LxC3DRay(LxC3DCoordsCCT(0.0, 0.0, 5.0), LxC3DCoordsCCT(0.0, 0.0, 1.0)), hit));
    EXPECT_FALSE(
        plane.Intersect(LxC3DRay(LxC3DCoordsCCT(0.0, 0.0, 1.0), LxC3DCoordsCCT(1.0, 0.0, 0.0)), hit));
    ExpectPoint(hit, 7.0, 8.0, 9.0);
    EXPECT_TRUE(
        plane.Intersect(LxC3DRay(LxC3DCoordsCCT(1.0, 2.0, 5.0), LxC3DCoordsCCT(0.0, 0.0, -3.0)), hit));
    ExpectPoint(hit, 1.0, 2.0, 4.0);
    EXPECT_TRUE(plane.Intersect(LxC3DRay(LxC3DCoordsCCT(3.0, 2.0, 4.0), LxC3DCoordsCCT(0.0, 0.0, 1.0)), hit));
    ExpectPoint(hit, 3.0, 2.0, 4.0);
}

TEST(LxC3DPlane, RayHitLiesOnPlaneAndOnRay)
{
    std::mt19937 random(31);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    const auto point = [&] {
        const double x = coordinate(random), y = coordinate(random);
        return LxC3DCoordsCCT(x, y, coordinate(random));
    };
    int hits = 0;
    for (int i = 0; i < 5000; ++i) {
        const LxC3DPlane plane(point(), point(), point());
        const LxC3DRay ray(point(), point());
        const double cosine = NormalOf(plane).Dot(ray.GetDirection());
        if (std::abs(cosine) < 0.01) {
            continue;
        }
        LxC3DCoordsCCT hit;
        const bool ahead = plane.GetDistToPoint(ray.GetOrigin()) * cosine < 0.0;
        ASSERT_EQ(plane.Intersect(ray, hit), ahead) << i;
        if (ahead) {
            // Path lengths up to 173 / 0.01 mm at 1e-16 relative, over the cosine.
            EXPECT_NEAR(plane.GetDistToPoint(hit), 0.0, 1e-8) << i;
            EXPECT_NEAR(ray.GetDistToPoint(hit), 0.0, 1e-8) << i;
            ++hits;
        }
    }
    EXPECT_GT(hits, 2000);
}

TEST(LxC3DPlane, ProjectionIsTheOrthogonalFoot)
{
    // The plane x + y + z = 3 with unit normal (1, 1, 1)/sqrt 3: (2, 2, 2) projects to (1, 1, 1).
    const LxC3DPlane plane(LxC3DCoordsCCT(3.0, 0.0, 0.0), LxC3DCoordsCCT(0.0, 3.0, 0.0),
                           LxC3DCoordsCCT(0.0, 0.0, 3.0));
    LxC3DCoordsCCT foot;
    EXPECT_TRUE(plane.Project(LxC3DCoordsCCT(2.0, 2.0, 2.0), foot));
    constexpr double kTolerance = 1e-14;
    EXPECT_NEAR(foot.X(), 1.0, kTolerance);
    EXPECT_NEAR(foot.Y(), 1.0, kTolerance);
    EXPECT_NEAR(foot.Z(), 1.0, kTolerance);
}

TEST(LxC3DPlane, ProjectionOntoAnInvalidPlaneLeavesTheResult)
{
    LxC3DCoordsCCT foot(7.0, 8.0, 9.0);
    EXPECT_FALSE(LxC3DPlane().Project(LxC3DCoordsCCT(2.0, 2.0, 2.0), foot));
    ExpectPoint(foot, 7.0, 8.0, 9.0);
}

TEST(LxC3DPlane, CopyAndMoveKeepNormalAndConstant)
{
    const LxC3DPlane plane(LxC3DCoordsCCT(0.0, 3.0, 4.0), 10.0);
    LxC3DPlane copy(plane);
    LxC3DPlane assigned;
    assigned = copy;
    LxC3DPlane moved(std::move(copy));
    LxC3DPlane moveAssigned;
    moveAssigned = std::move(moved);
    EXPECT_EQ(assigned.GetDistToPoint(1.0, 2.0, 3.0), plane.GetDistToPoint(1.0, 2.0, 3.0));
    EXPECT_EQ(moveAssigned.GetDistToPoint(1.0, 2.0, 3.0), plane.GetDistToPoint(1.0, 2.0, 3.0));
}

} // namespace
} // namespace LxCV
