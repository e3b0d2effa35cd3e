#include "channelkernels.h"

#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <random>
#include <utility>
#include <vector>

namespace LxCV::ImageKernels {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes RandomBytes(std::size_t size, std::mt19937& random)
{
    Bytes bytes(size);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

/// The channel of target pixel (x, y), by its definition.
std::uint8_t Expected(const SExtent& extent, const Bytes& source, std::size_t stride,
                      const SChannelSource& from, std::size_t channel, std::size_t x, std::size_t y)
{
    const auto width = static_cast<long>(extent.width);
    const auto height = static_cast<long>(extent.height);
    long column = std::clamp(static_cast<long>(x) + from.cols, 0L, width - 1);
    long row = std::clamp(static_cast<long>(y) + from.rows, 0L, height - 1);
    column = from.leftRight ? width - 1 - column : column;
    row = from.upDown ? height - 1 - row : row;
    return source[static_cast<std::size_t>(row * width + column) * stride + channel];
}

void ExpectGathered(const SExtent& extent, const std::array<SChannelSource, 3>& channels, std::size_t from,
                    std::size_t to, std::mt19937& random)
{
    const std::size_t pixels = extent.width * extent.height;
    const Bytes source = RandomBytes(pixels * from, random);
    for (const bool isBasic : {false, true}) {
        const auto basic = isBasic ? std::optional<VectorUnits::CBasicOnly>(std::in_place) : std::nullopt;
        Bytes target(pixels * to, 77);
        GatherColors(extent, source, from, channels, target, to);
        for (std::size_t i = 0; i < target.size(); ++i) {
            const std::size_t channel = i % to;
            const std::size_t x = i / to % extent.width;
            const std::size_t y = i / to / extent.width;
            const int expected =
                channel == 3 ? 255 : Expected(extent, source, from, channels[channel], channel, x, y);
            ASSERT_EQ(target[i], expected) << x << " " << y << " " << channel << " basic " << isBasic;
        }
    }
}

TEST(GatherColors, TakesEachChannelFromItsOwnPlace)
{
    std::mt19937 random(11);
    std::uniform_int_distribution<int> shift(-5, 5);
    for (int round = 0; round < 400; ++round) {
        const SExtent extent{1 + random() % 80, 1 + random() % 6};
        std::array<SChannelSource, 3> channels;
        for (SChannelSource& channel : channels) {
            channel = {shift(random), shift(random), random() % 2 == 0, random() % 2 == 0};
        }
        ExpectGathered(extent, channels, 3 + random() % 2, 3 + random() % 2, random);
    }
}

TEST(GatherColors, TakesTheNearestPixelHoweverFarItIsShifted)
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    std::mt19937 random(12);
    for (const int shift : {least, -40, -37, -36, 36, 37, 40, most}) {
        for (const bool mirror : {false, true}) {
            ExpectGathered(
                {37, 3},
                {{{shift, 0, mirror, false}, {0, shift, false, mirror}, {shift, shift, mirror, mirror}}}, 3,
                4, random);
        }
    }
}

TEST(GatherColors, TouchesNothingOfAnEmptyImage)
{
    GatherColors({0, 4}, {}, 3, {}, {}, 3);
    GatherColors({4, 0}, {}, 3, {}, {}, 3);
}

TEST(AppendAlpha, MovesAsManyPixelsAsBothSpansHold)
{
    std::mt19937 random(13);
    for (std::size_t pixels = 0; pixels < 70; ++pixels) {
        const Bytes bgr = RandomBytes(3 * pixels + pixels % 3, random);
        for (const bool isBasic : {false, true}) {
            const auto basic = isBasic ? std::optional<VectorUnits::CBasicOnly>(std::in_place) : std::nullopt;
            Bytes argb(4 * pixels + 2, 77);
            AppendAlpha(bgr, argb);
            for (std::size_t i = 0; i < pixels; ++i) {
                ASSERT_TRUE(std::equal(argb.begin() + static_cast<long>(4 * i),
                                       argb.begin() + static_cast<long>(4 * i + 3),
                                       bgr.begin() + static_cast<long>(3 * i)));
                ASSERT_EQ(argb[4 * i + 3], 0);
            }
            EXPECT_EQ(argb[4 * pixels], 77);
        }
    }
}

} // namespace
} // namespace LxCV::ImageKernels
