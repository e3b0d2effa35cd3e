// Resampling of colour channels that lie turned, scaled and shifted against each other. Free of the image class.
#pragma once

#include "orx/base/export.h"
#include "pixelkernels.h"

#include <cstdint>
#include <span>

namespace LxCV::ImageKernels {

/// Where one channel of an image shows what the reference channel shows at pixel (x, y):
///
///     u = (x * cosine + y * sine) * scale + originCol
///     v = (y * cosine - x * sine) * scale + originRow
///
/// in pixels of the channel, integers at pixel centres. All of it is 32-bit arithmetic, operation by operation, so that
/// results are the same on every machine.
struct SChannelPlacement
{
    float cosine = 1.0F;
    float sine = 0.0F;
    float scale = 1.0F;
    float originCol = 0.0F; ///< pixels
    float originRow = 0.0F; ///< pixels
};

/// The placement of a channel that is turned by `angle` (radians) and scaled about a centre, and then shifted (both in
/// pixels).
ORX_EXPORT SChannelPlacement PlaceChannel(float angle, float scale, float centerCol, float centerRow,
                                          float shiftCol, float shiftRow);

/// Brings blue and red of an image of byte triples blue, green, red onto its green, and makes floats of all three.
///
/// Inside the image blue and red are linear between the four neighbours. A place left of or above the first pixel
/// centre, or not before the last one, takes the one pixel at (floor(u), floor(v)), each clamped to the image; a place
/// that is no number counts as 0. Results lie within 0 to 255.
///
/// Nothing is written if a span is shorter than the extent says, or the image has more bytes than an int counts. The
/// two do not overlap.
ORX_EXPORT void AlignChannels(const SExtent& extent, std::span<const std::uint8_t> bgr,
                              const SChannelPlacement& blue, const SChannelPlacement& red,
                              std::span<float> target);

} // namespace LxCV::ImageKernels
