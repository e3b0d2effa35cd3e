// Colour images of bytes whose channels come from different places of another image.
#pragma once

#include "orx/base/export.h"
#include "pixelkernels.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace LxCV::ImageKernels {

/// Where a channel comes from: pixel (x, y) from pixel (x + cols, y + rows) of the source, or from the nearest one that
/// there is, of the source that is mirrored first where the flags say so.
struct SChannelSource
{
    int cols = 0;
    int rows = 0;
    bool leftRight = false;
    bool upDown = false;
};

/// Fills `target` with the blue, green and red of `source`, each from its own place. Pixels have 3 bytes, or 4 with
/// alpha, which is not read and becomes 255. Both spans hold what extent and stride say, and do not overlap.
ORX_EXPORT void GatherColors(const SExtent& extent, std::span<const std::uint8_t> source,
                             std::size_t sourceStride, const std::array<SChannelSource, 3>& channels,
                             std::span<std::uint8_t> target, std::size_t targetStride);

} // namespace LxCV::ImageKernels
