#include "scanner/decoder/pointcleaning.h"

#include "lxccclalgoconfig.h"
#include "lxclxcvlibsettings.h"
#include "lxcpinholeframework.h"
#include "lxcroi.h"
#include "scanner/acceptance/accuracy.h"
#include "scanner/calibration/imageview.h"
#include "scanner/decoder/decoder.h"
#include "scanner/device/scene.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using Settings = LxCV::LxCLxCVLibSettings;
using Places = std::set<std::pair<int, int>>; ///< column and stripe edge

constexpr int kWidth = 40;
constexpr int kHeight = 60;
constexpr int kEdges = 30;
constexpr double kColumnStep = 0.026; // mm between the points of neighbouring columns
constexpr double kEdgeStep = 0.13;    // mm between those of neighbouring stripe edges
constexpr int kRowStep = 5;           // rows between neighbouring stripe edges

/// A point seen near the axis of the camera, whose column 20 and stripe edge 10 lie on it.
MeasuredPoint Point(int column, double row, int edge, double z)
{
    return {{column, row, edge}, {kColumnStep * (column - 20.0), kEdgeStep * (edge - 10.0), z}};
}

/// Columns and stripe edges, ends excluded, `depth` telling z in mm by column and edge.
template <typename Depth>
void Append(std::vector<MeasuredPoint>& points, std::pair<int, int> columns, std::pair<int, int> edges,
            Depth depth)
{
    for (int edge = edges.first; edge < edges.second; ++edge) {
        for (int column = columns.first; column < columns.second; ++column) {
            points.push_back(Point(column, kRowStep * (edge % 12), edge, depth(column, edge)));
        }
    }
}

/// In the order in which edges are traced.
std::vector<MeasuredPoint> Clean(std::vector<MeasuredPoint> points)
{
    std::ranges::stable_sort(points, {},
                             [](const MeasuredPoint& point) { return std::floor(point.edge.row); });
    PointCleaning(LxCV::LxCCCLAlgoConfig()).Clean(kWidth, kHeight, kEdges, points);
    return points;
}

Places PlacesOf(const std::vector<MeasuredPoint>& points)
{
    Places places;
    for (const MeasuredPoint& point : points) {
        places.emplace(point.edge.column, point.edge.stripeEdge);
    }
    return places;
}

/// Restores the limits at its end.
class PointCleaningSettings : public ::testing::Test
{
protected:
    ~PointCleaningSettings() override
    {
        Settings::SetClean3DDataDotProductThresh(m_minCosine);
        Settings::SetClean3DDataZDistThresh(m_maxStep);
    }

private:
    float m_minCosine = Settings::GetClean3DDataDotProductThresh();
    float m_maxStep = Settings::GetClean3DDataZDistThresh();
};

TEST(PointCleaning, IsWantedWhereTheActivePresetSaysSo)
{
    LxCV::LxCCCLAlgoConfig config;
    EXPECT_TRUE(PointCleaning(config).IsWanted()) << "the settings' default";
    config.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset1);
    EXPECT_FALSE(PointCleaning(config).IsWanted()) << "a bare preset";
}

TEST(PointCleaning, KeepsSmoothSurfacesUpToTheirBorders)
{
    for (const double slope : {0.0, 1.0, -2.0}) {
        std::vector<MeasuredPoint> points;
        Append(points, {3, 25}, {2, 11},
               [&](int column, int) { return 30.0 + slope * kColumnStep * (column - 20); });
        EXPECT_EQ(PlacesOf(Clean(points)), PlacesOf(points)) << slope;
    }
}

TEST(PointCleaning, DropsSurfacesThatAreSeenTooFlat)
{
    // The normal (-s, 0, 1) has the cosine 1 / sqrt(1 + s²) with the camera's axis: 0.217 and 0.185 about the limit
    // 0.2. The rays are within half a degree of the axis.
    for (const auto& [slope, isKept] : {std::pair{4.5, true}, {-4.5, true}, {5.3, false}, {-5.3, false}}) {
        std::vector<MeasuredPoint> alongColumns;
        Append(alongColumns, {17, 23}, {8, 12},
               [slope = slope](int column, int) { return 30.0 + slope * kColumnStep * (column - 20); });
        EXPECT_EQ(PlacesOf(Clean(alongColumns)), isKept ? PlacesOf(alongColumns) : Places()) << slope;
        std::vector<MeasuredPoint> alongEdges;
        Append(alongEdges, {17, 23}, {9, 12},
               [slope = slope](int, int edge) { return 30.0 + slope * kEdgeStep * (edge - 10); });
        EXPECT_EQ(PlacesOf(Clean(alongEdges)), isKept ? PlacesOf(alongEdges) : Places()) << slope;
    }
}

TEST(PointCleaning, DropsTheFarSideOfAJumpForThreeColumns)
{
    // Stripe edges 12 to 17 lie in the rows of 0 to 5.
    std::vector<MeasuredPoint> points;
    Append(points, {5, 15}, {0, 6}, [](int, int) { return 32.0; });
    Append(points, {15, 30}, {12, 18}, [](int, int) { return 34.0; });
    Places expected;
    for (const auto& place : PlacesOf(points)) {
        if (place.first < 15 || place.first > 14 + 3) {
            expected.insert(place);
        }
    }
    EXPECT_EQ(PlacesOf(Clean(points)), expected);
}

TEST(PointCleaning, DropsTheFarSideOfAJumpForThreeRows)
{
    // A near strip lies in the rows 10 and 15: the pixel rows from 7 to 18 are beside it.
    for (const auto& [row, isKept] :
         {std::pair{6.9, true}, {7.0, false}, {12.0, false}, {18.9, false}, {19.0, true}}) {
        std::vector<MeasuredPoint> points;
        for (int column = 5; column < 25; ++column) {
            points.push_back(Point(column, 10.0, 4, 32.0));
            points.push_back(Point(column, 15.0, 5, 32.0));
            points.push_back(Point(column, row, 15, 34.0));
            points.push_back(Point(column, 40.0, 16, 34.0));
        }
        EXPECT_EQ(Clean(points).size(), isKept ? 80U : 60U) << row;
    }
}

TEST(PointCleaning, AStepAsLargeAsTheLimitIsNoJump)
{
    constexpr double kLimit = 0.5; // mm, data/settings.lua
    for (const auto& [step, isKept] : {std::pair{kLimit, true}, {kLimit + 1e-5, false}}) {
        std::vector<MeasuredPoint> points;
        Append(points, {5, 15}, {0, 6}, [](int, int) { return 32.0; });
        Append(points, {15, 18}, {12, 18}, [step = step](int, int) { return 32.0 + step; });
        EXPECT_EQ(PlacesOf(Clean(points)).contains({16, 14}), isKept) << step;
    }
}

TEST(PointCleaning, DropsIsolatedPoints)
{
    EXPECT_TRUE(Clean({}).empty());
    EXPECT_TRUE(Clean({Point(20, 30.0, 10, 32.0)}).empty());
    std::vector<MeasuredPoint> oneEdge;
    Append(oneEdge, {5, 35}, {10, 11}, [](int, int) { return 32.0; });
    EXPECT_TRUE(Clean(oneEdge).empty());
    std::vector<MeasuredPoint> oneColumn;
    Append(oneColumn, {20, 21}, {0, 11}, [](int, int) { return 32.0; });
    EXPECT_TRUE(Clean(oneColumn).empty());
    std::vector<MeasuredPoint> square;
    Append(square, {20, 22}, {10, 12}, [](int, int) { return 32.0; });
    EXPECT_EQ(Clean(square).size(), 4U);
}

TEST_F(PointCleaningSettings, GiveTheLimits)
{
    std::vector<MeasuredPoint> steep;
    Append(steep, {17, 23}, {8, 12},
           [](int column, int) { return 30.0 + 2.0 * kColumnStep * (column - 20); });
    std::vector<MeasuredPoint> jump;
    Append(jump, {5, 15}, {0, 6}, [](int, int) { return 32.0; });
    Append(jump, {15, 18}, {12, 18}, [](int, int) { return 34.0; });
    EXPECT_EQ(Clean(steep).size(), steep.size());
    EXPECT_EQ(Clean(jump).size(), 60U);
    Settings::SetClean3DDataDotProductThresh(0.5F); // 1 / sqrt(1 + 2²) is 0.447
    Settings::SetClean3DDataZDistThresh(2.5F);
    EXPECT_TRUE(Clean(steep).empty());
    EXPECT_EQ(Clean(jump).size(), jump.size());
    Settings::SetClean3DDataDotProductThresh(-1.0F);
    EXPECT_EQ(Clean(steep).size(), steep.size());
    Settings::SetClean3DDataDotProductThresh(1.01F);
    EXPECT_TRUE(Clean(jump).empty());
}

TEST(PointCleaning, KeepsTheOrder)
{
    std::vector<MeasuredPoint> points;
    Append(points, {5, 15}, {0, 6}, [](int, int) { return 32.0; });
    Append(points, {15, 30}, {12, 18}, [](int, int) { return 34.0; });
    const std::vector<MeasuredPoint> cleaned = Clean(points);
    ASSERT_EQ(cleaned.size(), 60U + 12U * 6U);
    EXPECT_TRUE(
        std::ranges::is_sorted(cleaned, {}, [](const MeasuredPoint& point) { return point.edge.row; }));
}

TEST(PointCleaning, WorksUpToTheCornersOfImageAndGrid)
{
    std::vector<MeasuredPoint> points;
    for (const int column : {0, 1, kWidth - 2, kWidth - 1}) {
        for (const int edge : {0, 1, kEdges - 2, kEdges - 1}) {
            points.push_back(Point(column, edge < 2 ? 0.0 : kHeight - 1 + 63.0 / 64.0, edge, 32.0));
        }
    }
    EXPECT_EQ(Clean(points).size(), points.size());
}

TEST(PointCleaning, RemovesWhatLiesOutside)
{
    std::vector<MeasuredPoint> points;
    Append(points, {20, 24}, {3, 6}, [](int, int) { return 32.0; });
    const Places expected = PlacesOf(points);
    for (const auto& [column, row, edge] :
         std::vector<EdgePixel>{{-1, 20.0, 4},
                                {kWidth, 20.0, 4},
                                {21, -0.1, 4},
                                {21, kHeight, 4},
                                {21, std::nan(""), 4},
                                {21, 20.0, -1},
                                {21, 20.0, kEdges},
                                {std::numeric_limits<int>::max(), 1e300, std::numeric_limits<int>::min()}}) {
        points.push_back(Point(column, row, edge, 20.0)); // all points would be on the far side of it
    }
    const std::vector<MeasuredPoint> cleaned = Clean(points);
    EXPECT_EQ(cleaned.size(), expected.size());
    EXPECT_EQ(PlacesOf(cleaned), expected);
}

TEST(PointCleaning, BuffersKeepNothingOfTheMeasurementBefore)
{
    std::vector<MeasuredPoint> near;
    Append(near, {0, kWidth}, {0, 12}, [](int, int) { return 25.0; });
    std::vector<MeasuredPoint> far;
    Append(far, {10, 12}, {0, 2}, [](int, int) { return 39.0; });
    PointCleaning cleaning{LxCV::LxCCCLAlgoConfig()};
    for (const int width : {kWidth, kWidth + 5, kWidth}) {
        std::vector<MeasuredPoint> first = near;
        cleaning.Clean(width, kHeight, kEdges, first);
        EXPECT_EQ(first.size(), near.size());
        std::vector<MeasuredPoint> second = far;
        cleaning.Clean(width, kHeight, kEdges, second);
        EXPECT_EQ(second.size(), far.size());
    }
}

/// Whether a point stays, by looking at each other one, in double precision. None if it is too near a limit to tell.
enum class Verdict
{
    eKept,
    eDropped,
    eUnsure
};

Verdict Judge(const std::vector<MeasuredPoint>& points, const MeasuredPoint& point)
{
    constexpr double kMaxStep = 0.5, kMinCosine = 0.2; // data/settings.lua
    constexpr double kRounding = 1e-4;                 // of floats
    const auto rowOf = [](const MeasuredPoint& p) { return std::floor(p.edge.row); };
    const auto neighbour = [&](int columns, int edges) {
        const auto found = std::ranges::find_if(points, [&](const MeasuredPoint& p) {
            return p.edge.column == point.edge.column + columns &&
                   p.edge.stripeEdge == point.edge.stripeEdge + edges;
        });
        return found == points.end() ? point.position : found->position;
    };
    bool isUnsure = false;
    for (const MeasuredPoint& other : points) {
        if (std::abs(other.edge.column - point.edge.column) <= 3 &&
            std::abs(rowOf(other) - rowOf(point)) <= 3.0) {
            const double step = point.position.z - other.position.z;
            if (step > kMaxStep + kRounding) {
                return Verdict::eDropped;
            }
            isUnsure |= step > kMaxStep - kRounding;
        }
    }
    const LxCV::LxC3DCoordsCCT normal =
        (neighbour(1, 0) - neighbour(-1, 0)).CrossProduct(neighbour(0, 1) - neighbour(0, -1));
    if (normal.GetLength() == 0.0) {
        return Verdict::eDropped;
    }
    const double cosine =
        std::abs(normal.Dot(point.position)) / (normal.GetLength() * point.position.GetLength());
    if (isUnsure || std::abs(cosine - kMinCosine) < kRounding) {
        return Verdict::eUnsure;
    }
    return cosine > kMinCosine ? Verdict::eKept : Verdict::eDropped;
}

TEST(PointCleaning, JudgesRandomPointsAsALookAtEachOtherOneDoes)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    std::size_t kept = 0, dropped = 0;
    for (int trial = 0; trial < 60; ++trial) {
        const double roughness = trial % 3 == 0 ? 1.2 : 0.3; // mm
        std::vector<MeasuredPoint> points;
        for (int edge = 0; edge < 10; ++edge) {
            for (int column = 0; column < 16; ++column) {
                if (share(random) < 0.8) {
                    points.push_back(
                        Point(column, 4.0 * edge + share(random), edge, 30.0 + roughness * share(random)));
                }
            }
        }
        const Places found = PlacesOf(Clean(points));
        for (const MeasuredPoint& point : points) {
            const Verdict verdict = Judge(points, point);
            const bool isKept = found.contains({point.edge.column, point.edge.stripeEdge});
            ASSERT_TRUE(verdict == Verdict::eUnsure || isKept == (verdict == Verdict::eKept))
                << "trial " << trial << ", column " << point.edge.column << ", edge "
                << point.edge.stripeEdge;
            kept += isKept ? 1 : 0;
            dropped += isKept ? 0 : 1;
        }
    }
    EXPECT_GT(kept, 500U);
    EXPECT_GT(dropped, 500U);
}

/// The upper limb of a ball before a plane, in a strip of the default device's image.
TEST(PointCleaning, TakesTheLimbOfABallAwayAndLittleElse)
{
    device::DeviceParameters parameters;
    parameters.camera.width = 60;
    parameters.camera.centreX -= 320;
    const device::VirtualDevice device(parameters);
    const auto scene = device::MakeScene("sphere");
    device::RenderedPair pair = device.RenderPair(*scene, {});
    const auto model = scannertest::LoadModel(device);
    const auto measure = [&](bool isClean) {
        DecoderConfig config;
        config.algorithm.GetActiveAlgorithmConfig().m_bClean3DData = isClean;
        Decoder decoder(*model, config);
        decoder.ComputeSignal(calibration::ViewOf(pair.reference), calibration::ViewOf(pair.pattern));
        decoder.FindEdges();
        decoder.ReadCodeWords();
        decoder.TraceEdges();
        decoder.Triangulate();
        return acceptance::CompareWithTruth(device, *scene, pair.truth, decoder.GetRegion(),
                                            decoder.GetPoints());
    };
    const acceptance::Accuracy all = measure(false);
    const acceptance::Accuracy clean = measure(true);
    EXPECT_GT(all.wrongCodeFraction, 0.001) << "edges of the plane that are found within the ball";
    EXPECT_EQ(clean.wrongCodeFraction, 0.0);
    EXPECT_GT(all.rmsMm, 0.05);
    EXPECT_LT(clean.rmsMm, 0.01);
    // Of each column's crossings, some 80, two: one at either limb.
    EXPECT_GT(clean.coverage, all.coverage - 0.025);
}

} // namespace
} // namespace decoder
