// Tests of light planes.
#include "clightplane.h"

#include "lxc3dray.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace LxCV {
namespace {

constexpr double kFocalLength = 25.0; // mm

/// The plane y = alpha x + beta z + c by three of its points.
CLightPlane PlaneOf(double alpha, double beta, double c)
{
    return CLightPlane(LxC3DCoordsCCT(0.0, c, 0.0), LxC3DCoordsCCT(1.0, alpha + c, 0.0),
                       LxC3DCoordsCCT(0.0, beta + c, 1.0));
}

TEST(CLightPlane, DefaultAnswersNotANumberOrZero)
{
    const CLightPlane plane;
    EXPECT_FALSE(plane.IsValid());
    EXPECT_EQ(plane.Intersect(1.0, 2.0), 0.0);
    EXPECT_TRUE(std::isnan(plane.Intersect(1.0, 0.0)));
}

TEST(CLightPlane, AnswersZeroDepthUntilOptimised)
{
    const CLightPlane plane = PlaneOf(0.5, -0.25, 3.0);
    EXPECT_TRUE(plane.IsValid());
    // A and B are 0, and the y of the first spanning vector is 0.5: 0 / (2 - 1 * 0.5).
    EXPECT_EQ(plane.Intersect(1.0, 2.0), 0.0);
}

TEST(CLightPlane, KeepsItsFirstPointAsBase)
{
    const CLightPlane plane = PlaneOf(0.5, -0.25, 3.0);
    EXPECT_EQ(plane.GetBasePoint().X(), 0.0);
    EXPECT_EQ(plane.GetBasePoint().Y(), 3.0);
    EXPECT_EQ(plane.GetBasePoint().Z(), 0.0);
    EXPECT_NEAR(plane.GetDistToPoint(2.0, 4.0, 0.0), 0.0, 1e-15);
}

TEST(CLightPlane, DepthByHand)
{
    // y = x/2 + z/4 + 3 at f = 8: A = 3 * 8 = 24 and B = 8/4 = 2. At (4, 10): 24 / (10 - 2 - 2) = 4.
    // Check: the ray point at z = 4 is (4 * 4/8, 10 * 4/8, 4) = (2, 5, 4), and 2/2 + 4/4 + 3 = 5.
    CLightPlane plane = PlaneOf(0.5, 0.25, 3.0);
    EXPECT_TRUE(plane.OptimizeEquation(8.0));
    EXPECT_EQ(plane.Intersect(4.0, 10.0), 4.0);
}

TEST(CLightPlane, ParallelRayDividesByZero)
{
    CLightPlane plane = PlaneOf(0.5, 0.25, 3.0);
    plane.OptimizeEquation(8.0);
    EXPECT_EQ(plane.Intersect(4.0, 4.0), std::numeric_limits<double>::infinity());
}

TEST(CLightPlane, AgreesWithTheGeneralRayIntersection)
{
    std::mt19937 random(33);
    std::uniform_real_distribution<double> lateral(-200.0, 200.0);
    std::uniform_real_distribution<double> sensor(-4.0, 4.0);
    int compared = 0;
    for (int i = 0; i < 10000; ++i) {
        const auto point = [&] {
            const double x = lateral(random), y = lateral(random);
            return LxC3DCoordsCCT(x, y, 300.0 + lateral(random));
        };
        CLightPlane plane(point(), point(), point());
        const double x = sensor(random), y = sensor(random);
        const LxC3DRay ray(LxC3DCoordsCCT(), LxC3DCoordsCCT(x, y, kFocalLength));
        LxC3DCoordsCCT hit, normal;
        plane.GetNormalVector(&normal);
        // Away from planes that hold the y axis or the ray, where both ways lose their digits.
        if (std::abs(normal.Y()) < 0.05 || std::abs(normal.Dot(ray.GetDirection())) < 0.05 ||
            !plane.Intersect(ray, hit)) {
            continue;
        }
        ASSERT_TRUE(plane.OptimizeEquation(kFocalLength));
        // Depths up to 500 / 0.05 mm; conditions of 20 twice over some 10 operations at 1e-16.
        EXPECT_NEAR(plane.Intersect(x, y), hit.Z(), 1e-9 * std::max(1.0, std::abs(hit.Z()))) << i;
        ++compared;
    }
    EXPECT_GT(compared, 3000);
}

TEST(CLightPlane, RefusesAPlaneParallelToTheYAxis)
{
    // x = z: spanned by (1, 0, 1) and (0, 1, 0), F = 1 * 0 - 1 * 0 = 0.
    CLightPlane plane(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(1.0, 0.0, 1.0),
                      LxC3DCoordsCCT(0.0, 1.0, 0.0));
    const Logging::CCapture capture;
    EXPECT_FALSE(plane.OptimizeEquation(kFocalLength));
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, L"ORX.Lumorad.CLightPlane",
                            L"CLightPlane::OptimizeEquation: Error: Factor dF == 0, should never happen.\n"),
              1);
    EXPECT_EQ(capture.GetRecords().size(), 1u);
    EXPECT_EQ(plane.Intersect(1.0, 2.0), 0.0);
    EXPECT_EQ(plane.Intersect(-3.0, 0.5), 0.0);
    EXPECT_TRUE(plane.IsValid());
}

TEST(CLightPlane, SecondOptimisationChangesTheEquation)
{
    // The second call finds the spans (1, alpha, 0) and (1, beta, 1): F = 1, alpha stays, beta becomes
    // beta - alpha = 0.25 - 0.5 = -0.25. So B = -2 and A = 24, and (4, 10) gives 24 / (10 - 2 + 2) = 2.4.
    CLightPlane plane = PlaneOf(0.5, 0.25, 3.0);
    EXPECT_TRUE(plane.OptimizeEquation(8.0));
    EXPECT_TRUE(plane.OptimizeEquation(8.0));
    EXPECT_EQ(plane.Intersect(4.0, 10.0), 24.0 / 10.0);
}

TEST(CLightPlane, SetStartsAnew)
{
    CLightPlane plane = PlaneOf(0.5, 0.25, 3.0);
    plane.OptimizeEquation(8.0);
    plane.Set(LxC3DCoordsCCT(0.0, 3.0, 0.0), LxC3DCoordsCCT(1.0, 3.5, 0.0), LxC3DCoordsCCT(0.0, 3.25, 1.0));
    EXPECT_EQ(plane.Intersect(4.0, 10.0), 0.0);
    plane.OptimizeEquation(8.0);
    EXPECT_EQ(plane.Intersect(4.0, 10.0), 4.0);
}

TEST(CLightPlane, CollinearPointsAreInvalidAndRefused)
{
    CLightPlane plane(LxC3DCoordsCCT(0.0, 0.0, 0.0), LxC3DCoordsCCT(1.0, 1.0, 1.0),
                      LxC3DCoordsCCT(2.0, 2.0, 2.0));
    const Logging::CCapture capture;
    EXPECT_FALSE(plane.IsValid());
    EXPECT_FALSE(plane.OptimizeEquation(kFocalLength));
}

TEST(CLightPlane, CopyAndMoveKeepTheEquation)
{
    CLightPlane plane = PlaneOf(0.5, 0.25, 3.0);
    plane.OptimizeEquation(8.0);
    CLightPlane copy(plane);
    CLightPlane assigned;
    assigned = copy;
    const CLightPlane moved(std::move(copy));
    EXPECT_EQ(assigned.Intersect(4.0, 10.0), 4.0);
    EXPECT_EQ(moved.Intersect(4.0, 10.0), 4.0);
    EXPECT_EQ(moved.GetBasePoint().Y(), 3.0);
}

} // namespace
} // namespace LxCV
