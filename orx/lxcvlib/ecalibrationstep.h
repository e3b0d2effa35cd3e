// The steps of a run of calibration.
#pragma once

#include <cstdint>

namespace LxCV {

/// Numbers are names, not an order: a plan of progress tells which steps follow each other, and the final step comes
/// after the last one of the projector.
enum ECalibrationStep : std::int32_t
{
    eCalibStepNone = 0, ///< before the first step
    eCalibStepMarks1 = 1,
    eCalibStepMarks2 = 2,
    eCalibStepMarks3 = 3,
    eCalibStepMarks4 = 4,
    eCalibStepCamera1 = 5,
    eCalibStepCamera2 = 6,
    eCalibStepProjector1 = 7,
    eCalibStepFinal = 8,
    eCalibStepProjector2 = 9,
    eCalibStepProjector3 = 10,
    eCalibStepProjector4 = 11,
    eCalibStepCheck = 12
};

} // namespace LxCV
