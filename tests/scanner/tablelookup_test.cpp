#include "scanner/decoder/tablelookup.h"

#include "lxcpinholeframework.h"
#include "lxcstripepattern.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>

namespace decoder {
namespace {

using LxCV::LxC3DCoordsCCT;

/// A point as a lookup leaves it, and nothing where it says no.
std::optional<LxC3DCoordsCCT> LookUp(const PointTable& table, int column, double row, int stripeEdge)
{
    constexpr double kUntouched = -77.0;
    LxC3DCoordsCCT point;
    point.x = point.y = point.z = kUntouched;
    if (table.LookUp(table.Find({column, row, stripeEdge}), point)) {
        return point;
    }
    EXPECT_EQ(point.x, kUntouched);
    EXPECT_EQ(point.y, kUntouched);
    EXPECT_EQ(point.z, kUntouched);
    return std::nullopt;
}

/// Tables of the model of the virtual device, whose lenses distort.
class TableOfAModel : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_model = scannertest::LoadModel(device::VirtualDevice());
        s_edges = s_model->GetCLPattern()->GetNrOfStripeEdges();
    }
    static void TearDownTestSuite() { s_model.reset(); }

    static LxC3DCoordsCCT Computed(double column, double row, int edge)
    {
        LxC3DCoordsCCT point;
        s_model->ComputeEdgeXYZ(column, row, edge, true, &point.x, &point.y, &point.z, false);
        return point;
    }

    /// Whether the four corners of the cell around a pixel have points before the camera.
    static bool IsWhole(int column, double row, int edge)
    {
        const int left = column / PointTable::kStepX * PointTable::kStepX;
        const int top = static_cast<int>(row) / PointTable::kStepY * PointTable::kStepY;
        bool isWhole = true;
        for (const int x : {left, left + PointTable::kStepX}) {
            for (const int y : {top, top + PointTable::kStepY}) {
                const double depth = Computed(x, y, edge).z;
                isWhole = isWhole && depth > 0.0 && std::isfinite(depth);
            }
        }
        return isWhole;
    }

    static constexpr int kWidth = 658;  // pixels
    static constexpr int kHeight = 494; // pixels
    static inline std::unique_ptr<LxCV::LxCPinholeFramework> s_model;
    static inline int s_edges = 0;
};

TEST_F(TableOfAModel, GivesItsPointsWhereTheCellIsWhole)
{
    constexpr double kLargest = 0.0001; // mm: curvature of the lens and of the light within a cell
    PointTable table;
    table.Init(*s_model, kWidth, kHeight);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> anyRow(0.0, kHeight - 1.0);
    std::size_t compared = 0;
    std::size_t refused = 0;
    for (int trial = 0; trial < 20'000; ++trial) {
        const int column = static_cast<int>(random() % kWidth);
        const double row = anyRow(random);
        const int edge = static_cast<int>(random() % static_cast<unsigned>(s_edges));
        const auto point = LookUp(table, column, row, edge);
        ASSERT_EQ(point.has_value(), IsWhole(column, row, edge)) << column << " " << row << " " << edge;
        refused += point ? 0 : 1;
        const LxC3DCoordsCCT truth = Computed(column, row, edge);
        if (!point || !(truth.z >= s_model->GetMinZc() && truth.z <= s_model->GetMaxZc())) {
            continue;
        }
        const double error = std::hypot(point->x - truth.x, point->y - truth.y, point->z - truth.z);
        ASSERT_LE(error, kLargest) << column << " " << row << " " << edge;
        ++compared;
    }
    EXPECT_GT(compared, 2'000U);
    EXPECT_GT(refused, 100U) << "rays that meet the light behind the camera, and edges without light";
}

TEST_F(TableOfAModel, GivesThePointsOfItsCornersToARoundingOfFloat)
{
    constexpr double kRounding = 5.0 * 6e-8; // of the point's distance: quotients, weights of 1, and back
    PointTable table;
    table.Init(*s_model, kWidth, kHeight);
    std::size_t compared = 0;
    for (int edge = 0; edge < s_edges; edge += 7) {
        for (int column = 0; column < kWidth; column += 5 * PointTable::kStepX) {
            for (int row = 0; row < kHeight; row += 9 * PointTable::kStepY) {
                const auto point = LookUp(table, column, row, edge);
                const LxC3DCoordsCCT truth = Computed(column, row, edge);
                if (point) {
                    const double tolerance = kRounding * std::hypot(truth.x, truth.y, truth.z);
                    ASSERT_NEAR(point->x, truth.x, tolerance) << column << " " << row << " " << edge;
                    ASSERT_NEAR(point->y, truth.y, tolerance) << column << " " << row << " " << edge;
                    ASSERT_NEAR(point->z, truth.z, tolerance) << column << " " << row << " " << edge;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 500U);
}

/// Images of 20 by 10 pixels have corners in the columns 0, 8, 16 and 24 and in the rows 0, 4, 8 and 12.
class SmallTable : public TableOfAModel
{
protected:
    SmallTable() { m_table.Init(*s_model, 20, 10); }

    static constexpr int kEndColumn = 24;
    static constexpr double kEndRow = 12.0;
    PointTable m_table;
};

TEST_F(SmallTable, ReachesFromItsFirstToItsLastCorners)
{
    std::size_t found = 0;
    for (int edge = -1; edge <= s_edges; ++edge) {
        for (int column = -1; column <= kEndColumn; ++column) {
            for (const double row : {-std::numeric_limits<double>::min(), -0.0, 0.0, 3.9, 4.0, 9.0, 11.0,
                                     std::nextafter(kEndRow, 0.0), kEndRow}) {
                const bool isInside = edge >= 0 && edge < s_edges && column >= 0 && column < kEndColumn &&
                                      row >= 0.0 && row < kEndRow;
                const bool isFound = LookUp(m_table, column, row, edge).has_value();
                ASSERT_EQ(isFound, isInside && IsWhole(column, row, edge))
                    << column << " " << row << " " << edge;
                found += isFound ? 1 : 0;
            }
        }
    }
    EXPECT_GT(found, 1000U);
}

TEST_F(SmallTable, SaysNoToNumbersOutOfEveryRange)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr int kLeast = std::numeric_limits<int>::min();
    for (const int number : {kMost, kMost - 1, kLeast, kLeast + 1}) {
        for (int edge = 0; edge < s_edges; ++edge) {
            EXPECT_FALSE(LookUp(m_table, number, 0.0, edge)) << number;
        }
        EXPECT_FALSE(LookUp(m_table, 0, 0.0, number)) << number;
    }
    for (const double row : {std::numeric_limits<double>::quiet_NaN(), kInfinity, -kInfinity, 1e300, -1e300,
                             4.0 * kMost, -4.0 * kMost}) {
        for (int edge = 0; edge < s_edges; ++edge) {
            EXPECT_FALSE(LookUp(m_table, 0, row, edge)) << row;
        }
        EXPECT_FALSE(LookUp(m_table, kMost, row, kMost)) << row;
    }
}

TEST_F(SmallTable, IsEmptyBeforeItIsFilledAndForSizesOfNoImage)
{
    const PointTable empty;
    EXPECT_FALSE(empty.IsFilled());
    EXPECT_FALSE(LookUp(empty, 0, 0.0, 0));
    ASSERT_TRUE(m_table.IsFilled());
    try {
        m_table.Init(*s_model, 20, 0);
        ADD_FAILURE() << "nothing is thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "there are no images of this size to tabulate points for");
    }
    EXPECT_FALSE(m_table.IsFilled());
    EXPECT_THROW(m_table.Init(*s_model, -1, 10), std::invalid_argument);
}

} // namespace
} // namespace decoder
