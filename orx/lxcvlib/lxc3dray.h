// A ray in space.
#pragma once

#include "lxc3dcoordscct.h"
#include "orx/base/export.h"

namespace LxCV {

/// The ray {origin + t * direction, t >= 0}, in millimetres of its maker's frame. Stored: origin, direction; the
/// direction has unit length unless it was made from a zero vector, so t is a distance. Const operations may
/// run concurrently.
class ORX_EXPORT LxC3DRay
{
public:
    /// From the origin along z.
    LxC3DRay() : m_Direction(0.0, 0.0, 1.0) {}

    /// `direction` is normalised; a zero one stays zero.
    LxC3DRay(const LxC3DCoordsCCT& origin, const LxC3DCoordsCCT& direction);
    LxC3DRay(const LxC3DRay&) = default;
    LxC3DRay(LxC3DRay&&) noexcept = default;
    LxC3DRay& operator=(const LxC3DRay&) = default;
    LxC3DRay& operator=(LxC3DRay&&) noexcept = default;

    const LxC3DCoordsCCT& GetOrigin() const { return m_Origin; }
    const LxC3DCoordsCCT& GetDirection() const { return m_Direction; }

    /// The point at distance `t` from the origin.
    LxC3DCoordsCCT GetPoint(double t) const { return m_Origin + m_Direction * t; }

    /// The distance of `p` from the whole line that carries the ray.
    double GetDistToPoint(const LxC3DCoordsCCT& p) const;

    /// The orthogonal foot of `p` on the whole line that carries the ray, so possibly behind the origin. For a
    /// point on the line it is (0, 0, 0): the construction by a plane through line and perpendicular has no
    /// plane then, and callers rely on it.
    LxC3DCoordsCCT ClosestPoint(const LxC3DCoordsCCT& p) const;

private:
    LxC3DCoordsCCT m_Origin;
    LxC3DCoordsCCT m_Direction;
};

} // namespace LxCV
