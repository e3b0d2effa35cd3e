// A rendered image as an image of the library.
#pragma once

#include "cctimage.h"
#include "scanner/device/image.h"

namespace calibration {

/// Wraps the pixels, which are neither copied nor owned: the view must not outlive the image.
inline LxCV::CCTImage ViewOf(device::ImageF& image)
{
    return {image.width, image.height, LxCV::CCTImage::eIDT_FLOAT32_3, false, image.data.data()};
}

} // namespace calibration
