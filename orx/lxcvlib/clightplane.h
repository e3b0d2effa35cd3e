// The plane of light that one stripe edge of the projector sweeps.
#pragma once

#include "lxc3dplane.h"
#include "orx/base/export.h"

namespace LxCV {

/// A plane in camera coordinates (millimetres) with a reduced equation that turns an undistorted sensor
/// position into a depth by one division.
///
/// With the plane written as y - p.y = alpha (x - p.x) + beta (z - p.z) and the sensor ray (x z/f, y z/f, z),
/// the depth is z = A / (y - x alpha - B), where A = (p.y - alpha p.x - beta p.z) f and B = beta f.
///
/// Stored behind the plane: two spanning vectors, base point, A, B. `OptimizeEquation` overwrites the spanning
/// vectors by (1, alpha, 0) and (1, beta, 1), so the y of the first one is the alpha that `Intersect` reads.
///
/// Written while a model is prepared, then read by any number of threads.
class ORX_EXPORT CLightPlane : public LxC3DPlane
{
public:
    /// All values 0.
    CLightPlane() = default;

    /// See `Set`.
    CLightPlane(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3);
    CLightPlane(const CLightPlane&) = default;
    CLightPlane(CLightPlane&&) noexcept = default;
    CLightPlane& operator=(const CLightPlane&) = default;
    CLightPlane& operator=(CLightPlane&&) noexcept = default;

    using LxC3DPlane::Intersect;
    using LxC3DPlane::Set;

    /// The plane through three points of the camera frame, with base point `p1`; the reduced equation is
    /// cleared, so that `Intersect` answers 0 until `OptimizeEquation` runs. Collinear points leave an invalid
    /// plane.
    void Set(const LxC3DCoordsCCT& p1, const LxC3DCoordsCCT& p2, const LxC3DCoordsCCT& p3);

    const LxC3DCoordsCCT& GetBasePoint() const { return m_BasePoint; }

    /// Prepares the reduced equation. To be called once after each `Set`: a second call would take the stored
    /// coefficients for spanning vectors.
    /// @param scale the camera's focal length, millimetres
    /// @return false, with a logged error and the object unchanged, for a plane parallel to the y axis
    bool OptimizeEquation(double scale);

    /// The depth z, millimetres, at the undistorted sensor position (x, y), millimetres. Infinite or not a
    /// number where the ray of the position is parallel to the plane: free of branches for the triangulation.
    double Intersect(double x, double y) const { return m_dA / (y - x * m_Span1.Y() - m_dB); }

private:
    LxC3DCoordsCCT m_Span1;
    LxC3DCoordsCCT m_Span2;
    LxC3DCoordsCCT m_BasePoint;
    double m_dA = 0.0;
    double m_dB = 0.0;
};

} // namespace LxCV
