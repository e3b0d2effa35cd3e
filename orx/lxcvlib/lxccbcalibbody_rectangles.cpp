// Squares of a checkerboard target by their places: outermost ones, and four in a rectangle.
#include "lxccbcalibbody.h"
#include "lxccbrect.h"
#include "lxcrectcornercalibmark.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace LxCV {

namespace {

constexpr double c_dRightAngle = 90.0; // degrees
constexpr double c_dHalfTurn = 180.0;  // degrees

/// More than all rounding in directions and in `ComputeCornerAngle`, degrees.
constexpr double c_dAngleSlack = 1e-3;

/// The square for which `distance` is least, the later one of equal ones; null without any.
template <typename Distance>
LxCCBRect* FindNearest(const std::vector<LxCCBRect*>& rects, const Distance& distance)
{
    LxCCBRect* nearest = nullptr;
    double least = 0.0;
    for (LxCCBRect* const rect : rects) {
        if (rect == nullptr) {
            continue;
        }
        const double here = distance(*rect);
        if (nearest == nullptr || here <= least || std::isnan(least)) {
            least = here;
            nearest = rect;
        }
    }
    return nearest;
}

void Store(LxCCBRect** place, LxCCBRect* rect)
{
    if (place != nullptr) {
        *place = rect;
    }
}

/// From each square the directions to all others, in an order in which those that make a right angle, or about one,
/// are found without looking at the others. A direction counts the same as its opposite.
class CDirections
{
public:
    struct SDirection
    {
        float angle; ///< degrees, 0 to 180
        int index;
    };

    /// @param tolerance degrees that a right angle may be off
    CDirections(const std::vector<LxCCBRect*>& rects, double tolerance)
        : m_dHalfWidth(tolerance + c_dAngleSlack), m_isMade(rects.size()), m_tables(rects.size())
    {
        m_centres.reserve(rects.size());
        for (const LxCCBRect* const rect : rects) {
            m_centres.emplace_back(rect->GetXCenter(), rect->GetYCenter());
        }
    }

    /// Calls `visit` with the index of every square in whose direction from `apex` a right angle to the direction
    /// towards `arm` may be, in no particular order. None is left out, some are more than the tolerance off.
    template <typename Visit>
    void VisitRightAngles(int apex, int arm, const Visit& visit)
    {
        const std::vector<SDirection>& table = GetTable(apex);
        const double towardsArm = AngleOf(apex, arm);
        if (std::isnan(towardsArm)) {
            return;
        }
        const double middle = std::fmod(towardsArm + c_dRightAngle, c_dHalfTurn);
        if (!(m_dHalfWidth < c_dRightAngle)) {
            VisitRange(table, 0.0, c_dHalfTurn, visit);
            return;
        }
        const double first = middle - m_dHalfWidth;
        const double last = middle + m_dHalfWidth;
        VisitRange(table, first, last, visit);
        if (first < 0.0) {
            VisitRange(table, std::max(last, first + c_dHalfTurn), c_dHalfTurn, visit);
        }
        if (last >= c_dHalfTurn) {
            VisitRange(table, 0.0, std::min(first, last - c_dHalfTurn), visit);
        }
    }

private:
    template <typename Visit>
    static void VisitRange(const std::vector<SDirection>& table, double first, double last,
                           const Visit& visit)
    {
        const auto begin =
            std::lower_bound(table.begin(), table.end(), first,
                             [](const SDirection& d, double angle) { return d.angle < angle; });
        for (auto direction = begin; direction != table.end() && direction->angle <= last; ++direction) {
            visit(direction->index);
        }
    }

    /// Degrees, 0 to 180; not a number where both squares are in one place.
    double AngleOf(int from, int to) const
    {
        const LxCSensorCoordsCCT way =
            m_centres[static_cast<std::size_t>(to)] - m_centres[static_cast<std::size_t>(from)];
        if (way.x == 0.0 && way.y == 0.0) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        const double angle = std::atan2(way.y, way.x) * c_dHalfTurn / std::numbers::pi;
        return angle < 0.0 ? angle + c_dHalfTurn : angle;
    }

    /// Made when it is first asked for: a rectangle is often found long before all tables are needed.
    const std::vector<SDirection>& GetTable(int apex)
    {
        std::vector<SDirection>& table = m_tables[static_cast<std::size_t>(apex)];
        if (!m_isMade[static_cast<std::size_t>(apex)]) {
            m_isMade[static_cast<std::size_t>(apex)] = true;
            table.reserve(m_centres.size());
            for (int i = 0; i < static_cast<int>(m_centres.size()); ++i) {
                const double angle = AngleOf(apex, i);
                if (i != apex && !std::isnan(angle)) {
                    table.push_back({static_cast<float>(angle), i});
                }
            }
            std::sort(table.begin(), table.end(),
                      [](const SDirection& a, const SDirection& b) { return a.angle < b.angle; });
        }
        return table;
    }

    double m_dHalfWidth; ///< degrees
    std::vector<LxCSensorCoordsCCT> m_centres;
    std::vector<bool> m_isMade;
    std::vector<std::vector<SDirection>> m_tables;
};

/// The search for four squares i, j, k, l with right angles at j, k and l. Indices into the first list.
class CRectangleSearch
{
public:
    CRectangleSearch(const LxCCBCalibBody& body, double tolerance)
        : m_body(body), m_dTolerance(tolerance), m_directions(body.GetRects(), tolerance)
    {}

    /// The first one in the order of i, then j, then k, then l; false without any.
    bool Find(std::array<int, 4>& quad)
    {
        const int count = m_body.GetNumDetectedRects();
        for (int i = 0; i < count; ++i) {
            for (int j = 0; j < count; ++j) {
                if (i != j && FindOnSide(i, j, quad)) {
                    return true;
                }
            }
        }
        return false;
    }

private:
    bool IsRightAngle(int a, int b, int c) const
    {
        return std::abs(m_body.ComputeCornerAngle(a, b, c) - c_dRightAngle) <= m_dTolerance;
    }

    bool FindOnSide(int i, int j, std::array<int, 4>& quad)
    {
        m_thirds.clear();
        m_directions.VisitRightAngles(j, i, [&](int k) {
            if (k != i && IsRightAngle(i, j, k)) {
                m_thirds.push_back(k);
            }
        });
        std::sort(m_thirds.begin(), m_thirds.end());
        for (const int k : m_thirds) {
            int fourth = m_body.GetNumDetectedRects();
            m_directions.VisitRightAngles(k, j, [&](int l) {
                if (l < fourth && l != i && l != j && IsRightAngle(j, k, l) && IsRightAngle(k, l, i)) {
                    fourth = l;
                }
            });
            if (fourth < m_body.GetNumDetectedRects()) {
                quad = {i, j, k, fourth};
                return true;
            }
        }
        return false;
    }

    const LxCCBCalibBody& m_body;
    double m_dTolerance; ///< degrees
    CDirections m_directions;
    std::vector<int> m_thirds;
};

} // namespace

bool LxCCBCalibBody::SortRects(const std::vector<LxCCBRect*>& list, LxCCBRect** left, LxCCBRect** right,
                               LxCCBRect** top, LxCCBRect** bottom)
{
    if (std::count(list.begin(), list.end(), nullptr) == static_cast<std::ptrdiff_t>(list.size())) {
        return false;
    }
    Store(left, FindNearest(list, [](const LxCCBRect& rect) { return rect.GetXCenter(); }));
    Store(right, FindNearest(list, [](const LxCCBRect& rect) { return -rect.GetXCenter(); }));
    Store(top, FindNearest(list, [](const LxCCBRect& rect) { return rect.GetYCenter(); }));
    Store(bottom, FindNearest(list, [](const LxCCBRect& rect) { return -rect.GetYCenter(); }));
    return true;
}

ECalibError LxCCBCalibBody::SortRectsDiagonal(int width, int height, LxCCBRect** ul, LxCCBRect** ur,
                                              LxCCBRect** ll, LxCCBRect** lr)
{
    if (m_vRects.empty()) {
        return eCalibNotDone;
    }
    const auto x = [](const LxCCBRect& rect) { return rect.GetXCenter(); };
    const auto y = [](const LxCCBRect& rect) { return rect.GetYCenter(); };
    Store(ul, FindNearest(m_vRects, [&](const LxCCBRect& r) { return x(r) + y(r); }));
    Store(ur, FindNearest(m_vRects, [&](const LxCCBRect& r) { return (width - x(r)) + y(r); }));
    Store(ll, FindNearest(m_vRects, [&](const LxCCBRect& r) { return x(r) + (height - y(r)); }));
    Store(lr, FindNearest(m_vRects, [&](const LxCCBRect& r) { return (width - x(r)) + (height - y(r)); }));
    return eCalibOk;
}

bool LxCCBCalibBody::DetectValidRectangleWithinCalibMarks(LxCCBRect* quad[4], double tolerance)
{
    std::array<int, 4> found{};
    if (quad == nullptr || !(tolerance >= 0.0) || !CRectangleSearch(*this, tolerance).Find(found)) {
        return false;
    }
    std::transform(found.begin(), found.end(), quad, [this](int index) { return GetDetectedRect(index); });
    return true;
}

void LxCCBCalibBody::FilterRectsForValidRectangle(double tolerance)
{
    std::array<LxCCBRect*, 4> quad{};
    if (!DetectValidRectangleWithinCalibMarks(quad.data(), tolerance)) {
        return;
    }
    const auto firstOther = std::stable_partition(m_vRects.begin(), m_vRects.end(), [&quad](LxCCBRect* rect) {
        return std::find(quad.begin(), quad.end(), rect) != quad.end();
    });
    for (auto other = firstOther; other != m_vRects.end(); ++other) {
        for (LxCRectCornerCalibMark* const corner : (*other)->GetCorners()) {
            if (corner != nullptr && corner->GetRect() == *other) {
                corner->SetRect(nullptr);
            }
        }
        delete *other;
    }
    m_vRects.erase(firstOther, m_vRects.end());
}

} // namespace LxCV
