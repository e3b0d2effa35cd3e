// The face of an accelerometer reading that modules see which do not know its class.
#pragma once

namespace Base {

/// One reading of the accelerometer of a camera. The order of the virtual operations is part of the binary
/// interface between modules. Readings are copied through their own class only.
class IAccelerometerDataSimple
{
public:
    virtual ~IAccelerometerDataSimple() = default;

    /// The acceleration along the sensor's axes, in the sensor's own counts.
    virtual int GetX() const = 0;
    virtual int GetY() const = 0;
    virtual int GetZ() const = 0;

    /// When it was read: whole ms of the system's running clock, since a moment that is the same for all readings of
    /// one process.
    virtual long GetTimestamp() const = 0;

protected:
    IAccelerometerDataSimple() = default;
    IAccelerometerDataSimple(const IAccelerometerDataSimple&) = default;
    IAccelerometerDataSimple& operator=(const IAccelerometerDataSimple&) = default;
};

} // namespace Base
