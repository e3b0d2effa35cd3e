// One correspondence of a point on a calibration target and where a device saw it.
#pragma once

#include "lxc3dcoordscct.h"
#include "lxcsensorcoordscct.h"
#include "orx/base/export.h"

namespace LxCV {

/// A plain record: world point (millimetres, target or world frame), image position (pixels, distorted image),
/// weight (the mark's quality where a target exported it), and a second position and two integers that a
/// projector's records carry. A projector's image position is one on its slide, in slide units.
class ORX_EXPORT LxCCalibrationData
{
public:
    /// All zero, weight 1.
    LxCCalibrationData() = default;
    LxCCalibrationData(double worldX, double worldY, double worldZ, double imageX, double imageY,
                       double weight);

    /// A null `world` stands for (0, 0, 0).
    LxCCalibrationData(const LxC3DCoordsCCT* world, double imageX, double imageY, double weight);

    /// A copy of `other`, or as the default for null.
    explicit LxCCalibrationData(const LxCCalibrationData* other) { CopyFrom(other); }
    LxCCalibrationData(const LxCCalibrationData&) = default;
    LxCCalibrationData& operator=(const LxCCalibrationData&) = default;

    /// Takes all fields; null is ignored.
    void CopyFrom(const LxCCalibrationData* other);

    /// Sets everything but the weight.
    void Set(double worldX, double worldY, double worldZ, double imageX, double imageY, double secondX,
             double secondY, int a, int b);

    /// All zero, weight 1.
    void Reset() { *this = LxCCalibrationData(); }

    LxCSensorCoordsCCT GetImagePart() const { return {m_dXi, m_dYi}; }
    LxC3DCoordsCCT GetWorldPart() const { return {m_dXw, m_dYw, m_dZw}; }

    /// Whether the world points are exactly equal, so that both records speak of one mark of the target.
    bool HasSameId(const LxCCalibrationData& other) const;

    /// Whether any world or image coordinate differs from 0. Records that are zero take no part in statistics.
    bool IsNonzero() const;

    double m_dXw = 0.0;
    double m_dYw = 0.0;
    double m_dZw = 0.0;
    double m_dXi = 0.0;
    double m_dYi = 0.0;
    double m_dWeight = 1.0;
    double m_dX2 = 0.0;
    double m_dY2 = 0.0;
    int m_iA = 0;
    int m_iB = 0;
};

} // namespace LxCV
