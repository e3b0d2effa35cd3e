// Tests of the resampling of shifted colour channels.
#include "overlapkernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace ImageKernels;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr double kFloatRounding = 0x1p-24; ///< largest relative error of one float operation

std::vector<std::uint8_t> RandomBytes(const SExtent& extent, std::mt19937& random)
{
    std::vector<std::uint8_t> bytes(extent.width * extent.height * 3);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

std::vector<float> Align(const SExtent& extent, const std::vector<std::uint8_t>& bytes,
                         const SChannelPlacement& blue, const SChannelPlacement& red)
{
    std::vector<float> result(bytes.size(), -1.0F);
    AlignChannels(extent, bytes, blue, red, result);
    return result;
}

/// One channel of one pixel, written down from the definition.
class CDirect
{
public:
    CDirect(const SExtent& extent, const std::vector<std::uint8_t>& bytes) : m_Extent(extent), m_Bytes(bytes)
    {}

    float At(int x, int y, int channel, const SChannelPlacement& p) const
    {
        const auto fx = static_cast<float>(x);
        const auto fy = static_cast<float>(y);
        const float u = (fx * p.cosine + fy * p.sine) * p.scale + p.originCol;
        const float v = (fy * p.cosine - fx * p.sine) * p.scale + p.originRow;
        const auto lastCol = static_cast<float>(m_Extent.width - 1);
        const auto lastRow = static_cast<float>(m_Extent.height - 1);
        if (!(std::floor(u) >= 0.0F && std::floor(u) < lastCol && std::floor(v) >= 0.0F &&
              std::floor(v) < lastRow)) {
            return Byte(Clamp(u, lastCol), Clamp(v, lastRow), channel);
        }
        const int i = static_cast<int>(std::floor(u));
        const int j = static_cast<int>(std::floor(v));
        const float a = u - static_cast<float>(i);
        const float b = v - static_cast<float>(j);
        const float sum = (1.0F - a) * (1.0F - b) * Byte(i, j, channel) +
                          a * (1.0F - b) * Byte(i + 1, j, channel) +
                          (1.0F - a) * b * Byte(i, j + 1, channel) + a * b * Byte(i + 1, j + 1, channel);
        return std::min(sum, 255.0F);
    }

    float Byte(int x, int y, int channel) const
    {
        return static_cast<float>(
            m_Bytes.at((static_cast<std::size_t>(y) * m_Extent.width + static_cast<std::size_t>(x)) * 3 +
                       static_cast<std::size_t>(channel)));
    }

private:
    static int Clamp(float coordinate, float last)
    {
        return std::isnan(coordinate) ? 0 : static_cast<int>(std::clamp(std::floor(coordinate), 0.0F, last));
    }

    const SExtent m_Extent;
    const std::vector<std::uint8_t>& m_Bytes;
};

void ExpectAsDefined(const SExtent& extent, const std::vector<std::uint8_t>& bytes,
                     const SChannelPlacement& blue, const SChannelPlacement& red)
{
    const std::vector<float> aligned = Align(extent, bytes, blue, red);
    const CDirect direct(extent, bytes);
    std::size_t i = 0;
    for (int y = 0; y < static_cast<int>(extent.height); ++y) {
        for (int x = 0; x < static_cast<int>(extent.width); ++x, i += 3) {
            const std::array<float, 3> expected{direct.At(x, y, 0, blue), direct.Byte(x, y, 1),
                                                direct.At(x, y, 2, red)};
            for (std::size_t k = 0; k < 3; ++k) {
                ASSERT_EQ(aligned[i + k], expected[k])
                    << "pixel " << x << ", " << y << " channel " << k << " of " << extent.width << " x "
                    << extent.height << ", blue " << blue.cosine << " " << blue.sine << " " << blue.scale
                    << " " << blue.originCol << " " << blue.originRow << ", red " << red.cosine << " "
                    << red.sine << " " << red.scale << " " << red.originCol << " " << red.originRow;
            }
        }
    }
}

constexpr std::array<SExtent, 9> kExtents{
    {{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 5}, {8, 8}, {33, 9}, {67, 20}, {100, 40}}};

TEST(AlignChannels, IsTheDefinitionBitForBit)
{
    std::mt19937 random(71);
    std::uniform_real_distribution<float> angle(-0.2F, 0.2F);
    std::uniform_real_distribution<float> scale(0.9F, 1.1F);
    std::uniform_real_distribution<float> place(-6.0F, 40.0F);
    std::uniform_real_distribution<float> shift(-4.0F, 4.0F);
    for (int i = 0; i < 800; ++i) {
        const SExtent extent = kExtents[static_cast<std::size_t>(i) % kExtents.size()];
        const auto placement = [&] {
            return PlaceChannel(angle(random), scale(random), place(random), place(random), shift(random),
                                shift(random));
        };
        const SChannelPlacement blue = placement();
        ASSERT_NO_FATAL_FAILURE(ExpectAsDefined(extent, RandomBytes(extent, random), blue, placement()));
    }
}

TEST(AlignChannels, TakesAnyTurnAndScale)
{
    std::mt19937 random(72);
    std::uniform_real_distribution<float> angle(-7.0F, 7.0F);
    std::uniform_real_distribution<float> scale(-3.0F, 3.0F);
    std::uniform_real_distribution<float> place(-30.0F, 60.0F);
    for (int i = 0; i < 800; ++i) {
        const SExtent extent = kExtents[static_cast<std::size_t>(i) % kExtents.size()];
        const auto placement = [&] {
            return PlaceChannel(angle(random), scale(random), place(random), place(random), 0.0F, 0.0F);
        };
        const SChannelPlacement blue = placement();
        ASSERT_NO_FATAL_FAILURE(ExpectAsDefined(extent, RandomBytes(extent, random), blue, placement()));
    }
}

TEST(AlignChannels, TakesThePixelsOfTheBorderForPlacesThatNoImageHas)
{
    const std::array<float, 11> kHard{0.0F,  -0.0F,  1.0F,   kNaN,     kInfinity, -kInfinity,
                                      1e38F, -1e38F, 3.0e9F, 1.0e-40F, -5.0F};
    std::mt19937 random(73);
    for (int i = 0; i < 3000; ++i) {
        const SExtent extent = kExtents[static_cast<std::size_t>(i) % 6];
        const auto hard = [&] { return kHard[random() % kHard.size()]; };
        const SChannelPlacement blue{hard(), hard(), hard(), hard(), hard()};
        const SChannelPlacement red{hard(), hard(), hard(), hard(), hard()};
        ASSERT_NO_FATAL_FAILURE(ExpectAsDefined(extent, RandomBytes(extent, random), blue, red));
    }
}

TEST(AlignChannels, AgreesWithDoublePrecision)
{
    // u and v go through at most 13 roundings, those of sine, cosine and origin included, of magnitudes that
    // stay below 2 (W + H) + shift.
    constexpr SExtent kExtent{61, 47};
    constexpr double kMagnitude = 2.0 * (61 + 47) * 1.1 + 4.0;
    constexpr double kPlaceError = 13 * kFloatRounding * kMagnitude;
    // The surface between pixels is no steeper than 255 a pixel in either direction. A value is at most 255 and
    // goes through 8 roundings.
    constexpr double kTolerance = 2 * 255.0 * kPlaceError + 8 * 255.0 * kFloatRounding;

    std::mt19937 random(74);
    std::uniform_real_distribution<float> angle(-0.1F, 0.1F);
    std::uniform_real_distribution<float> scale(0.95F, 1.05F);
    std::uniform_real_distribution<float> shift(-4.0F, 4.0F);
    int compared = 0;
    int onEdges = 0;
    for (int run = 0; run < 60; ++run) {
        const std::vector<std::uint8_t> bytes = RandomBytes(kExtent, random);
        const CDirect direct(kExtent, bytes);
        const double cx = 30.0;
        const double cy = 23.0;
        const float a = angle(random);
        const float s = scale(random);
        const float col = shift(random);
        const float row = shift(random);
        const SChannelPlacement placement = PlaceChannel(a, s, 30.0F, 23.0F, col, row);
        const std::vector<float> aligned = Align(kExtent, bytes, placement, placement);
        for (int y = 0; y < 47; ++y) {
            for (int x = 0; x < 61; ++x) {
                // The same map in another form: turned and scaled about the centre, and shifted.
                const double c = std::cos(double{a});
                const double n = std::sin(double{a});
                const double u = ((x - cx) * c + (y - cy) * n) * s + cx + col;
                const double v = ((y - cy) * c - (x - cx) * n) * s + cy + row;
                const bool inside = u >= 0.0 && u < 60.0 && v >= 0.0 && v < 46.0;
                const auto jumps = [&](double value, double last) {
                    const bool atEdge = std::abs(value) < kPlaceError || std::abs(value - last) < kPlaceError;
                    return atEdge || (!inside && std::abs(value - std::round(value)) < kPlaceError);
                };
                if (jumps(u, 60.0) || jumps(v, 46.0)) {
                    ++onEdges;
                    continue;
                }
                const int i = std::clamp(static_cast<int>(std::floor(u)), 0, 60);
                const int j = std::clamp(static_cast<int>(std::floor(v)), 0, 46);
                const double p = inside ? u - i : 0.0;
                const double q = inside ? v - j : 0.0;
                const int right = std::min(i + 1, 60);
                const int below = std::min(j + 1, 46);
                for (const int channel : {0, 2}) {
                    const auto at = [&](int px, int py) { return double{direct.Byte(px, py, channel)}; };
                    const double upper = at(i, j) + p * (at(right, j) - at(i, j));
                    const double lower = at(i, below) + p * (at(right, below) - at(i, below));
                    const double expected = upper + q * (lower - upper);
                    const float value = aligned[static_cast<std::size_t>((y * 61 + x) * 3 + channel)];
                    ASSERT_LE(std::abs(value - expected), kTolerance)
                        << x << ", " << y << " at " << u << ", " << v;
                    ++compared;
                }
            }
        }
    }
    EXPECT_GT(compared, 300000);
    EXPECT_LT(onEdges, 1000);
}

TEST(AlignChannels, MixesFourNeighboursByHand)
{
    // Blue of the upper two rows: 10 20 30 / 50 60 70. A quarter to the right and half down:
    // 0.375 * 10 + 0.125 * 20 + 0.375 * 50 + 0.125 * 60 = 32.5
    constexpr SExtent kExtent{3, 3};
    std::vector<std::uint8_t> bytes(27, 0);
    bytes[0] = 10;
    bytes[3] = 20;
    bytes[6] = 30;
    bytes[9] = 50;
    bytes[12] = 60;
    bytes[15] = 70;
    const SChannelPlacement shifted{1.0F, 0.0F, 1.0F, 0.25F, 0.5F};
    const std::vector<float> aligned = Align(kExtent, bytes, shifted, {});
    EXPECT_EQ(aligned[0], 32.5F);
    EXPECT_EQ(aligned[3], 42.5F);
    // Column 2.25 lies beyond the last column, which takes the one pixel at (2, 0).
    EXPECT_EQ(aligned[6], 30.0F);
}

TEST(AlignChannels, DoesNotMixAPlaceOnTheLastColumnOrRow)
{
    constexpr SExtent kExtent{4, 4};
    std::mt19937 random(75);
    const std::vector<std::uint8_t> bytes = RandomBytes(kExtent, random);
    const CDirect direct(kExtent, bytes);
    // Pixel (2, 0) maps to (3, 0.5): exactly W - 1, and so to the one pixel (3, 0). Pixel (1, 0) still mixes.
    const std::vector<float> aligned = Align(kExtent, bytes, {}, {1.0F, 0.0F, 1.0F, 1.0F, 0.5F});
    EXPECT_EQ(aligned[2 * 3 + 2], direct.Byte(3, 0, 2));
    EXPECT_EQ(aligned[1 * 3 + 2], 0.5F * direct.Byte(2, 0, 2) + 0.5F * direct.Byte(2, 1, 2));
    // Pixel (0, 2) maps to (0.5, 3): exactly H - 1.
    const std::vector<float> down = Align(kExtent, bytes, {}, {1.0F, 0.0F, 1.0F, 0.5F, 1.0F});
    EXPECT_EQ(down[2 * 4 * 3 + 2], direct.Byte(0, 3, 2));
}

TEST(AlignChannels, StaysWithinBytes)
{
    constexpr SExtent kExtent{40, 30};
    const std::vector<std::uint8_t> white(40 * 30 * 3, 255);
    std::mt19937 random(76);
    std::uniform_real_distribution<float> angle(-0.1F, 0.1F);
    std::uniform_real_distribution<float> shift(-2.0F, 2.0F);
    for (int i = 0; i < 100; ++i) {
        const SChannelPlacement placement =
            PlaceChannel(angle(random), 1.0F, 20.0F, 15.0F, shift(random), shift(random));
        for (const float value : Align(kExtent, white, placement, placement)) {
            // Three roundings of the weights and four of the sum.
            ASSERT_GE(value, 255.0F * (1.0F - static_cast<float>(8 * kFloatRounding)));
            ASSERT_LE(value, 255.0F);
        }
    }
}

TEST(AlignChannels, WritesNothingIntoSpansThatAreShorterThanTheExtent)
{
    std::vector<std::uint8_t> bytes(3 * 3 * 3, 7);
    std::vector<float> target(bytes.size(), -1.0F);
    const std::vector<float> untouched = target;
    constexpr std::size_t kHuge = std::numeric_limits<std::size_t>::max();
    for (const SExtent& extent : {SExtent{4, 3}, SExtent{3, 4}, SExtent{0, 3}, SExtent{3, 0}, SExtent{0, 0},
                                  SExtent{kHuge, 1}, SExtent{1, kHuge}, SExtent{kHuge, kHuge}}) {
        AlignChannels(extent, bytes, {}, {}, target);
        EXPECT_EQ(target, untouched) << extent.width << " x " << extent.height;
    }
    AlignChannels({3, 3}, bytes, {}, {}, std::span(target).first(26));
    AlignChannels({3, 3}, std::span(bytes).first(26), {}, {}, target);
    EXPECT_EQ(target, untouched);
}

TEST(PlaceChannel, IsTheShiftWithoutTurnAndScale)
{
    const SChannelPlacement placement = PlaceChannel(0.0F, 1.0F, 329.0F, 247.0F, 0.25F, -1.5F);
    EXPECT_EQ(placement.cosine, 1.0F);
    EXPECT_EQ(placement.sine, 0.0F);
    EXPECT_EQ(placement.scale, 1.0F);
    EXPECT_EQ(placement.originCol, 0.25F);
    EXPECT_EQ(placement.originRow, -1.5F);
}

TEST(PlaceChannel, KeepsTheCentreButForTheShift)
{
    // The origin goes through 8 roundings of magnitudes up to 2 (|cx| + |cy|) s, the place through 5 more.
    constexpr double kTolerance = 13 * kFloatRounding * 2 * (658 + 494) * 1.5;
    std::mt19937 random(77);
    std::uniform_real_distribution<float> angle(-3.2F, 3.2F);
    std::uniform_real_distribution<float> scale(0.5F, 1.5F);
    std::uniform_real_distribution<float> col(0.0F, 658.0F);
    std::uniform_real_distribution<float> row(0.0F, 494.0F);
    std::uniform_real_distribution<float> shift(-5.0F, 5.0F);
    for (int i = 0; i < 5000; ++i) {
        const float x = col(random);
        const float y = row(random);
        const float dx = shift(random);
        const float dy = shift(random);
        const SChannelPlacement p = PlaceChannel(angle(random), scale(random), x, y, dx, dy);
        ASSERT_NEAR((x * p.cosine + y * p.sine) * p.scale + p.originCol, x + dx, kTolerance);
        ASSERT_NEAR((y * p.cosine - x * p.sine) * p.scale + p.originRow, y + dy, kTolerance);
    }
}

TEST(PlaceChannel, TurnsAQuarterByHand)
{
    // With c = 0 and n = 1 about (4, 2): u = y + 4 - 2, v = -x + 4 + 2, so pixel (5, 3) lies at (5, 1). The cosine of
    // the float nearest to a quarter turn is about -4e-8, which moves places of this size by less than 1e-6.
    constexpr float kQuarter = 1.57079632679F;
    constexpr double kTolerance = 2e-6;
    const SChannelPlacement p = PlaceChannel(kQuarter, 1.0F, 4.0F, 2.0F, 0.0F, 0.0F);
    EXPECT_NEAR(p.originCol, 2.0, kTolerance);
    EXPECT_NEAR(p.originRow, 6.0, kTolerance);
    EXPECT_NEAR((5.0F * p.cosine + 3.0F * p.sine) * p.scale + p.originCol, 5.0, kTolerance);
    EXPECT_NEAR((3.0F * p.cosine - 5.0F * p.sine) * p.scale + p.originRow, 1.0, kTolerance);
}

} // namespace
} // namespace LxCV
