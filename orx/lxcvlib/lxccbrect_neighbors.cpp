// The search for the next square along a row or a column of the grid.
#include "c2dstraightline.h"
#include "lxccbrect.h"
#include "lxccbrectedge.h"
#include "lxcrectcornercalibmark.h"

#include <cmath>
#include <cstddef>
#include <optional>

namespace LxCV {

namespace {

using Corner = LxCRectCornerCalibMark;

constexpr int c_iSideSamples = 40;
constexpr int c_iSideSkip = 2;
constexpr double c_dWholeUnits = 0.5; // the fraction that tells a whole number of units
constexpr double c_dMinFraction = 0.3;
constexpr double c_dMaxFraction = 0.7;
constexpr double c_dRelaxed = 0.2;

/// What runs along a row of squares: x along it, y across, and its first side is the upper one.
struct SRow
{
    static double Along(const Corner& corner) { return corner.GetXImg(); }
    static double Across(const Corner& corner) { return corner.GetYImg(); }
    static double Distance(const LxCCBRect& from, const LxCCBRect& to) { return from.GetXDist(&to); }
    static double Unit(const LxCCBRect& rect) { return rect.GetHorDistUnit(); }
    static const LxCCBRectEdge* Edge(const Corner& corner) { return corner.GetHorEdge(); }
    static Corner* FirstSide(const LxCCBRect& rect) { return rect.GetURCorner(); }
    static Corner* SecondSide(const LxCCBRect& rect) { return rect.GetLLCorner(); }

    /// The line is the value across as a function of that along.
    static void Orient(C2DStraightLine& /*line*/) {}
};

/// What runs along a column: y along it, x across, and its first side is the left one.
struct SColumn
{
    static double Along(const Corner& corner) { return corner.GetYImg(); }
    static double Across(const Corner& corner) { return corner.GetXImg(); }
    static double Distance(const LxCCBRect& from, const LxCCBRect& to) { return from.GetYDist(&to); }
    static double Unit(const LxCCBRect& rect) { return rect.GetVerDistUnit(); }
    static const LxCCBRectEdge* Edge(const Corner& corner) { return corner.GetVerEdge(); }
    static Corner* FirstSide(const LxCCBRect& rect) { return rect.GetLLCorner(); }
    static Corner* SecondSide(const LxCCBRect& rect) { return rect.GetURCorner(); }
    static void Orient(C2DStraightLine& line) { line.Invert(); }
};

/// The two lines between which the squares of a row, or a column, lie.
template <typename Direction>
class CLane
{
public:
    explicit CLane(const LxCCBRect& rect) : m_rect(rect) {}

    /// Whether the corners of a square lie on the lines, up to a deviation (pixels). The lines are fitted when the
    /// first square asks: most searches find none that is near enough.
    bool Holds(const LxCCBRect& rect, double deviation)
    {
        if (!m_fitted.has_value()) {
            m_fitted = FitSide(Direction::FirstSide(m_rect), m_first) &&
                       FitSide(Direction::SecondSide(m_rect), m_second);
        }
        return *m_fitted && Miss(rect) * 0.5 < deviation;
    }

private:
    /// The root of the sum of squares by which the corners miss their lines, pixels.
    double Miss(const LxCCBRect& rect) const
    {
        // The corner between both sides' ends belongs to the first line, the one across from it to the second.
        return std::sqrt(Square(m_first, *rect.GetULCorner()) + Square(m_first, *Direction::FirstSide(rect)) +
                         Square(m_second, *Direction::SecondSide(rect)) +
                         Square(m_second, *rect.GetLRCorner()));
    }

    static bool FitSide(const Corner* corner, C2DStraightLine& line)
    {
        const LxCCBRectEdge* const edge = corner != nullptr ? Direction::Edge(*corner) : nullptr;
        double residual = 0.0;
        if (edge == nullptr ||
            !edge->FitToStrLine(&line, c_iSideSamples, c_iSideSkip, false, residual, true)) {
            return false;
        }
        Direction::Orient(line);
        return true;
    }

    static double Square(const C2DStraightLine& line, const Corner& corner)
    {
        const double miss = line.f(Direction::Along(corner)) - Direction::Across(corner);
        return miss * miss;
    }

    const LxCCBRect& m_rect;
    std::optional<bool> m_fitted;
    C2DStraightLine m_first;
    C2DStraightLine m_second;
};

/// The fraction by which a distance differs from a whole number of units, 0.5 where it does not.
double FractionOfUnits(double distance, double unit)
{
    if (unit == 0.0) {
        return c_dWholeUnits;
    }
    const double units = std::abs(distance / unit) + c_dWholeUnits;
    return units - std::floor(units);
}

template <typename Direction>
int FindNeighbor(const LxCCBRect& self, const std::vector<LxCCBRect*>* list, bool forward, double limit,
                 double deviation, bool relaxed)
{
    if (list == nullptr) {
        return -1;
    }
    CLane<Direction> lane(self);
    const double sign = forward ? 1.0 : -1.0;
    const double relaxation = relaxed ? c_dRelaxed : 0.0;
    const double unit = Direction::Unit(self);
    double best = limit;
    int found = -1;
    for (std::size_t i = 0; i < list->size(); ++i) {
        const LxCCBRect* const candidate = (*list)[i];
        if (candidate == nullptr || candidate == &self || candidate->GetId() != 0 ||
            !candidate->HasFourCorners()) {
            continue;
        }
        const double distance = Direction::Distance(self, *candidate);
        if (!(distance * sign > 0.0 && distance * sign < best)) {
            continue;
        }
        const double fraction = FractionOfUnits(distance, unit);
        if (c_dMinFraction - relaxation < fraction && fraction < c_dMaxFraction + relaxation / 2.0 &&
            lane.Holds(*candidate, deviation)) {
            best = distance * sign;
            found = static_cast<int>(i);
        }
    }
    return found;
}

} // namespace

int LxCCBRect::FindHorNeighbor(const std::vector<LxCCBRect*>* list, bool toRight, double limit,
                               double deviation, bool relaxed) const
{
    return FindNeighbor<SRow>(*this, list, toRight, limit, deviation, relaxed);
}

int LxCCBRect::FindVerNeighbor(const std::vector<LxCCBRect*>* list, bool upward, double limit,
                               double deviation, bool relaxed) const
{
    return FindNeighbor<SColumn>(*this, list, !upward, limit, deviation, relaxed);
}

} // namespace LxCV
