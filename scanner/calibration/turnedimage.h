// An image turned by an eighth of a turn.
#pragma once

#include "cctimage.h"
#include "scanner/device/geometry.h"

namespace calibration {

/// An image turned by 45 degrees about its middle, on a raster that holds all of it. Pixels are interpolated by cubic
/// convolution (Keys 1981, a = -1/2); around the image its outermost pixels go on.
class TurnedImage
{
public:
    /// @param source `eIDT_FLOAT32_3` with pixels
    /// @throws std::invalid_argument for another image
    explicit TurnedImage(const LxCV::CCTImage& source);

    /// `eIDT_FLOAT32_3`, square.
    const LxCV::CCTImage& Image() const { return m_image; }

    /// Where a position of the turned image lies in the source; pixels, integers being pixel centres.
    device::Vec2 ToSource(const device::Vec2& turned) const;

private:
    device::Vec2 m_sourceMiddle;
    double m_middle; ///< of the turned image, in both directions
    LxCV::CCTImage m_image;
};

} // namespace calibration
