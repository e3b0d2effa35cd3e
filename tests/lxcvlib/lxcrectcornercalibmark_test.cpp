// Tests of corner marks.
#include "lxcrectcornercalibmark.h"

#include "lxccbcalibthres.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>

namespace LxCV {
namespace {

using TestSupport::MakeEdge;
using EType = LxCRectCornerCalibMark::EType;

constexpr auto eHor = CStraightEdge::eHorizontal;
constexpr auto eVer = CStraightEdge::eVertical;
constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr double c_dNan = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();
constexpr double c_dBisection = 1e-7; // pixels; the interval that bisection ends with
constexpr double c_dSixtyFourth = 1.0 / 64.0;

std::string Text(const LxCCalibMark& mark, bool withPosition)
{
    std::string text = "x ";
    mark.Sprint(text, withPosition);
    return text;
}

TEST(LxCRectCornerCalibMark, IsNewlyNoCornerOfNothing)
{
    const LxCRectCornerCalibMark mark(true);
    EXPECT_EQ(mark.GetType(), LxCRectCornerCalibMark::eNone);
    EXPECT_TRUE(mark.IsVirtual());
    EXPECT_EQ(mark.GetHorEdge(), nullptr);
    EXPECT_EQ(mark.GetVerEdge(), nullptr);
    EXPECT_EQ(mark.GetRect(), nullptr);
    EXPECT_FALSE(mark.IsPartOfRect());
    EXPECT_FALSE(mark.IsRectIdManAssigned());
    EXPECT_EQ(mark.GetId(), 0);
    EXPECT_FALSE(LxCRectCornerCalibMark(false).IsVirtual());
}

TEST(LxCRectCornerCalibMark, TakesItsTypeFromTheEndsOfItsEdges)
{
    LxCCBRectEdge hor(eHor);
    LxCCBRectEdge ver(eVer);
    const std::array<std::array<int, 3>, 4> types{{{1, 1, 1}, {0, 1, 2}, {1, 0, 3}, {0, 0, 4}}};
    for (const auto& [atHorStart, atVerStart, type] : types) {
        const LxCRectCornerCalibMark mark(3.5, 4.25, &hor, &ver, atHorStart != 0, atVerStart != 0);
        EXPECT_EQ(mark.GetType(), type);
        EXPECT_EQ(mark.GetXImg(), 3.5);
        EXPECT_EQ(mark.GetYImg(), 4.25);
        EXPECT_EQ(mark.GetHorEdge(), &hor);
        EXPECT_EQ(mark.GetVerEdge(), &ver);
        EXPECT_FALSE(mark.IsVirtual());
    }
}

TEST(LxCRectCornerCalibMark, FourCornersOfASquareHaveFourIds)
{
    LxCCBRect rect;
    rect.SetId(9);
    LxCRectCornerCalibMark mark(false);
    mark.SetRect(&rect);
    EXPECT_EQ(mark.GetId(), 0);
    for (int type = 1; type <= 4; ++type) {
        mark.SetType(static_cast<EType>(type));
        EXPECT_EQ(mark.GetId(), 4 * 9 - 4 + type);
    }
    rect.SetId(1);
    mark.SetType(LxCRectCornerCalibMark::eUpperLeft);
    EXPECT_EQ(mark.GetId(), 1);
}

TEST(LxCRectCornerCalibMark, HasNoIdWithoutThatOfASquare)
{
    LxCRectCornerCalibMark mark(10.0, 20.0, nullptr, nullptr, true, true);
    EXPECT_EQ(mark.GetId(), 0);
    LxCCBRect rect;
    mark.SetRect(&rect);
    EXPECT_TRUE(mark.IsPartOfRect());
    EXPECT_EQ(mark.GetId(), 0);
    mark.SetId(77); // the base's id is not this mark's
    EXPECT_EQ(mark.GetId(), 0);
}

TEST(LxCRectCornerCalibMark, AnIdAssignedByHandWins)
{
    LxCCBRect rect;
    LxCRectCornerCalibMark mark(false);
    mark.SetType(LxCRectCornerCalibMark::eUpperRight);
    for (const int rectId : {0, 3, 1000}) {
        rect.SetId(rectId);
        mark.SetRect(&rect);
        mark.AssignIdMan(7);
        EXPECT_TRUE(mark.IsRectIdManAssigned());
        EXPECT_EQ(mark.GetRectId(), 7);
        EXPECT_EQ(mark.GetId(), 26);
        mark.AssignIdMan(0);
        EXPECT_FALSE(mark.IsRectIdManAssigned());
        EXPECT_EQ(mark.GetRectId(), rectId);
    }
    mark.AssignIdMan(-2); // wins, but does not count as assigned
    EXPECT_FALSE(mark.IsRectIdManAssigned());
    EXPECT_EQ(mark.GetRectId(), -2);
    EXPECT_EQ(mark.GetId(), -10);
}

TEST(LxCRectCornerCalibMark, AnIdBeyondIntBecomesTheNearest)
{
    LxCRectCornerCalibMark mark(false);
    mark.SetType(LxCRectCornerCalibMark::eUpperRight);
    mark.AssignIdMan(c_iMax);
    EXPECT_EQ(mark.GetId(), c_iMax);
    mark.AssignIdMan(c_iMin);
    EXPECT_EQ(mark.GetId(), c_iMin);
}

TEST(LxCRectCornerCalibMark, AVirtualCornerIsNotUsed)
{
    EXPECT_FALSE(LxCRectCornerCalibMark(true).UseForCalib());
    LxCRectCornerCalibMark mark(false);
    EXPECT_TRUE(mark.UseForCalib());
    mark.MarkAsUnusableForCalib();
    EXPECT_FALSE(mark.UseForCalib());
    mark.MarkAsUsableForCalib();
    mark.SetQuality(10.0);
    EXPECT_FALSE(mark.UseForCalib());
}

TEST(LxCRectCornerCalibMark, TellsSquareTypeAndPosition)
{
    LxCRectCornerCalibMark mark(12.345, -0.5, nullptr, nullptr, true, false);
    mark.AssignIdMan(12);
    EXPECT_EQ(Text(mark, false), "x 12-3");
    EXPECT_EQ(Text(mark, true), "x 12-3: 12.35, -0.50"); // 12.345 is a little above its decimals
    mark.SetXImg(std::numeric_limits<double>::max());
    mark.SetYImg(c_dNan);
    EXPECT_EQ(Text(mark, true).size(), std::string("x 12-3: , nan").size() + 309 + 3);
}

TEST(LxCRectCornerCalibMark, ResetLeavesOnlyTheQualityLimit)
{
    LxCCBRectEdge hor(eHor);
    LxCCBRectEdge ver(eVer);
    LxCCBRect rect;
    LxCRectCornerCalibMark mark(true);
    mark.SetType(LxCRectCornerCalibMark::eLowerLeft);
    mark.SetEdges(&hor, &ver);
    mark.SetRect(&rect);
    mark.AssignIdMan(5);
    mark.SetXImg(3.0);
    mark.MakeInvalid();
    mark.SetQualityLimit(2.0);
    mark.Reset();
    EXPECT_EQ(mark.GetType(), LxCRectCornerCalibMark::eNone);
    EXPECT_FALSE(mark.IsVirtual());
    EXPECT_EQ(mark.GetHorEdge(), nullptr);
    EXPECT_EQ(mark.GetVerEdge(), nullptr);
    EXPECT_FALSE(mark.IsPartOfRect());
    EXPECT_EQ(mark.GetRectId(), 0);
    EXPECT_EQ(mark.GetXImg(), 0.0);
    EXPECT_FALSE(mark.IsInvalid());
    EXPECT_EQ(mark.GetQualityLimit(), 2.0);
}

TEST(LxCRectCornerCalibMark, NeighborsAreTheOtherCornersOfItsEdges)
{
    LxCCBRectEdge hor(eHor);
    LxCCBRectEdge ver(eVer);
    LxCRectCornerCalibMark mark(false);
    LxCRectCornerCalibMark right(false);
    LxCRectCornerCalibMark lower(false);
    EXPECT_EQ(mark.GetLeftNeighbor(), nullptr);
    EXPECT_EQ(mark.GetRightNeighbor(), nullptr);
    EXPECT_EQ(mark.GetUpperNeighbor(), nullptr);
    EXPECT_EQ(mark.GetLowerNeighbor(), nullptr);
    mark.SetEdges(&hor, &ver);
    EXPECT_EQ(mark.GetRightNeighbor(), nullptr);
    hor.SetLeftCorner(&mark);
    hor.SetRightCorner(&right);
    ver.SetUpperCorner(&mark);
    ver.SetLowerCorner(&lower);
    EXPECT_EQ(mark.GetLeftNeighbor(), nullptr); // it is the left corner itself
    EXPECT_EQ(mark.GetRightNeighbor(), &right);
    EXPECT_EQ(mark.GetUpperNeighbor(), nullptr);
    EXPECT_EQ(mark.GetLowerNeighbor(), &lower);
    right.SetEdges(&hor, nullptr);
    lower.SetEdges(nullptr, &ver);
    EXPECT_EQ(right.GetLeftNeighbor(), &mark);
    EXPECT_EQ(right.GetRightNeighbor(), nullptr);
    EXPECT_EQ(right.GetUpperNeighbor(), nullptr);
    EXPECT_EQ(lower.GetUpperNeighbor(), &mark);
    EXPECT_EQ(lower.GetLowerNeighbor(), nullptr);
}

TEST(LxCCBRectEdge, HasOneCornerAtEitherEnd)
{
    LxCCBRectEdge edge(eVer);
    LxCRectCornerCalibMark a(false);
    LxCRectCornerCalibMark b(false);
    EXPECT_EQ(edge.GetCorner(true), nullptr);
    EXPECT_EQ(edge.GetCorner(false), nullptr);
    edge.SetUpperCorner(&a);
    edge.SetLowerCorner(&b);
    EXPECT_EQ(edge.GetCorner(true), &a);
    EXPECT_EQ(edge.GetCorner(false), &b);
    EXPECT_EQ(edge.GetUpperCorner(), edge.GetLeftCorner());
    EXPECT_EQ(edge.GetLowerCorner(), edge.GetRightCorner());
    edge.RemoveCorner(&b);
    EXPECT_EQ(edge.GetUpperCorner(), &a);
    EXPECT_EQ(edge.GetLowerCorner(), nullptr);
    edge.SetRightCorner(&a);
    edge.RemoveCorner(&a);
    EXPECT_EQ(edge.GetLeftCorner(), nullptr);
    EXPECT_EQ(edge.GetRightCorner(), nullptr);
}

TEST(LxCCBRect, HoldsCornersIdAndUnits)
{
    LxCCBRect rect;
    EXPECT_EQ(rect.GetULCorner(), nullptr);
    EXPECT_EQ(rect.GetURCorner(), nullptr);
    EXPECT_EQ(rect.GetLLCorner(), nullptr);
    EXPECT_EQ(rect.GetLRCorner(), nullptr);
    EXPECT_EQ(rect.GetId(), 0);
    EXPECT_EQ(rect.GetHorDistUnit(), 0.0);
    EXPECT_EQ(rect.GetVerDistUnit(), 0.0);
    rect.SetDistUnits(2.0, 3.0);
    EXPECT_EQ(rect.GetHorDistUnit(), 2.0);
    EXPECT_EQ(rect.GetVerDistUnit(), 3.0);
    rect.SetHorDistUnit(4.0);
    rect.SetVerDistUnit(5.0);
    EXPECT_EQ(rect.GetHorDistUnit(), 4.0);
    EXPECT_EQ(rect.GetVerDistUnit(), 5.0);
}

LxCCBCalibThres Thresholds()
{
    LxCCBCalibThres thres;
    thres.m_iNrOfSamples = 20;
    thres.m_iSkip = 3;
    thres.m_iMaxDistCornerToEdgeEnd = 8;
    thres.m_iMinDistCornerToOppEdgeEnd = 10;
    thres.m_bUseParabolaFit = false;
    return thres;
}

constexpr int c_iFirst = 40; // the edges run from here
constexpr int c_iLast = 100; // to here

/// Both edges of a square whose sides are y = 60 + x / 8 and x = 70 - y / 16.
struct SEdges
{
    LxCCBRectEdge hor =
        MakeEdge<LxCCBRectEdge>(eHor, c_iFirst, c_iLast, [](double x) { return 60.0 + x / 8.0; });
    LxCCBRectEdge ver =
        MakeEdge<LxCCBRectEdge>(eVer, c_iFirst, c_iLast, [](double y) { return 70.0 - y / 16.0; });
    LxCRectCornerCalibMark mark{false};

    bool Place(int x, int y, const LxCCBCalibThres& thres)
    {
        return mark.DetPosByIntersec(&hor, &ver, x, y, thres);
    }
};

// Where they cross: x = 70 - (60 + x / 8) / 16, so x (1 + 1 / 128) = 66.25.
constexpr double c_dCrossX = 66.25 * 128.0 / 129.0;
constexpr double c_dCrossY = 60.0 + c_dCrossX / 8.0;

TEST(DetPosByIntersec, PlacesAllFourTypes)
{
    for (const bool atHorStart : {true, false}) {
        for (const bool atVerStart : {true, false}) {
            SEdges edges;
            ASSERT_TRUE(
                edges.Place(atHorStart ? c_iFirst : c_iLast, atVerStart ? c_iFirst : c_iLast, Thresholds()));
            EXPECT_EQ(edges.mark.GetType(), atVerStart ? (atHorStart ? 1 : 2) : (atHorStart ? 3 : 4));
            // Entries of x / 16 are rounded down to 1/64, by at most that; those of y are exact.
            EXPECT_NEAR(edges.mark.GetXImg(), c_dCrossX, 1.5 * c_dSixtyFourth);
            EXPECT_NEAR(edges.mark.GetYImg(), c_dCrossY, 1.5 * c_dSixtyFourth);
            EXPECT_EQ(edges.mark.GetHorEdge(), &edges.hor);
            EXPECT_EQ(edges.mark.GetVerEdge(), &edges.ver);
            EXPECT_EQ(edges.hor.GetLeftCorner(), atHorStart ? &edges.mark : nullptr);
            EXPECT_EQ(edges.hor.GetRightCorner(), atHorStart ? nullptr : &edges.mark);
            EXPECT_EQ(edges.ver.GetUpperCorner(), atVerStart ? &edges.mark : nullptr);
            EXPECT_EQ(edges.ver.GetLowerCorner(), atVerStart ? nullptr : &edges.mark);
            EXPECT_TRUE(edges.mark.UseForCalib());
        }
    }
}

/// Whether a corner at x, with y at the start of its edge, is placed; and that nothing changes where it is not.
bool IsPlaced(SEdges& edges, int x, int y, const LxCCBCalibThres& thres)
{
    if (edges.Place(x, y, thres)) {
        return true;
    }
    EXPECT_EQ(edges.mark.GetType(), LxCRectCornerCalibMark::eNone);
    EXPECT_EQ(edges.mark.GetXImg(), 0.0);
    EXPECT_EQ(edges.mark.GetHorEdge(), nullptr);
    EXPECT_NE(edges.hor.GetLeftCorner(), &edges.mark);
    EXPECT_NE(edges.ver.GetUpperCorner(), &edges.mark);
    return false;
}

TEST(DetPosByIntersec, LimitsTheDistanceFromTheEnd)
{
    for (const int outside : {7, 8, 9}) {
        const bool isNear = outside < 8;
        for (const int place :
             {c_iFirst - outside, c_iFirst + outside, c_iLast - outside, c_iLast + outside}) {
            SEdges hor;
            EXPECT_EQ(IsPlaced(hor, place, c_iFirst, Thresholds()), isNear) << place;
            SEdges ver;
            EXPECT_EQ(IsPlaced(ver, c_iFirst, place, Thresholds()), isNear) << place;
        }
    }
}

TEST(DetPosByIntersec, KeepsAwayFromTheOtherEnd)
{
    LxCCBCalibThres thres = Thresholds();
    thres.m_iMaxDistCornerToEdgeEnd = 100;
    for (const int minimum : {40, 41, 42}) {
        thres.m_iMinDistCornerToOppEdgeEnd = minimum;
        // 59 is 41 before the last position, 81 is 41 behind the first one.
        for (const int place : {59, 81}) {
            SEdges hor;
            EXPECT_EQ(IsPlaced(hor, place, c_iFirst, thres), minimum <= 41);
            SEdges ver;
            EXPECT_EQ(IsPlaced(ver, c_iFirst, place, thres), minimum <= 41);
        }
    }
}

TEST(DetPosByIntersec, TheNearerEndCounts)
{
    LxCCBCalibThres thres = Thresholds();
    thres.m_iMaxDistCornerToEdgeEnd = 100;
    thres.m_iMinDistCornerToOppEdgeEnd = 0;
    for (const auto& [place, atStart] : {std::pair(69, true), std::pair(70, true), std::pair(71, false)}) {
        SEdges edges;
        ASSERT_TRUE(edges.Place(place, place, thres));
        EXPECT_EQ(edges.mark.GetType(), atStart ? 1 : 4) << place; // the middle counts as the start
    }
}

TEST(DetPosByIntersec, RefusesAnEndThatIsTaken)
{
    LxCCBCalibThres thres = Thresholds();
    LxCRectCornerCalibMark other(false);
    for (const bool atStart : {true, false}) {
        const int place = atStart ? c_iFirst : c_iLast;
        SEdges hor;
        hor.hor.SetCorner(atStart, &other);
        EXPECT_FALSE(IsPlaced(hor, place, c_iFirst, thres));
        EXPECT_EQ(hor.hor.GetCorner(atStart), &other);
        SEdges ver;
        ver.ver.SetCorner(atStart, &other);
        EXPECT_FALSE(IsPlaced(ver, c_iFirst, place, thres));
    }
    // In the middle both ends fit; that the start is taken does not leave the end.
    thres.m_iMaxDistCornerToEdgeEnd = 100;
    SEdges edges;
    edges.hor.SetLeftCorner(&other);
    EXPECT_FALSE(IsPlaced(edges, 70, c_iFirst, thres));
    EXPECT_TRUE(IsPlaced(edges, 71, c_iFirst, thres));
}

TEST(DetPosByIntersec, RefusesMissingAndEmptyEdges)
{
    SEdges edges;
    LxCRectCornerCalibMark& mark = edges.mark;
    EXPECT_FALSE(mark.DetPosByIntersec(nullptr, &edges.ver, c_iFirst, c_iFirst, Thresholds()));
    EXPECT_FALSE(mark.DetPosByIntersec(&edges.hor, nullptr, c_iFirst, c_iFirst, Thresholds()));
    LxCCBRectEdge empty(eHor);
    LxCCBCalibThres loose = Thresholds();
    loose.m_iMinDistCornerToOppEdgeEnd = 0;
    EXPECT_FALSE(mark.DetPosByIntersec(&empty, &edges.ver, 0, c_iFirst, loose));
    EXPECT_EQ(edges.ver.GetUpperCorner(), nullptr);
    for (const int bad : {c_iMin, c_iMax}) {
        EXPECT_FALSE(IsPlaced(edges, bad, bad, Thresholds()));
    }
}

TEST(DetPosByIntersec, RefusesLinesThatDoNotCross)
{
    // A horizontal edge that runs along the diagonal, as the vertical one does: y = x.
    const auto diagonal = [](double p) { return p; };
    LxCCBRectEdge hor = MakeEdge<LxCCBRectEdge>(eHor, c_iFirst, c_iLast, diagonal);
    LxCCBRectEdge ver = MakeEdge<LxCCBRectEdge>(eVer, c_iFirst, c_iLast, diagonal);
    LxCRectCornerCalibMark mark(false);
    EXPECT_FALSE(mark.DetPosByIntersec(&hor, &ver, c_iFirst, c_iFirst, Thresholds()));
    LxCCBCalibThres parabolas = Thresholds();
    parabolas.m_bUseParabolaFit = true;
    EXPECT_FALSE(mark.DetPosByIntersec(&hor, &ver, c_iFirst, c_iFirst, parabolas));
    EXPECT_EQ(hor.GetLeftCorner(), nullptr);
}

/// An edge whose entries lie `amount` pixels before and behind value 60 in turn.
LxCCBRectEdge RaggedEdge(CStraightEdge::EOrientation orientation, double amount)
{
    CCTImage image = TestSupport::WordImage(200, 200);
    TestSupport::PutEdge(image, orientation, c_iFirst, c_iLast,
                         [amount](double p) { return 60.0 + (std::fmod(p, 2.0) == 0.0 ? amount : -amount); });
    LxCCBRectEdge edge(orientation);
    const int across = static_cast<int>(60.0 + amount);
    edge.Trace(image, orientation == eHor ? c_iFirst : across, orientation == eHor ? across : c_iFirst, 8);
    return edge;
}

TEST(DetPosByIntersec, CornersOnRaggedLinesAreNotUsed)
{
    for (const double amount : {2.5, 3.5}) {
        SEdges edges;
        LxCCBRectEdge hor = RaggedEdge(eHor, amount); // a residual a little above the amount
        ASSERT_EQ(hor.GetLen(), c_iLast - c_iFirst + 1);
        ASSERT_TRUE(edges.mark.DetPosByIntersec(&hor, &edges.ver, c_iFirst, c_iFirst, Thresholds()));
        EXPECT_EQ(edges.mark.UseForCalib(), amount < 3.0);
        SEdges others;
        LxCCBRectEdge ver = RaggedEdge(eVer, amount);
        ASSERT_TRUE(others.mark.DetPosByIntersec(&others.hor, &ver, c_iFirst, c_iFirst, Thresholds()));
        EXPECT_EQ(others.mark.UseForCalib(), amount < 3.0);
    }
}

TEST(DetPosByIntersec, CornersOnParabolasAreUsedHoweverRagged)
{
    LxCCBCalibThres thres = Thresholds();
    thres.m_bUseParabolaFit = true;
    thres.m_iNrOfSamples = 60;
    LxCCBRectEdge ver = MakeEdge<LxCCBRectEdge>(eVer, c_iFirst, c_iLast,
                                                [](double) { return static_cast<double>(c_iFirst); });
    LxCCBRectEdge hor = RaggedEdge(eHor, 2.3); // within the 2.5 pixels of an outlier
    LxCRectCornerCalibMark mark(false);
    ASSERT_TRUE(mark.DetPosByIntersec(&hor, &ver, c_iFirst, c_iFirst, thres));
    EXPECT_TRUE(mark.UseForCalib());
}

/// Edges that are parabolas around the corner (50, 50), bent by 1/64 pixel per square pixel.
struct SBentEdges
{
    explicit SBentEdges(int last)
        : hor(MakeEdge<LxCCBRectEdge>(eHor, 48, last,
                                      [](double x) { return 50.0 + (x - 50.0) * (x - 50.0) / 64.0; })),
          ver(MakeEdge<LxCCBRectEdge>(eVer, 48, last,
                                      [](double y) { return 50.0 + (y - 50.0) * (y - 50.0) / 64.0; }))
    {}
    LxCCBRectEdge hor;
    LxCCBRectEdge ver;
    LxCRectCornerCalibMark mark{false};
};

TEST(DetPosByIntersec, ParabolasFollowBentEdges)
{
    LxCCBCalibThres thres = Thresholds();
    thres.m_bUseParabolaFit = true;
    SBentEdges bent(75);
    ASSERT_TRUE(bent.mark.DetPosByIntersec(&bent.hor, &bent.ver, 50, 50, thres));
    EXPECT_EQ(bent.mark.GetType(), LxCRectCornerCalibMark::eUpperLeft);
    EXPECT_NEAR(bent.mark.GetXImg(), 50.0, c_dBisection);
    EXPECT_NEAR(bent.mark.GetYImg(), 50.0, c_dBisection);
    thres.m_bUseParabolaFit = false;
    SBentEdges straight(75);
    ASSERT_TRUE(straight.mark.DetPosByIntersec(&straight.hor, &straight.ver, 50, 50, thres));
    EXPECT_GT(std::abs(straight.mark.GetXImg() - 50.0), 0.5);
}

TEST(DetPosByIntersec, ShortEdgesFallBackToLines)
{
    LxCCBCalibThres thres = Thresholds();
    thres.m_bUseParabolaFit = true;
    thres.m_iMinDistCornerToOppEdgeEnd = 1;
    // Parabolas need more than skip + 6 entries: 48 to 56 are 9, 48 to 57 are 10.
    for (const auto& [last, isParabola] : {std::pair(56, false), std::pair(57, true)}) {
        for (const bool horIsShort : {true, false}) {
            SBentEdges shorter(last);
            SBentEdges longer(75);
            LxCCBRectEdge& hor = horIsShort ? shorter.hor : longer.hor;
            LxCCBRectEdge& ver = horIsShort ? longer.ver : shorter.ver;
            LxCRectCornerCalibMark mark(false);
            ASSERT_TRUE(mark.DetPosByIntersec(&hor, &ver, 50, 50, thres));
            EXPECT_EQ(std::abs(mark.GetXImg() - 50.0) < 1e-3 && std::abs(mark.GetYImg() - 50.0) < 1e-3,
                      isParabola)
                << last;
        }
    }
}

TEST(DetPosByIntersec, DrawsBothCurves)
{
    for (const bool useParabolas : {false, true}) {
        LxCCBCalibThres thres = Thresholds();
        thres.m_bUseParabolaFit = useParabolas;
        SEdges edges;
        CCTImage image(200, 200, CCTImage::eIDT_ARGB8, true, nullptr);
        image.Clear();
        // Parabolas are searched near x; the edges cross at about 66.
        thres.m_iMaxDistCornerToEdgeEnd = 100;
        ASSERT_TRUE(edges.mark.DetPosByIntersec(&edges.hor, &edges.ver, 66, 66, thres, &image));
        // y = 60 + 48 / 8 = 66 at x = 48; x = 70 - 48 / 16 = 67 at y = 48.
        EXPECT_EQ(image.GetInt32PixelFast(48, 66), 0x00FF00) << useParabolas;
        EXPECT_EQ(image.GetInt32PixelFast(67, 48), 0xFF0000) << useParabolas;
        EXPECT_EQ(image.GetInt32PixelFast(c_iFirst - 1, 65), 0);
    }
}

TEST(LxCRectCornerCalibMark, ResetCornerFreesTheEdgesForAnother)
{
    SEdges edges;
    LxCRectCornerCalibMark other(false);
    edges.hor.SetRightCorner(&other);
    ASSERT_TRUE(edges.Place(c_iFirst, c_iFirst, Thresholds()));
    edges.mark.MarkAsUnusableForCalib();
    edges.mark.ResetCorner();
    EXPECT_EQ(edges.mark.GetHorEdge(), nullptr);
    EXPECT_EQ(edges.mark.GetVerEdge(), nullptr);
    EXPECT_EQ(edges.hor.GetLeftCorner(), nullptr);
    EXPECT_EQ(edges.hor.GetRightCorner(), &other);
    EXPECT_EQ(edges.ver.GetUpperCorner(), nullptr);
    EXPECT_TRUE(other.DetPosByIntersec(&edges.hor, &edges.ver, c_iFirst, c_iFirst, Thresholds()));
    EXPECT_TRUE(edges.Place(c_iFirst, c_iLast, Thresholds()) == false); // its left end is taken
    EXPECT_TRUE(edges.mark.UseForCalib());
}

bool Intersect(const std::array<double, 3>& a, const std::array<double, 3>& b, double seed, double& x,
               double& y)
{
    return LxCRectCornerCalibMark::IntersectPolysDeg2(a.data(), b.data(), x, y, seed);
}

TEST(IntersectPolysDeg2, MeetsThePointThatBothCurvesWereLaidThrough)
{
    std::mt19937 random(9);
    std::uniform_real_distribution place(0.0, 600.0);
    std::uniform_real_distribution slope(-0.3, 0.3);
    std::uniform_real_distribution bend(-0.001, 0.001);
    std::uniform_real_distribution offset(-5.8, 3.9);
    for (int trial = 0; trial < 5000; ++trial) {
        const double x0 = place(random);
        const double y0 = place(random);
        // y = y0 + s (x - x0) + q (x - x0)², expanded; the same for x of y.
        const auto through = [&](double p, double v) {
            const double s = slope(random);
            const double q = bend(random);
            return std::array{v - s * p + q * p * p, s - 2.0 * q * p, q};
        };
        const auto a = through(x0, y0);
        const auto b = through(y0, x0);
        double x = 0.0;
        double y = 0.0;
        ASSERT_TRUE(Intersect(a, b, x0 + offset(random), x, y)) << "trial " << trial;
        // Coefficients carry rounding of 600² * 1e-3 * 2^-53 only.
        EXPECT_NEAR(x, x0, c_dBisection);
        EXPECT_NEAR(y, y0, c_dBisection);
    }
}

TEST(IntersectPolysDeg2, SearchesTenPixelsFromFourBelowTheSeed)
{
    const std::array a{50.0, 0.0, 0.0}; // y = 50
    const std::array b{30.0, 0.0, 0.0}; // x = 30
    double x = 1.0;
    double y = 2.0;
    for (const double seed : {24.0, 23.9, 0.0, 34.05, 37.0, 1e9, -1e9}) {
        EXPECT_FALSE(Intersect(a, b, seed, x, y)) << seed;
        EXPECT_EQ(x, 1.0);
        EXPECT_EQ(y, 2.0);
    }
    for (const double seed : {24.15, 25.0, 30.0, 33.95}) {
        x = y = 0.0;
        EXPECT_TRUE(Intersect(a, b, seed, x, y)) << seed;
        EXPECT_NEAR(x, 30.0, c_dBisection);
        EXPECT_EQ(y, 50.0);
    }
}

TEST(IntersectPolysDeg2, AZeroHasASignOfItsOwn)
{
    // x - 30 is exactly 0 at the sample seed - 4 = 30, so that the first pair differs already, and bisection keeps to
    // its lower end only as long as the sign stays: it ends at the lower end of the pair.
    double x = 0.0;
    double y = 0.0;
    ASSERT_TRUE(Intersect({50.0, 0.0, 0.0}, {30.0, 0.0, 0.0}, 34.0, x, y));
    EXPECT_NEAR(x, 30.0, c_dBisection);
}

TEST(IntersectPolysDeg2, FindsTheFirstOfTwoCrossings)
{
    // x = y and y = x² / 8: x = 0 and x = 8.
    double x = 1.0;
    double y = 1.0;
    ASSERT_TRUE(Intersect({0.0, 0.0, 0.125}, {0.0, 1.0, 0.0}, 3.95, x, y));
    EXPECT_NEAR(x, 0.0, c_dBisection);
    ASSERT_TRUE(Intersect({0.0, 0.0, 0.125}, {0.0, 1.0, 0.0}, 7.05, x, y));
    EXPECT_NEAR(x, 8.0, c_dBisection);
}

TEST(IntersectPolysDeg2, DoesNotSeeAPairOfCrossingsBetweenSamples)
{
    // x - y² with y = 0.5 + x has no zero; y = 0.5 + x, x = y² - 0.0001 ... a touch of 0.02 pixels is skipped.
    const std::array a{0.0, 1.0, 0.0};
    const std::array b{0.05 * 0.05 - 0.01 * 0.01, 1.0 - 0.1, 1.0}; // x - B(x) = -((x - 0.05)² - 0.01²)
    double x = 0.0;
    double y = 0.0;
    EXPECT_FALSE(Intersect(a, b, 0.0, x, y));
}

TEST(IntersectPolysDeg2, RefusesWhatIsNoNumber)
{
    double x = 1.0;
    double y = 2.0;
    for (const double bad : {c_dNan, c_dInfinity, -c_dInfinity, 1e300}) {
        for (std::size_t i = 0; i < 3; ++i) {
            std::array a{50.0, 0.0, 0.0};
            std::array b{30.0, 0.0, 0.0};
            a.at(i) = bad;
            if (Intersect(a, b, 30.0, x, y)) {
                EXPECT_TRUE(std::isfinite(x) && std::isfinite(y));
            }
            a = {50.0, 0.0, 0.0};
            b.at(i) = bad;
            if (Intersect(a, b, 30.0, x, y)) {
                EXPECT_TRUE(std::isfinite(x) && std::isfinite(y));
            }
        }
        EXPECT_FALSE(Intersect({50.0, 0.0, 0.0}, {30.0, 0.0, 0.0}, bad, x, y));
    }
    x = 1.0;
    const std::array a{0.0, 0.0, 0.0};
    EXPECT_FALSE(LxCRectCornerCalibMark::IntersectPolysDeg2(nullptr, a.data(), x, y, 0.0));
    EXPECT_FALSE(LxCRectCornerCalibMark::IntersectPolysDeg2(a.data(), nullptr, x, y, 0.0));
    EXPECT_EQ(x, 1.0);
}

} // namespace
} // namespace LxCV
