#include "scanner/decoder/extrema.h"

#include "lxcsymbol.h"
#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <span>
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

struct ChannelStep
{
    double row;
    float amplitude;
    std::uint32_t symbol;
};

/// The steps of some columns of an image, column after column.
std::vector<std::vector<ChannelStep>> StepsOfColumns(std::span<const float> pixels, int width, int first,
                                                     int blankRows = 0, float minGradient = kMinGradient)
{
    StepFinder finder;
    finder.Start(pixels, width, first, blankRows, minGradient);
    std::vector<std::vector<ChannelStep>> columns(static_cast<std::size_t>(finder.GetNumColumns()));
    while (finder.Next()) {
        const StepBatch& steps = finder.GetSteps();
        for (std::size_t i = 0; i < steps.GetCount(); ++i) {
            EXPECT_EQ(steps.ChannelAt(i) & steps.SymbolAt(i), steps.SymbolAt(i));
            columns.at(steps.ColumnAt(i))
                .push_back({steps.PositionAt(i) / 64.0, steps.AmplitudeAt(i), steps.SymbolAt(i)});
        }
    }
    EXPECT_FALSE(finder.Next());
    EXPECT_EQ(finder.GetSteps().GetCount(), 0U);
    return columns;
}

/// The steps of one channel in an image of one column, whose other channels are even.
std::vector<ChannelStep> StepsOf(const std::vector<float>& signal, float minGradient = kMinGradient,
                                 int blankRows = 0)
{
    std::vector<float> pixels(kChannels * signal.size(), 0.5F);
    for (std::size_t row = 0; row < signal.size(); ++row) {
        pixels[kChannels * row + LxCColorValueFloat::eGreen] = signal[row];
    }
    return StepsOfColumns(pixels, 1, 0, blankRows, minGradient).at(0);
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
            EXPECT_NEAR(steps[0].row, row, kTolerance) << "sigma " << sigma;
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
        ASSERT_EQ(steps[0].row, row + 0.5);
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

TEST(FindSteps, TakesAStepBesideBothEndsOnlyIfItLeansTowardsNone)
{
    // Differences of .2 .5 .1, of .1 .5 .2 and of .2 .5 .2 are all that there is, also between blank rows.
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(StepsOf({0.0F, 0.2F, 0.7F, 0.8F}).empty());
    EXPECT_TRUE(StepsOf({0.0F, 0.1F, 0.6F, 0.8F}).empty());
    EXPECT_EQ(StepsOf({0.0F, 0.2F, 0.7F, 0.9F}).size(), 1U);
    EXPECT_TRUE(StepsOf({kNone, 0.0F, 0.1F, 0.6F, 0.8F, kNone}, kMinGradient, 1).empty());
    EXPECT_EQ(StepsOf({kNone, 0.0F, 0.2F, 0.7F, 0.9F, kNone}, kMinGradient, 1).size(), 1U);
}

TEST(FindSteps, TakesTheEndsOfASignalBesideBlankRowsAsThoseOfAnImage)
{
    // The signals of the ends above, between one, two and three rows that are not numbers.
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    for (const int blankRows : {1, 2, 3}) {
        for (const bool leansOut : {true, false}) {
            std::vector<float> signal = leansOut ? std::vector<float>{0.0F, 0.2F, 0.7F, 0.8F}
                                                 : std::vector<float>{0.0F, 0.1F, 0.6F, 0.8F};
            signal.resize(10, 0.8F);
            const auto blank = static_cast<std::size_t>(blankRows);
            signal.insert(signal.begin(), blank, kNone);
            signal.insert(signal.end(), blank, kNone);
            const std::size_t expected = leansOut ? 0 : 1;
            EXPECT_EQ(StepsOf(signal, kMinGradient, blankRows).size(), expected) << blankRows;
            EXPECT_EQ(StepsOf(signal, kMinGradient, 0).size(), 1U) << blankRows;
            std::reverse(signal.begin(), signal.end());
            EXPECT_EQ(StepsOf(signal, kMinGradient, blankRows).size(), expected) << blankRows;
        }
    }
}

TEST(FindSteps, TellsTheDirectionAndTheChannel)
{
    const auto rising = StepsOf(BlurredStep(20.3, 1.0, 40, true));
    const auto falling = StepsOf(BlurredStep(20.3, 1.0, 40, false));
    ASSERT_EQ(rising.size(), 1U);
    ASSERT_EQ(falling.size(), 1U);
    EXPECT_EQ(static_cast<int>(rising[0].symbol), LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(static_cast<int>(falling[0].symbol), LxCSymbol::m_scaiDecGreen);
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
            EXPECT_TRUE(step.row >= 0.0 && step.row < 10.0);
            EXPECT_TRUE(step.amplitude > 0.0F && std::isfinite(step.amplitude));
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
    std::vector<std::vector<std::pair<double, std::size_t>>> expected(kWidth); // row, channel
    for (std::size_t lane = 0; lane < kChannels * kWidth; ++lane) {
        float level = 0.0F;
        int last = 0;
        for (int row = 0; row < kHeight; ++row) {
            if (row > last + 2 && row < kHeight - 2 && random() % 3 == 0) {
                level = 1.0F - level;
                last = row;
                expected[lane / kChannels].push_back({row - 0.5, lane % kChannels});
            }
            pixels[static_cast<std::size_t>(row) * kChannels * kWidth + lane] = level;
        }
    }
    for (int first = 0; first < kWidth; first += StepFinder::kColumns) {
        const auto columns = StepsOfColumns(pixels, kWidth, first);
        ASSERT_EQ(columns.size(), static_cast<std::size_t>(std::min(StepFinder::kColumns, kWidth - first)));
        for (std::size_t column = 0; column < columns.size(); ++column) {
            auto& steps = expected[static_cast<std::size_t>(first) + column];
            std::sort(steps.begin(), steps.end());
            const std::vector<ChannelStep>& found = columns[column];
            ASSERT_EQ(found.size(), steps.size());
            for (std::size_t i = 0; i < found.size(); ++i) {
                ASSERT_EQ(found[i].row, steps[i].first);
                ASSERT_NE(found[i].symbol & (3U << (2 * steps[i].second)), 0U);
            }
        }
    }
}

TEST(FindSteps, OrdersStepsWithinARow)
{
    // All three channels step between the rows 20 and 21, in every order of their positions, beside even columns.
    constexpr int kHeight = 40;
    constexpr int kWidth = 3;
    const std::vector<double> ordered{20.2, 20.5, 20.8};
    std::vector<double> rows = ordered;
    do {
        std::vector<float> pixels(kChannels * kWidth * kHeight, 0.5F);
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const std::vector<float> signal = BlurredStep(rows[channel], 1.0, kHeight, true);
            for (std::size_t row = 0; row < kHeight; ++row) {
                pixels[(row * kWidth + 1) * kChannels + channel] = signal[row];
            }
        }
        const auto steps = StepsOfColumns(pixels, kWidth, 0).at(1);
        ASSERT_EQ(steps.size(), kChannels);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const auto channel = static_cast<std::size_t>(std::ranges::find(rows, ordered[i]) - rows.begin());
            EXPECT_NEAR(steps[i].row, ordered[i], 0.02);
            EXPECT_EQ(steps[i].symbol, 2U << (2 * channel));
        }
    } while (std::ranges::next_permutation(rows).found);
}

TEST(FindSteps, IsTheSameBitForBitOnBasicVectors)
{
    constexpr int kWidth = 70;
    constexpr int kHeight = 300;
    std::mt19937 random(6);
    std::vector<float> pixels(kChannels * kWidth * kHeight);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::vector<float> special{
        std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity, 1e31F, -3e38F, 1e-45F, -0.0F, 0.5F};
    for (float& value : pixels) {
        value =
            random() % 64 == 0 ? special[random() % special.size()] : static_cast<float>(random()) * 0x1p-32F;
    }
    for (int first = 0; first < kWidth; first += StepFinder::kColumns) {
        const auto wide = StepsOfColumns(pixels, kWidth, first);
        const LxCV::VectorUnits::CBasicOnly basicOnly;
        const auto basic = StepsOfColumns(pixels, kWidth, first);
        ASSERT_EQ(wide.size(), basic.size());
        for (std::size_t column = 0; column < wide.size(); ++column) {
            ASSERT_TRUE(std::ranges::equal(wide[column], basic[column],
                                           [](const ChannelStep& a, const ChannelStep& b) {
                                               return a.row == b.row && a.symbol == b.symbol &&
                                                      std::bit_cast<std::uint32_t>(a.amplitude) ==
                                                          std::bit_cast<std::uint32_t>(b.amplitude);
                                           }));
            ASSERT_GT(wide[column].size(), 50U);
        }
    }
}

TEST(FindSteps, HasNoColumnsBesideTheImage)
{
    const std::vector<float> pixels(kChannels * 3 * 10, 0.5F);
    EXPECT_EQ(StepFinder().GetNumColumns(), 0);
    EXPECT_FALSE(StepFinder().Next());
    for (const int first : {-1, 3, 4}) {
        EXPECT_TRUE(StepsOfColumns(pixels, 3, first).empty()) << first;
    }
    EXPECT_TRUE(StepsOfColumns({}, 0, 0).empty());
    EXPECT_TRUE(StepsOfColumns(pixels, -1, 0).empty());
    EXPECT_EQ(StepsOfColumns(pixels, 3, 1).size(), 2U);
}

TEST(FindSteps, CountsAPlateauOfTheDifferenceOnce)
{
    // Differences 0 0 .5 .5 .5 .5 0 0 0: equal maxima side by side.
    const std::vector<float> signal = {0.0F, 0.0F, 0.0F, 0.5F, 1.0F, 1.5F, 2.0F, 2.0F, 2.0F, 2.0F};
    EXPECT_EQ(StepsOf(signal).size(), 1U);
}

} // namespace
} // namespace decoder
