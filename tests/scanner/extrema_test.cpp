#include "scanner/decoder/extrema.h"

#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using LxCV::LxCColorValueFloat;
using LxCV::LxCSymbol;

constexpr float kMinGradient = 0.1F;

/// Light of a step at `row`, blurred by a Gaussian and gathered over pixels: the mean over each pixel of the
/// blurred step, by a fine midpoint rule.
std::vector<float> BlurredStep(double row, double sigma, int height, bool rising)
{
    constexpr int kSamples = 64;
    std::vector<float> signal(static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        double sum = 0.0;
        for (int i = 0; i < kSamples; ++i) {
            const double at = y - 0.5 + (i + 0.5) / kSamples;
            sum += 0.5 * std::erfc((row - at) / (sigma * std::sqrt(2.0)));
        }
        const double level = sum / kSamples;
        signal[static_cast<std::size_t>(y)] = static_cast<float>(rising ? level : 1.0 - level);
    }
    return signal;
}

/// The steps of one channel in an image of one column, whose other channels are even.
std::vector<ChannelStep> StepsOf(const std::vector<float>& signal, float minGradient = kMinGradient)
{
    std::vector<float> pixels(kChannels * signal.size(), 0.5F);
    for (std::size_t row = 0; row < signal.size(); ++row) {
        pixels[kChannels * row + LxCColorValueFloat::eGreen] = signal[row];
    }
    StepFinder finder;
    finder.Find(pixels, 1, 0, minGradient);
    const std::span<const ChannelStep> steps = finder.StepsOf(0);
    return {steps.begin(), steps.end()};
}

TEST(FindSteps, PlacesABlurredStepAtItsTrueRow)
{
    // The position is held in 1/64 row, so half of that is lost by rounding; the rest is the estimator's.
    constexpr double kTolerance = 0.5 / 64.0 + 0.004;
    for (int i = 0; i < 200; ++i) {
        const double row = 20.0 + i * 0.05;
        for (const double sigma : {1.0, 1.2, 1.5}) { // of lens and smoothing together
            const auto steps = StepsOf(BlurredStep(row, sigma, 60, i % 2 == 0));
            ASSERT_EQ(steps.size(), 1U) << "row " << row;
            EXPECT_NEAR(steps[0].position.GetPixelAndSubpixelPos() / 64.0, row, kTolerance)
                << "sigma " << sigma;
        }
    }
}

TEST(FindSteps, FindsStepsAllAlongALongSignal)
{
    // Farther than the rows that are looked at together, and at both ends as near as three differences allow.
    constexpr int kHeight = 300;
    for (int row = 1; row < kHeight - 2; ++row) {
        std::vector<float> signal(kHeight, 0.0F);
        std::fill(signal.begin() + row + 1, signal.end(), 1.0F);
        const auto steps = StepsOf(signal);
        ASSERT_EQ(steps.size(), 1U) << row;
        ASSERT_EQ(steps[0].position.GetPixelAndSubpixelPos(), static_cast<unsigned int>(64 * row + 32));
        ASSERT_EQ(steps[0].amplitude, 1.0F);
    }
}

TEST(FindSteps, TakesStepsBesideTheEndsOnlyIfTheyLeanInwards)
{
    // Differences of .2 .5 .1 and of .1 .5 .2, at the begin and at the end of a longer signal.
    const std::vector<float> outwards = {0.0F, 0.2F, 0.7F, 0.8F};
    const std::vector<float> inwards = {0.0F, 0.1F, 0.6F, 0.8F};
    const auto atBegin = [](std::vector<float> signal) {
        signal.resize(10, 0.8F);
        return signal;
    };
    const auto atEnd = [&atBegin](const std::vector<float>& signal) {
        std::vector<float> reversed = atBegin(signal);
        std::reverse(reversed.begin(), reversed.end());
        return reversed;
    };
    EXPECT_TRUE(StepsOf(atBegin(outwards)).empty());
    EXPECT_TRUE(StepsOf(atEnd(outwards)).empty());
    EXPECT_EQ(StepsOf(atBegin(inwards)).size(), 1U);
    EXPECT_EQ(StepsOf(atEnd(inwards)).size(), 1U);
}

TEST(FindSteps, TellsTheDirectionAndTheChannel)
{
    const auto rising = StepsOf(BlurredStep(20.3, 1.0, 40, true));
    const auto falling = StepsOf(BlurredStep(20.3, 1.0, 40, false));
    ASSERT_EQ(rising.size(), 1U);
    ASSERT_EQ(falling.size(), 1U);
    EXPECT_EQ(static_cast<int>(rising[0].symbol.GetValue()), LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(static_cast<int>(falling[0].symbol.GetValue()), LxCSymbol::m_scaiDecGreen);
}

TEST(FindSteps, IgnoresStepsBelowTheThreshold)
{
    auto signal = BlurredStep(20.0, 1.0, 40, true);
    for (float& value : signal) {
        value *= 0.1F; // the largest difference is then below 0.1
    }
    EXPECT_TRUE(StepsOf(signal).empty());
}

TEST(FindSteps, GivesNoStepWithoutAHeight)
{
    const std::vector<float> flat(20, 0.5F);
    for (const float minGradient : {0.0F, -1.0F, std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_TRUE(StepsOf(flat, minGradient).empty()) << minGradient;
    }
}

TEST(FindSteps, GivesNoStepNextToUndecodableRows)
{
    auto signal = BlurredStep(20.0, 1.0, 40, true);
    signal[21] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(StepsOf(signal).empty());
}

TEST(FindSteps, SurvivesInfiniteSignals)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float end : {kInfinity, -kInfinity}) {
        for (const ChannelStep& step : StepsOf({0.0F, 0.0F, end, 0.0F, 0.0F, 1.0F, end, end, 0.0F, 0.0F})) {
            EXPECT_LT(step.position.GetPixelAndSubpixelPos(), 10U * 64U);
        }
    }
}

TEST(FindSteps, TakesSignalsOfAnyLength)
{
    for (std::size_t length = 0; length < 6; ++length) {
        EXPECT_TRUE(StepsOf(std::vector<float>(length, 0.5F)).empty());
    }
}

TEST(FindSteps, OrdersTheStepsOfAllChannelsInEachColumn)
{
    // In every channel of every column steps of one row's height at random rows, two rows apart at least.
    constexpr int kWidth = StepFinder::kColumns + 5;
    constexpr int kHeight = 200;
    std::mt19937 random(5);
    std::vector<float> pixels(kChannels * kWidth * kHeight);
    std::vector<std::vector<std::pair<unsigned int, std::size_t>>> expected(kWidth); // position, channel
    for (std::size_t lane = 0; lane < kChannels * kWidth; ++lane) {
        float level = 0.0F;
        int last = 0;
        for (int row = 0; row < kHeight; ++row) {
            if (row > last + 2 && row < kHeight - 2 && random() % 3 == 0) {
                level = 1.0F - level;
                last = row;
                expected[lane / kChannels].push_back(
                    {static_cast<unsigned int>(64 * row - 32), lane % kChannels});
            }
            pixels[static_cast<std::size_t>(row) * kChannels * kWidth + lane] = level;
        }
    }
    StepFinder finder;
    for (int first = 0; first < kWidth; first += StepFinder::kColumns) {
        finder.Find(pixels, kWidth, first, kMinGradient);
        ASSERT_EQ(finder.GetNumColumns(), std::min(StepFinder::kColumns, kWidth - first));
        for (int column = 0; column < finder.GetNumColumns(); ++column) {
            auto& steps = expected[static_cast<std::size_t>(first + column)];
            std::sort(steps.begin(), steps.end());
            const std::span<const ChannelStep> found = finder.StepsOf(column);
            ASSERT_EQ(found.size(), steps.size());
            for (std::size_t i = 0; i < found.size(); ++i) {
                ASSERT_EQ(found[i].position.GetPixelAndSubpixelPos(), steps[i].first);
                ASSERT_NE(found[i].symbol.GetValue() & (3U << (2 * steps[i].second)), 0U);
            }
        }
    }
}

TEST(FindSteps, IsTheSameBitForBitOnBasicVectors)
{
    constexpr int kWidth = 70;
    constexpr int kHeight = 300;
    std::mt19937 random(6);
    std::vector<float> pixels(kChannels * kWidth * kHeight);
    for (float& value : pixels) {
        value = static_cast<float>(random()) * 0x1p-32F;
    }
    StepFinder wide, basic;
    for (int first = 0; first < kWidth; first += StepFinder::kColumns) {
        wide.Find(pixels, kWidth, first, kMinGradient);
        {
            const LxCV::VectorUnits::CBasicOnly basicOnly;
            basic.Find(pixels, kWidth, first, kMinGradient);
        }
        for (int column = 0; column < wide.GetNumColumns(); ++column) {
            ASSERT_TRUE(std::ranges::equal(
                wide.StepsOf(column), basic.StepsOf(column), [](const ChannelStep& a, const ChannelStep& b) {
                    return a.position.GetPixelAndSubpixelPos() == b.position.GetPixelAndSubpixelPos() &&
                           a.symbol.GetValue() == b.symbol.GetValue() &&
                           std::bit_cast<std::uint32_t>(a.amplitude) ==
                               std::bit_cast<std::uint32_t>(b.amplitude);
                }));
            ASSERT_GT(wide.StepsOf(column).size(), 100U);
        }
    }
}

TEST(FindSteps, HasNoColumnsBesideTheImage)
{
    const std::vector<float> pixels(kChannels * 3 * 10, 0.5F);
    StepFinder finder;
    EXPECT_THROW(finder.StepsOf(0), std::out_of_range);
    for (const int first : {-1, 3, 4}) {
        finder.Find(pixels, 3, first, kMinGradient);
        EXPECT_EQ(finder.GetNumColumns(), 0) << first;
    }
    finder.Find({}, 0, 0, kMinGradient);
    EXPECT_EQ(finder.GetNumColumns(), 0);
    finder.Find(pixels, 3, 1, kMinGradient);
    EXPECT_EQ(finder.GetNumColumns(), 2);
    EXPECT_THROW(finder.StepsOf(2), std::out_of_range);
    EXPECT_THROW(finder.StepsOf(-1), std::out_of_range);
}

TEST(FindSteps, CountsAPlateauOfTheDifferenceOnce)
{
    // Differences 0 0 .5 .5 .5 .5 0 0 0: equal maxima side by side.
    const std::vector<float> signal = {0.0F, 0.0F, 0.0F, 0.5F, 1.0F, 1.5F, 2.0F, 2.0F, 2.0F, 2.0F};
    EXPECT_EQ(StepsOf(signal).size(), 1U);
}

} // namespace
} // namespace decoder
