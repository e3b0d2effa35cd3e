// The two images of a measurement, taken from an image source.
#pragma once

#include "cctimage.h"

#include <optional>

namespace LxCV {
class LxAFrameGrabber;
}

namespace acquisition {

/// A reference and a pattern image of one scene as the algorithms want them: type FLOAT32_3, grey levels 0 to 255, one
/// size.
struct ImagePair
{
    LxCV::CCTImage reference;
    LxCV::CCTImage pattern;
};

/// Takes a pattern image and then a reference image, and converts both as the source's requirements tell.
/// @param grabber initialised; starts and pauses for each image
/// @throws std::runtime_error naming the source and the image that it does not deliver
ImagePair AcquirePair(LxCV::LxAFrameGrabber& grabber);

/// Takes the next pattern and the next reference image of a source that was started, and converts both in the same way
/// to `images`, whose memory serves again.
/// @return milliseconds that both conversions took; nothing, and any pixels, where the source does not deliver one of the
///         images
std::optional<double> TakePair(LxCV::LxAFrameGrabber& grabber, ImagePair& images);

} // namespace acquisition
