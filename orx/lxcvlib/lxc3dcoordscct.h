// A point or vector in 3D.
#pragma once

#include "orx/base/export.h"

#include <cmath>

namespace LxCV {

/// A triple (x, y, z) of doubles, in millimetres unless its owner says otherwise; the owner says in which frame.
class ORX_EXPORT LxC3DCoordsCCT
{
public:
    constexpr LxC3DCoordsCCT() = default;
    constexpr LxC3DCoordsCCT(double xValue, double yValue, double zValue) : x(xValue), y(yValue), z(zValue) {}

    /// @param values three doubles x, y, z; null gives the zero vector
    explicit constexpr LxC3DCoordsCCT(const double* values)
    {
        if (values != nullptr) {
            x = values[0];
            y = values[1];
            z = values[2];
        }
    }

    double X() const { return x; }
    double Y() const { return y; }
    double Z() const { return z; }

    void Set(double xValue, double yValue, double zValue)
    {
        x = xValue;
        y = yValue;
        z = zValue;
    }

    LxC3DCoordsCCT operator+(const LxC3DCoordsCCT& o) const { return {x + o.x, y + o.y, z + o.z}; }
    LxC3DCoordsCCT operator-(const LxC3DCoordsCCT& o) const { return {x - o.x, y - o.y, z - o.z}; }
    LxC3DCoordsCCT operator-() const { return {-x, -y, -z}; }
    LxC3DCoordsCCT operator*(double factor) const { return {x * factor, y * factor, z * factor}; }
    LxC3DCoordsCCT ScalarMult(double factor) const { return *this * factor; }
    LxC3DCoordsCCT& operator+=(const LxC3DCoordsCCT& o) { return *this = *this + o; }
    LxC3DCoordsCCT& operator-=(const LxC3DCoordsCCT& o) { return *this = *this - o; }
    LxC3DCoordsCCT& operator*=(double factor) { return *this = *this * factor; }

    /// Deliberately compares y with o.x and not with o.y: callers rely on the results of this comparison. For
    /// equality of points use `IsEqualTol`.
    bool operator==(const LxC3DCoordsCCT& o) const { return x == o.x && y == o.x && z == o.z; }

    /// x, y, z for 0, 1, 2 and 0.0 for any other index.
    double operator[](int index) const { return index == 0 ? x : index == 1 ? y : index == 2 ? z : 0.0; }

    /// x for 0, y for 1, and z for every other index.
    double& operator[](int index) { return index == 0 ? x : index == 1 ? y : z; }

    /// The inner product.
    double Dot(const LxC3DCoordsCCT& o) const { return x * o.x + y * o.y + z * o.z; }
    double DotProduct(const LxC3DCoordsCCT& o) const { return Dot(o); }
    double operator*(const LxC3DCoordsCCT& o) const { return Dot(o); }

    /// The vector product this x o.
    LxC3DCoordsCCT CrossProduct(const LxC3DCoordsCCT& o) const
    {
        return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
    }

    double GetLength() const { return std::sqrt(GetLengthSq()); }
    double GetLengthSq() const { return x * x + y * y + z * z; }

    /// Whether the squared distance is at most the square of `tol`.
    bool IsEqualTol(const LxC3DCoordsCCT& o, double tol) const
    {
        return (*this - o).GetLengthSq() <= tol * tol;
    }

    /// Whether the length differs from 1 by less than `tol`.
    bool IsNormalized(double tol) const { return tol > std::abs(GetLength() - 1.0); }

    /// Divides by the length in place. A zero vector stays unchanged and gives false.
    bool Normalize()
    {
        const double length = GetLength();
        if (length == 0.0) {
            return false;
        }
        *this = DividedBy(length);
        return true;
    }

    /// The vector divided by its length; not a number for a zero vector.
    LxC3DCoordsCCT Normalized() const { return DividedBy(GetLength()); }

    /// m times this vector.
    /// @param m nine doubles by rows; null gives the zero vector
    LxC3DCoordsCCT MatrixMult(const double* m) const
    {
        if (m == nullptr) {
            return {};
        }
        return {m[0] * x + m[1] * y + m[2] * z, m[3] * x + m[4] * y + m[5] * z,
                m[6] * x + m[7] * y + m[8] * z};
    }

    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

private:
    LxC3DCoordsCCT DividedBy(double divisor) const { return {x / divisor, y / divisor, z / divisor}; }
};

static_assert(sizeof(LxC3DCoordsCCT) == 3 * sizeof(double));

} // namespace LxCV
