// The result of every step of calibration.
#pragma once

#include <cstdint>

namespace LxCV {

/// 0 is success. Numbers without a name are in use too: other steps report them, and they mean a failure
/// without a text of its own.
enum ECalibError : std::int32_t
{
    eCalibOk = 0,
    eCalibNotDone = 1,
    eCalibParamsMissing = 2,
    eCalibWorldFileNotFound = 3,
    eCalibWorldFileBad = 4,
    eCalibLibraryProblem = 5,
    eCalibOpenCVUnavailable = 6,
    eCalibNoMemory = 7,
    eCalibTooFewMarks = 8,
    eCalibCameraNotCalibrated = 9,
    eCalibTypeUnsupported = 10,
    eCalibMethodUnsupported = 11,
    eCalibIdNotConvertible = 12,
    eCalibWrongOrientation = 13,
    eCalibNoFourSquares = 14,
    eCalibTiltTooStrong = 15,
    eCalibImageUnsuitable = 19,
    eCalibTooFewReferenceMarks = 21,
    eCalibQualityInsufficient = 26,
    eCalibTooFewGoodMarks = 27,
    eCalibVerticalFitPoor = 31,
    eCalibTooFewVerticalFits = 32,
    eCalibHorizontalFitPoor = 33,
    eCalibDiscardedByUser = 34,
    eCalibNoCoordinates = 35,
    eCalibMirrorTube = 43,
    eCalibRegistryValueMissing = 44,
    eCalibWrongThresholds = 45
};

} // namespace LxCV
