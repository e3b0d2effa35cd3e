// What the raw images of the virtual device are like.
#pragma once

namespace LxCV {
class LxCFrameGrabberReqs;
}

namespace acquisition {

/// Sets size and type of raw and converted images for pairs of `width` by `height` pixels that were rendered with so
/// much noise: with noise raw images are of type BGRU8, since grey levels are whole numbers then, else of type
/// FLOAT32_3.
void DescribeRawImages(int width, int height, double noise, LxCV::LxCFrameGrabberReqs& reqs);

} // namespace acquisition
