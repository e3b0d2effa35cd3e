// Arithmetic on blocks of pixels, free of the image class.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace LxCV::ImageKernels {

/// An image of gapless rows with a smaller block in its middle; what surrounds the block is the border.
///
/// Sizes are pixels, not negative, and the block is nowhere larger than the image. Where the two differ by an
/// odd number, the right or lower border is the wider one.
struct SCenteredBlock
{
    std::size_t imageWidth = 0;
    std::size_t imageHeight = 0;
    std::size_t blockWidth = 0;
    std::size_t blockHeight = 0;
    std::size_t bytesPerPixel = 0;

    std::size_t ImageRowBytes() const { return imageWidth * bytesPerPixel; }
    std::size_t BlockRowBytes() const { return blockWidth * bytesPerPixel; }
    std::size_t ImageBytes() const { return ImageRowBytes() * imageHeight; }
    std::size_t BlockBytes() const { return BlockRowBytes() * blockHeight; }
    std::size_t FirstRow() const { return (imageHeight - blockHeight) / 2; }
    std::size_t LeftBytes() const { return (imageWidth - blockWidth) / 2 * bytesPerPixel; }
    std::size_t RightBytes() const { return ImageRowBytes() - BlockRowBytes() - LeftBytes(); }
};

/// Copies `source` to the begin of `target`, at most as many bytes as `target` holds; the two may overlap.
ORX_EXPORT void CopyBytes(std::span<const std::byte> source, std::span<std::byte> target);

/// Repeats `pixel` over `target`; a rest that is shorter than a pixel takes the pixel's first bytes.
ORX_EXPORT void FillPixels(std::span<const std::byte> pixel, std::span<std::byte> target);

/// Copies the gapless rows of `block` into the middle of `image`; the border stays. Nothing is written if
/// `block` or `image` is shorter than the geometry says, whatever sizes it tells; this holds for the two below
/// also.
ORX_EXPORT void CopyToCenter(const SCenteredBlock& geometry, std::span<const std::byte> block,
                             std::span<std::byte> image);

/// Gives every pixel of the border the value of the nearest pixel of the block. Without a block pixel the
/// image is cleared.
ORX_EXPORT void ReplicateBorder(const SCenteredBlock& geometry, std::span<std::byte> image);

/// Sets all bytes of the border to zero.
ORX_EXPORT void ClearBorder(const SCenteredBlock& geometry, std::span<std::byte> image);

/// quotient[i] = dividend[i] / divisor[i], `cap` where that is greater; not a number stays so. The shortest
/// span rules.
ORX_EXPORT void DivideWithCap(std::span<const float> dividend, std::span<const float> divisor, float cap,
                              std::span<float> quotient);

/// Packs byte triples blue, green, red into words: blue in the low byte, then green, red, and 0 for alpha. As
/// many pixels as both spans hold.
ORX_EXPORT void PackBgrToArgb(std::span<const std::uint8_t> bgr, std::span<std::uint32_t> argb);

} // namespace LxCV::ImageKernels
