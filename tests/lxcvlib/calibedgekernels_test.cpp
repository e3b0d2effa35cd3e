// Tests of the row kernels of calibration edges against their definitions.
#include "calibedgekernels.h"

#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace CalibEdgeKernels;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::vector<float> RandomValues(std::size_t size, std::mt19937& random)
{
    std::vector<float> values(size);
    // Few levels, so that ties are frequent.
    std::generate(values.begin(), values.end(), [&] { return static_cast<float>(random() % 9) - 4.0F; });
    return values;
}

std::uint8_t ExtremumAt(const float* g, float local, float total)
{
    const float sum = g[1] + g[2] + g[3];
    if ((g[2] > local || sum > total) && g[2] >= g[0] && g[2] >= g[1] && g[2] > g[3] && g[2] > g[4]) {
        return 1;
    }
    if ((g[2] < -local || sum < -total) && g[0] >= g[2] && g[1] >= g[2] && g[3] > g[2] && g[4] > g[2]) {
        return 2;
    }
    return 0;
}

GradientWindow WindowOf(const std::vector<float>& row)
{
    const std::span<const float> all(row);
    const std::size_t size = row.size() - 4;
    return {all.subspan(0, size), all.subspan(1, size), all.subspan(2, size), all.subspan(3, size),
            all.subspan(4, size)};
}

TEST(CalibEdgeKernels, GradientIsOneAndAHalfTimesTheFirstChannelsDifference)
{
    const std::vector<float> before{10.0F, 1.0F, kNaN, 7.0F, 2.0F, 3.0F};
    const std::vector<float> after{4.0F, 100.0F, 2.0F, 9.5F, kInfinity, 3.0F};
    std::vector<float> gradient(3, -1.0F);
    GradientOfFirstChannel(before, after, gradient);
    // (10 - 4) * 3 / 2 and (7 - 9.5) * 3 / 2; there is no third pixel.
    EXPECT_EQ(gradient, (std::vector<float>{9.0F, -3.75F, -1.0F}));
}

TEST(CalibEdgeKernels, ExtremaFollowTheirDefinitionWithAnyVectors)
{
    std::mt19937 random(1);
    for (int run = 0; run < 4000; ++run) {
        const std::vector<float> row = RandomValues(5 + random() % 80, random);
        const std::size_t size = row.size() - 4;
        const std::vector<float> local = RandomValues(size, random);
        const std::vector<float> total = RandomValues(size, random);
        std::vector<std::uint8_t> wide(size + 1, 9);
        std::vector<std::uint8_t> basic(size + 1, 9);
        FindExtrema(WindowOf(row), local, total, wide);
        {
            const VectorUnits::CBasicOnly only;
            FindExtrema(WindowOf(row), local, total, basic);
        }
        ASSERT_EQ(wide, basic) << "run " << run;
        ASSERT_EQ(wide.back(), 9) << "behind the shortest span";
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_EQ(wide[i], ExtremumAt(row.data() + i, local[i], total[i]))
                << "run " << run << " at " << i;
        }
    }
}

TEST(CalibEdgeKernels, LastPixelOfAPlateauIsTheExtremum)
{
    const std::vector<float> row{0.0F, 0.0F, 5.0F, 5.0F, 5.0F, 0.0F, 0.0F, 0.0F};
    const std::vector<float> limits(4, 1.0F);
    std::vector<std::uint8_t> extrema(4);
    FindExtrema(WindowOf(row), limits, limits, extrema);
    EXPECT_EQ(extrema, (std::vector<std::uint8_t>{0, 0, 1, 0}));
}

TEST(CalibEdgeKernels, EitherLimitSufficesAndMustBeExceeded)
{
    const std::vector<float> row{0.0F, 1.0F, 4.0F, 1.0F, 0.0F};
    const auto at = [&](float local, float total) {
        std::uint8_t extremum = 9;
        FindExtrema(WindowOf(row), {&local, 1}, {&total, 1}, {&extremum, 1});
        return extremum;
    };
    EXPECT_EQ(at(4.0F, 6.0F), c_uiNoExtremum);
    EXPECT_EQ(at(3.99F, 6.0F), c_uiMaximum);
    EXPECT_EQ(at(4.0F, 5.99F), c_uiMaximum);
}

TEST(CalibEdgeKernels, NotANumberIsNoExtremum)
{
    for (int place = 0; place < 5; ++place) {
        std::vector<float> row{0.0F, 1.0F, 4.0F, 1.0F, 0.0F};
        row[static_cast<std::size_t>(place)] = kNaN;
        const float limit = -100.0F;
        std::uint8_t extremum = 9;
        FindExtrema(WindowOf(row), {&limit, 1}, {&limit, 1}, {&extremum, 1});
        EXPECT_EQ(extremum, c_uiNoExtremum) << "place " << place;
    }
}

TEST(CalibEdgeKernels, SearchesFindTheFirstElementFromAnyStart)
{
    std::mt19937 random(2);
    for (int run = 0; run < 2000; ++run) {
        const std::size_t size = random() % 100;
        std::vector<std::int32_t> words(size);
        std::vector<std::int32_t> others(size);
        std::vector<std::uint8_t> bytes(size);
        for (std::size_t i = 0; i < size; ++i) {
            words[i] = random() % 16 == 0 ? static_cast<std::int32_t>(random()) : 0;
            others[i] = random() % 4 == 0 ? static_cast<std::int32_t>(random()) : 0;
            bytes[i] = static_cast<std::uint8_t>(words[i] != 0);
        }
        const std::size_t from = random() % 110;
        const auto first = [&](auto&& holds) {
            std::size_t i = std::min(from, size);
            while (i < size && !holds(i)) {
                ++i;
            }
            return i;
        };
        ASSERT_EQ(FindNonZero(words, from), first([&](std::size_t i) { return words[i] != 0; }));
        ASSERT_EQ(FindNonZero(bytes, from), first([&](std::size_t i) { return bytes[i] != 0; }));
        const auto expected =
            first([&](std::size_t i) { return (words[i] & 0x30) != 0 && (others[i] & 0x30) != 0; });
        ASSERT_EQ(FindCommonBits(words, others, 0x30, from), expected);
        const VectorUnits::CBasicOnly only;
        ASSERT_EQ(FindCommonBits(words, others, 0x30, from), expected);
    }
}

constexpr float kDiagonal = 0.7853982F;
constexpr float kBackDiagonal = 2.3561945F;

bool AngleIsNearX(float dx, float dy)
{
    const auto angle = static_cast<float>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)));
    return std::abs(angle) < kDiagonal || std::abs(angle) > kBackDiagonal;
}

bool AngleIsNearY(float dx, float dy)
{
    const auto angle = static_cast<float>(std::atan2(static_cast<double>(dy), static_cast<double>(dx)));
    return (kDiagonal < angle && angle < kBackDiagonal) || (-kBackDiagonal < angle && angle < -kDiagonal);
}

/// Compares with the angle's decision for both signs of both components.
void ExpectDecisionsOfTheAngle(float dx, float dy)
{
    for (const float x : {dx, -dx}) {
        for (const float y : {dy, -dy}) {
            ASSERT_EQ(IsNearXAxis(x, y), AngleIsNearX(x, y)) << std::hexfloat << x << ' ' << y;
            ASSERT_EQ(IsNearYAxis(x, y), AngleIsNearY(x, y)) << std::hexfloat << x << ' ' << y;
        }
    }
}

TEST(CalibEdgeKernels, DirectionsNearTheDiagonalAreDecidedAsByTheRoundedAngle)
{
    std::mt19937 random(3);
    for (int run = 0; run < 20'000; ++run) {
        // Any mantissa, and a second number that is a few steps away.
        const float dx =
            std::bit_cast<float>(0x3F000000U + static_cast<std::uint32_t>(random() % 0x1000000U));
        const auto steps = static_cast<int>(random() % 33) - 16;
        const float dy = std::bit_cast<float>(std::bit_cast<std::int32_t>(dx) + steps);
        ExpectDecisionsOfTheAngle(dx, dy);
    }
}

TEST(CalibEdgeKernels, AllDirectionsAreDecidedAsByTheAngle)
{
    std::mt19937 random(4);
    std::uniform_real_distribution<float> levels(-255.0F, 255.0F);
    for (int run = 0; run < 20'000; ++run) {
        ExpectDecisionsOfTheAngle(levels(random), levels(random));
    }
    const float smallest = std::numeric_limits<float>::denorm_min();
    const float largest = std::numeric_limits<float>::max();
    for (const float dx : {0.0F, smallest, 3 * smallest, 1.0F, largest, kInfinity, kNaN}) {
        for (const float dy : {0.0F, smallest, 3 * smallest, 1.0F, largest, kInfinity, kNaN}) {
            ExpectDecisionsOfTheAngle(dx, dy);
        }
    }
}

TEST(CalibEdgeKernels, SinglePrecisionAnglesDecideAlikeOffTheDiagonal)
{
    // The library's own rounding of single precision angles may differ by a digit, which moves ratios by 2^-21.
    constexpr double kMargin = 0x1p-20;
    std::mt19937 random(5);
    std::uniform_real_distribution<float> levels(-255.0F, 255.0F);
    for (int run = 0; run < 20'000; ++run) {
        const float dx = levels(random);
        const float dy = levels(random);
        if (std::abs(std::abs(static_cast<double>(dy)) - std::abs(static_cast<double>(dx))) <
            kMargin * std::abs(static_cast<double>(dx))) {
            continue;
        }
        const float angle = std::abs(std::atan2(dy, dx));
        ASSERT_EQ(IsNearXAxis(dx, dy), angle < kDiagonal || angle > kBackDiagonal) << dx << ' ' << dy;
        ASSERT_EQ(IsNearYAxis(dx, dy), kDiagonal < angle && angle < kBackDiagonal) << dx << ' ' << dy;
    }
}

TEST(CalibEdgeKernels, AmountsAreAbsolute)
{
    const std::vector<float> a{1.0F, -2.0F};
    const std::vector<float> b{-4.0F, 8.0F};
    const std::vector<float> c{16.0F, -32.0F};
    std::vector<float> alone(2);
    std::vector<float> together(2);
    GradientAmounts(a, b, c, alone, together);
    EXPECT_EQ(alone, (std::vector<float>{4.0F, 8.0F}));
    EXPECT_EQ(together, (std::vector<float>{21.0F, 42.0F}));
}

TEST(CalibEdgeKernels, MeanOfRanksIsThatOfTheSortedValues)
{
    std::mt19937 random(6);
    for (int run = 0; run < 300; ++run) {
        std::vector<float> values = RandomValues(random() % 400, random);
        for (float& value : values) {
            value +=
                static_cast<float>(random() % 5 == 0) * std::ldexp(1.0F, static_cast<int>(random() % 30));
        }
        if (run % 3 == 0) {
            std::sort(values.begin(), values.end()); // each value is larger than all before
        }
        const std::size_t first = random() % 20;
        const std::size_t end = first + 1 + random() % 20;
        CLargestValues largest(end);
        const std::size_t half = values.size() / 2;
        largest.Add({values.data(), half});
        largest.Add({values.data() + half, values.size() - half});
        double mean = -1.0;
        const bool has = largest.GetMeanOfRanks(first, end, mean);
        ASSERT_EQ(has, values.size() >= end);
        std::sort(values.begin(), values.end(), std::greater<>());
        double sum = 0.0;
        for (std::size_t i = first; has && i < end; ++i) {
            sum += static_cast<double>(values[i]);
        }
        ASSERT_EQ(mean, has ? sum / static_cast<double>(end - first) : -1.0) << "run " << run;
    }
}

TEST(CalibEdgeKernels, NotANumberIsNoneOfTheLargestValues)
{
    CLargestValues largest(2);
    const std::vector<float> values{kNaN, 1.0F, kNaN, -kInfinity, kNaN};
    largest.Add(values);
    double mean = 0.0;
    EXPECT_TRUE(largest.GetMeanOfRanks(0, 1, mean));
    EXPECT_EQ(mean, 1.0);
    EXPECT_TRUE(largest.GetMeanOfRanks(1, 2, mean));
    EXPECT_EQ(mean, -std::numeric_limits<double>::infinity());
    EXPECT_FALSE(largest.GetMeanOfRanks(1, 3, mean)) << "only two are kept";
}

} // namespace
} // namespace LxCV
