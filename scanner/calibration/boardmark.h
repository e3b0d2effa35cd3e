// A corner of a calibration target as it was found in an image.
#pragma once

#include "scanner/device/geometry.h"

namespace calibration {

/// Square n has the ids 4n - 3 to 4n: upper left, upper right, lower left, lower right, as the image shows it.
struct BoardMark
{
    int id = 0;         ///< 0 while not identified
    device::Vec2 image; ///< pixels, distorted image, integers being pixel centres
    device::Vec3
        world; ///< mm, target frame with its origin in the middle of the corners; 0 while not identified
    double quality = 0.0;  ///< lower is better
    bool usable = false;   ///< whether calibration takes it
    bool computed = false; ///< told by the other three corners of its square, never seen; never usable
};

} // namespace calibration
