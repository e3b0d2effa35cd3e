// A plane in space.
#pragma once

#include "lxc3dcoordscct.h"
#include "orx/base/export.h"

namespace LxCV {

class LxC3DRay;

/// The plane {p : normal . p = constant}, in millimetres of whichever frame its maker speaks of. Stored: normal,
/// constant. Built from points, the normal has unit length and distances are millimetres; `Set` of a normal
/// keeps what it is given. A zero normal marks an invalid plane. Const operations may run concurrently.
class ORX_EXPORT LxC3DPlane
{
public:
    /// An invalid plane: zero normal, zero constant.
    LxC3DPlane() = default;

    /// The plane through three points; invalid if they are collinear. Its normal is (p2 - p1) x (p3 - p1).
    LxC3DPlane(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3);

    /// The normal is normalised; the constant is stored as given, which is deliberate: it is the distance from
    /// the origin along the unit normal.
    LxC3DPlane(const LxC3DCoordsCCT& normal, double constant);

    /// The plane z = a x + b y + c.
    LxC3DPlane(double a, double b, double c);
    LxC3DPlane(const LxC3DPlane&) = default;
    LxC3DPlane(LxC3DPlane&&) noexcept = default;
    LxC3DPlane& operator=(const LxC3DPlane&) = default;
    LxC3DPlane& operator=(LxC3DPlane&&) noexcept = default;

    /// Stores both as given, without normalising.
    void Set(const LxC3DCoordsCCT& normal, double constant);

    /// The plane z = a x + b y + c, with a unit normal of positive z.
    void Set(double a, double b, double c);

    /// Zero normal and constant.
    void Reset();

    bool IsValid() const { return m_Normal.GetLengthSq() > 0.0; }

    /// Write the normal, as an object or as three doubles; a null pointer is ignored.
    void GetNormalVector(LxC3DCoordsCCT* normal) const;
    void GetNormalVector(double* const normal) const;

    /// normal . p - constant: signed, positive on the side that the normal points to. A null pointer gives 0.
    double GetDistToPoint(const LxC3DCoordsCCT& p) const { return m_Normal.Dot(p) - m_dConstant; }
    double GetDistToPoint(double x, double y, double z) const;
    double GetDistToPoint(const double* const p) const;

    /// The plane's z over (x, y); no number, or infinite, for a plane parallel to the z axis.
    double GetZ(const double& x, const double& y) const;

    /// Where the whole line through `p1` and `p2` meets the plane. False, with `out` untouched, if normal and
    /// line are exactly at right angles.
    bool Intersect(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, LxC3DCoordsCCT& out) const;

    /// Where the ray meets the plane. False, with `out` untouched, if they are exactly parallel or the plane
    /// lies behind the ray's origin.
    bool Intersect(const LxC3DRay& ray, LxC3DCoordsCCT& out) const;

    /// The orthogonal foot of `p` on the plane. An invalid plane: false, and `out` stays as it was.
    bool Project(const LxC3DCoordsCCT& p, LxC3DCoordsCCT& out) const;

protected:
    /// The plane through three points. Collinear points: false, and the plane is invalid.
    bool ComputeNormalVectorAndConst(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2,
                                     const LxC3DCoordsCCT& p3);

private:
    LxC3DCoordsCCT m_Normal;
    double m_dConstant = 0.0;
};

} // namespace LxCV
