// Tests of squares: from corners, by their corners, and from one to the next.
#include "lxccbrect.h"

#include "allocationcount.h"
#include "squaretestsupport.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <random>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::CSquareList;
using TestSupport::HandMadeSquare;
using TestSupport::Point;
using TestSupport::Quad;
using Corner = LxCRectCornerCalibMark;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Values of edges are rounded down to 1/64 pixel, so lines fitted to sloping edges lie up to that much aside.
constexpr double kEdgeRounding = 1.0 / 64.0;

Corner* CornerAt(const LxCCBRect& rect, std::size_t place)
{
    return rect.GetCorners()[place];
}

struct Result
{
    bool found;
    std::unique_ptr<Corner> virtualCorner;
};

Result Complete(LxCCBRect& rect, Corner* seed, bool checkPlausible = true)
{
    Result result{};
    result.found = rect.DetRemCorners(seed, result.virtualCorner, checkPlausible);
    return result;
}

void ExpectNoSquare(const LxCCBRect& rect, const HandMadeSquare& square)
{
    for (std::size_t place = 0; place < 4; ++place) {
        EXPECT_EQ(CornerAt(rect, place), nullptr) << place;
        if (square.corners[place]) {
            EXPECT_FALSE(square.corners[place]->IsPartOfRect()) << place;
        }
    }
}

TEST(LxCCBRectCorners, EverySeedFindsTheSameFour)
{
    for (std::size_t seed = 0; seed < 4; ++seed) {
        HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 42.0));
        LxCCBRect rect;
        const Result result = Complete(rect, square.corners[seed].get());
        EXPECT_TRUE(result.found) << seed;
        EXPECT_EQ(result.virtualCorner, nullptr);
        for (std::size_t place = 0; place < 4; ++place) {
            EXPECT_EQ(CornerAt(rect, place), square.corners[place].get()) << seed << ' ' << place;
            EXPECT_EQ(square.corners[place]->GetRect(), &rect);
        }
    }
}

TEST(LxCCBRectCorners, NoSeedAndASeedWithoutATypeFindNothing)
{
    LxCCBRect rect;
    EXPECT_FALSE(Complete(rect, nullptr).found);
    Corner typeless(false);
    EXPECT_FALSE(Complete(rect, &typeless).found);
    EXPECT_FALSE(typeless.IsPartOfRect());
}

TEST(LxCCBRectCorners, UpperRightAndLowerLeftSeedsNeedAnAnchor)
{
    for (const Corner::EType type : {Corner::eUpperRight, Corner::eLowerLeft}) {
        Corner alone(false);
        alone.SetType(type);
        LxCCBRect rect;
        EXPECT_FALSE(Complete(rect, &alone).found);
        EXPECT_FALSE(alone.IsPartOfRect());
    }
}

TEST(LxCCBRectCorners, ASeedGoesToItsSecondNeighborWhereTheFirstIsOfAnotherType)
{
    for (const std::size_t seed : {std::size_t{1}, std::size_t{2}}) {
        HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
        square.corners[0]->SetType(Corner::eNone);
        LxCCBRect rect;
        const Result result = Complete(rect, square.corners[seed].get());
        // The walk goes to the lower right corner; of the four that lead from there the upper left one is none, so
        // a virtual one takes its place.
        ASSERT_TRUE(result.found) << seed;
        EXPECT_EQ(rect.GetULCorner(), result.virtualCorner.get());
        EXPECT_EQ(rect.GetLRCorner(), square.corners[3].get());
        EXPECT_FALSE(square.corners[0]->IsPartOfRect());
    }
}

TEST(LxCCBRectCorners, ANeighborOfAnotherSquareIsDropped)
{
    for (const std::size_t seed : {std::size_t{0}, std::size_t{3}}) {
        for (const std::size_t taken : {std::size_t{1}, std::size_t{2}}) {
            HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
            LxCCBRect other;
            square.corners[taken]->SetRect(&other);
            LxCCBRect rect;
            const Result result = Complete(rect, square.corners[seed].get());
            ASSERT_TRUE(result.found) << seed << ' ' << taken;
            EXPECT_EQ(CornerAt(rect, taken), result.virtualCorner.get());
            EXPECT_EQ(square.corners[taken]->GetRect(), &other);
        }
    }
}

TEST(LxCCBRectCorners, TheCornerAcrossMayBeAnothersOnlyAtTheLowerRight)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    LxCCBRect other;
    LxCCBRect rect;
    square.corners[3]->SetRect(&other);
    Result result = Complete(rect, square.corners[0].get());
    EXPECT_TRUE(result.found);
    EXPECT_EQ(result.virtualCorner, nullptr);
    EXPECT_EQ(square.corners[3]->GetRect(), &rect);

    HandMadeSquare second(AxisParallel(20.0, 30.0, 40.0, 40.0));
    second.corners[0]->SetRect(&other);
    result = Complete(rect, second.corners[3].get());
    EXPECT_TRUE(result.found);
    EXPECT_EQ(rect.GetULCorner(), result.virtualCorner.get());
    EXPECT_EQ(second.corners[0]->GetRect(), &other);
}

TEST(LxCCBRectCorners, TheCornerAcrossIsReachedByEitherWay)
{
    for (const std::size_t lost : {std::size_t{1}, std::size_t{2}}) {
        for (const std::size_t seed : {std::size_t{0}, std::size_t{3}}) {
            HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
            square.LoseCorner(lost);
            LxCCBRect rect;
            const Result result = Complete(rect, square.corners[seed].get());
            ASSERT_TRUE(result.found);
            EXPECT_EQ(CornerAt(rect, 3 - seed), square.corners[3 - seed].get());
        }
    }
}

TEST(LxCCBRectCorners, ThreeCornersMakeAVirtualFourthWhereTheEdgesCross)
{
    const Quad quad = {Point(20.3, 30.4), Point(60.8, 33.1), Point(18.2, 71.9), Point(59.0, 74.6)};
    for (std::size_t lost = 0; lost < 4; ++lost) {
        for (std::size_t seed = 0; seed < 4; ++seed) {
            if (seed == lost) {
                continue;
            }
            HandMadeSquare square(quad);
            square.LoseCorner(lost);
            LxCCBRect rect;
            const Result result = Complete(rect, square.corners[seed].get());
            ASSERT_TRUE(result.found) << lost << ' ' << seed;
            Corner* const made = result.virtualCorner.get();
            ASSERT_NE(made, nullptr);
            EXPECT_EQ(CornerAt(rect, lost), made);
            EXPECT_EQ(made->GetType(), static_cast<int>(lost) + 1);
            EXPECT_EQ(made->GetRect(), &rect);
            EXPECT_TRUE(made->IsVirtual());
            EXPECT_FALSE(made->UseForCalib());
            EXPECT_NEAR(made->GetXImg(), quad[lost].x, kEdgeRounding);
            EXPECT_NEAR(made->GetYImg(), quad[lost].y, kEdgeRounding);
            EXPECT_EQ(made->GetHorEdge(), lost < 2 ? square.top.get() : square.bottom.get());
            EXPECT_EQ(made->GetVerEdge(), lost % 2 == 0 ? square.left.get() : square.right.get());
            EXPECT_EQ(made->GetHorEdge()->GetCorner(lost % 2 == 0), made);
            EXPECT_EQ(made->GetVerEdge()->GetCorner(lost < 2), made);
        }
    }
}

TEST(LxCCBRectCorners, TwoCornersAreNoSquare)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    square.LoseCorner(1);
    square.LoseCorner(3);
    LxCCBRect rect;
    const Result result = Complete(rect, square.corners[0].get());
    EXPECT_FALSE(result.found);
    EXPECT_EQ(result.virtualCorner, nullptr);
    ExpectNoSquare(rect, square);
}

TEST(LxCCBRectCorners, NoFourthCornerIsMadeFromEdgesWithoutALine)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    square.LoseCorner(3);
    // The lower edge has a single entry, which makes no line.
    TestSupport::CHandMadeEdge dot(CStraightEdge::eHorizontal, Point(20.0, 70.0), Point(20.0, 70.0));
    ASSERT_EQ(dot.GetLen(), 1);
    square.corners[2]->SetEdges(&dot, square.left.get());
    LxCCBRect rect;
    EXPECT_FALSE(Complete(rect, square.corners[0].get()).found);
    ExpectNoSquare(rect, square);
}

TEST(LxCCBRectCorners, AnImplausibleSquareIsRefusedUnlessNobodyAsks)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    square.corners[1]->SetXImg(80.0);
    LxCCBRect rect;
    EXPECT_FALSE(Complete(rect, square.corners[0].get()).found);
    ExpectNoSquare(rect, square);
    EXPECT_TRUE(Complete(rect, square.corners[0].get(), false).found);
    EXPECT_TRUE(rect.HasFourCorners());
}

TEST(LxCCBRectCorners, TheVirtualCornerOfARefusedSquareIsHandedOver)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    square.LoseCorner(3);
    square.corners[1]->SetXImg(90.0);
    LxCCBRect rect;
    const Result result = Complete(rect, square.corners[0].get());
    EXPECT_FALSE(result.found);
    ASSERT_NE(result.virtualCorner, nullptr);
    EXPECT_FALSE(result.virtualCorner->IsPartOfRect());
    ExpectNoSquare(rect, square);
}

TEST(LxCCBRectCorners, WithoutMemoryForAFourthCornerNoCornerPointsToTheSquare)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    square.LoseCorner(3);
    ASSERT_TRUE(
        Complete(*std::make_unique<LxCCBRect>(), square.corners[0].get()).found); // takes scratch memory
    square.bottom->SetRightCorner(nullptr);
    square.right->SetLowerCorner(nullptr);
    for (const std::size_t place : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
        square.corners[place]->SetRect(nullptr);
    }
    LxCCBRect rect;
    std::unique_ptr<Corner> virtualCorner;
    bool isThrown = false;
    {
        const AllocationLimit limit(sizeof(Corner), 0);
        try {
            rect.DetRemCorners(square.corners[0].get(), virtualCorner, true);
        } catch (const std::bad_alloc&) {
            isThrown = true;
        }
    }
    ASSERT_EQ(isThrown, AllocationLimit::IsEffective());
    if (!isThrown) {
        return;
    }
    for (const std::size_t place : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
        EXPECT_FALSE(square.corners[place]->IsPartOfRect()) << place;
    }
    EXPECT_EQ(square.bottom->GetRightCorner(), nullptr);
    EXPECT_EQ(square.right->GetLowerCorner(), nullptr);
}

TEST(LxCCBRectCorners, ASquareIsBuiltAnewEachTime)
{
    HandMadeSquare first(AxisParallel(20.0, 30.0, 40.0, 40.0));
    HandMadeSquare second(AxisParallel(120.0, 30.0, 40.0, 40.0));
    LxCCBRect rect;
    EXPECT_TRUE(Complete(rect, first.corners[0].get()).found);
    EXPECT_TRUE(Complete(rect, second.corners[0].get()).found);
    EXPECT_EQ(rect.GetLRCorner(), second.corners[3].get());
    EXPECT_FALSE(Complete(rect, nullptr).found);
    EXPECT_EQ(rect.GetLRCorner(), nullptr);
}

/// Top, bottom, left and right extents as given; upper left corner at (100, 100).
bool IsPlausible(double top, double bottom, double left, double right)
{
    HandMadeSquare square(AxisParallel(100.0, 100.0, 20.0, 20.0));
    square.corners[1]->SetXImg(100.0 + top);
    square.corners[3]->SetXImg(100.0 + bottom);
    square.corners[2]->SetYImg(100.0 + left);
    square.corners[3]->SetYImg(100.0 + right);
    LxCCBRect rect;
    square.AssignTo(rect);
    return rect.IsPlausible();
}

TEST(LxCCBRectPlausibility, SidesOfSimilarLengthArePlausible)
{
    EXPECT_TRUE(IsPlausible(40.0, 40.0, 40.0, 40.0));
    EXPECT_TRUE(IsPlausible(20.0, 20.0, 60.0, 60.0));
    EXPECT_TRUE(IsPlausible(70.0, 100.0, 130.0, 100.0)); // both bounds are inside
    EXPECT_FALSE(IsPlausible(69.0, 100.0, 100.0, 100.0));
    EXPECT_FALSE(IsPlausible(131.0, 100.0, 100.0, 100.0));
    EXPECT_FALSE(IsPlausible(100.0, 100.0, 69.0, 100.0));
    EXPECT_FALSE(IsPlausible(100.0, 100.0, 131.0, 100.0));
}

TEST(LxCCBRectPlausibility, SmallDifferencesArePlausibleWhateverTheQuotients)
{
    EXPECT_TRUE(IsPlausible(5.0, 2.5, 2.5, 5.0));  // quotients 2 and 0.5, differences 2.5
    EXPECT_FALSE(IsPlausible(5.5, 2.5, 2.5, 2.5)); // the difference of 3 is too much
    EXPECT_FALSE(IsPlausible(2.5, 2.5, 5.5, 2.5));
    EXPECT_FALSE(IsPlausible(4.0, 2.0, 100.0, 104.0)); // left by right is within, but both differences count
}

TEST(LxCCBRectPlausibility, ASideOfNoExtentIsNotPlausible)
{
    EXPECT_FALSE(IsPlausible(1.0, 0.0, 1.0, 1.0));
    EXPECT_FALSE(IsPlausible(1.0, 1.0, 1.0, 0.0));
    EXPECT_TRUE(IsPlausible(0.0, 1.0, 0.0, 1.0)); // top and left are not asked
}

TEST(LxCCBRectPlausibility, PositionsThatAreNoNumbersAreNotPlausible)
{
    EXPECT_FALSE(IsPlausible(kNaN, 40.0, 40.0, 40.0));
    EXPECT_FALSE(IsPlausible(40.0, kNaN, 40.0, 40.0));
    EXPECT_FALSE(IsPlausible(40.0, 40.0, kNaN, 40.0));
    EXPECT_FALSE(IsPlausible(40.0, 40.0, 40.0, kNaN));
}

TEST(LxCCBRectPlausibility, EveryCornerHasToBeThereAndValid)
{
    for (std::size_t place = 0; place < 4; ++place) {
        HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
        LxCCBRect rect;
        square.AssignTo(rect);
        ASSERT_TRUE(rect.IsPlausible());
        square.corners[place]->MakeInvalid();
        EXPECT_FALSE(rect.IsPlausible());
        square.corners[place]->ToggleValidity();
        square.LoseCorner(place);
        square.AssignTo(rect);
        EXPECT_FALSE(rect.IsPlausible());
    }
}

TEST(LxCCBRectPlausibility, EveryEdgeHoldsTheCornersOfItsSide)
{
    using Edge = std::unique_ptr<LxCCBRectEdge> HandMadeSquare::*;
    for (const Edge edge :
         {&HandMadeSquare::top, &HandMadeSquare::bottom, &HandMadeSquare::left, &HandMadeSquare::right}) {
        HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
        LxCCBRect rect;
        square.AssignTo(rect);
        LxCCBRectEdge& changed = *(square.*edge);
        Corner* const start = changed.GetCorner(true);
        Corner* const end = changed.GetCorner(false);
        changed.SetCorner(true, end);
        changed.SetCorner(false, start);
        EXPECT_FALSE(rect.IsPlausible());
        changed.SetCorner(true, start);
        EXPECT_FALSE(rect.IsPlausible());
        changed.SetCorner(false, nullptr);
        EXPECT_FALSE(rect.IsPlausible());
        changed.SetCorner(false, end);
        EXPECT_TRUE(rect.IsPlausible());
    }
}

TEST(LxCCBRectPlausibility, BothCornersOfASideShareItsEdge)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    HandMadeSquare twin(AxisParallel(20.0, 30.0, 40.0, 40.0));
    LxCCBRect rect;
    square.AssignTo(rect);
    square.corners[1]->SetEdges(twin.top.get(), square.right.get());
    EXPECT_FALSE(rect.IsPlausible());
    square.corners[1]->SetEdges(nullptr, square.right.get());
    EXPECT_FALSE(rect.IsPlausible());
}

TEST(LxCCBRect, CentresAreMeansOfMeans)
{
    // x: left corners 10 and 20, mean 15; right corners 40 and 70, mean 55; mean 35.
    // y: upper corners 1 and 3, mean 2; lower corners 30 and 50, mean 40; mean 21.
    HandMadeSquare square({Point(10.0, 1.0), Point(40.0, 3.0), Point(20.0, 30.0), Point(70.0, 50.0)});
    LxCCBRect rect;
    square.AssignTo(rect);
    EXPECT_EQ(rect.GetXCenter(), 35.0);
    EXPECT_EQ(rect.GetYCenter(), 21.0);
    // Without the lower right corner: x (15 + 40) / 2, y (2 + 30) / 2.
    rect.SetLRCorner(nullptr);
    EXPECT_EQ(rect.GetXCenter(), 27.5);
    EXPECT_EQ(rect.GetYCenter(), 16.0);
    // Without both right corners no x, and y (1 + 30) / 2.
    rect.SetURCorner(nullptr);
    EXPECT_EQ(rect.GetXCenter(), -1.0);
    EXPECT_EQ(rect.GetYCenter(), 15.5);
}

TEST(LxCCBRect, ASideWithoutACornerGivesNoCentre)
{
    HandMadeSquare square(AxisParallel(20.0, 30.0, 40.0, 40.0));
    LxCCBRect rect;
    EXPECT_EQ(rect.GetXCenter(), -1.0);
    EXPECT_EQ(rect.GetYCenter(), -1.0);
    rect.SetLLCorner(square.corners[2].get());
    rect.SetLRCorner(square.corners[3].get());
    EXPECT_EQ(rect.GetXCenter(), 40.0);
    EXPECT_EQ(rect.GetYCenter(), -1.0);
}

TEST(LxCCBRect, DistancesAreMeansOverTheCornersThatBothHave)
{
    CSquareList squares;
    LxCCBRect& from = squares.Add(AxisParallel(10.0, 100.0, 40.0, 40.0));
    LxCCBRect& to = squares.Add(AxisParallel(130.0, 90.0, 60.0, 20.0));
    // In x the left corners differ by 120, the right ones by 140; in y the upper by -10, the lower by -30.
    EXPECT_EQ(from.GetXDist(&to), 130.0);
    EXPECT_EQ(from.GetYDist(&to), -20.0);
    EXPECT_EQ(to.GetXDist(&from), -130.0);
    to.SetURCorner(nullptr);
    from.SetLRCorner(nullptr);
    EXPECT_EQ(from.GetXDist(&to), 120.0);
    EXPECT_EQ(from.GetYDist(&to), -20.0);
    to.SetULCorner(nullptr);
    to.SetLLCorner(nullptr);
    EXPECT_EQ(from.GetXDist(&to), 0.0);
    EXPECT_EQ(from.GetYDist(nullptr), 0.0);
}

TEST(LxCCBRect, IsEnclosedWhereAllCornersLieStrictlyInside)
{
    CSquareList squares;
    const LxCCBRect& outer = squares.Add(AxisParallel(10.0, 10.0, 40.0, 40.0));
    const LxCCBRect& inner = squares.Add(AxisParallel(20.0, 20.0, 20.0, 20.0));
    EXPECT_TRUE(inner.IsEnclosedBy(outer));
    EXPECT_FALSE(outer.IsEnclosedBy(inner));
    EXPECT_FALSE(inner.IsEnclosedBy(inner));
    for (std::size_t place = 0; place < 4; ++place) {
        Corner& corner = *inner.GetCorners()[place];
        const Corner& limit = *outer.GetCorners()[place];
        const Point before(corner.GetXImg(), corner.GetYImg());
        corner.SetXImg(limit.GetXImg());
        EXPECT_FALSE(inner.IsEnclosedBy(outer)) << place;
        corner.SetXImg(before.x);
        corner.SetYImg(limit.GetYImg());
        EXPECT_FALSE(inner.IsEnclosedBy(outer)) << place;
        corner.SetYImg(kNaN);
        EXPECT_FALSE(inner.IsEnclosedBy(outer)) << place;
        corner.SetYImg(before.y);
        EXPECT_TRUE(inner.IsEnclosedBy(outer));
    }
}

TEST(LxCCBRect, IsEnclosedNeedsAllEightCorners)
{
    CSquareList squares;
    LxCCBRect& outer = squares.Add(AxisParallel(10.0, 10.0, 40.0, 40.0));
    LxCCBRect& inner = squares.Add(AxisParallel(20.0, 20.0, 20.0, 20.0));
    outer.SetLLCorner(nullptr);
    EXPECT_FALSE(inner.IsEnclosedBy(outer));
    outer.SetLLCorner(squares.GetSquare(0).corners[2].get());
    inner.SetURCorner(nullptr);
    EXPECT_FALSE(inner.IsEnclosedBy(outer));
}

TEST(LxCCBRect, IsInvalidWithAMissingOrInvalidCorner)
{
    CSquareList squares;
    LxCCBRect& rect = squares.Add(AxisParallel(10.0, 10.0, 40.0, 40.0));
    EXPECT_FALSE(rect.IsInvalid());
    rect.GetLRCorner()->MakeInvalid();
    EXPECT_TRUE(rect.IsInvalid());
    rect.GetLRCorner()->ToggleValidity();
    rect.SetULCorner(nullptr);
    EXPECT_TRUE(rect.IsInvalid());
    EXPECT_TRUE(LxCCBRect().IsInvalid());
}

TEST(LxCCBRect, MakeInvalidReachesTheCornersThatThereAre)
{
    CSquareList squares;
    LxCCBRect& rect = squares.Add(AxisParallel(10.0, 10.0, 40.0, 40.0));
    rect.SetULCorner(nullptr);
    rect.MakeInvalid();
    const HandMadeSquare& square = squares.GetSquare(0);
    EXPECT_FALSE(square.corners[0]->IsInvalid());
    for (std::size_t place = 1; place < 4; ++place) {
        EXPECT_TRUE(square.corners[place]->IsInvalid());
    }
}

TEST(LxCCBRect, TheLeftCornersAreAskedFirstForAnIdAssignedByHand)
{
    CSquareList squares;
    LxCCBRect& rect = squares.Add(AxisParallel(10.0, 10.0, 40.0, 40.0));
    rect.SetId(99);
    EXPECT_EQ(rect.GetManAssignedId(), 0);
    rect.GetLRCorner()->AssignIdMan(4);
    EXPECT_EQ(rect.GetManAssignedId(), 4);
    rect.GetURCorner()->AssignIdMan(3);
    EXPECT_EQ(rect.GetManAssignedId(), 3);
    rect.GetLLCorner()->AssignIdMan(2);
    EXPECT_EQ(rect.GetManAssignedId(), 2);
    rect.GetULCorner()->AssignIdMan(1);
    EXPECT_EQ(rect.GetManAssignedId(), 1);
    rect.GetULCorner()->AssignIdMan(-7);
    EXPECT_EQ(rect.GetManAssignedId(), 2);
    EXPECT_EQ(LxCCBRect().GetManAssignedId(), 0);
}

} // namespace
} // namespace LxCV
