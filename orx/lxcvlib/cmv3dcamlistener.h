// What a 3D camera tells its host.
#pragma once

#include "orx/base/export.h"

#include <string>

namespace LxCV {

class CCTImage;
class LxSScanData;

/// The host's side of a 3D camera that runs by itself. The host derives from it and hands it to the program that drives
/// the camera; this library declares it for both and never calls it.
///
/// Arguments belong to the caller and are valid during the call only.
class ORX_EXPORT CMV3DCamListener
{
public:
    CMV3DCamListener() = default;
    CMV3DCamListener(const CMV3DCamListener&) = default;
    CMV3DCamListener& operator=(const CMV3DCamListener&) = default;
    virtual ~CMV3DCamListener() = default;

    // The virtual functions stand in the order of their slots.

    virtual void OnAcquisitionStarted() = 0;
    virtual void OnAcquisitionStopped() = 0;

    /// A camera image has arrived.
    virtual void OnImageAcquired(const CCTImage& image) = 0;

    /// A measurement is done.
    virtual void OnScanDataAvailable(const LxSScanData& scan) = 0;

    /// The model has changed; see `LxCPinholeFramework::IsCalibrated`.
    virtual void OnCalibrationChanged(bool calibrated) = 0;

    /// @param message UTF-8
    virtual void OnError(const std::string& message) = 0;
};

} // namespace LxCV
