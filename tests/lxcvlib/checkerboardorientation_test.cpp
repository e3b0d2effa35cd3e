// Tests of the steps, directions and corners of a turned checkerboard target.
#include "checkerboardorientation.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

namespace LxCV {
namespace {

constexpr int kColumns = 8;
constexpr int kRows = 7;
constexpr std::array<ECalibOrientation, 4> kOrientations = {eCO_NoTurn, eCO_QuarterTurn, eCO_HalfTurn,
                                                            eCO_ThreeQuarterTurn};
constexpr std::array<EDirection, 4> kDirections = {eD_Left, eD_Right, eD_Up, eD_Down};
constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();

/// A place on the target or in the image: x to the right, y downwards.
struct Place
{
    int x;
    int y;
};

/// A quarter turn that takes the image's right to the target's up.
Place TurnOnce(Place p)
{
    return {p.y, -p.x};
}

Place OnTarget(Place inImage, int quarterTurns)
{
    for (int i = 0; i < quarterTurns; ++i) {
        inImage = TurnOnce(inImage);
    }
    return inImage;
}

constexpr std::array<Place, 4> kUnits = {{{-1, 0}, {1, 0}, {0, -1}, {0, 1}}}; // by EDirection

TEST(CheckerboardOrientation, StepsAreThoseOfTheTable)
{
    const std::array<std::array<int, 2>, 4> expected = {{{1, 8}, {-8, 1}, {-1, -8}, {8, -1}}};
    for (const ECalibOrientation orientation : kOrientations) {
        const CheckerboardIdSteps steps = GetCheckerboardIdSteps(orientation, kColumns);
        EXPECT_EQ(steps.x, expected[orientation][0]) << orientation;
        EXPECT_EQ(steps.y, expected[orientation][1]) << orientation;
    }
}

TEST(CheckerboardOrientation, StepsOfAnUnknownOrientationAreOneAndTheColumns)
{
    for (const int orientation : {-1, 4, kIntMin, kIntMax}) {
        const CheckerboardIdSteps steps =
            GetCheckerboardIdSteps(static_cast<ECalibOrientation>(orientation), kColumns);
        EXPECT_EQ(steps.x, 1);
        EXPECT_EQ(steps.y, kColumns);
    }
}

TEST(CheckerboardOrientation, StepsOfTheSmallestNumberOfColumnsDoNotOverflow)
{
    EXPECT_EQ(GetCheckerboardIdSteps(eCO_QuarterTurn, kIntMin).x, -std::int64_t{kIntMin});
}

TEST(CheckerboardOrientation, DirectionsAreQuarterTurns)
{
    const std::array<std::array<int, 4>, 4> table = {
        {{0, 1, 2, 3}, {3, 2, 0, 1}, {1, 0, 3, 2}, {2, 3, 1, 0}}};
    for (const ECalibOrientation orientation : kOrientations) {
        for (const EDirection direction : kDirections) {
            const EDirection onTarget = GetDirectionOnTarget(orientation, direction);
            EXPECT_EQ(static_cast<int>(onTarget), table[orientation][direction]);
            const Place turned = OnTarget(kUnits[direction], orientation);
            EXPECT_EQ(kUnits[onTarget].x, turned.x) << orientation << ' ' << direction;
            EXPECT_EQ(kUnits[onTarget].y, turned.y) << orientation << ' ' << direction;
        }
    }
}

TEST(CheckerboardOrientation, CornersTurnWithTheTarget)
{
    const std::array<std::array<int, 4>, 4> table = {
        {{1, 2, 3, 4}, {3, 1, 4, 2}, {4, 3, 2, 1}, {2, 4, 1, 3}}};
    for (const ECalibOrientation orientation : kOrientations) {
        for (int place = 0; place < 4; ++place) {
            const int corner = GetCornerOnTarget(orientation, place);
            EXPECT_EQ(corner, table[orientation][static_cast<std::size_t>(place)]);
            // The corner's place from the square's centre, turned.
            const Place turned = OnTarget({place % 2 == 0 ? -1 : 1, place < 2 ? -1 : 1}, orientation);
            EXPECT_EQ(corner, 1 + (turned.x > 0 ? 1 : 0) + (turned.y > 0 ? 2 : 0));
        }
    }
}

TEST(CheckerboardOrientation, CornersOfAnUnknownOrientationAreThoseOfTheFirst)
{
    for (int place = 0; place < 4; ++place) {
        EXPECT_EQ(GetCornerOnTarget(eCO_Unknown, place), place + 1);
    }
}

TEST(CheckerboardOrientation, NeighborsAreThoseOfTheGridExceptBelowTheLastRow)
{
    for (int row = 0; row < kRows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            const int id = row * kColumns + column + 1;
            EXPECT_EQ(HasNeighborOnTarget(id, kColumns, kRows, eD_Left), column > 0) << id;
            EXPECT_EQ(HasNeighborOnTarget(id, kColumns, kRows, eD_Right), column < kColumns - 1) << id;
            EXPECT_EQ(HasNeighborOnTarget(id, kColumns, kRows, eD_Up), row > 0) << id;
            EXPECT_TRUE(HasNeighborOnTarget(id, kColumns, kRows, eD_Down)) << id;
        }
    }
}

TEST(CheckerboardOrientation, BelowTheTargetNothingFollowsDownwards)
{
    EXPECT_FALSE(HasNeighborOnTarget(kColumns * kRows + 1, kColumns, kRows, eD_Down));
    EXPECT_FALSE(HasNeighborOnTarget(kColumns * kRows + kColumns, kColumns, kRows, eD_Down));
}

TEST(CheckerboardOrientation, ImageDirectionsLookUpTheBorderThatTheyLeadTo)
{
    // Square 8 is the last of the first row. At orientation 1 the image's up leads to its left, the image's right
    // to its up, the image's down to its right.
    EXPECT_TRUE(HasNeighborInImage(8, kColumns, kRows, eCO_QuarterTurn, eD_Up));
    EXPECT_FALSE(HasNeighborInImage(8, kColumns, kRows, eCO_QuarterTurn, eD_Right));
    EXPECT_FALSE(HasNeighborInImage(8, kColumns, kRows, eCO_QuarterTurn, eD_Down));
    EXPECT_TRUE(HasNeighborInImage(8, kColumns, kRows, eCO_QuarterTurn, eD_Left));
}

TEST(CheckerboardOrientation, EverythingFollowsAtAnUnknownOrientation)
{
    for (const EDirection direction : kDirections) {
        EXPECT_TRUE(HasNeighborInImage(8, kColumns, kRows, eCO_Unknown, direction));
        EXPECT_TRUE(HasNeighborInImage(8, 0, 0, static_cast<ECalibOrientation>(4), direction));
    }
}

TEST(CheckerboardOrientation, ATargetWithoutColumnsHasNoNeighbors)
{
    for (const EDirection direction : kDirections) {
        EXPECT_FALSE(HasNeighborOnTarget(5, 0, kRows, direction));
        EXPECT_FALSE(HasNeighborInImage(5, 0, kRows, eCO_HalfTurn, direction));
    }
}

TEST(CheckerboardOrientation, ExtremeNumbersAreDefined)
{
    // INT_MIN divides by -1 to 2^31, which differs from every row count, and leaves no remainder.
    EXPECT_FALSE(HasNeighborOnTarget(kIntMin, -1, kRows, eD_Right));
    EXPECT_TRUE(HasNeighborOnTarget(kIntMin, -1, kRows, eD_Left));
    EXPECT_TRUE(HasNeighborOnTarget(kIntMin, -1, kIntMax, eD_Down));
    EXPECT_FALSE(HasNeighborOnTarget(kIntMin, -1, kRows, eD_Up));
    EXPECT_TRUE(HasNeighborOnTarget(kIntMax, kIntMin, kIntMin, eD_Up));
}

} // namespace
} // namespace LxCV
