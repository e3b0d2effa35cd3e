// Tests of the search for the next square along a row or a column of the grid.
#include "squaretestsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::CSquareList;
using TestSupport::Point;
using TestSupport::Quad;

constexpr double kSide = 40.0;
constexpr double kLimit = 1000.0;
constexpr double kDeviation = 5.0;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A square with its upper left corner as given.
Quad SquareAt(double x, double y)
{
    return AxisParallel(x, y, kSide, kSide);
}

/// The same quad with x and y exchanged, which exchanges upper right and lower left.
Quad Transposed(const Quad& quad)
{
    const auto turn = [](const Point& p) { return Point(p.y, p.x); };
    return {turn(quad[0]), turn(quad[2]), turn(quad[1]), turn(quad[3])};
}

/// Squares along a row, or, with x and y exchanged, along a column. The first one is where searches begin.
class LxCCBRectNeighbors : public testing::TestWithParam<bool>
{
protected:
    bool IsRow() const { return GetParam(); }

    LxCCBRect& Add(const Quad& quad) { return m_squares.Add(IsRow() ? quad : Transposed(quad)); }

    void SetUnit(LxCCBRect& rect, double unit) const
    {
        // The other unit plays no part in the search.
        IsRow() ? rect.SetDistUnits(unit, 0.123) : rect.SetDistUnits(0.123, unit);
    }

    /// To the right, or downwards.
    int Next(double limit = kLimit, double deviation = kDeviation, bool relaxed = false) const
    {
        const auto& list = m_squares.GetList();
        return IsRow() ? list[0]->FindHorNeighbor(&list, true, limit, deviation, relaxed)
                       : list[0]->FindVerNeighbor(&list, false, limit, deviation, relaxed);
    }

    /// To the left, or upwards.
    int Previous(double limit = kLimit, double deviation = kDeviation, bool relaxed = false) const
    {
        const auto& list = m_squares.GetList();
        return IsRow() ? list[0]->FindHorNeighbor(&list, false, limit, deviation, relaxed)
                       : list[0]->FindVerNeighbor(&list, true, limit, deviation, relaxed);
    }

    CSquareList m_squares;
};

INSTANTIATE_TEST_SUITE_P(RowAndColumn, LxCCBRectNeighbors, testing::Bool(),
                         [](const auto& row) { return row.param ? "Row" : "Column"; });

TEST_P(LxCCBRectNeighbors, TheNearestOnEitherSideIsFound)
{
    Add(SquareAt(500.0, 100.0));
    Add(SquareAt(700.0, 100.0));
    Add(SquareAt(610.0, 100.0));
    Add(SquareAt(300.0, 100.0));
    Add(SquareAt(380.0, 100.0));
    EXPECT_EQ(Next(), 2);
    EXPECT_EQ(Previous(), 4);
}

TEST_P(LxCCBRectNeighbors, OfEquallyNearOnesTheFirstIsFound)
{
    Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 101.0));
    Add(SquareAt(220.0, 100.0));
    EXPECT_EQ(Next(), 1);
}

TEST_P(LxCCBRectNeighbors, TheLimitItselfIsTooFar)
{
    Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 100.0));
    EXPECT_EQ(Next(120.0), -1);
    EXPECT_EQ(Next(120.5), 1);
    EXPECT_EQ(Next(0.0), -1);
    EXPECT_EQ(Next(-5.0), -1);
    EXPECT_EQ(Next(kNaN), -1);
}

TEST_P(LxCCBRectNeighbors, ASquareInTheSamePlaceIsNoNeighbor)
{
    Add(SquareAt(100.0, 100.0));
    Add(SquareAt(100.0, 100.0));
    EXPECT_EQ(Next(), -1);
    EXPECT_EQ(Previous(), -1);
}

TEST_P(LxCCBRectNeighbors, SquaresWithAnIdOrWithoutACornerAreNoCandidates)
{
    Add(SquareAt(100.0, 100.0));
    LxCCBRect& near = Add(SquareAt(220.0, 100.0));
    LxCCBRect& middle = Add(SquareAt(340.0, 100.0));
    Add(SquareAt(460.0, 100.0));
    near.SetId(-1);
    EXPECT_EQ(Next(), 2);
    middle.SetLRCorner(nullptr);
    EXPECT_EQ(Next(), 3);
    near.SetId(0);
    EXPECT_EQ(Next(), 1);
}

TEST_P(LxCCBRectNeighbors, AnInvalidSquareIsACandidate)
{
    Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 100.0)).MakeInvalid();
    EXPECT_EQ(Next(), 1);
}

TEST_P(LxCCBRectNeighbors, CornersMayMissTheirLinesByTheDeviation)
{
    // All four corners miss by m, so e / 2 = sqrt(4 m²) / 2 = m. Edges hold the sides' rows exactly.
    Add(SquareAt(100.0, 100.0));
    LxCCBRect& other = Add(SquareAt(220.0, 104.0));
    EXPECT_EQ(Next(kLimit, 4.5), 1);
    EXPECT_EQ(Next(kLimit, 4.0), -1);
    // One corner that misses by 8 weighs as much as four by 4.
    for (auto* const corner : other.GetCorners()) {
        IsRow() ? corner->SetYImg(corner->GetYImg() - 4.0) : corner->SetXImg(corner->GetXImg() - 4.0);
    }
    auto* const corner = other.GetCorners()[3];
    IsRow() ? corner->SetYImg(148.0) : corner->SetXImg(148.0);
    EXPECT_EQ(Next(kLimit, 4.5), 1);
    EXPECT_EQ(Next(kLimit, 4.0), -1);
}

TEST_P(LxCCBRectNeighbors, BothSidesArePredictedByTheirOwnLine)
{
    // The near side falls by a tenth, the far side rises by a tenth: squares further on are taller.
    const auto near = [](double x) { return 300.0 - 0.1 * (x - 100.0); };
    const auto far = [](double x) { return 340.0 + 0.1 * (x - 100.0); };
    const auto wedge = [&](double x) {
        return Quad{Point(x, near(x)), Point(x + kSide, near(x + kSide)), Point(x, far(x)),
                    Point(x + kSide, far(x + kSide))};
    };
    Add(wedge(100.0));
    Add(wedge(300.0));
    // Rounding of the entries to 1/64 pixel tilts a line of 36 entries by at most 1/36 of that a pixel.
    EXPECT_EQ(Next(kLimit, 0.2), 1);
    Add(Quad{Point(250.0, 300.0), Point(290.0, 300.0), Point(250.0, 340.0), Point(290.0, 340.0)});
    EXPECT_EQ(Next(kLimit, 5.0), 1);
    EXPECT_EQ(Next(kLimit, 25.0), 2);
}

TEST_P(LxCCBRectNeighbors, DistancesAreAboutWholeNumbersOfUnits)
{
    // With a unit of 100 the fraction of d / 100 + 0.5 lies between 0.3 and 0.7 for d from 80 to 120, 180 to 220 ...
    LxCCBRect& self = Add(SquareAt(100.0, 100.0));
    Add(SquareAt(0.0, 100.0));
    SetUnit(self, 100.0);
    LxCCBRect& other = *m_squares.GetList()[1];
    const auto place = [&](double distance) {
        const Quad quad =
            IsRow() ? SquareAt(100.0 + distance, 100.0) : Transposed(SquareAt(100.0 + distance, 100.0));
        for (std::size_t i = 0; i < quad.size(); ++i) {
            other.GetCorners()[i]->SetXImg(quad[i].x);
            other.GetCorners()[i]->SetYImg(quad[i].y);
        }
    };
    for (int distance = 1; distance < 500; ++distance) {
        const int remainder = (distance + 50) % 100; // hundredths of the fraction
        if (remainder == 30 || remainder == 70) {
            continue; // rounding decides
        }
        place(distance);
        EXPECT_EQ(Next() == 1, 30 < remainder && remainder < 70) << distance;
        if (remainder != 10 && remainder != 80) {
            EXPECT_EQ(Next(kLimit, kDeviation, true) == 1, 10 < remainder && remainder < 80) << distance;
        }
        place(-distance);
        EXPECT_EQ(Previous() == 1, 30 < remainder && remainder < 70) << distance;
    }
    SetUnit(self, 0.0);
    place(150.0);
    EXPECT_EQ(Next(), 1);
}

TEST_P(LxCCBRectNeighbors, UnitsThatAreNoLengthsFindNothing)
{
    LxCCBRect& self = Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 100.0));
    for (const double unit : {kNaN, std::numeric_limits<double>::denorm_min()}) {
        SetUnit(self, unit);
        EXPECT_EQ(Next(), -1) << unit;
    }
    SetUnit(self, -120.0);
    EXPECT_EQ(Next(), 1);
}

TEST_P(LxCCBRectNeighbors, WithoutAListASideOrALineNothingIsFound)
{
    LxCCBRect& self = Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 100.0));
    ASSERT_EQ(Next(), 1);
    EXPECT_EQ(self.FindHorNeighbor(nullptr, true, kLimit, kDeviation, false), -1);
    EXPECT_EQ(self.FindVerNeighbor(nullptr, false, kLimit, kDeviation, false), -1);
    for (const bool upperRight : {false, true}) {
        auto* const corner = upperRight ? self.GetURCorner() : self.GetLLCorner();
        upperRight ? self.SetURCorner(nullptr) : self.SetLLCorner(nullptr);
        EXPECT_EQ(Next(), -1);
        upperRight ? self.SetURCorner(corner) : self.SetLLCorner(corner);
        auto* const horEdge = corner->GetHorEdge();
        auto* const verEdge = corner->GetVerEdge();
        corner->SetEdges(nullptr, nullptr);
        EXPECT_EQ(Next(), -1);
        TestSupport::CHandMadeEdge dot(CStraightEdge::eHorizontal, Point(5.0, 5.0), Point(5.0, 5.0));
        corner->SetEdges(&dot, &dot);
        EXPECT_EQ(Next(), -1);
        corner->SetEdges(horEdge, verEdge);
        EXPECT_EQ(Next(), 1);
    }
}

TEST_P(LxCCBRectNeighbors, NullsInTheListArePassedOver)
{
    Add(SquareAt(100.0, 100.0));
    Add(SquareAt(220.0, 100.0));
    std::vector<LxCCBRect*> list = m_squares.GetList();
    list.insert(list.begin() + 1, nullptr);
    EXPECT_EQ(IsRow() ? list[0]->FindHorNeighbor(&list, true, kLimit, kDeviation, false)
                      : list[0]->FindVerNeighbor(&list, false, kLimit, kDeviation, false),
              2);
}

/// The search as its definition tells it, with the lines known: squares are axis-parallel, so their sides are too.
int BruteForce(const std::vector<Quad>& quads, const std::vector<bool>& hasId, double unit, bool forward,
               double limit, double deviation, bool relaxed)
{
    const double sign = forward ? 1.0 : -1.0;
    const double q = relaxed ? 0.2 : 0.0;
    int found = -1;
    double best = limit;
    for (std::size_t i = 1; i < quads.size(); ++i) {
        double d = 0.0;
        double sum = 0.0;
        for (std::size_t k = 0; k < 4; ++k) {
            d += (quads[i][k].x - quads[0][k].x) / 4.0;
            const double miss = quads[i][k].y - quads[0][k].y;
            sum += miss * miss;
        }
        const double units = std::abs(d / unit) + 0.5;
        const double t = unit == 0.0 ? 0.5 : units - std::floor(units);
        if (!hasId[i] && d * sign > 0.0 && d * sign < best && std::sqrt(sum) * 0.5 < deviation &&
            t > 0.3 - q && t < 0.7 + q / 2.0) {
            best = d * sign;
            found = static_cast<int>(i);
        }
    }
    return found;
}

TEST_P(LxCCBRectNeighbors, AgreesWithItsDefinitionOnRandomSquares)
{
    std::mt19937 random(7);
    const auto upTo = [&random](unsigned int end) { return static_cast<double>(random() % end); };
    int hits = 0;
    for (int trial = 0; trial < 1000; ++trial) {
        m_squares = CSquareList();
        std::vector<Quad> quads;
        std::vector<bool> hasId;
        const unsigned int count = 2 + random() % 12;
        for (unsigned int i = 0; i < count; ++i) {
            quads.push_back(i == 0 ? SquareAt(300.0, 300.0) : SquareAt(upTo(600), 290.0 + upTo(20)));
            hasId.push_back(i > 0 && random() % 4 == 0);
            Add(quads.back()).SetId(hasId.back() ? 5 : 0);
        }
        const double unit = random() % 3 == 0 ? 0.0 : 20.0 + upTo(100) + 0.37;
        SetUnit(*m_squares.GetList()[0], unit);
        const double limit = upTo(400);
        const double deviation = 0.5 + upTo(12);
        const bool relaxed = random() % 2 == 0;
        const int next = Next(limit, deviation, relaxed);
        ASSERT_EQ(next, BruteForce(quads, hasId, unit, true, limit, deviation, relaxed)) << "trial " << trial;
        ASSERT_EQ(Previous(limit, deviation, relaxed),
                  BruteForce(quads, hasId, unit, false, limit, deviation, relaxed))
            << "trial " << trial;
        hits += next >= 0 ? 1 : 0;
    }
    EXPECT_GT(hits, 200);
}

} // namespace
} // namespace LxCV
