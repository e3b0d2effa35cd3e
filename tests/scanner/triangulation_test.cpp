// The library's triangulation against the truth of the virtual device, which shares no equation with it.
#include "lxcpinholeframework.h"

#include "scanner/device/scene.h"
#include "scanner/device/virtualdevice.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace device {
namespace {

using LxCV::LxCPinholeFramework;

constexpr const char* c_sRoot = "::MV3DCam";

std::unique_ptr<LxCPinholeFramework> Load(const VirtualDevice& device)
{
    auto framework = std::make_unique<LxCPinholeFramework>();
    LxCV::TestSupport::Load(*framework, c_sRoot, device.ParameterText(c_sRoot));
    return framework;
}

Vec3 Triangulated(const LxCPinholeFramework& framework, double col, double row, int edge, bool camCoords)
{
    Vec3 p;
    framework.ComputeEdgeXYZ(col, row, edge, camCoords, &p.x, &p.y, &p.z, false);
    return p;
}

/// A miss of a direction by d moves a point by d z^2 / baseline: by 240 mm times d at the far end of the range, 41 mm,
/// and a baseline of 7 mm; 5 % more off the axis.
constexpr double c_dMillimetresPerDirection = 41.0 * 41.0 / 7.0 * 1.05;

// Tolerances, mm. A lens without tangential distortion is undistorted by a table, whose entries are found by bisection
// down to 1e-8 of direction. The iteration for lenses with tangential distortion ends at rounding; then what is left
// is the curvature of a distorted edge, which triangulation takes for straight over one column to both sides.
constexpr double c_dByTable = 1e-8 * c_dMillimetresPerDirection;
constexpr double c_dByIteration = 1e-10 * c_dMillimetresPerDirection;

DeviceParameters WithProjectorTangents()
{
    DeviceParameters parameters;
    parameters.projector.tau1 = 0.0005;
    parameters.projector.tau2 = -0.0003;
    return parameters;
}

void ExpectPointsOnLightSheets(const DeviceParameters& parameters, double tolerance)
{
    const VirtualDevice device(parameters);
    const auto framework = Load(device);
    ASSERT_TRUE(framework->IsCalibrated());
    std::mt19937_64 random(1);
    int compared = 0;
    const auto numEdges = static_cast<unsigned>(device.LastEdge() - device.FirstEdge() + 1);
    for (int trial = 0; trial < 20000; ++trial) {
        const Vec2 image{static_cast<double>(random() % 65700) / 100.0,
                         static_cast<double>(random() % 49300) / 100.0};
        const int edge = device.FirstEdge() + static_cast<int>(random() % numEdges);
        const auto truth = device.PointOnEdge(image, edge);
        if (!truth || truth->z < parameters.minDepth || truth->z > parameters.maxDepth) {
            continue;
        }
        ++compared;
        const Vec3 p = Triangulated(*framework, image.x, image.y, edge, true);
        ASSERT_LE(Length(p - *truth), tolerance) << image.x << " " << image.y << " " << edge;
    }
    EXPECT_GT(compared, 2000);
}

TEST(TriangulationTruth, MeetsEveryLightSheetWithATabulatedLens)
{
    ExpectPointsOnLightSheets(DeviceParameters(), c_dByTable);
}

TEST(TriangulationTruth, MeetsEveryLightSheetWithAnIteratedLens)
{
    ExpectPointsOnLightSheets(WithProjectorTangents(), c_dByIteration);
}

class TriangulationOfScene : public ::testing::TestWithParam<std::string>
{};

TEST_P(TriangulationOfScene, UnwrapsAndFindsEveryEdgeCrossing)
{
    const VirtualDevice device;
    const auto framework = Load(device);
    const auto scene = MakeScene(GetParam());
    int seen = 0;
    for (int col = 4; col < 658; col += 25) {
        int last = -1;
        for (int row = 0; row < 494; ++row) {
            const Vec2 image{static_cast<double>(col), static_cast<double>(row)};
            const PixelTruth pixel = device.TruthAt(*scene, image);
            if (!pixel.seenByProjector || pixel.nearestEdge == last) {
                continue;
            }
            const auto crossing = device.CrossingNear(*scene, image, pixel.nearestEdge);
            if (!crossing || !crossing->seenByProjector || crossing->row < 0.0 || crossing->row > 493.0) {
                continue;
            }
            last = pixel.nearestEdge;
            ++seen;
            ASSERT_EQ(framework->UnwrapStripeId(crossing->edge % 64, crossing->row), crossing->edge)
                << col << " " << crossing->row;
            const double rowOnSlide = device.EdgePosition(crossing->edge);
            Vec3 known;
            framework->ComputeEdgeXYZSubEdge(col, crossing->row, crossing->slideU, rowOnSlide, rowOnSlide,
                                             true, &known.x, &known.y, &known.z, false);
            const Vec3 p = Triangulated(*framework, col, crossing->row, crossing->edge, true);
            const Vec3 world = Triangulated(*framework, col, crossing->row, crossing->edge, false);
            ASSERT_LE(Length(known - crossing->pointInCamera), c_dByTable) << col << " " << crossing->row;
            ASSERT_LE(Length(p - crossing->pointInCamera), c_dByTable) << col << " " << crossing->row;
            ASSERT_LE(Length(world - crossing->pointInWorld), c_dByTable) << col << " " << crossing->row;
        }
    }
    EXPECT_GT(seen, 2000);
}

INSTANTIATE_TEST_SUITE_P(AllScenes, TriangulationOfScene, ::testing::ValuesIn(SceneNames()),
                         [](const auto& scene) { return scene.param; });

} // namespace
} // namespace device
