#include "scanner/calibration/boardaccuracy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace calibration {
namespace {

constexpr int c_iWidth = 200;
constexpr int c_iHeight = 100;
constexpr double c_dMargin = 5.0;

/// Two squares side by side: of side 1 mm and 20 pixels, 3 mm and 60 pixels apart, the first one at (10, 30) in the
/// image and at the target's origin.
std::vector<device::TargetCorner> TwoSquares()
{
    std::vector<device::TargetCorner> corners;
    for (int square = 0; square < 2; ++square) {
        for (int which = 0; which < 4; ++which) {
            const double x = 3.0 * square + which % 2, y = which / 2;
            corners.push_back({square + 1,
                               static_cast<device::ECorner>(which),
                               {x, y, 0.0},
                               {10.0 + 20.0 * x, 30.0 + 20.0 * y},
                               true,
                               true});
        }
    }
    return corners;
}

/// A mark on a corner of `TwoSquares`, whose middle is (2, 0.5), off by (dx, dy) pixels.
BoardMark MarkOf(const device::TargetCorner& corner, double dx = 0.0, double dy = 0.0)
{
    BoardMark mark;
    mark.id = 4 * corner.square - 3 + corner.corner;
    mark.image = {corner.image.x + dx, corner.image.y + dy};
    mark.world = {corner.pointOnTarget.x - 2.0, corner.pointOnTarget.y - 0.5, 0.0};
    mark.usable = true;
    return mark;
}

BoardComparison Compare(const std::vector<BoardMark>& marks, const std::vector<device::TargetCorner>& truth)
{
    return CompareWithTruth(marks, truth, c_iWidth, c_iHeight, c_dMargin);
}

TEST(BoardAccuracy, ErrorIsFoundMinusTruePosition)
{
    const auto truth = TwoSquares();
    const BoardComparison found = Compare({MarkOf(truth[0], 0.25, -0.5), MarkOf(truth[7], -1.0, 2.0)}, truth);
    ASSERT_EQ(found.errors.size(), 2U);
    EXPECT_EQ(found.errors[0].x, 0.25);
    EXPECT_EQ(found.errors[0].y, -0.5);
    EXPECT_EQ(found.errors[1].x, -1.0);
    EXPECT_EQ(found.errors[1].y, 2.0);
    EXPECT_EQ(found.wrong, 0U);
    EXPECT_EQ(found.visible, 8U);
    EXPECT_EQ(found.visibleNamed, 2U);
}

TEST(BoardAccuracy, MarkFarFromTheCornerOfItsNameIsWrong)
{
    const auto truth = TwoSquares();
    const BoardComparison found =
        Compare({MarkOf(truth[0], c_namedWrongly, 0.0), MarkOf(truth[1], 3.0, 4.5), // 5.4 pixels away
                 MarkOf(truth[2], std::numeric_limits<double>::quiet_NaN(), 0.0)},
                truth);
    EXPECT_EQ(found.wrong, 2U);
    EXPECT_EQ(found.errors.size(), 1U);
    EXPECT_EQ(found.visibleNamed, 1U);
}

TEST(BoardAccuracy, MarkWithTheNeighboursNameIsWrong)
{
    const auto truth = TwoSquares();
    BoardMark mark = MarkOf(truth[0]);
    mark.world = MarkOf(truth[1]).world;
    EXPECT_EQ(Compare({mark}, truth).wrong, 1U);
}

TEST(BoardAccuracy, SecondMarkOfOneNameIsWrong)
{
    const auto truth = TwoSquares();
    const BoardComparison found = Compare({MarkOf(truth[3]), MarkOf(truth[3], 0.1, 0.0)}, truth);
    EXPECT_EQ(found.wrong, 1U);
    EXPECT_EQ(found.errors.size(), 1U);
}

TEST(BoardAccuracy, CornerBehindTheCameraIsNotFound)
{
    auto truth = TwoSquares();
    truth[0].inFront = truth[0].inImage = false;
    const BoardComparison found = Compare({MarkOf(truth[0])}, truth);
    EXPECT_EQ(found.wrong, 1U);
    EXPECT_EQ(found.visible, 4U);
}

TEST(BoardAccuracy, MarksWithoutIdOrUseDoNotCount)
{
    const auto truth = TwoSquares();
    BoardMark nameless = MarkOf(truth[0]), unused = MarkOf(truth[1]);
    nameless.id = 0;
    unused.usable = false;
    const BoardComparison found = Compare({nameless, unused}, truth);
    EXPECT_TRUE(found.errors.empty());
    EXPECT_EQ(found.wrong, 0U);
    EXPECT_EQ(found.visibleNamed, 0U);
}

TEST(BoardAccuracy, AllOfASquareMustBeWithinTheMargin)
{
    auto truth = TwoSquares();
    truth[0].image.x = c_dMargin;
    truth[2].image.y = c_iHeight - c_dMargin;
    truth[7].image.x = c_iWidth - c_dMargin;
    EXPECT_EQ(Compare({}, truth).visible, 8U);
    truth[7].image.x = std::nextafter(c_iWidth - c_dMargin, 1000.0);
    EXPECT_EQ(Compare({}, truth).visible, 4U);
    truth[0].image.x = std::nextafter(c_dMargin, 0.0);
    EXPECT_EQ(Compare({}, truth).visible, 0U);
}

TEST(BoardAccuracy, NamedCornerThatIsNotVisibleHasAnErrorAndNoShare)
{
    auto truth = TwoSquares();
    truth[1].image.y = 1.0;
    const BoardComparison found = Compare({MarkOf(truth[0], 0.5, 0.0)}, truth);
    EXPECT_EQ(found.errors.size(), 1U);
    EXPECT_EQ(found.visible, 4U);
    EXPECT_EQ(found.visibleNamed, 0U);
}

TEST(BoardAccuracy, WithoutTruthEveryNameIsWrong)
{
    EXPECT_EQ(Compare({MarkOf(TwoSquares()[0])}, {}).wrong, 1U);
    EXPECT_EQ(Compare({}, {}).visible, 0U);
}

TEST(BoardStatistics, FiguresOfAHundredErrorsAreThoseByHand)
{
    // Errors of 0.01, 0.02 ... 1.00 along x, in four images: mean 0.505, 95 of them up to 0.95.
    BoardStatistics statistics;
    for (int image = 0; image < 4; ++image) {
        BoardComparison comparison;
        for (int i = 1 + image; i <= 100; i += 4) {
            comparison.errors.push_back({(i % 2 == 0 ? 0.01 : -0.01) * i, 0.0});
        }
        comparison.visible = 30;
        comparison.visibleNamed = 24;
        comparison.wrong = image == 2 ? 1 : 0;
        statistics.Add(comparison, true);
    }
    BoardComparison failed;
    failed.visible = 8;
    statistics.Add(failed, false);
    const BoardAccuracy figures = statistics.Summarise();
    constexpr double rounding = 1e-14; // of sums of a hundred terms
    EXPECT_EQ(figures.images, 5U);
    EXPECT_EQ(figures.failed, 1U);
    EXPECT_EQ(figures.named, 100U);
    EXPECT_EQ(figures.wrong, 1U);
    EXPECT_NEAR(figures.mean, 0.505, rounding);
    EXPECT_DOUBLE_EQ(figures.p95, 0.95);
    EXPECT_DOUBLE_EQ(figures.p99, 0.99);
    EXPECT_EQ(figures.largest, 1.0);
    EXPECT_NEAR(figures.bias.x, 0.005, rounding); // 50 pairs that leave 0.01 each
    EXPECT_EQ(figures.bias.y, 0.0);
    EXPECT_DOUBLE_EQ(figures.NamedShare(), 96.0 / 128.0);
}

TEST(BoardStatistics, NothingAddedGivesZerosAndTheWholeShare)
{
    const BoardAccuracy figures = BoardStatistics().Summarise();
    EXPECT_EQ(figures.images, 0U);
    EXPECT_EQ(figures.mean, 0.0);
    EXPECT_EQ(figures.largest, 0.0);
    EXPECT_EQ(figures.NamedShare(), 1.0);
}

TEST(BoardStatistics, OneErrorIsEveryPercentile)
{
    BoardComparison comparison;
    comparison.errors.push_back({0.3, 0.4});
    BoardStatistics statistics;
    statistics.Add(comparison, true);
    const BoardAccuracy figures = statistics.Summarise();
    EXPECT_DOUBLE_EQ(figures.mean, 0.5);
    EXPECT_DOUBLE_EQ(figures.p95, 0.5);
    EXPECT_DOUBLE_EQ(figures.largest, 0.5);
}

} // namespace
} // namespace calibration
