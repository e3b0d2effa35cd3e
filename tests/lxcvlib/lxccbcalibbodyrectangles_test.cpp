// Tests of squares by their places: outermost ones, those nearest to the image's corners, and four in a rectangle.
#include "checkerboardtestsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::CBoardProbe;
using TestSupport::Point;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A square with the given centre.
LxCCBRect& AddAt(CBoardProbe& board, double x, double y)
{
    return board.AddRect(AxisParallel(x - 4.0, y - 4.0, 8.0, 8.0));
}

TEST(LxCCBCalibBodySort, OutermostSquaresAreFoundAndLaterOnesWinTies)
{
    CBoardProbe board;
    LxCCBRect& topLeft = AddAt(board, 20.0, 20.0);
    LxCCBRect& bottomLeft = AddAt(board, 20.0, 80.0);
    LxCCBRect& topRight = AddAt(board, 90.0, 20.0);
    LxCCBRect& inner = AddAt(board, 50.0, 50.0);
    LxCCBRect* left = nullptr;
    LxCCBRect* right = nullptr;
    LxCCBRect* top = nullptr;
    LxCCBRect* bottom = nullptr;
    EXPECT_TRUE(board.SortRects(board.GetRects(), &left, &right, &top, &bottom));
    EXPECT_EQ(left, &bottomLeft);
    EXPECT_EQ(right, &topRight);
    EXPECT_EQ(top, &topRight);
    EXPECT_EQ(bottom, &bottomLeft);
    EXPECT_TRUE(board.SortRects({&topLeft, nullptr, &inner}, &left, &right, &top, nullptr));
    EXPECT_EQ(left, &topLeft);
    EXPECT_EQ(right, &inner);
    EXPECT_EQ(top, &topLeft);
}

TEST(LxCCBCalibBodySort, AnEmptyListCannotBeSorted)
{
    CBoardProbe board;
    LxCCBRect* rect = nullptr;
    EXPECT_FALSE(board.SortRects({}, &rect, &rect, &rect, &rect));
    EXPECT_FALSE(board.SortRects({nullptr, nullptr}, &rect, &rect, &rect, &rect));
    EXPECT_EQ(rect, nullptr);
    EXPECT_EQ(board.SortRectsDiagonal(100, 100, &rect, &rect, &rect, &rect), eCalibNotDone);
    EXPECT_EQ(rect, nullptr);
}

TEST(LxCCBCalibBodySort, ASquareWhoseCentreIsNoNumberIsNotNearest)
{
    CBoardProbe board;
    AddAt(board, kNaN, kNaN);
    LxCCBRect& rect = AddAt(board, 20.0, 20.0);
    AddAt(board, kNaN, kNaN);
    LxCCBRect* left = nullptr;
    EXPECT_TRUE(board.SortRects(board.GetRects(), &left, nullptr, nullptr, nullptr));
    EXPECT_EQ(left, &rect);
}

TEST(LxCCBCalibBodySort, DiagonalsLeadToTheSquaresNearestToTheImagesCorners)
{
    // Sums of the distances from the borders of a 100 by 200 image, from the upper left corner:
    // 30, 30 (later), 110, 190; the last square is nearest to the other three corners.
    CBoardProbe board;
    AddAt(board, 10.0, 20.0);
    LxCCBRect& upperLeft = AddAt(board, 20.0, 10.0);
    LxCCBRect& upperRight = AddAt(board, 90.0, 20.0);
    LxCCBRect& lowerLeft = AddAt(board, 10.0, 180.0);
    LxCCBRect& lowerRight = AddAt(board, 90.0, 190.0);
    LxCCBRect* ul = nullptr;
    LxCCBRect* ur = nullptr;
    LxCCBRect* ll = nullptr;
    LxCCBRect* lr = nullptr;
    EXPECT_EQ(board.SortRectsDiagonal(100, 200, &ul, &ur, &ll, &lr), eCalibOk);
    EXPECT_EQ(ul, &upperLeft);
    EXPECT_EQ(ur, &upperRight);
    EXPECT_EQ(ll, &lowerLeft);
    EXPECT_EQ(lr, &lowerRight);
    EXPECT_EQ(board.SortRectsDiagonal(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                                      nullptr, nullptr, nullptr, &lr),
              eCalibOk);
    EXPECT_EQ(lr, &lowerRight);
}

TEST(LxCCBCalibBodyRectangle, TheFirstFourByPlaceInTheListAreFound)
{
    CBoardProbe board;
    AddAt(board, 33.0, 301.0);
    LxCCBRect& i = AddAt(board, 100.0, 100.0);
    LxCCBRect& k = AddAt(board, 160.0, 140.0);
    LxCCBRect& j = AddAt(board, 160.0, 100.0);
    LxCCBRect& l = AddAt(board, 100.0, 140.0);
    LxCCBRect* quad[4] = {};
    EXPECT_TRUE(board.DetectValidRectangleWithinCalibMarks(quad, 0.01));
    // From i = 1 the neighbours in the list's order are k, at the opposite corner and with no right angle, then j.
    EXPECT_EQ(quad[0], &i);
    EXPECT_EQ(quad[1], &j);
    EXPECT_EQ(quad[2], &k);
    EXPECT_EQ(quad[3], &l);
}

TEST(LxCCBCalibBodyRectangle, FourSquaresAreNeeded)
{
    CBoardProbe board;
    LxCCBRect* quad[4] = {};
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(quad, 10.0));
    AddAt(board, 100.0, 100.0);
    AddAt(board, 160.0, 100.0);
    AddAt(board, 160.0, 140.0);
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(quad, 10.0));
    AddAt(board, 100.0, 140.0);
    EXPECT_TRUE(board.DetectValidRectangleWithinCalibMarks(quad, 10.0));
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(nullptr, 10.0));
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(quad, -1.0));
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(quad, kNaN));
}

TEST(LxCCBCalibBodyRectangle, ThreeOfTheAnglesCount)
{
    // Angles at j, k and l, all about 90 degrees; that at i is what is left of 360. The corner l moved by 10 of 100
    // turns the sides there by 5.7 degrees each at k and at i.
    for (const double tolerance : {5.0, 7.0}) {
        CBoardProbe board;
        AddAt(board, 100.0, 100.0);
        AddAt(board, 200.0, 100.0);
        AddAt(board, 200.0, 200.0);
        AddAt(board, 100.0, 210.0);
        LxCCBRect* quad[4] = {};
        EXPECT_EQ(board.DetectValidRectangleWithinCalibMarks(quad, tolerance), tolerance > 6.0);
    }
}

/// The first four by four nested loops.
bool FindPlainly(const CBoardProbe& board, double tolerance, std::array<int, 4>& quad)
{
    const int n = board.GetNumDetectedRects();
    const auto isRight = [&](int a, int b, int c) {
        return std::abs(board.ComputeCornerAngle(a, b, c) - 90.0) <= tolerance;
    };
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            for (int k = 0; k < n; ++k) {
                for (int l = 0; l < n; ++l) {
                    const bool differ = i != j && i != k && i != l && j != k && j != l && k != l;
                    if (differ && isRight(i, j, k) && isRight(j, k, l) && isRight(k, l, i)) {
                        quad = {i, j, k, l};
                        return true;
                    }
                }
            }
        }
    }
    return false;
}

TEST(LxCCBCalibBodyRectangle, TheSearchAgreesWithNestedLoops)
{
    std::mt19937 random(11);
    int hits = 0;
    constexpr int trials = 300;
    for (int trial = 0; trial < trials; ++trial) {
        CBoardProbe board;
        const unsigned int count = 3 + random() % 8;
        const unsigned int grid =
            random() % 2 == 0 ? 4 : 200; // many right angles and equal places, or hardly any
        for (unsigned int i = 0; i < count; ++i) {
            AddAt(board, 20.0 + random() % grid, 20.0 + random() % grid);
        }
        constexpr std::array<double, 8> tolerances = {0.0, 1e-9, 0.5, 3.0, 20.0, 60.0, 89.9995, 200.0};
        const double tolerance = tolerances[random() % tolerances.size()];
        std::array<int, 4> expected{};
        const bool isFound = FindPlainly(board, tolerance, expected);
        LxCCBRect* quad[4] = {};
        ASSERT_EQ(board.DetectValidRectangleWithinCalibMarks(quad, tolerance), isFound) << "trial " << trial;
        for (std::size_t i = 0; isFound && i < 4; ++i) {
            ASSERT_EQ(quad[i], board.GetDetectedRect(expected[i])) << "trial " << trial;
        }
        hits += isFound ? 1 : 0;
    }
    EXPECT_GT(hits, trials / 5);
    EXPECT_LT(hits, trials * 4 / 5);
}

TEST(LxCCBCalibBodyRectangle, AThousandSquaresWithoutARectangleAreSearchedAtOnce)
{
    // On a quarter of a circle no two directions from one square are perpendicular.
    CBoardProbe board;
    for (int i = 0; i < 1000; ++i) {
        const double angle = 0.001 * i;
        AddAt(board, 100.0 + 5000.0 * std::cos(angle), 100.0 + 5000.0 * std::sin(angle));
    }
    LxCCBRect* quad[4] = {};
    EXPECT_FALSE(board.DetectValidRectangleWithinCalibMarks(quad, 5.0));
}

TEST(LxCCBCalibBodyRectangle, FilteringKeepsTheFourAndTheirOrder)
{
    CBoardProbe board;
    AddAt(board, 33.0, 301.0);
    LxCCBRect& i = AddAt(board, 100.0, 100.0);
    LxCCBRect& k = AddAt(board, 160.0, 140.0);
    AddAt(board, 399.0, 112.0);
    LxCCBRect& j = AddAt(board, 160.0, 100.0);
    LxCCBRect& l = AddAt(board, 100.0, 140.0);
    board.FilterRectsForValidRectangle(0.01);
    EXPECT_EQ(board.GetRects(), (std::vector<LxCCBRect*>{&i, &k, &j, &l}));
    int free = 0;
    for (const LxCCalibMark* const mark : board.GetCalibMarks()) {
        const auto& corner = dynamic_cast<const LxCRectCornerCalibMark&>(*mark);
        free += corner.IsPartOfRect() ? 0 : 1;
    }
    EXPECT_EQ(free, 8);
}

TEST(LxCCBCalibBodyRectangle, WithoutARectangleFilteringChangesNothing)
{
    CBoardProbe board;
    for (int i = 0; i < 5; ++i) {
        AddAt(board, 100.0 + 20.0 * i, 100.0);
    }
    board.FilterRectsForValidRectangle(5.0);
    EXPECT_EQ(board.GetNumDetectedRects(), 5);
}

} // namespace
} // namespace LxCV
