// A point or vector in the image plane.
#pragma once

#include "orx/base/export.h"

#include <cmath>
#include <string>

namespace LxCV {

/// A pair (x, y) of doubles: pixels where it stands for an image position, millimetres where it stands for a
/// sensor position. The owner of a value says which. All operations are componentwise unless said otherwise;
/// none is guarded against division by zero.
class ORX_EXPORT LxCSensorCoordsCCT
{
public:
    constexpr LxCSensorCoordsCCT() = default;
    constexpr LxCSensorCoordsCCT(int xValue, int yValue) : x(xValue), y(yValue) {}
    constexpr LxCSensorCoordsCCT(double xValue, double yValue) : x(xValue), y(yValue) {}

    void Set(double xValue, double yValue)
    {
        x = xValue;
        y = yValue;
    }

    LxCSensorCoordsCCT operator+(const LxCSensorCoordsCCT& o) const { return {x + o.x, y + o.y}; }
    LxCSensorCoordsCCT operator-(const LxCSensorCoordsCCT& o) const { return {x - o.x, y - o.y}; }
    LxCSensorCoordsCCT operator-() const { return {-x, -y}; }
    LxCSensorCoordsCCT operator*(double factor) const { return {x * factor, y * factor}; }
    LxCSensorCoordsCCT operator/(double divisor) const { return {x / divisor, y / divisor}; }
    LxCSensorCoordsCCT& operator+=(const LxCSensorCoordsCCT& o) { return *this = *this + o; }
    LxCSensorCoordsCCT& operator-=(const LxCSensorCoordsCCT& o) { return *this = *this - o; }
    LxCSensorCoordsCCT& operator*=(double factor) { return *this = *this * factor; }
    LxCSensorCoordsCCT& operator/=(double divisor) { return *this = *this / divisor; }

    /// Exact comparison of both components.
    bool operator==(const LxCSensorCoordsCCT& o) const { return x == o.x && y == o.y; }
    bool operator!=(const LxCSensorCoordsCCT& o) const { return !(*this == o); }

    /// The inner product.
    double Dot(const LxCSensorCoordsCCT& o) const { return x * o.x + y * o.y; }
    double operator*(const LxCSensorCoordsCCT& o) const { return Dot(o); }

    /// The third component of the vector product: twice the signed area of the triangle (0, this, o).
    double Cross(const LxCSensorCoordsCCT& o) const { return x * o.y - y * o.x; }

    double GetLength() const { return std::sqrt(GetLengthSq()); }
    double GetLengthSq() const { return x * x + y * y; }

    /// (-y, x): turned by +90 degrees from the x axis towards the y axis.
    LxCSensorCoordsCCT GetOrthogonal() const { return {-y, x}; }

    /// Divides by the length in place; a zero vector stays unchanged.
    LxCSensorCoordsCCT& Normalize()
    {
        const double length = GetLength();
        return length == 0.0 ? *this : *this /= length;
    }

    /// (y - a.y)(b.x - a.x) - (b.y - a.y)(x - a.x). Callers rely on the value as it is: despite the name it is
    /// not divided by the length of a to b, so it is the distance to the line only for a unit direction.
    double GetDistance(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b) const
    {
        return (y - a.y) * (b.x - a.x) - (b.y - a.y) * (x - a.x);
    }

    /// On which side of the line from a to b this point lies, x pointing right and y pointing up.
    bool IsLeftOf(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b) const
    {
        return GetDistance(a, b) > 0.0;
    }
    bool IsRightOf(const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b) const
    {
        return GetDistance(a, b) < 0.0;
    }

    /// Whether the squared distance is at most, respectively above, the square of `tol`. Both are false where a
    /// component is not a number.
    bool IsEqualTol(const LxCSensorCoordsCCT& o, double tol) const
    {
        return (*this - o).GetLengthSq() <= tol * tol;
    }
    bool IsNEqualTol(const LxCSensorCoordsCCT& o, double tol) const
    {
        return (*this - o).GetLengthSq() > tol * tol;
    }

    /// 0 for y >= 0 and x > 0; 1 for y > 0 and x <= 0; 2 for y <= 0 and x < 0; 3 for y < 0 and x >= 0; -1 for
    /// the origin and for components that are not numbers.
    int GetQuadrant() const;

    /// The angle at this point from the direction to `p1` to the direction to `p2`: degrees, -180 to 180.
    double ComputeSubtendedAngle(const LxCSensorCoordsCCT& p1, const LxCSensorCoordsCCT& p2) const;

    /// The turn at this point along p1, this point, p2: degrees, -180 to 180.
    double ComputeSubtendedAngle2(const LxCSensorCoordsCCT& p1, const LxCSensorCoordsCCT& p2) const;

    /// "(x, y)" in the classic locale with the given stream precision.
    std::string ToString(int precision) const;

    double x = 0.0;
    double y = 0.0;
};

static_assert(sizeof(LxCSensorCoordsCCT) == 2 * sizeof(double));

} // namespace LxCV
