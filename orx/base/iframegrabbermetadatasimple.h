// The face of the record of how an image pair was taken that modules see which do not know its class.
#pragma once

#include <memory>

namespace Base {

class IAccelerometerDataSimple;

/// What the camera told when it took a pair of images. The order of the virtual operations is part of the binary
/// interface between modules. Records are copied through their own class only.
class IFrameGrabberMetaDataSimple
{
public:
    virtual ~IFrameGrabberMetaDataSimple() = default;

    /// Degrees Celsius; 0 without a sensor.
    virtual double GetTemperatur() const = 0;

    /// The latest reading of the accelerometer; may be null.
    virtual std::shared_ptr<IAccelerometerDataSimple> GetAccelerometerData() const = 0;

    virtual float GetShutterTimePat() const = 0; ///< us, exposure of the pattern image
    virtual float GetShutterTimeRef() const = 0; ///< us, exposure of the reference image

protected:
    IFrameGrabberMetaDataSimple() = default;
    IFrameGrabberMetaDataSimple(const IFrameGrabberMetaDataSimple&) = default;
    IFrameGrabberMetaDataSimple& operator=(const IFrameGrabberMetaDataSimple&) = default;
};

} // namespace Base
