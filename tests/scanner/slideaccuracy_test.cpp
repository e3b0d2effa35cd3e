#include "scanner/calibration/slideaccuracy.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace calibration {
namespace {

/// Marks 10 by 5 pixels on the stripes 30, 40, 50 ... in three upright rows, as the image shows row 0 at the right.
std::vector<device::MarkCorner> UprightRows(int stripes = 5)
{
    std::vector<device::MarkCorner> corners;
    for (int row = 0; row < 3; ++row) {
        for (int i = 0; i < stripes; ++i) {
            for (int which = 0; which < 4; ++which) {
                device::MarkCorner corner;
                corner.stripe = 30 + 10 * i;
                corner.row = row;
                corner.corner = which;
                corner.slide = {5250.0 - 1750.0 * row + (which < 2 ? 50.0 : -50.0),
                                50.0 * (corner.stripe - 1 + which % 2)};
                corner.image = {505.0 - 160.0 * row - (which < 2 ? 0.0 : 10.0),
                                60.0 + 80.0 * i + 5.0 * (which % 2)};
                corner.onPlane = corner.visible = true;
                corners.push_back(corner);
            }
        }
    }
    return corners;
}

MarkRange WholeImage()
{
    MarkRange range;
    range.width = 658;
    range.height = 494;
    range.firstEdge = 25;
    range.lastEdge = 122;
    return range;
}

std::vector<SlideMark> Found(const std::vector<device::MarkCorner>& truth, double dx = 0.0, double dy = 0.0)
{
    std::vector<SlideMark> marks;
    for (const device::MarkCorner& corner : truth) {
        marks.push_back({static_cast<int>(marks.size()) + 1,
                         {corner.image.x + dx, corner.image.y + dy},
                         corner.slide,
                         0.0,
                         true,
                         false});
    }
    return marks;
}

TEST(SlideAccuracy, FoundCornersAreComparedWithThoseOfTheirSlidePosition)
{
    const auto truth = UprightRows();
    const SlideComparison result = CompareWithTruth(Found(truth, 0.03, -0.04), truth, WholeImage());
    EXPECT_EQ(result.corners.visible, 60U);
    EXPECT_EQ(result.corners.visibleNamed, 60U);
    EXPECT_EQ(result.corners.wrong, 0U);
    EXPECT_EQ(result.discarded, 0U);
    ASSERT_EQ(result.corners.errors.size(), 60U);
    for (const device::Vec2& error : result.corners.errors) {
        EXPECT_NEAR(error.x, 0.03, 1e-12);
        EXPECT_NEAR(error.y, -0.04, 1e-12);
    }
}

TEST(SlideAccuracy, MarksWithAnotherMarksNameTwiceOrFarOffAreWrong)
{
    const auto truth = UprightRows();
    auto marks = Found(truth);
    marks[0].slide = truth[4].slide; // the name of the next mark, 80 pixels below
    marks[9] = marks[8];
    marks[13].slide = {0.0, 0.0};
    marks[17].image.x = std::numeric_limits<double>::quiet_NaN();
    marks[20].image.y += 2.1;
    const SlideComparison result = CompareWithTruth(marks, truth, WholeImage());
    // Mark 4, right as it is, comes after the one that took its name, which was not accepted.
    EXPECT_EQ(result.corners.wrong, 5U);
    EXPECT_EQ(result.corners.visibleNamed, 55U);
}

TEST(SlideAccuracy, UnusableMarksAreNeitherNamedNorWrong)
{
    const auto truth = UprightRows();
    auto marks = Found(truth, 50.0);
    for (SlideMark& mark : marks) {
        mark.usable = false;
    }
    const SlideComparison result = CompareWithTruth(marks, truth, WholeImage());
    EXPECT_EQ(result.corners.wrong, 0U);
    EXPECT_EQ(result.corners.visibleNamed, 0U);
    EXPECT_EQ(result.corners.visible, 60U);
}

TEST(SlideAccuracy, MarksOutsideTheNamedEdgesAndTheMarginsDoNotCount)
{
    const auto truth = UprightRows();
    MarkRange range = WholeImage();
    range.firstEdge = 31; // the upper edge of stripe 30 has no name
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 48U);
    range = WholeImage();
    range.lastEdge = 70; // nor has the lower edge of stripe 70
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 48U);
    range.lastEdge = 71;
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 60U);
    range.marginY = 60.0;
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 60U);
    range.marginY = 60.5; // one corner is enough to lose the mark, in each row
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 48U);
    range.marginY = 9.0;
    range.marginX = 657.0 - 504.5; // all of row 0, its right sides being at 505
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 40U);
    auto hidden = truth;
    hidden[3].visible = false;
    EXPECT_EQ(CompareWithTruth({}, hidden, WholeImage()).corners.visible, 56U);
}

TEST(SlideAccuracy, MarksCountOnlyOnStripesThatTheImageShowsOverMoreThanHalfItsWidth)
{
    // Edges that fall by 0.3 a pixel towards the left: those of the first stripe of row 0, at row 60 and column 505,
    // reach the upper margin at 505 - (60 - 9) / 0.3 = 335 and the right border at row 105. That is 322 of 658 columns.
    auto truth = UprightRows();
    for (device::MarkCorner& corner : truth) {
        corner.image.y += 0.3 * (corner.image.x - 505.0) + 0.3 * 160.0 * corner.row;
    }
    EXPECT_EQ(CompareWithTruth({}, truth, WholeImage()).corners.visible, 56U);
    MarkRange range = WholeImage();
    range.leastStripe = 0.48; // 316
    EXPECT_EQ(CompareWithTruth({}, truth, range).corners.visible, 60U);
}

TEST(SlideAccuracy, DiscardedCornersAreFoundIfTheirNameIsRightAndNeverWrong)
{
    const auto truth = UprightRows();
    auto marks = Found(truth);
    for (const std::size_t i : {4U, 5U, 6U}) {
        marks[i].usable = false;
        marks[i].discarded = true;
    }
    marks[6].slide = truth[40].slide;
    const SlideComparison result = CompareWithTruth(marks, truth, WholeImage());
    EXPECT_EQ(result.discarded, 2U);
    EXPECT_EQ(result.corners.wrong, 0U);
    EXPECT_EQ(result.corners.visibleNamed, 57U);
}

TEST(SlideAccuracy, NothingIsComparedWithNothing)
{
    const SlideComparison result = CompareWithTruth({}, {}, WholeImage());
    EXPECT_EQ(result.corners.visible, 0U);
    EXPECT_EQ(result.corners.wrong, 0U);
    EXPECT_EQ(CompareWithTruth(Found(UprightRows()), {}, WholeImage()).corners.wrong, 60U);
}

} // namespace
} // namespace calibration
