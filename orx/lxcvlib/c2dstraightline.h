// A straight line in the image plane, for edge fits on calibration targets.
#pragma once

#include "lxcsensorcoordscct.h"
#include "orx/base/export.h"

namespace LxCV {

/// The line {base + t * direction} in the plane, in the unit of the coordinates that it was made from (pixels
/// for image edges). Stored: base x, base y, direction x, direction y; the direction keeps the length it was
/// given. A zero direction is no line: its distances are not numbers. Const operations may run concurrently.
class ORX_EXPORT C2DStraightLine
{
public:
    /// All four values 0.
    C2DStraightLine() = default;

    /// The line from `a` towards `b`; equal points are not refused and give a zero direction.
    C2DStraightLine(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b);
    C2DStraightLine(const C2DStraightLine&) = default;
    C2DStraightLine(C2DStraightLine&&) noexcept = default;
    C2DStraightLine& operator=(const C2DStraightLine&) = default;
    C2DStraightLine& operator=(C2DStraightLine&&) noexcept = default;

    /// The line from `a` towards `b`. Equal points: false, and the line stays as it was.
    bool InitFromPoints(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b);

    /// Always stores the line from (x1, y1) towards (x2, y2); false if the points are equal. That it overwrites
    /// where the other form does not is deliberate: callers rely on either.
    bool InitFromPoints(double x1, double y1, double x2, double y2);

    /// A zero direction: false, and the line stays as it was.
    bool InitFromPointAndDirection(const LxCSensorCoordsCCT& point, const LxCSensorCoordsCCT& direction);

    /// The line y = slope * x + intercept. Always true.
    bool InitFromSlopeAndIntercept(double slope, double intercept);

    /// dy / dx; the largest double for a vertical line.
    double GetSlope() const;

    /// The line's y at `x`, by `GetSlope`.
    double f(double x) const;

    /// The line's y at x = 0.
    double GetIntercept() const { return f(0.0); }

    /// Whether the direction's x is exactly 0.
    bool IsVertical() const { return m_dDirX == 0.0; }

    /// The distance to the orthogonal foot on the line, never negative; not a number for a zero direction.
    double GetDistToPoint(const LxCSensorCoordsCCT& point) const;
    double GetDistToPoint(double x, double y) const;

    /// Whether the vector product direction x (p - base) is above 0: right of the direction where y points down,
    /// as in an image. False on the line.
    bool PointIsRightOf(const LxCSensorCoordsCCT& p) const;

    /// The common point of two lines. False, with `x` and `y` untouched, if the two direction vectors are equal
    /// component by component or a pointer is null. Parallel lines of different direction vectors are not
    /// caught: the result is infinite or not a number.
    bool Intersect(const C2DStraightLine* other, double* x, double* y) const;

    /// Mirrors the line at the diagonal y = x.
    void Invert();

private:
    double m_dBaseX = 0.0;
    double m_dBaseY = 0.0;
    double m_dDirX = 0.0;
    double m_dDirY = 0.0;
};

} // namespace LxCV
