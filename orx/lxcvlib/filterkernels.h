// Smoothing and gradients of floating-point images, free of the image class.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <span>

namespace LxCV::FilterKernels {

/// Sizes of an image of gapless rows, whose pixels are `channels` floats each.
struct SPlane
{
    std::size_t width = 0;  ///< pixels
    std::size_t height = 0; ///< pixels
    std::size_t channels = 1;

    std::size_t RowSize() const { return width * channels; } ///< floats
    std::size_t Size() const { return RowSize() * height; }  ///< floats
};

// What holds for all filters of this file: pixels beyond the border take the value of the nearest pixel; source
// and target must not overlap; a span that is shorter than the plane leaves the target as it is. Sums are formed
// in one order whatever vectors the processor has, so results are the same bit for bit on every machine. A value
// that is not finite reaches only the pixels whose window it lies in.

/// Largest radius of `SmoothBinomial`.
inline constexpr std::size_t c_uiMaxBinomialRadius = 5;

/// Convolution with the binomial weights C(2r, k) / 4^r along both axes, which come near a Gaussian of variance
/// r / 2. A radius above the largest, or of 0, copies.
/// @param radius pixels; the kernel is 2 * radius + 1 wide and high
ORX_EXPORT void SmoothBinomial(const SPlane& plane, std::size_t radius, std::span<const float> source,
                               std::span<float> target);

/// Largest radius of `SmoothBox`, whose memory grows with it.
inline constexpr std::size_t c_uiMaxBoxRadius = 255;

/// The mean over a square window. Each window's sum is made of values inside the window only, so that errors do not
/// build up along the image as in a running sum. A radius above the largest leaves the target as it is.
/// @param radius pixels; the window is 2 * radius + 1 wide and high
ORX_EXPORT void SmoothBox(const SPlane& plane, std::size_t radius, std::span<const float> source,
                          std::span<float> target);

/// The axis along which `Gradient` takes differences.
enum class EAxis
{
    eX,
    eY
};

/// Differences of the next and the previous pixel along an axis, smoothed across it with the weights 1/4, 1/2,
/// 1/4 (the Sobel kernel over 4).
ORX_EXPORT void Gradient(const SPlane& plane, EAxis axis, std::span<const float> source,
                         std::span<float> target);

} // namespace LxCV::FilterKernels
