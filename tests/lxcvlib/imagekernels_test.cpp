#include "imagekernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace LxCV::ImageKernels {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::span<std::byte> Writable(Bytes& bytes)
{
    return std::as_writable_bytes(std::span(bytes));
}

std::span<const std::byte> Readable(const Bytes& bytes)
{
    return std::as_bytes(std::span(bytes));
}

/// Nearest-pixel lookup for every byte of the image, from the definition.
Bytes NearestPixels(const SCenteredBlock& g, const Bytes& image)
{
    const auto left = static_cast<long>((g.imageWidth - g.blockWidth) / 2);
    const auto top = static_cast<long>((g.imageHeight - g.blockHeight) / 2);
    Bytes expected(image.size());
    for (long y = 0; y < static_cast<long>(g.imageHeight); ++y) {
        for (long x = 0; x < static_cast<long>(g.imageWidth); ++x) {
            const long nearX = std::clamp(x, left, left + static_cast<long>(g.blockWidth) - 1);
            const long nearY = std::clamp(y, top, top + static_cast<long>(g.blockHeight) - 1);
            for (long b = 0; b < static_cast<long>(g.bytesPerPixel); ++b) {
                const auto width = static_cast<long>(g.imageWidth);
                const auto size = static_cast<long>(g.bytesPerPixel);
                expected[static_cast<std::size_t>((y * width + x) * size + b)] =
                    image[static_cast<std::size_t>((nearY * width + nearX) * size + b)];
            }
        }
    }
    return expected;
}

TEST(ImageKernels, CopyBytesStopsAtTheShorterSpanAndAllowsOverlap)
{
    Bytes target{1, 2, 3, 4, 5};
    CopyBytes(Readable({9, 8, 7}), Writable(target));
    EXPECT_EQ(target, (Bytes{9, 8, 7, 4, 5}));
    CopyBytes(Writable(target).first(4), Writable(target).subspan(1));
    EXPECT_EQ(target, (Bytes{9, 9, 8, 7, 4}));
    CopyBytes({}, Writable(target));
    CopyBytes(Readable(target), {});
    EXPECT_EQ(target, (Bytes{9, 9, 8, 7, 4}));
}

TEST(ImageKernels, FillPixelsRepeatsThePixelAndCutsTheLastOne)
{
    for (std::size_t size = 0; size <= 40; ++size) {
        Bytes target(size, 0);
        FillPixels(Readable({1, 2, 3}), Writable(target));
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_EQ(target[i], i % 3 + 1) << "byte " << i << " of " << size;
        }
    }
}

TEST(ImageKernels, FillPixelsWithoutAPixelLeavesTheTarget)
{
    Bytes target{5, 6};
    FillPixels({}, Writable(target));
    EXPECT_EQ(target, (Bytes{5, 6}));
}

TEST(ImageKernels, ReplicateBorderGivesTheNearestPixelForAllSmallGeometries)
{
    std::mt19937 random(4711);
    for (std::size_t bytes : {1U, 2U, 3U, 4U, 8U, 12U}) {
        for (std::size_t imageSize = 0; imageSize < 7 * 7; ++imageSize) {
            const std::size_t width = imageSize % 7 + 1;
            const std::size_t height = imageSize / 7 + 1;
            for (std::size_t block = 0; block < width * height; ++block) {
                const SCenteredBlock g{width, height, block % width + 1, block / width + 1, bytes};
                Bytes image(g.ImageBytes());
                std::generate(image.begin(), image.end(),
                              [&] { return static_cast<std::uint8_t>(random()); });
                const Bytes expected = NearestPixels(g, image);
                ReplicateBorder(g, Writable(image));
                ASSERT_EQ(image, expected) << g.imageWidth << "x" << g.imageHeight << " block "
                                           << g.blockWidth << "x" << g.blockHeight << " of " << bytes;
            }
        }
    }
}

TEST(ImageKernels, ClearBorderKeepsExactlyTheBlock)
{
    for (std::size_t width = 1; width < 7; ++width) {
        for (std::size_t blockWidth = 0; blockWidth <= width; ++blockWidth) {
            for (std::size_t blockHeight = 0; blockHeight <= 5; ++blockHeight) {
                const SCenteredBlock g{width, 5, blockWidth, blockHeight, 2};
                Bytes image(g.ImageBytes(), 0xFF);
                ClearBorder(g, Writable(image));
                const std::size_t left = (width - blockWidth) / 2;
                const std::size_t top = (5 - blockHeight) / 2;
                for (std::size_t i = 0; i < image.size(); ++i) {
                    const std::size_t x = i / 2 % width;
                    const std::size_t y = i / 2 / width;
                    const bool inside =
                        x >= left && x < left + blockWidth && y >= top && y < top + blockHeight;
                    ASSERT_EQ(image[i], inside ? 0xFF : 0);
                }
            }
        }
    }
}

TEST(ImageKernels, AnEmptyBlockReplicatesToZeros)
{
    const SCenteredBlock g{2, 2, 0, 2, 1};
    Bytes image(4, 9);
    ReplicateBorder(g, Writable(image));
    EXPECT_EQ(image, Bytes(4, 0));
}

TEST(ImageKernels, GeometriesThatTheSpansDoNotHoldWriteNothing)
{
    Bytes image(8, 7);
    const Bytes block(8, 1);
    const SCenteredBlock larger{3, 3, 1, 1, 1};
    CopyToCenter(larger, Readable(block), Writable(image));
    ReplicateBorder(larger, Writable(image));
    ClearBorder(larger, Writable(image));
    const SCenteredBlock inverted{2, 2, 3, 1, 1};
    CopyToCenter(inverted, Readable(block), Writable(image));
    ReplicateBorder(inverted, Writable(image));
    ClearBorder(inverted, Writable(image));
    const SCenteredBlock longBlock{4, 2, 2, 2, 1};
    CopyToCenter(longBlock, Readable(block).first(3), Writable(image));
    EXPECT_EQ(image, Bytes(8, 7));
}

TEST(ImageKernels, GeometriesWhoseByteCountWrapsWriteNothing)
{
    // 2^32 * 2^32 pixels of a byte are 2^64 bytes, and 0 in 64 bits.
    const SCenteredBlock g{std::size_t{1} << 32, std::size_t{1} << 32, 1, 1, 1};
    Bytes image(8, 7);
    CopyToCenter(g, Readable({1}), Writable(image));
    ReplicateBorder(g, Writable(image));
    ClearBorder(g, Writable(image));
    EXPECT_EQ(image, Bytes(8, 7));
}

TEST(ImageKernels, ColumnsAndRowsWithoutPixelsTakeNoTime)
{
    // Visiting these rows one by one would take centuries.
    const SCenteredBlock noColumns{0, SIZE_MAX, 0, SIZE_MAX - 2, 1};
    const SCenteredBlock noBytes{4, SIZE_MAX / 4, 2, SIZE_MAX / 4 - 2, 0};
    Bytes image(8, 7);
    for (const SCenteredBlock& g : {noColumns, noBytes}) {
        CopyToCenter(g, {}, Writable(image));
        ReplicateBorder(g, Writable(image));
        ClearBorder(g, Writable(image));
    }
    EXPECT_EQ(image, Bytes(8, 7));
}

TEST(ImageKernels, CopyToCenterPlacesRowsInTheMiddle)
{
    // 4 x 3 image, 2 x 1 block: column 1, row 1.
    const SCenteredBlock g{4, 3, 2, 1, 1};
    Bytes image(12, 0);
    CopyToCenter(g, Readable({5, 6}), Writable(image));
    EXPECT_EQ(image, (Bytes{0, 0, 0, 0, 0, 5, 6, 0, 0, 0, 0, 0}));
}

TEST(ImageKernels, DivideWithCapCapsOnlyAbove)
{
    const float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> dividend{510.0F, 512.0F, -900.0F, 1.0F, 0.0F, -1.0F, 3.0F};
    const std::vector<float> divisor{2.0F, 2.0F, 1.0F, 0.0F, 0.0F, 0.0F, 2.0F};
    std::vector<float> quotient(6, -7.0F);
    DivideWithCap(dividend, divisor, 255.0F, quotient);
    EXPECT_EQ(quotient[0], 255.0F);
    EXPECT_EQ(quotient[1], 255.0F);
    EXPECT_EQ(quotient[2], -900.0F);
    EXPECT_EQ(quotient[3], 255.0F);
    EXPECT_TRUE(std::isnan(quotient[4]));
    EXPECT_EQ(quotient[5], -infinity);
}

TEST(ImageKernels, PackBgrToArgbPutsBlueInTheLowByteAndNoAlpha)
{
    const Bytes bgr{0x11, 0x22, 0x33, 0xFF, 0xFE, 0xFD, 0x01};
    std::vector<std::uint32_t> argb(3, 0xDEADBEEF);
    PackBgrToArgb(bgr, argb);
    EXPECT_EQ(argb, (std::vector<std::uint32_t>{0x00332211, 0x00FDFEFF, 0xDEADBEEF}));
}

} // namespace
} // namespace LxCV::ImageKernels
