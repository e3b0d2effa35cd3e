// A ray in space.
#include "lxc3dray.h"

#include "lxc3dplane.h"

namespace LxCV {

LxC3DRay::LxC3DRay(const LxC3DCoordsCCT& origin, const LxC3DCoordsCCT& direction)
    : m_Origin(origin), m_Direction(direction)
{
    m_Direction.Normalize();
}

double LxC3DRay::GetDistToPoint(const LxC3DCoordsCCT& p) const
{
    return m_Direction.CrossProduct(m_Origin - p).GetLength();
}

LxC3DCoordsCCT LxC3DRay::ClosestPoint(const LxC3DCoordsCCT& p) const
{
    // The plane that holds the line and stands at right angles to the plane of line and point: projecting the
    // point onto it lands on the line.
    const LxC3DCoordsCCT perpendicular = m_Direction.CrossProduct(m_Origin - p);
    const LxC3DPlane plane(m_Origin, m_Origin + m_Direction, m_Origin + perpendicular);
    LxC3DCoordsCCT closest;
    plane.Project(p, closest);
    return closest;
}

} // namespace LxCV
