// How a calibration target lies in the image.
#pragma once

#include <cstdint>

namespace LxCV {

/// The orientation in quarter turns: which direction on the target the image's right and down are. At 0 they are
/// the target's right and down; at 1 its up and right; at 2 its left and up; at 3 its down and left.
enum ECalibOrientation : std::int32_t
{
    eCO_Unknown = -1,
    eCO_NoTurn = 0,
    eCO_QuarterTurn = 1,
    eCO_HalfTurn = 2,
    eCO_ThreeQuarterTurn = 3
};

} // namespace LxCV
