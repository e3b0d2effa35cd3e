// Tests of how ids spread over the squares of a checkerboard target.
#include "checkerboardtestsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <tuple>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::CBoardProbe;
using TestSupport::Quad;

constexpr double kPitch = 50.0;
constexpr double kSide = 30.0;
constexpr int kIntMax = std::numeric_limits<int>::max();

/// The square at a column and a row of the image's grid.
Quad At(double column, double row)
{
    return AxisParallel(100.0 + kPitch * column, 100.0 + kPitch * row, kSide, kSide);
}

/// A target that stands upright, with some passes.
class CGrid : public CBoardProbe
{
public:
    explicit CGrid(int passes, ECalibOrientation orientation = eCO_NoTurn)
    {
        SetCalibOrientation(orientation);
        Thres().m_iMaxIterationsPropIDs = passes;
    }

    LxCCBRect& Seed(const Quad& quad, int id) { return AddRect(quad, id, kPitch, kPitch); }
};

TEST(LxCCBCalibBodyPropagate, NeighborsGetTheStepsOfEachOrientation)
{
    // With 8 columns: right, down as in the table of orientations.
    const std::array<std::tuple<ECalibOrientation, int, int>, 5> table = {{{eCO_Unknown, 1, 8},
                                                                           {eCO_NoTurn, 1, 8},
                                                                           {eCO_QuarterTurn, -8, 1},
                                                                           {eCO_HalfTurn, -1, -8},
                                                                           {eCO_ThreeQuarterTurn, 8, -1}}};
    for (const auto& [orientation, right, down] : table) {
        CGrid grid(2, orientation);
        grid.Seed(At(1, 1), 20);
        const LxCCBRect& onLeft = grid.AddRect(At(0, 1));
        const LxCCBRect& onRight = grid.AddRect(At(2, 1));
        const LxCCBRect& above = grid.AddRect(At(1, 0));
        const LxCCBRect& below = grid.AddRect(At(1, 2));
        EXPECT_EQ(grid.PropagateRectIds(8, 7), eCalibOk);
        EXPECT_EQ(onLeft.GetId(), 20 - right) << orientation;
        EXPECT_EQ(onRight.GetId(), 20 + right) << orientation;
        EXPECT_EQ(above.GetId(), 20 - down) << orientation;
        EXPECT_EQ(below.GetId(), 20 + down) << orientation;
    }
}

TEST(LxCCBCalibBodyPropagate, WithoutPassesNothingSpreads)
{
    for (const int passes : {0, -1, std::numeric_limits<int>::min()}) {
        CGrid grid(passes);
        grid.Seed(At(0, 0), 20);
        const LxCCBRect& next = grid.AddRect(At(1, 0));
        EXPECT_EQ(grid.PropagateRectIds(8, 7), eCalibOk);
        EXPECT_EQ(next.GetId(), 0);
    }
}

TEST(LxCCBCalibBodyPropagate, AnIdSpreadsInOnePassToSquaresFurtherOnInTheList)
{
    // Against the order of the list an id goes on by one square a pass.
    CGrid grid(4);
    grid.AddRect(At(-1, 0));
    const LxCCBRect& third = grid.AddRect(At(0, 0));
    const LxCCBRect& second = grid.AddRect(At(1, 0));
    const LxCCBRect& first = grid.AddRect(At(2, 0));
    grid.Seed(At(3, 0), 20);
    for (int column = 4; column < 6; ++column) {
        grid.AddRect(At(column, 0));
    }
    grid.Thres().m_iMaxIterationsPropIDs = 2;
    grid.PropagateRectIds(8, 7);
    EXPECT_EQ(first.GetId(), 19);
    EXPECT_EQ(second.GetId(), 18);
    EXPECT_EQ(third.GetId(), 0);
    EXPECT_EQ(grid.GetRects()[5]->GetId(), 21);
    EXPECT_EQ(grid.GetRects()[6]->GetId(), 22);
}

TEST(LxCCBCalibBodyPropagate, ABoardAgainstTheOrderOfItsListIsKnownAfterPassesEnough)
{
    // From its first square, the last one of the list, the last one is 22 steps away.
    constexpr int columns = 12;
    CGrid grid(kIntMax);
    for (int id = columns * columns; id > 1; --id) {
        grid.AddRect(At((id - 1) % columns, static_cast<double>((id - 1) / columns)));
    }
    grid.Seed(At(0, 0), 1);
    EXPECT_EQ(grid.PropagateRectIds(columns, columns), eCalibOk);
    int id = columns * columns;
    for (const LxCCBRect* const rect : grid.GetRects()) {
        EXPECT_EQ(rect->GetId(), id--);
    }
}

TEST(LxCCBCalibBodyPropagate, AMissingSquareIsBridgedInTheSecondHalfOfThePasses)
{
    for (const bool fishEye : {false, true}) {
        CGrid grid(2);
        grid.Thres().m_bFishEyeLens = fishEye;
        grid.Seed(At(2, 2), 20);
        const LxCCBRect& onRight = grid.AddRect(At(4, 2));
        const LxCCBRect& below = grid.AddRect(At(2, 4));
        const LxCCBRect& far = grid.AddRect(At(-1, 2));
        grid.PropagateRectIds(8, 7);
        EXPECT_EQ(onRight.GetId(), fishEye ? 0 : 22);
        EXPECT_EQ(below.GetId(), fishEye ? 0 : 36);
        EXPECT_EQ(far.GetId(), 0);
        if (!fishEye) {
            EXPECT_EQ(onRight.GetHorDistUnit(), kPitch); // two columns make 100 pixels
            EXPECT_EQ(onRight.GetVerDistUnit(), kPitch);
            EXPECT_EQ(below.GetVerDistUnit(), kPitch);
        }
    }
}

TEST(LxCCBCalibBodyPropagate, OfASingleAndOfAnOddNumberTheLaterPassesAreMore)
{
    // The number of passes before searches reach over a missing square: floor(n / 2). A chain against the list's order
    // takes one pass a square, so it tells how many passes there were.
    for (const int passes : {1, 2, 3, 5, 10}) {
        CGrid grid(passes);
        for (int i = 12; i > 0; --i) {
            grid.AddRect(At(2 * i, 0));
        }
        grid.Seed(At(0, 0), 1);
        grid.PropagateRectIds(100, 7);
        int reached = 0;
        for (const LxCCBRect* const rect : grid.GetRects()) {
            reached += rect->GetId() != 0 && rect->GetId() != 1 ? 1 : 0;
        }
        EXPECT_EQ(reached, passes - passes / 2) << passes;
    }
}

TEST(LxCCBCalibBodyPropagate, SearchesReachAsFarAsTold)
{
    // Early searches reach 1.3 units and late ones 2.3; the fraction of a unit keeps both from 0.2 units off.
    const auto isReached = [](double columns, bool fishEye) {
        CGrid grid(2);
        grid.Thres().m_bFishEyeLens = fishEye;
        grid.Seed(At(0, 0), 1);
        const LxCCBRect& next = grid.AddRect(At(columns, 0));
        grid.PropagateRectIds(8, 7);
        return next.GetId() != 0;
    };
    EXPECT_TRUE(isReached(0.85, false));
    EXPECT_FALSE(isReached(0.75, false));
    EXPECT_TRUE(isReached(1.15, false));
    EXPECT_FALSE(isReached(1.25, false));
    EXPECT_TRUE(isReached(2.15, false));
    EXPECT_FALSE(isReached(3.0, false));
    EXPECT_TRUE(isReached(0.65, true));
    EXPECT_FALSE(isReached(0.55, true));
    EXPECT_TRUE(isReached(1.15, true));
    EXPECT_FALSE(isReached(1.25, true));
}

TEST(LxCCBCalibBodyPropagate, CornersLieWithinFivePixelsOfTheGridLineOrFifteenWithAFishEyeLens)
{
    for (const bool fishEye : {false, true}) {
        for (const double aside : {4.0, 6.0, 14.0, 16.0}) {
            CGrid grid(2);
            grid.Thres().m_bFishEyeLens = fishEye;
            grid.Seed(At(0, 0), 1);
            const LxCCBRect& next = grid.AddRect(At(1, aside / kPitch));
            grid.PropagateRectIds(8, 7);
            EXPECT_EQ(next.GetId() != 0, aside < (fishEye ? 15.0 : 5.0)) << fishEye << ' ' << aside;
        }
    }
}

TEST(LxCCBCalibBodyPropagate, NothingIsSearchedBehindTheBordersOfTheTarget)
{
    CGrid grid(10);
    grid.Seed(At(0, 0), 1); // the target's first square
    const LxCCBRect& onLeft = grid.AddRect(At(-1, 0));
    const LxCCBRect& above = grid.AddRect(At(0, -1));
    grid.Seed(At(7, 3), 32); // the last of its row
    const LxCCBRect& onRight = grid.AddRect(At(8, 3));
    grid.PropagateRectIds(8, 7);
    for (const LxCCBRect* const rect : {&onLeft, &above, &onRight}) {
        EXPECT_EQ(rect->GetId(), 0);
        EXPECT_FALSE(rect->IsInvalid());
    }
}

TEST(LxCCBCalibBodyPropagate, ASquareBelowTheLastRowIsFoundAndUndone)
{
    CGrid grid(10);
    const LxCCBRect& last = grid.Seed(At(3, 6), 52);
    const LxCCBRect& below = grid.AddRect(At(3, 7));
    grid.PropagateRectIds(8, 7);
    EXPECT_EQ(last.GetId(), 52);
    EXPECT_EQ(below.GetId(), 0);
    EXPECT_TRUE(below.IsInvalid());
}

TEST(LxCCBCalibBodyPropagate, SquaresThatReceiveOneIdBothLoseIt)
{
    // Of the square at the right of 20 and the one above 29 both are to be 21.
    CGrid grid(10);
    const LxCCBRect& first = grid.Seed(At(2, 2), 20);
    const LxCCBRect& second = grid.Seed(At(3.2, 3), 29);
    const LxCCBRect& fromFirst = grid.AddRect(At(3, 2));
    const LxCCBRect& fromSecond = grid.AddRect(At(3.2, 1.99));
    grid.PropagateRectIds(8, 7);
    EXPECT_EQ(first.GetId(), 20);
    EXPECT_EQ(second.GetId(), 29);
    for (const LxCCBRect* const rect : {&fromFirst, &fromSecond}) {
        EXPECT_EQ(rect->GetId(), 0);
        EXPECT_TRUE(rect->IsInvalid());
    }
}

TEST(LxCCBCalibBodyPropagate, InvalidSquaresGetIdsButDoNotSpreadThem)
{
    CGrid grid(10);
    grid.Seed(At(0, 0), 1);
    LxCCBRect& invalid = grid.AddRect(At(1, 0));
    const LxCCBRect& behind = grid.AddRect(At(2.3, 0)); // too far from the first
    invalid.MakeInvalid();
    grid.PropagateRectIds(8, 7);
    EXPECT_EQ(invalid.GetId(), 2);
    EXPECT_EQ(behind.GetId(), 0);
}

TEST(LxCCBCalibBodyPropagate, IdsThatIntCannotHoldAreNotGiven)
{
    CGrid grid(10);
    grid.Seed(At(0, 0), 5);
    const LxCCBRect& below = grid.AddRect(At(0, 1));
    const LxCCBRect& onRight = grid.AddRect(At(1, 0));
    grid.PropagateRectIds(kIntMax, kIntMax);
    EXPECT_EQ(below.GetId(), 0);
    EXPECT_FALSE(below.IsInvalid());
    EXPECT_EQ(onRight.GetId(), 6);
}

TEST(LxCCBCalibBodyPropagate, UnitsFollowTheNeighbors)
{
    // Pitches grow to the right: 46, 50, 54. The square between two neighbours gets the mean of both distances.
    CGrid grid(2);
    const LxCCBRect& first = grid.Seed(AxisParallel(100.0, 100.0, 30.0, 30.0), 1);
    const LxCCBRect& second = grid.AddRect(AxisParallel(146.0, 100.0, 30.0, 30.0));
    const LxCCBRect& third = grid.AddRect(AxisParallel(196.0, 100.0, 30.0, 30.0));
    const LxCCBRect& fourth = grid.AddRect(AxisParallel(250.0, 100.0, 30.0, 30.0));
    grid.PropagateRectIds(8, 7);
    EXPECT_EQ(first.GetHorDistUnit(), 46.0);
    EXPECT_EQ(second.GetHorDistUnit(), 48.0);
    EXPECT_EQ(third.GetHorDistUnit(), 52.0);
    EXPECT_EQ(fourth.GetHorDistUnit(), 54.0);
    EXPECT_EQ(fourth.GetVerDistUnit(), kPitch);
}

TEST(LxCCBCalibBodyUnits, EachNeighborByIdCounts)
{
    for (const ECalibOrientation orientation :
         {eCO_Unknown, eCO_NoTurn, eCO_QuarterTurn, eCO_HalfTurn, eCO_ThreeQuarterTurn}) {
        CBoardProbe board;
        LxCCBRect& middle = board.AddRect(AxisParallel(200.0, 200.0, 20.0, 20.0), 20, 1.0, 2.0);
        const auto update = [&] {
            LxCCBCalibBody::UpdateDistUnits(middle, board.GetRects(), 8, 7, orientation);
            return std::pair(middle.GetHorDistUnit(), middle.GetVerDistUnit());
        };
        EXPECT_EQ(update(), std::pair(1.0, 2.0));
        const CheckerboardIdSteps steps = GetCheckerboardIdSteps(orientation, 8);
        const auto add = [&](double x, double y, std::int64_t id) {
            board.AddRect(AxisParallel(x, y, 20.0, 20.0), static_cast<int>(id));
        };
        add(160.0, 200.0, 20 - steps.x);
        EXPECT_EQ(update(), std::pair(40.0, 2.0)) << orientation;
        add(200.0, 230.0, 20 + steps.y);
        EXPECT_EQ(update(), std::pair(40.0, 30.0)) << orientation;
        add(250.0, 200.0, 20 + steps.x);
        EXPECT_EQ(update(), std::pair(45.0, 30.0)) << orientation;
        add(200.0, 190.0, 20 - steps.y);
        EXPECT_EQ(update(), std::pair(45.0, 20.0)) << orientation;
    }
}

TEST(LxCCBCalibBodyUnits, SquaresBehindABorderAreNoNeighbors)
{
    // 9 follows 8 but begins the next row.
    CBoardProbe board;
    LxCCBRect& last = board.AddRect(At(7, 0), 8, 1.0, 2.0);
    board.AddRect(At(8, 0), 9);
    LxCCBCalibBody::UpdateDistUnits(last, board.GetRects(), 8, 7, eCO_NoTurn);
    EXPECT_EQ(last.GetHorDistUnit(), 1.0);
    LxCCBCalibBody::UpdateDistUnits(last, board.GetRects(), 8, 7, eCO_Unknown);
    EXPECT_EQ(last.GetHorDistUnit(), kPitch);
}

TEST(LxCCBCalibBodyUnits, SquaresWithoutAnIdHaveNoNeighborsAndAreNone)
{
    CBoardProbe board;
    LxCCBRect& first = board.AddRect(At(1, 0), 1, 1.0, 2.0);
    LxCCBRect& nameless = board.AddRect(At(0, 0), 0, 3.0, 4.0);
    LxCCBCalibBody::UpdateDistUnits(first, board.GetRects(), 8, 7, eCO_Unknown);
    EXPECT_EQ(first.GetHorDistUnit(), 1.0);
    LxCCBCalibBody::UpdateDistUnits(nameless, board.GetRects(), 8, 7, eCO_Unknown);
    EXPECT_EQ(nameless.GetHorDistUnit(), 3.0);
    nameless.SetId(-1);
    LxCCBCalibBody::UpdateDistUnits(nameless, board.GetRects(), 8, 7, eCO_Unknown);
    EXPECT_EQ(nameless.GetHorDistUnit(), 3.0);
}

TEST(LxCCBCalibBodyDoubleCheck, IdsOutsideTheTargetAndIdsGivenTwiceAreTaken)
{
    CBoardProbe board;
    const std::vector<int> ids = {
        -1, 0, 1, 56, 57, 7, 7, 0, 9, 9, 9, kIntMax, std::numeric_limits<int>::min()};
    const std::vector<int> expected = {0, 0, 1, 56, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    for (std::size_t i = 0; i < ids.size(); ++i) {
        board.AddRect(At(static_cast<double>(i), 0), ids[i]);
    }
    EXPECT_EQ(board.DoubleCheckIds(8, 7), eCalibOk);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(board.GetRects()[i]->GetId(), expected[i]) << ids[i];
        EXPECT_EQ(board.GetRects()[i]->IsInvalid(), ids[i] != expected[i]) << ids[i];
    }
}

TEST(LxCCBCalibBodyDoubleCheck, SquaresWithoutAnIdStayValidOnATargetWithoutSquares)
{
    CBoardProbe board;
    const LxCCBRect& nameless = board.AddRect(At(0, 0));
    const LxCCBRect& named = board.AddRect(At(1, 0), 1);
    board.DoubleCheckIds(-3, 7);
    EXPECT_FALSE(nameless.IsInvalid());
    EXPECT_TRUE(named.IsInvalid());
}

TEST(LxCCBCalibBodyBorders, SpaceIsThatOfTheTurnedTarget)
{
    EXPECT_FALSE(LxCCBCalibBody::IsSpace(8, 8, 7, eCO_NoTurn, eD_Right));
    EXPECT_TRUE(LxCCBCalibBody::IsSpace(8, 8, 7, eCO_HalfTurn, eD_Right));
    EXPECT_FALSE(LxCCBCalibBody::IsSpace(8, 8, 7, eCO_HalfTurn, eD_Left));
    EXPECT_TRUE(LxCCBCalibBody::IsSpace(56, 8, 7, eCO_NoTurn, eD_Down));
    EXPECT_TRUE(LxCCBCalibBody::IsSpace(8, 8, 7, eCO_Unknown, eD_Right));
}

/// Spreading as its definition tells it: every pass is run, and nothing is left out.
void SpreadPlainly(CGrid& grid, int columns, int rows, int passes)
{
    static constexpr std::array<std::array<int, 4>, 4> directions = {
        {{0, 1, 2, 3}, {3, 2, 0, 1}, {1, 0, 3, 2}, {2, 3, 1, 0}}};
    const int o = grid.GetCalibOrientation();
    const std::array<int, 4> stepX = {1, -columns, -1, columns};
    const std::array<int, 4> stepY = {columns, 1, -columns, -1};
    const int h = o < 0 ? 1 : stepX[static_cast<std::size_t>(o)];
    const int v = o < 0 ? columns : stepY[static_cast<std::size_t>(o)];
    const bool fishEye = grid.Thres().m_bFishEyeLens;
    const double deviation = fishEye ? 15.0 : 5.0;
    const auto& list = grid.GetRects();
    for (int pass = 1; pass <= passes; ++pass) {
        const bool late = 2 * pass > passes;
        const double factor = fishEye ? (late ? 1.2 : 1.1) : (late ? 2.3 : 1.3);
        for (LxCCBRect* const rect : list) {
            const int id = rect->GetId();
            if (id == 0 || rect->IsInvalid()) {
                continue;
            }
            const std::array<bool, 4> flags = {id % columns != 1, id % columns != 0, id > columns,
                                               (id - 1) / columns != rows};
            const double uh = rect->GetHorDistUnit();
            const double uv = rect->GetVerDistUnit();
            for (std::size_t d = 0; d < 4; ++d) {
                if (o >= 0 && !flags[static_cast<std::size_t>(directions[static_cast<std::size_t>(o)][d])]) {
                    continue;
                }
                const bool hor = d < 2;
                const int n = hor ? rect->FindHorNeighbor(&list, d == 1, uh * factor, deviation, fishEye)
                                  : rect->FindVerNeighbor(&list, d == 2, uv * factor, deviation, fishEye);
                if (n < 0) {
                    continue;
                }
                LxCCBRect& hit = *list[static_cast<std::size_t>(n)];
                const double sign = d == 0 || d == 2 ? 1.0 : -1.0;
                const double dist = sign * (hor ? hit.GetXDist(rect) : hit.GetYDist(rect));
                const int k = std::max(1, static_cast<int>(dist / (hor ? uh : uv) + 0.5));
                hit.SetId(id - static_cast<int>(sign) * (hor ? h : v) * k);
                hor ? hit.SetDistUnits(dist / k, uv) : hit.SetDistUnits(uh, dist / k);
            }
        }
        grid.DoubleCheckIds(columns, rows);
        for (LxCCBRect* const rect : list) {
            LxCCBCalibBody::UpdateDistUnits(*rect, list, columns, rows, grid.GetCalibOrientation());
        }
    }
}

using State = std::vector<std::tuple<int, bool, double, double>>;

State StateOf(const CGrid& grid)
{
    State state;
    for (const LxCCBRect* const rect : grid.GetRects()) {
        state.emplace_back(rect->GetId(), rect->IsInvalid(), rect->GetHorDistUnit(), rect->GetVerDistUnit());
    }
    return state;
}

/// A grid with holes, squares beside their places and squares that are too many.
void FillAtRandom(CGrid& grid, unsigned int seed)
{
    std::mt19937 random(seed);
    grid.Thres().m_bFishEyeLens = random() % 4 == 0;
    grid.SetCalibOrientation(static_cast<ECalibOrientation>(static_cast<int>(random() % 5) - 1));
    std::vector<std::pair<Quad, int>> squares;
    for (int row = 0; row < 5; ++row) {
        for (int column = 0; column < 5; ++column) {
            for (unsigned int copies = random() % 5 == 0 ? random() % 3 : 1; copies > 0; --copies) {
                const double dx = 0.3 * (static_cast<double>(random() % 100) / 100.0 - 0.5);
                const double dy = 0.15 * (static_cast<double>(random() % 100) / 100.0 - 0.5);
                squares.emplace_back(At(column + dx, row + dy),
                                     random() % 8 == 0 ? static_cast<int>(random() % 32) : 0);
            }
        }
    }
    std::shuffle(squares.begin(), squares.end(), random);
    for (const auto& [quad, id] : squares) {
        grid.Seed(quad, id);
    }
}

TEST(LxCCBCalibBodyPasses, LeavingOutPassesChangesNothing)
{
    int wrongBranches = 0;
    for (unsigned int seed = 0; seed < 150; ++seed) {
        const int passes = 1 + static_cast<int>(seed % 23);
        CGrid grid(passes);
        FillAtRandom(grid, seed);
        CGrid plain(passes);
        FillAtRandom(plain, seed);
        grid.PropagateRectIds(6, 5);
        SpreadPlainly(plain, 6, 5, passes);
        ASSERT_EQ(StateOf(grid), StateOf(plain)) << "seed " << seed;
        for (const LxCCBRect* const rect : grid.GetRects()) {
            wrongBranches += rect->IsInvalid() ? 1 : 0;
        }
    }
    EXPECT_GT(wrongBranches, 200); // that is what keeps states from settling at once
}

/// Two squares where the one behind 1 should be. A pass finds the nearer one; the next one, since that has an id, the
/// other one, and both lose the id; and so on. Both lie 4 pixels beside the row, on either side, and so are no
/// neighbours of each other: 8 pixels are too many.
void FillWithCycle(CGrid& grid)
{
    grid.Seed(At(0, 0), 1);
    grid.AddRect(At(0.92, 0.08));
    grid.AddRect(At(1.08, -0.08));
}

TEST(LxCCBCalibBodyPasses, StatesThatAlternateAreThoseOfTheLastPass)
{
    std::set<State> states;
    for (int passes = 1; passes <= 12; ++passes) {
        CGrid grid(passes);
        FillWithCycle(grid);
        CGrid plain(passes);
        FillWithCycle(plain);
        grid.PropagateRectIds(8, 7);
        SpreadPlainly(plain, 8, 7, passes);
        EXPECT_EQ(StateOf(grid), StateOf(plain)) << passes;
        if (passes > 4) {
            states.insert(StateOf(grid));
        }
    }
    EXPECT_EQ(states.size(), 2U);
}

TEST(LxCCBCalibBodyPasses, AnyNumberOfPassesEnds)
{
    // 2^31 - 1 passes: 2^30 - 1 early ones, an odd number, and 2^30 late ones, an even number; so are 7 and 8 of 15.
    CGrid grid(kIntMax);
    FillWithCycle(grid);
    CGrid plain(15);
    FillWithCycle(plain);
    grid.PropagateRectIds(8, 7);
    SpreadPlainly(plain, 8, 7, 15);
    EXPECT_EQ(StateOf(grid), StateOf(plain));
    for (unsigned int seed = 0; seed < 20; ++seed) {
        CGrid messy(kIntMax);
        FillAtRandom(messy, seed);
        EXPECT_EQ(messy.PropagateRectIds(6, 5), eCalibOk);
    }
}

} // namespace
} // namespace LxCV
