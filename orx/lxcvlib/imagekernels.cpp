// Block copies, borders, quotients and packing of pixels.
#include "imagekernels.h"

#include <algorithm>
#include <cstring>

namespace LxCV::ImageKernels {

namespace {

void ClearBytes(std::span<std::byte> target)
{
    if (!target.empty()) {
        std::memset(target.data(), 0, target.size());
    }
}

/// Whether there are pixels at all, and `image` holds them. The product of hostile sizes may exceed a size_t,
/// so it is not formed.
bool Holds(const SCenteredBlock& geometry, std::span<const std::byte> image)
{
    const bool isEmpty = geometry.imageWidth == 0 || geometry.imageHeight == 0 || geometry.bytesPerPixel == 0;
    return !isEmpty && geometry.blockWidth <= geometry.imageWidth &&
           geometry.blockHeight <= geometry.imageHeight &&
           geometry.imageWidth <= image.size() / geometry.bytesPerPixel / geometry.imageHeight;
}

} // namespace

void CopyBytes(std::span<const std::byte> source, std::span<std::byte> target)
{
    const std::size_t size = std::min(source.size(), target.size());
    if (size > 0) {
        std::memmove(target.data(), source.data(), size);
    }
}

void FillPixels(std::span<const std::byte> pixel, std::span<std::byte> target)
{
    std::size_t filled = std::min(pixel.size(), target.size());
    if (filled == 0) {
        return;
    }
    std::memcpy(target.data(), pixel.data(), filled);
    // What is filled already doubles with each step, so that long rows move in large blocks.
    while (filled < target.size()) {
        const std::size_t more = std::min(filled, target.size() - filled);
        std::memcpy(target.data() + filled, target.data(), more);
        filled += more;
    }
}

void CopyToCenter(const SCenteredBlock& geometry, std::span<const std::byte> block,
                  std::span<std::byte> image)
{
    const std::size_t blockRow = geometry.BlockRowBytes();
    if (blockRow == 0 || !Holds(geometry, image) || geometry.BlockBytes() > block.size()) {
        return;
    }
    std::size_t to = geometry.FirstRow() * geometry.ImageRowBytes() + geometry.LeftBytes();
    for (std::size_t y = 0; y < geometry.blockHeight; ++y, to += geometry.ImageRowBytes()) {
        CopyBytes(block.subspan(y * blockRow, blockRow), image.subspan(to, blockRow));
    }
}

void ReplicateBorder(const SCenteredBlock& geometry, std::span<std::byte> image)
{
    if (!Holds(geometry, image)) {
        return;
    }
    if (geometry.BlockBytes() == 0) {
        ClearBytes(image.first(geometry.ImageBytes()));
        return;
    }
    const std::size_t rowBytes = geometry.ImageRowBytes();
    const std::size_t pixel = geometry.bytesPerPixel;
    const std::size_t blockEnd = geometry.LeftBytes() + geometry.BlockRowBytes();
    for (std::size_t y = 0; y < geometry.blockHeight; ++y) {
        const std::span<std::byte> row = image.subspan((geometry.FirstRow() + y) * rowBytes, rowBytes);
        FillPixels(row.subspan(geometry.LeftBytes(), pixel), row.first(geometry.LeftBytes()));
        FillPixels(row.subspan(blockEnd - pixel, pixel), row.subspan(blockEnd));
    }
    // The rows are complete now; above and below, whole rows repeat.
    const std::size_t below = (geometry.FirstRow() + geometry.blockHeight) * rowBytes;
    FillPixels(image.subspan(geometry.FirstRow() * rowBytes, rowBytes),
               image.first(geometry.FirstRow() * rowBytes));
    FillPixels(image.subspan(below - rowBytes, rowBytes),
               image.subspan(below, geometry.ImageBytes() - below));
}

void ClearBorder(const SCenteredBlock& geometry, std::span<std::byte> image)
{
    if (!Holds(geometry, image)) {
        return;
    }
    const std::size_t rowBytes = geometry.ImageRowBytes();
    const std::size_t below = (geometry.FirstRow() + geometry.blockHeight) * rowBytes;
    ClearBytes(image.first(geometry.FirstRow() * rowBytes));
    for (std::size_t y = 0; y < geometry.blockHeight; ++y) {
        const std::span<std::byte> row = image.subspan((geometry.FirstRow() + y) * rowBytes, rowBytes);
        ClearBytes(row.first(geometry.LeftBytes()));
        ClearBytes(row.last(geometry.RightBytes()));
    }
    ClearBytes(image.subspan(below, geometry.ImageBytes() - below));
}

void DivideWithCap(std::span<const float> dividend, std::span<const float> divisor, float cap,
                   std::span<float> quotient)
{
    const std::size_t size = std::min({dividend.size(), divisor.size(), quotient.size()});
    for (std::size_t i = 0; i < size; ++i) {
        const float value = dividend[i] / divisor[i];
        quotient[i] = cap < value ? cap : value;
    }
}

void PackBgrToArgb(std::span<const std::uint8_t> bgr, std::span<std::uint32_t> argb)
{
    const std::size_t size = std::min(bgr.size() / 3, argb.size());
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint32_t blue = bgr[3 * i];
        const std::uint32_t green = bgr[3 * i + 1];
        const std::uint32_t red = bgr[3 * i + 2];
        argb[i] = (red << 16) + (green << 8) + blue;
    }
}

} // namespace LxCV::ImageKernels
