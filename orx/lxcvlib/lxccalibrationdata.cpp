// One correspondence of a point on a calibration target and where a device saw it.
#include "lxccalibrationdata.h"

namespace LxCV {

LxCCalibrationData::LxCCalibrationData(double worldX, double worldY, double worldZ, double imageX,
                                       double imageY, double weight)
    : m_dXw(worldX), m_dYw(worldY), m_dZw(worldZ), m_dXi(imageX), m_dYi(imageY), m_dWeight(weight)
{}

LxCCalibrationData::LxCCalibrationData(const LxC3DCoordsCCT* world, double imageX, double imageY,
                                       double weight)
    : m_dXi(imageX), m_dYi(imageY), m_dWeight(weight)
{
    if (world) {
        m_dXw = world->X();
        m_dYw = world->Y();
        m_dZw = world->Z();
    }
}

void LxCCalibrationData::CopyFrom(const LxCCalibrationData* other)
{
    if (other) {
        *this = *other;
    }
}

void LxCCalibrationData::Set(double worldX, double worldY, double worldZ, double imageX, double imageY,
                             double secondX, double secondY, int a, int b)
{
    m_dXw = worldX;
    m_dYw = worldY;
    m_dZw = worldZ;
    m_dXi = imageX;
    m_dYi = imageY;
    m_dX2 = secondX;
    m_dY2 = secondY;
    m_iA = a;
    m_iB = b;
}

bool LxCCalibrationData::HasSameId(const LxCCalibrationData& other) const
{
    return m_dXw == other.m_dXw && m_dYw == other.m_dYw && m_dZw == other.m_dZw;
}

bool LxCCalibrationData::IsNonzero() const
{
    return m_dXw != 0.0 || m_dYw != 0.0 || m_dZw != 0.0 || m_dXi != 0.0 || m_dYi != 0.0;
}

} // namespace LxCV
