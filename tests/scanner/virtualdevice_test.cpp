#include "scanner/device/virtualdevice.h"

#include "scanner/device/random.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace device {
namespace {

TEST(VirtualDevice, SeesSeventeenByThirteenMillimetresAtThirtyThree)
{
    const VirtualDevice device;
    const auto at = [&](double col, double row) { return 33.0 * device.RayFromImage({col, row}).direction; };
    EXPECT_NEAR(at(657.5, 246.5).x - at(-0.5, 246.5).x, 17.0, 0.2);
    EXPECT_NEAR(at(328.5, 493.5).y - at(328.5, -0.5).y, 12.8, 0.2);
}

TEST(VirtualDevice, ProjectorLooksFromTwelveDegreesAside)
{
    const VirtualDevice device;
    EXPECT_NEAR(Length(device.ProjectorCentre()), 7.0, 0.05);
    EXPECT_LT(device.ProjectorCentre().y, -6.9);
    const Vec3 target{0.0, 0.0, 33.0};
    const Vec3 toProjector = Normalized(device.ProjectorCentre() - target);
    const double angle = std::acos(Dot(toProjector, {0.0, 0.0, -1.0})) * 180.0 / std::numbers::pi;
    EXPECT_NEAR(angle, 12.0, 0.3);
    // What is in the middle for the camera is about in the middle of the slide.
    const Vec2 slide = device.SlideFromPoint(target);
    EXPECT_NEAR(slide.x, 3500.0, 60.0);
    EXPECT_NEAR(slide.y, 3500.0, 60.0);
}

TEST(VirtualDevice, ImageAndRayAreInverse)
{
    constexpr double c_rounding = 1e-10; // pixels
    const VirtualDevice device;
    const CounterRandom random(31);
    for (std::uint64_t trial = 0; trial < 5000; ++trial) {
        const Vec2 image{660.0 * random.Uniform(3 * trial) - 1.0,
                         496.0 * random.Uniform(3 * trial + 1) - 1.0};
        const double depth = 10.0 + 60.0 * random.Uniform(3 * trial + 2);
        const Ray ray = device.RayFromImage(image);
        ASSERT_EQ(ray.direction.z, 1.0);
        const Vec2 back = device.ImageFromPoint(depth * ray.direction);
        ASSERT_LT(std::abs(back.x - image.x) + std::abs(back.y - image.y), c_rounding);
    }
}

TEST(VirtualDevice, WorldAndCameraCoordinatesAreInverseAndDiffer)
{
    const VirtualDevice device;
    const Vec3 point{3.0, -4.0, 35.0};
    const Vec3 world = device.WorldFromCamera(point);
    EXPECT_LT(Length(device.CameraFromWorld(world) - point), 1e-13);
    EXPECT_GT(Length(world - point), 0.5);
    // The forward placement carries world into camera coordinates, so its translation is the world's origin.
    const Placement& placement = device.Parameters().cameraFromWorld;
    EXPECT_LT(Length(device.CameraFromWorld({0, 0, 0}) - Vec3{placement.tx, placement.ty, placement.tz}),
              1e-15);
}

TEST(VirtualDevice, EdgesCoverTheFieldOfViewOverTheWorkingRange)
{
    const VirtualDevice device;
    for (double depth : {25.0, 29.0, 33.0, 37.0, 41.0}) {
        for (const Vec2& corner : {Vec2{0, 0}, Vec2{657, 0}, Vec2{0, 493}, Vec2{657, 493}}) {
            const Vec2 slide = device.SlideFromPoint(depth * device.RayFromImage(corner).direction);
            EXPECT_GT(slide.y, device.EdgePosition(device.FirstEdge())) << depth;
            EXPECT_LT(slide.y, device.EdgePosition(device.LastEdge())) << depth;
            EXPECT_GT(slide.x, -10.0) << depth; // a few pixels of the farthest corners may be dark
            EXPECT_LT(slide.x, 7010.0) << depth;
        }
        const Vec2 top = device.SlideFromPoint(depth * device.RayFromImage({328, 0}).direction);
        const Vec2 bottom = device.SlideFromPoint(depth * device.RayFromImage({328, 493}).direction);
        EXPECT_GT(bottom.y - top.y, 92 * 50.0); // edge numbers grow with the row
    }
}

TEST(VirtualDevice, EdgePositionsAreStripeWidthsFromEdgeOne)
{
    const VirtualDevice device;
    EXPECT_EQ(device.EdgePosition(1), 0.0);
    EXPECT_EQ(device.EdgePosition(2), 50.0);
    EXPECT_EQ(device.EdgePosition(122), 6050.0);
    EXPECT_EQ(device.FirstEdge(), 2);
    EXPECT_EQ(device.LastEdge(), 139); // 140 stripes; the numbering of positions ends there
}

TEST(VirtualDevice, PointOnEdgeLiesOnRayAndEdge)
{
    const VirtualDevice device;
    const CounterRandom random(32);
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Vec2 image{657.0 * random.Uniform(3 * trial), 493.0 * random.Uniform(3 * trial + 1)};
        const double depth = 25.0 + 16.0 * random.Uniform(3 * trial + 2);
        const Vec3 direction = device.RayFromImage(image).direction;
        const int edge = 1 + static_cast<int>(std::round(device.SlideFromPoint(depth * direction).y / 50.0));
        const auto point = device.PointOnEdge(image, edge);
        ASSERT_TRUE(point.has_value());
        ASSERT_NEAR(device.SlideFromPoint(*point).y, device.EdgePosition(edge), 1e-8);
        ASSERT_LT(Length(*point - point->z * direction), 1e-12);
        ASSERT_NEAR(point->z, depth, 0.5); // half a stripe is 0.2 to 0.5 mm of depth
    }
}

TEST(VirtualDevice, PointOnEdgeIsEmptyWhereRayAndSheetPart)
{
    const VirtualDevice device;
    // Along the ray of the bottom row v falls from the near end to some 3270 at infinity; lower edges are never met.
    EXPECT_FALSE(device.PointOnEdge({329, 493}, 2).has_value());
}

class Scenes : public testing::TestWithParam<std::string>
{};

INSTANTIATE_TEST_SUITE_P(All, Scenes, testing::ValuesIn(SceneNames()),
                         [](const auto& scene) { return scene.param; });

/// The default device with all of its image cut off but one column, which becomes column 0.
DeviceParameters OneColumn(int col)
{
    DeviceParameters parameters;
    parameters.camera.width = 1;
    parameters.camera.centreX -= col;
    return parameters;
}

constexpr std::array<int, 4> c_columns{3, 150, 300, 611};

TEST_P(Scenes, PixelTruthIsConsistentWithTheProjections)
{
    const auto scene = MakeScene(GetParam());
    for (int col : c_columns) {
        const VirtualDevice device(OneColumn(col));
        const GroundTruth truth = device.FindTruth(*scene);
        ASSERT_EQ(truth.width, 1);
        ASSERT_EQ(truth.height, 494);
        for (int row = 0; row < truth.height; ++row) {
            const PixelTruth& pixel = truth.At(0, row);
            ASSERT_TRUE(pixel.hit);
            const Vec2 image = device.ImageFromPoint(pixel.pointInCamera);
            ASSERT_NEAR(image.x, 0.0, 1e-9);
            ASSERT_NEAR(image.y, row, 1e-9);
            ASSERT_LT(Length(device.CameraFromWorld(pixel.pointInWorld) - pixel.pointInCamera), 1e-12);
            ASSERT_NEAR(pixel.slide.y, device.EdgePosition(pixel.nearestEdge) + pixel.edgeDistance, 1e-9);
            ASSERT_LE(std::abs(pixel.edgeDistance), 25.0);
            const auto again = device.TruePointAt(*scene, image);
            ASSERT_TRUE(again && Length(*again - pixel.pointInCamera) < 1e-6);
        }
    }
}

/// Crossings of a column by dense sampling: (row, edge), to about `spacing` squared times the curvature of v.
std::vector<std::pair<double, int>> DenseCrossings(const VirtualDevice& device, const Scene& scene,
                                                   double col, double lastRow, double spacing)
{
    std::vector<std::pair<double, int>> crossings;
    const int steps = static_cast<int>(std::round(lastRow / spacing));
    double before = device.TruthAt(scene, {col, 0.0}).slide.y;
    for (int step = 1; step <= steps; ++step) {
        const double row = step * spacing;
        const double v = device.TruthAt(scene, {col, row}).slide.y;
        // Stripes are 50 units; what changes by more than five within one step is a break of the surface.
        const double edge = std::floor(std::max(before, v) / 50.0);
        if (std::abs(v - before) < 5.0 && std::min(before, v) < 50.0 * edge) {
            crossings.emplace_back(row - spacing * (v - 50.0 * edge) / (v - before),
                                   static_cast<int>(edge) + 1);
        }
        before = v;
    }
    return crossings;
}

TEST_P(Scenes, EdgeCrossingsAreThoseOfDenseSampling)
{
    constexpr double c_spacing = 0.04; // pixels
    constexpr double c_chordError =
        2e-3; // pixels, of interpolating linearly within one step near a silhouette
    const auto scene = MakeScene(GetParam());
    for (int col : c_columns) {
        const VirtualDevice device(OneColumn(col));
        const auto expected = DenseCrossings(device, *scene, 0.0, 493.0, c_spacing);
        const GroundTruth truth = device.FindTruth(*scene);
        const std::vector<EdgeCrossing>& found = truth.crossings[0];
        ASSERT_EQ(found.size(), expected.size()) << col;
        for (std::size_t i = 0; i < found.size(); ++i) {
            ASSERT_NEAR(found[i].row, expected[i].first, c_chordError) << col;
            ASSERT_EQ(found[i].edge, expected[i].second) << col;
        }
    }
}

TEST_P(Scenes, EdgeCrossingsLieOnRayEdgeAndSurface)
{
    constexpr double c_exactV = 1e-4; // slide units, 1e-5 pixels, at the steepest places
    const auto scene = MakeScene(GetParam());
    for (int col = 2; col < 658; col += 24) {
        const VirtualDevice device(OneColumn(col));
        const GroundTruth truth = device.FindTruth(*scene);
        double lastRow = -1.0;
        for (const EdgeCrossing& crossing : truth.crossings[0]) {
            ASSERT_GE(crossing.row, lastRow);
            lastRow = crossing.row;
            const Vec2 slide = device.SlideFromPoint(crossing.pointInCamera);
            ASSERT_NEAR(slide.y, device.EdgePosition(crossing.edge), c_exactV);
            ASSERT_NEAR(slide.x, crossing.slideU, 1e-9);
            const Vec2 image = device.ImageFromPoint(crossing.pointInCamera);
            ASSERT_NEAR(image.x, 0.0, 1e-9);
            ASSERT_NEAR(image.y, crossing.row, 1e-9);
            ASSERT_LT(Length(device.CameraFromWorld(crossing.pointInWorld) - crossing.pointInCamera), 1e-12);
            // The exact triangulation from pixel and edge alone finds the surface again.
            const auto triangulated = device.PointOnEdge(image, crossing.edge);
            ASSERT_TRUE(triangulated && Length(*triangulated - crossing.pointInCamera) < 1e-5);
            ASSERT_EQ(crossing.seenByProjector, device.TruthAt(*scene, {0.0, crossing.row}).seenByProjector);
        }
    }
}

TEST_P(Scenes, MoreThanFiftyThousandCrossingsAreSeen)
{
    // Pixels of eight times the width show every eighth column of the same field.
    constexpr int c_step = 8;
    DeviceParameters parameters;
    parameters.camera.pitchX *= c_step;
    parameters.camera.centreX /= c_step;
    parameters.camera.width /= c_step;
    const GroundTruth truth = VirtualDevice(parameters).FindTruth(*MakeScene(GetParam()));
    EXPECT_GT(c_step * truth.CountSeenCrossings(), 55000U);
}

TEST(VirtualDevice, CrossingNearFindsTheNearestCrossingOfThatEdge)
{
    const VirtualDevice device(SmallDevice(40, 120));
    const auto scene = MakeScene("molar");
    const GroundTruth truth = device.FindTruth(*scene);
    int found = 0;
    for (std::size_t col = 0; col < truth.crossings.size(); col += 7) {
        for (const EdgeCrossing& crossing : truth.crossings[col]) {
            const Vec2 near{static_cast<double>(col), crossing.row + 1.3};
            const auto again = device.CrossingNear(*scene, near, crossing.edge);
            ASSERT_TRUE(again.has_value());
            ASSERT_NEAR(again->row, crossing.row, 1e-6);
            ASSERT_FALSE(device.CrossingNear(*scene, near, crossing.edge, 1.0).has_value());
            ASSERT_FALSE(device.CrossingNear(*scene, near, crossing.edge + 64).has_value());
            ++found;
        }
    }
    EXPECT_GT(found, 100);
}

TEST(VirtualDevice, TruthAtAPlaceWithoutSurfaceSaysSo)
{
    const VirtualDevice device;
    const auto behind = MakePlane({0, 0, -5.0}, {0, 0, 1}, {0.5, 0.5, 0.5});
    EXPECT_FALSE(device.TruthAt(*behind, {300, 200}).hit);
    EXPECT_FALSE(device.TruePointAt(*behind, {300, 200}).has_value());
    EXPECT_FALSE(device.CrossingNear(*behind, {300, 200}, 70).has_value());
}

TEST(VirtualDevice, StepThrowsItsShadowWhereTheEdgeStandsBeforeTheLight)
{
    const VirtualDevice device(SmallDevice(300, 300));
    const GroundTruth truth = device.FindTruth(*MakeScene("step"));
    const Vec3 centre = device.ProjectorCentre();
    int shadowed = 0, lit = 0;
    for (const PixelTruth& pixel : truth.pixels) {
        const Vec3& point = pixel.pointInCamera;
        if (point.z < 34.5 - 1e-9) {
            continue; // near plane or wall
        }
        // The light passes the near plane's height z = 31.5 here; it is stopped where 0.6 x + 0.8 y < 0.7.
        const Vec3 pass = point + ((point.z - 31.5) / (point.z - centre.z)) * (centre - point);
        ASSERT_EQ(pixel.seenByProjector, 0.6 * pass.x + 0.8 * pass.y >= 0.7);
        ++(pixel.seenByProjector ? lit : shadowed);
    }
    EXPECT_GT(shadowed, 1000);
    EXPECT_GT(lit, 1000);
}

TEST(VirtualDevice, BallThrowsItsShadowWhereItStandsBeforeTheLight)
{
    const VirtualDevice device;
    const GroundTruth truth = device.FindTruth(*MakeScene("sphere"));
    const Vec3 ball{0.3, -0.2, 35.5};
    int shadowed = 0;
    for (const PixelTruth& pixel : truth.pixels) {
        if (pixel.pointInCamera.z < 37.0 - 1e-9) {
            continue;
        }
        const Vec3 along = Normalized(device.ProjectorCentre() - pixel.pointInCamera);
        const Vec3 toBall = ball - pixel.pointInCamera;
        const double passes = Length(toBall - Dot(toBall, along) * along);
        ASSERT_EQ(pixel.seenByProjector, passes >= 5.0);
        shadowed += pixel.seenByProjector ? 0 : 1;
    }
    EXPECT_GT(shadowed, 1000);
}

TEST(VirtualDevice, RefusesParametersThatDescribeNoDevice)
{
    const auto refused = [](auto change) {
        DeviceParameters parameters;
        change(parameters);
        EXPECT_THROW(VirtualDevice{parameters}, std::invalid_argument);
    };
    refused([](DeviceParameters& p) { p.camera.width = 0; });
    refused([](DeviceParameters& p) { p.projector.height = 2000000; });
    refused([](DeviceParameters& p) { p.camera.pitchX = 0.0; });
    refused([](DeviceParameters& p) { p.projector.focalLength = std::nan(""); });
    refused([](DeviceParameters& p) { p.slide.digits = "0189"; });
    refused([](DeviceParameters& p) { p.slide.digits.clear(); });
    refused([](DeviceParameters& p) { p.slide.stripeWidth = 0; });
    refused([](DeviceParameters& p) { p.slide.stripeWidth = p.projector.height + 1; });
    refused([](DeviceParameters& p) { p.camera.k2 = std::nan(""); });
    refused([](DeviceParameters& p) { p.projector.centreX = std::numeric_limits<double>::infinity(); });
    refused([](DeviceParameters& p) { p.maxDepth = std::numeric_limits<double>::infinity(); });
    refused([](DeviceParameters& p) { p.patches = -1; });
    refused([](DeviceParameters& p) { p.depthPatches = 2000000000; });
    refused([](DeviceParameters& p) { p.slide.blur = 0.0; });
    refused([](DeviceParameters& p) { p.optics.cameraBlur = -1.0; });
    refused([](DeviceParameters& p) { p.sensor.fullWell = 0.0; });
    refused([](DeviceParameters& p) { p.maxDepth = p.minDepth; });
    const VirtualDevice device(SmallDevice(8, 8));
    RenderOptions options;
    options.supersamples = 0;
    EXPECT_THROW(device.RenderPair(*MakeScene("plane"), options), std::invalid_argument);
    options = RenderOptions();
    options.noise = -1.0;
    EXPECT_THROW(device.RenderPair(*MakeScene("plane"), options), std::invalid_argument);
}

} // namespace
} // namespace device
