// One reading of the accelerometer of a camera.
#pragma once

#include "orx/base/export.h"
#include "orx/base/iaccelerometerdatasimple.h"

namespace LxCV {

/// A plain record; see the interface for what its values mean. Readings that threads share are not changed.
class ORX_EXPORT LxSAccelerometerData : public Base::IAccelerometerDataSimple
{
public:
    LxSAccelerometerData(int x, int y, int z, long timestamp);
    LxSAccelerometerData(const LxSAccelerometerData& source) = default;
    LxSAccelerometerData(LxSAccelerometerData&& source) noexcept = default;

    /// The present values of any reading.
    explicit LxSAccelerometerData(const Base::IAccelerometerDataSimple& source);

    LxSAccelerometerData& operator=(const LxSAccelerometerData& source) = default;
    LxSAccelerometerData& operator=(LxSAccelerometerData&& source) noexcept = default;
    ~LxSAccelerometerData() override = default;

    int GetX() const override { return m_iX; }
    int GetY() const override { return m_iY; }
    int GetZ() const override { return m_iZ; }
    long GetTimestamp() const override { return m_lTimestamp; }

    void Set(int x, int y, int z, long timestamp);

private:
    int m_iX;          ///< counts of the sensor
    int m_iY;          ///< counts of the sensor
    int m_iZ;          ///< counts of the sensor
    long m_lTimestamp; ///< ms
};

} // namespace LxCV
