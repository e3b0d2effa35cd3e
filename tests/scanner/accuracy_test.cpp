#include "scanner/acceptance/accuracy.h"

#include "lxcroi.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

namespace acceptance {
namespace {

/// A plane 33 mm in front of the camera, of which two columns with two seen and one hidden crossing are known.
class AccuracyFigures : public ::testing::Test
{
protected:
    static constexpr double kDepth = 33.0;

    AccuracyFigures() : m_scene(device::MakePlane({0.0, 0.0, kDepth}, {0.0, 0.0, -1.0}, {0.8, 0.8, 0.8}))
    {
        m_truth.width = 2;
        m_truth.height = 494;
        m_truth.crossings = {{MakeCrossing(50, 100.0, true), MakeCrossing(51, 105.0, true)},
                             {MakeCrossing(50, 100.0, false)}};
    }

    static device::EdgeCrossing MakeCrossing(int edge, double row, bool seen)
    {
        device::EdgeCrossing crossing;
        crossing.edge = edge;
        crossing.row = row;
        crossing.seenByProjector = seen;
        return crossing;
    }

    /// A point of the plane as it was measured, moved by `error` mm along the camera's axis.
    decoder::MeasuredPoint PointAt(int column, double row, int edge, double error) const
    {
        const device::Ray ray = m_device.RayFromImage({static_cast<double>(column), row});
        const double scale = kDepth / ray.direction.z;
        return {{column, row, edge}, {scale * ray.direction.x, scale * ray.direction.y, kDepth + error}};
    }

    Accuracy Compare(const std::vector<decoder::MeasuredPoint>& points) const
    {
        return CompareWithTruth(m_device, *m_scene, m_truth, LxCV::LxCRoi(0, 0, 2, 494), points);
    }

    device::VirtualDevice m_device;
    std::unique_ptr<device::Scene> m_scene;
    device::GroundTruth m_truth;
};

constexpr double kRounding = 1e-9; // mm; the scene is intersected in double precision

TEST_F(AccuracyFigures, AreErrorsAlongTheView)
{
    const Accuracy accuracy = Compare({PointAt(0, 100.2, 50, 0.03), PointAt(0, 104.9, 51, -0.01)});
    EXPECT_EQ(accuracy.points, 2U);
    EXPECT_NEAR(accuracy.meanMm, 0.02, kRounding);
    EXPECT_NEAR(accuracy.rmsMm, std::sqrt((0.03 * 0.03 + 0.01 * 0.01) / 2.0), kRounding);
    EXPECT_NEAR(accuracy.p95Mm, 0.03, kRounding);
    EXPECT_EQ(accuracy.wrongCodeFraction, 0.0);
    EXPECT_EQ(accuracy.coverage, 1.0);
}

TEST_F(AccuracyFigures, CountASeenCrossingOnce)
{
    const Accuracy accuracy = Compare({PointAt(0, 100.2, 50, 0.0), PointAt(0, 99.8, 50, 0.0)});
    EXPECT_EQ(accuracy.seenCrossings, 2U);
    EXPECT_EQ(accuracy.coverage, 0.5);
}

TEST_F(AccuracyFigures, CountCrossingsOfTheRegionAlone)
{
    // Row 105 belongs to a region that ends with its pixel, and not to one that ends before.
    const std::vector<decoder::MeasuredPoint> points{PointAt(0, 100.2, 50, 0.0)};
    for (const auto& [rows, seen] : {std::pair{105, 1U}, {106, 2U}}) {
        const Accuracy accuracy =
            CompareWithTruth(m_device, *m_scene, m_truth, LxCV::LxCRoi(0, 0, 2, rows), points);
        EXPECT_EQ(accuracy.seenCrossings, seen);
        EXPECT_EQ(accuracy.coverage, 1.0 / seen);
    }
    const Accuracy outside =
        CompareWithTruth(m_device, *m_scene, m_truth, LxCV::LxCRoi(0, 101, 2, 20), points);
    EXPECT_EQ(outside.coverage, 0.0);
}

TEST_F(AccuracyFigures, DoNotCountHiddenCrossingsAsCovered)
{
    const Accuracy accuracy = Compare({PointAt(1, 100.0, 50, 0.0)});
    EXPECT_EQ(accuracy.coverage, 0.0);
    EXPECT_EQ(accuracy.wrongCodeFraction, 0.0);
}

TEST_F(AccuracyFigures, CallACodeWrongWhereTheNearestEdgeIsAnotherOrFar)
{
    const Accuracy accuracy =
        Compare({PointAt(0, 100.0, 51, 2.0), PointAt(0, 200.0, 50, 1.0), PointAt(0, 105.0, 51, 0.01)});
    EXPECT_NEAR(accuracy.wrongCodeFraction, 2.0 / 3.0, 1e-12);
    EXPECT_EQ(accuracy.isRight, (std::vector<bool>{false, false, true}));
}

TEST_F(AccuracyFigures, CoverPointsWithWrongCodesToo)
{
    const Accuracy accuracy = Compare({PointAt(0, 100.0, 51, 2.0), PointAt(0, 105.0, 51, 0.01)});
    EXPECT_NEAR(accuracy.meanMm, (2.0 + 0.01) / 2.0, kRounding);
    EXPECT_NEAR(accuracy.rmsMm, std::sqrt((4.0 + 0.0001) / 2.0), kRounding);
    EXPECT_NEAR(accuracy.p95Mm, 2.0, kRounding);
    EXPECT_NEAR(accuracy.rmsRightCodeMm, 0.01, kRounding);
}

TEST_F(AccuracyFigures, TakeTheNearestCrossingWithinTwoRows)
{
    // The crossings are at rows 100 and 105.
    EXPECT_EQ(Compare({PointAt(0, 98.01, 50, 0.0)}).wrongCodeFraction, 0.0);
    EXPECT_EQ(Compare({PointAt(0, 97.99, 50, 0.0)}).wrongCodeFraction, 1.0);
    EXPECT_EQ(Compare({PointAt(0, 101.99, 50, 0.0)}).wrongCodeFraction, 0.0);
    EXPECT_EQ(Compare({PointAt(0, 102.5, 50, 0.0)}).wrongCodeFraction, 1.0);
    EXPECT_EQ(Compare({PointAt(0, 106.99, 51, 0.0)}).wrongCodeFraction, 0.0);
    EXPECT_EQ(Compare({PointAt(0, 107.01, 51, 0.0)}).wrongCodeFraction, 1.0);
}

TEST_F(AccuracyFigures, Count95PercentOfTheErrors)
{
    std::vector<decoder::MeasuredPoint> points;
    for (int i = 100; i >= 1; --i) {
        points.push_back(PointAt(0, 100.0, 50, 0.001 * i));
    }
    EXPECT_NEAR(Compare(points).p95Mm, 0.095, kRounding);
    points.pop_back(); // of 99 points 94.05 are 95 percent, so 95 lie below; the smallest is now 0.002
    EXPECT_NEAR(Compare(points).p95Mm, 0.096, kRounding);
}

TEST_F(AccuracyFigures, CallAPointWrongWhereThereIsNoSurface)
{
    const auto behind = device::MakePlane({0.0, 0.0, -5.0}, {0.0, 0.0, 1.0}, {0.8, 0.8, 0.8});
    const std::vector<decoder::MeasuredPoint> points = {PointAt(0, 100.0, 50, 0.0)};
    const Accuracy accuracy =
        CompareWithTruth(m_device, *behind, m_truth, LxCV::LxCRoi(0, 0, 2, 494), points);
    EXPECT_EQ(accuracy.wrongCodeFraction, 1.0);
    EXPECT_EQ(accuracy.isRight, std::vector<bool>{false});
    EXPECT_EQ(accuracy.coverage, 0.0);
    EXPECT_EQ(accuracy.rmsMm, 0.0);
}

TEST_F(AccuracyFigures, AreZeroWithoutPoints)
{
    const Accuracy accuracy = Compare({});
    EXPECT_EQ(accuracy.points, 0U);
    EXPECT_EQ(accuracy.coverage, 0.0);
    EXPECT_EQ(accuracy.rmsMm, 0.0);
    EXPECT_EQ(accuracy.p95Mm, 0.0);
}

} // namespace
} // namespace acceptance
