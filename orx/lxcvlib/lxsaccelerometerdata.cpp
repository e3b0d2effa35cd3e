// Readings from four values and from readings of other modules.
#include "lxsaccelerometerdata.h"

namespace LxCV {

LxSAccelerometerData::LxSAccelerometerData(int x, int y, int z, long timestamp)
    : m_iX(x), m_iY(y), m_iZ(z), m_lTimestamp(timestamp)
{}

LxSAccelerometerData::LxSAccelerometerData(const Base::IAccelerometerDataSimple& source)
    : LxSAccelerometerData(source.GetX(), source.GetY(), source.GetZ(), source.GetTimestamp())
{}

void LxSAccelerometerData::Set(int x, int y, int z, long timestamp)
{
    m_iX = x;
    m_iY = y;
    m_iZ = z;
    m_lTimestamp = timestamp;
}

} // namespace LxCV
