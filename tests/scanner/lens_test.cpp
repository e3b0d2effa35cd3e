#include "scanner/device/lens.h"

#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <numbers>

namespace device {
namespace {

LensParameters Camera()
{
    return DeviceParameters().camera;
}

TEST(DeviceGeometry, RotationTurnsAboutXThenYThenZFromTheLeft)
{
    constexpr double c_quarter = std::numbers::pi / 2.0;
    constexpr double c_rounding = 1e-15;
    // A quarter turn about x alone carries y to z, about y carries z to x, about z carries x to y.
    const Vec3 fromX = RotationOf({c_quarter, 0, 0, 0, 0, 0}) * Vec3{0, 1, 0};
    EXPECT_NEAR(fromX.z, 1.0, c_rounding);
    const Vec3 fromY = RotationOf({0, c_quarter, 0, 0, 0, 0}) * Vec3{0, 0, 1};
    EXPECT_NEAR(fromY.x, 1.0, c_rounding);
    const Vec3 fromZ = RotationOf({0, 0, c_quarter, 0, 0, 0}) * Vec3{1, 0, 0};
    EXPECT_NEAR(fromZ.y, 1.0, c_rounding);
    // X Y Z applied to x: Z carries it to y, Y leaves that, X carries it to z.
    const Vec3 all = RotationOf({c_quarter, c_quarter, c_quarter, 0, 0, 0}) * Vec3{1, 0, 0};
    EXPECT_NEAR(all.z, 1.0, c_rounding);
}

TEST(DeviceGeometry, ForwardAndBackwardAreInverse)
{
    constexpr double c_rounding = 1e-12; // mm, on coordinates of up to 100 mm
    const CounterRandom random(3);
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const auto number = [&](std::uint64_t index, double scale) {
            return scale * (2.0 * random.Uniform(16 * trial + index) - 1.0);
        };
        const RigidMotion motion(
            {number(0, 3.1), number(1, 1.5), number(2, 3.1), number(3, 100), number(4, 100), number(5, 100)});
        const Vec3 point{number(6, 100), number(7, 100), number(8, 100)};
        ASSERT_LT(Length(motion.Backward(motion.Forward(point)) - point), c_rounding) << trial;
    }
}

TEST(DeviceGeometry, PlacementAtPutsTheInnerOriginAtTheCentre)
{
    const Vec3 centre{1.5, -7.0, 0.25};
    const Vec3 origin = RigidMotion(PlacementAt(centre, 0.21, 0.02, -0.03)).Forward(centre);
    EXPECT_LT(Length(origin), 1e-14);
}

TEST(DeviceLens, WithoutDistortionIsFocalLengthOverPitch)
{
    LensParameters lens;
    lens.focalLength = 10.0;
    lens.pitchX = 0.01;
    lens.pitchY = 0.02;
    lens.centreX = 300.0;
    lens.centreY = 200.0;
    // 10 mm / 0.01 mm = 1000 units per unit of direction, 500 in y.
    const Vec2 raster = Lens(lens).RasterFromDirection({0.1, -0.2});
    EXPECT_DOUBLE_EQ(raster.x, 400.0);
    EXPECT_DOUBLE_EQ(raster.y, 100.0);
}

TEST(DeviceLens, DistortionMatchesTheFormulaWorkedByHand)
{
    LensParameters lens;
    lens.k2 = 0.1;
    lens.k4 = 0.01;
    lens.k6 = 0.001;
    lens.tau1 = 0.02;
    lens.tau2 = 0.03;
    // x = 1, y = 2: q = 5, radial = 1 + 0.5 + 0.25 + 0.125 = 1.875.
    // x' = 1.875 + 2 * 0.02 * 2 + 0.03 (5 + 2) = 2.165; y' = 3.75 + 0.02 (5 + 8) + 2 * 0.03 * 2 = 4.13.
    const Vec2 raster = Lens(lens).RasterFromDirection({1.0, 2.0});
    EXPECT_NEAR(raster.x, 2.165, 1e-14);
    EXPECT_NEAR(raster.y, 4.13, 1e-14);
}

TEST(DeviceLens, DirectionAndRasterAreInverseOverTheWholeImage)
{
    constexpr double c_rounding = 1e-11; // pixels, on positions of up to 700
    const Lens lens(Camera());
    const CounterRandom random(5);
    for (std::uint64_t trial = 0; trial < 5000; ++trial) {
        const Vec2 image{random.Uniform(2 * trial) * 668.0 - 5.0,
                         random.Uniform(2 * trial + 1) * 504.0 - 5.0};
        const Vec2 back = lens.RasterFromDirection(lens.DirectionFromRaster(image));
        ASSERT_LT(std::abs(back.x - image.x) + std::abs(back.y - image.y), c_rounding)
            << image.x << " " << image.y;
    }
}

/// The direction found by shrinking a grid around the best place: slow, and without any derivative.
Vec2 SearchDirection(const Lens& lens, const Vec2& raster)
{
    Vec2 best{0.0, 0.0};
    const auto miss = [&](const Vec2& direction) {
        const Vec2 at = lens.RasterFromDirection(direction);
        return (at.x - raster.x) * (at.x - raster.x) + (at.y - raster.y) * (at.y - raster.y);
    };
    for (double step = 0.1; step > 1e-12; step *= 0.5) {
        for (bool moved = true; moved;) {
            moved = false;
            for (const Vec2& way : {Vec2{1, 0}, Vec2{-1, 0}, Vec2{0, 1}, Vec2{0, -1}}) {
                const Vec2 next{best.x + step * way.x, best.y + step * way.y};
                if (miss(next) < miss(best)) {
                    best = next;
                    moved = true;
                }
            }
        }
    }
    return best;
}

TEST(DeviceLens, UndistortingAgreesWithADirectSearch)
{
    constexpr double c_searchError =
        1e-9; // the search stops at steps of 1e-12, its target is flat to about 1e-10
    const Lens lens(Camera());
    for (const Vec2& image :
         {Vec2{0, 0}, Vec2{657, 493}, Vec2{657, 0}, Vec2{331.4, 244.7}, Vec2{100.5, 400.25}}) {
        const Vec2 expected = SearchDirection(lens, image);
        const Vec2 found = lens.DirectionFromRaster(image);
        EXPECT_NEAR(found.x, expected.x, c_searchError);
        EXPECT_NEAR(found.y, expected.y, c_searchError);
    }
}

TEST(DeviceLens, DefaultDistortionIsMildButNotNegligible)
{
    LensParameters straight = Camera();
    straight.k2 = straight.k4 = straight.k6 = straight.tau1 = straight.tau2 = 0.0;
    const Vec2 corner = Lens(straight).RasterFromDirection(Lens(Camera()).DirectionFromRaster({0.0, 0.0}));
    const double moved = std::sqrt(corner.x * corner.x + corner.y * corner.y);
    EXPECT_GT(moved, 0.5);
    EXPECT_LT(moved, 5.0);
}

} // namespace
} // namespace device
