// Vectors, rotations and rigid placements of the virtual device, in double precision.
#pragma once

#include <array>
#include <cmath>

namespace device {

struct Vec2
{
    double x = 0.0;
    double y = 0.0;
};

struct Vec3
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

inline Vec3 operator+(const Vec3& a, const Vec3& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(double s, const Vec3& a)
{
    return {s * a.x, s * a.y, s * a.z};
}
inline double Dot(const Vec3& a, const Vec3& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 Cross(const Vec3& a, const Vec3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const Vec3& a)
{
    return std::sqrt(Dot(a, a));
}
inline Vec3 Normalized(const Vec3& a)
{
    return (1.0 / Length(a)) * a;
}

/// Three rows of a rotation matrix.
using Mat3 = std::array<Vec3, 3>;

inline Vec3 operator*(const Mat3& m, const Vec3& a)
{
    return {Dot(m[0], a), Dot(m[1], a), Dot(m[2], a)};
}

/// The six numbers of a rigid motion that carries coordinates of an outer frame into an inner one:
/// inner = X(rx) Y(ry) Z(rz) outer + (tx, ty, tz), with X, Y and Z the right-handed rotations about the axes.
/// Angles in radians, translation in mm.
struct Placement
{
    double rx = 0.0;
    double ry = 0.0;
    double rz = 0.0;
    double tx = 0.0;
    double ty = 0.0;
    double tz = 0.0;
};

/// The rotation X(rx) Y(ry) Z(rz).
Mat3 RotationOf(const Placement& placement);

/// The placement with these angles (radians) whose inner frame has its origin at `centre` (mm, outer frame).
Placement PlacementAt(const Vec3& centre, double rx, double ry, double rz);

/// A placement ready for use in both directions.
class RigidMotion
{
public:
    explicit RigidMotion(const Placement& placement);

    /// Outer to inner coordinates.
    Vec3 Forward(const Vec3& outer) const { return m_rotation * outer + m_translation; }

    /// Inner to outer coordinates.
    Vec3 Backward(const Vec3& inner) const { return m_transposed * (inner - m_translation); }

private:
    Mat3 m_rotation;
    Mat3 m_transposed;
    Vec3 m_translation;
};

} // namespace device
