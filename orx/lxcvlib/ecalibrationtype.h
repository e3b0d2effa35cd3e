// What a run of calibration calibrates.
#pragma once

#include <cstdint>

namespace LxCV {

/// Chooses the plan of progress, see LxAPinholeCalibrationListener. Other numbers are types without a plan.
enum ECalibrationType : std::int32_t
{
    eCalibTypeCamera = 0,             ///< the camera alone, from marks that are held
    eCalibTypeCameraAndProjector = 1, ///< both, from marks that are held
    eCalibTypeProjector = 2,          ///< the projector alone, with the camera as it is
    eCalibTypeWhole = 3,              ///< from the images of the targets to the model
    eCalibTypeWholeAndCheck = 4       ///< the same, and the check of the result
};

} // namespace LxCV
