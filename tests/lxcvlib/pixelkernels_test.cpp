#include "pixelkernels.h"

#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace LxCV::ImageKernels {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(PixelKernels, BytesOfFloatsAreRoundedAndClampedForAllBits)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 200000; ++trial) {
        // Half of the trials lie around the scale of bytes, half are any bits, among them what is no number.
        const float value = trial % 2 == 0 ? static_cast<float>(random() % 60000) / 128.0F - 100.0F
                                           : std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        int expected = 0;
        if (value >= 255.0F) {
            expected = 255;
        } else if (value > 0.0F) {
            expected = static_cast<int>(value + 0.5F);
        }
        ASSERT_EQ(SaturateToByte(value), expected) << value;
    }
    using Limits = std::numeric_limits<float>;
    EXPECT_EQ(SaturateToByte(Limits::infinity()), 255);
    EXPECT_EQ(SaturateToByte(-Limits::infinity()), 0);
    EXPECT_EQ(SaturateToByte(Limits::quiet_NaN()), 0);
    EXPECT_EQ(SaturateToByte(-Limits::quiet_NaN()), 0);
    EXPECT_EQ(SaturateToByte(-0.0F), 0);
}

TEST(PixelKernels, IntegersAreRoundedWithHalvesUpwardsAndClamped)
{
    EXPECT_EQ(RoundTo<std::int16_t>(2.5), 3);
    EXPECT_EQ(RoundTo<std::int16_t>(-2.5), -2);
    EXPECT_EQ(RoundTo<std::int16_t>(-2.51), -3);
    EXPECT_EQ(RoundTo<std::int16_t>(1e300), SHRT_MAX);
    EXPECT_EQ(RoundTo<std::int16_t>(-1e300), SHRT_MIN);
    EXPECT_EQ(RoundTo<std::uint32_t>(4294967294.6), UINT_MAX);
    EXPECT_EQ(RoundTo<std::uint32_t>(-1.0), 0U);
    EXPECT_EQ(RoundTo<std::uint8_t>(std::nan("")), 0);
    EXPECT_EQ(RoundTo<float>(2.5), 2.5F);
}

TEST(PixelKernels, TheShorterSpanRules)
{
    const Bytes source{10, 20, 30, 40, 50, 60, 70, 80};
    Bytes target(3, 9);
    MixBgrToGray(std::span(source).first(5), c_MixWeighted, target); // one pixel and a rest
    EXPECT_EQ(target, (Bytes{20, 9, 9}));
    MixArgbToGray(source, c_MixWeighted, std::span(target).first(1));
    EXPECT_EQ(target, (Bytes{20, 9, 9}));
    SelectAbove(source, 15, 0, 1, target);
    EXPECT_EQ(target, (Bytes{0, 1, 1}));
    std::vector<float> floats(3, -1.0F);
    BytesToFloats(std::span(source).first(2), floats);
    EXPECT_EQ(floats, (std::vector{10.0F, 20.0F, -1.0F}));
    ConvertPixels<Bgr8, BgrFloat>(source, floats);
    EXPECT_EQ(floats, (std::vector{10.0F, 20.0F, 30.0F}));
    ConvertPixels<Gray8, Bgr8>(source, target);
    EXPECT_EQ(target, (Bytes{10, 10, 10}));
    std::vector<std::uint32_t> words{1, 2, 3};
    SetOpaque(std::span<const std::uint32_t>(words).first(1), words);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0xFF000001U, 2, 3}));
}

TEST(PixelKernels, AChannelThatThePixelLacksSpreadsNowhere)
{
    const Bytes source{1, 2, 3};
    Bytes target(3, 9);
    SpreadChannel<Bgr8, Bgr8>(source, 3, target);
    EXPECT_EQ(target, Bytes(3, 9));
    SpreadChannel<Bgr8, Bgr8>(source, 1, target);
    EXPECT_EQ(target, Bytes(3, 2));
}

/// Kernels with vector code, on rows of all lengths up to some vectors.
void ExpectElementwise()
{
    std::mt19937 random(6);
    for (std::size_t size = 0; size < 200; ++size) {
        Bytes source(size);
        std::ranges::generate(source, [&] { return static_cast<std::uint8_t>(random()); });
        const int threshold = static_cast<int>(random() % 256);
        Bytes target(size);
        SelectAbove(source, threshold, 3, 200, target);
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_EQ(target[i], source[i] > threshold ? 200 : 3);
        }
        std::vector<float> floats(size);
        BytesToFloats(source, floats);
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_EQ(floats[i], static_cast<float>(source[i]));
        }
        Bytes grays(size);
        MixBgrToGray(source, c_MixWeighted, grays);
        for (std::size_t i = 0; i < size / 3; ++i) {
            ASSERT_EQ(grays[i], (source[3 * i] + 2 * source[3 * i + 1] + source[3 * i + 2]) / 4);
        }
        MixArgbToGray(source, c_MixWeighted, grays);
        for (std::size_t i = 0; i < size / 4; ++i) {
            ASSERT_EQ(grays[i], (source[4 * i] + 2 * source[4 * i + 1] + source[4 * i + 2]) / 4);
        }
    }
}

TEST(PixelKernels, RowsOfAnyLengthFollowTheirElementsWithAndWithoutWideVectors)
{
    ExpectElementwise();
    const VectorUnits::CBasicOnly basic;
    ExpectElementwise();
}

} // namespace
} // namespace LxCV::ImageKernels
