// What the fuzz targets of the image files share.
#pragma once

#include "orx/platform/imagecodec.h"

#include <cstddef>
#include <cstdlib>
#include <span>
#include <string>

namespace FuzzImage {

/// Reads any bytes as an image file. A whole image or a reason comes back, never something between.
inline void Read(std::span<const std::byte> file)
{
    platform::CPixels image;
    std::string description;
    const auto result = platform::ReadImage(file, image, description);
    const bool isOk = result == platform::EImageFileResult::eOk;
    const std::size_t pixels = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
    if (isOk != (pixels > 0) || image.bytes.size() != pixels * platform::BytesPerPixel(image.format) ||
        description.empty()) {
        std::abort();
    }
}

} // namespace FuzzImage
