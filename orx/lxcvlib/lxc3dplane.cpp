// A plane in space.
#include "lxc3dplane.h"

#include "lxc3dray.h"

namespace LxCV {

LxC3DPlane::LxC3DPlane(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3)
{
    ComputeNormalVectorAndConst(p1, p2, p3);
}

LxC3DPlane::LxC3DPlane(const LxC3DCoordsCCT& normal, double constant)
    : m_Normal(normal), m_dConstant(constant)
{
    m_Normal.Normalize();
}

LxC3DPlane::LxC3DPlane(double a, double b, double c)
{
    Set(a, b, c);
}

void LxC3DPlane::Set(const LxC3DCoordsCCT& normal, double constant)
{
    m_Normal = normal;
    m_dConstant = constant;
}

void LxC3DPlane::Set(double a, double b, double c)
{
    ComputeNormalVectorAndConst(LxC3DCoordsCCT(0.0, 0.0, c), LxC3DCoordsCCT(1.0, 0.0, a + c),
                                LxC3DCoordsCCT(0.0, 1.0, b + c));
}

void LxC3DPlane::Reset()
{
    Set(LxC3DCoordsCCT(), 0.0);
}

void LxC3DPlane::GetNormalVector(LxC3DCoordsCCT* normal) const
{
    if (normal) {
        *normal = m_Normal;
    }
}

void LxC3DPlane::GetNormalVector(double* const normal) const
{
    if (normal) {
        normal[0] = m_Normal.X();
        normal[1] = m_Normal.Y();
        normal[2] = m_Normal.Z();
    }
}

double LxC3DPlane::GetDistToPoint(double x, double y, double z) const
{
    return GetDistToPoint(LxC3DCoordsCCT(x, y, z));
}

double LxC3DPlane::GetDistToPoint(const double* const p) const
{
    return p ? GetDistToPoint(p[0], p[1], p[2]) : 0.0;
}

double LxC3DPlane::GetZ(const double& x, const double& y) const
{
    return -(m_Normal.X() * x + m_Normal.Y() * y - m_dConstant) / m_Normal.Z();
}

bool LxC3DPlane::Intersect(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, LxC3DCoordsCCT& out) const
{
    const LxC3DCoordsCCT along = p2 - p1;
    const double normalAlong = m_Normal.Dot(along);
    if (normalAlong == 0.0) {
        return false;
    }
    const double t = (m_dConstant - m_Normal.Dot(p1)) / normalAlong;
    out = p1 + along * t;
    return true;
}

bool LxC3DPlane::Intersect(const LxC3DRay& ray, LxC3DCoordsCCT& out) const
{
    const double normalAlong = m_Normal.Dot(ray.GetDirection());
    if (normalAlong == 0.0) {
        return false;
    }
    const double t = (m_dConstant - m_Normal.Dot(ray.GetOrigin())) / normalAlong;
    if (t < 0.0) {
        return false;
    }
    out = ray.GetPoint(t);
    return true;
}

bool LxC3DPlane::Project(const LxC3DCoordsCCT& p, LxC3DCoordsCCT& out) const
{
    return Intersect(p, p + m_Normal, out);
}

bool LxC3DPlane::ComputeNormalVectorAndConst(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2,
                                             const LxC3DCoordsCCT& p3)
{
    m_Normal = (p2 - p1).CrossProduct(p3 - p1);
    if (!m_Normal.Normalize()) {
        Reset();
        return false;
    }
    m_dConstant = m_Normal.Dot(p1);
    return true;
}

} // namespace LxCV
