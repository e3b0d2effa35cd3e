#include "scanner/decoder/stripesignal.h"

#include "cctimage.h"
#include "orx/logging/logger.h"
#include "pixelelements.h"
#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <stdexcept>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCColorValueFloat;
using LxCV::LxCFloat3;

constexpr int kWidth = 6;
constexpr int kHeight = 4;

DecoderConfig WithSmoothing(int mode, int kernel)
{
    DecoderConfig config;
    config.Edges().m_iSmoothingMode = mode;
    config.Edges().m_iKernelSizeX = kernel;
    config.Edges().m_iKernelSizeY = kernel;
    return config;
}

TEST(StripeSignal, IsTheRatioOfPatternToReference)
{
    CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 200.0F, 100.0F, 50.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F, 10.0F, 50.0F);
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    for (int column = 0; column < kWidth; ++column) {
        for (int row = 0; row < kHeight; ++row) {
            EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eBlue, column, row), 0.5F);
            EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eGreen, column, row), 0.1F);
            EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eRed, column, row), 1.0F);
        }
    }
}

TEST(StripeSignal, TheCouplingOfTheColoursIsUndoneInBothImages)
{
    // Of the light of the slide's channels, blue 100, green 80, red 60, the pattern lets 1/2, 1/4 and 3/4 through. The
    // sensor's blue takes 7/8 of blue and 1/8 of green; its green 3/4 of green, 1/8 of blue and 1/8 of red; its red 1/2 of
    // red and 1/2 of blue:
    // reference: 87.5 + 10, 12.5 + 60 + 7.5, 50 + 30; pattern: 43.75 + 2.5, 6.25 + 15 + 5.625, 25 + 22.5
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 97.5F, 80.0F, 80.0F);
    const CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 46.25F, 26.875F, 47.5F);
    DecoderConfig config;
    config.algorithm.SetCameraProjectorCoupling(0.5F, 0.125F, 0.0F, 0.0F, 0.75F, 0.125F, 0.5F, 0.125F,
                                                0.875F);
    StripeSignal signal;
    signal.Compute(reference, pattern, config);
    constexpr float kRounding = 1e-6F; // a few steps of the last digit
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eBlue, 3, 2), 0.5F, kRounding);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eGreen, 3, 2), 0.25F, kRounding);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eRed, 3, 2), 0.75F, kRounding);
}

TEST(StripeSignal, IsTheSameBitForBitOnBasicVectors)
{
    constexpr int kOdd = 37;
    std::mt19937 random(4);
    CCTImage reference(kOdd, kOdd, LxCV::CCTImage::eIDT_FLOAT32_3, 0.0F);
    CCTImage pattern(reference);
    for (CCTImage* image : {&reference, &pattern}) {
        for (int row = 0; row < kOdd; ++row) {
            for (int column = 0; column < kOdd; ++column) {
                const auto grey = [&random] { return static_cast<float>(random() % 256); };
                image->GetFloat3Fast(column, row) = LxCFloat3(grey(), grey(), grey());
            }
        }
    }
    DecoderConfig config;
    for (int coupled = 0; coupled < 2; ++coupled) {
        StripeSignal wide, basic;
        wide.Compute(reference, pattern, config);
        {
            const LxCV::VectorUnits::CBasicOnly basicOnly;
            basic.Compute(reference, pattern, config);
        }
        EXPECT_TRUE(std::ranges::equal(wide.Values(), basic.Values(), [](float a, float b) {
            return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b) ||
                   (std::isnan(a) && std::isnan(b));
        }));
        EXPECT_TRUE(std::ranges::any_of(wide.Values(), [](float value) { return value > 0.0F; }));
        config.algorithm.SetCameraProjectorCoupling(0.8F, 0.1F, 0.1F, 0.1F, 0.8F, 0.1F, 0.1F, 0.1F, 0.8F);
    }
}

TEST(StripeSignal, ACouplingWithoutInverseIsNoCoupling)
{
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 200.0F, 100.0F, 50.0F);
    const CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F, 10.0F, 50.0F);
    DecoderConfig config;
    config.algorithm.SetCameraProjectorCoupling(0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F);
    StripeSignal signal;
    signal.Compute(reference, pattern, config);
    EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eBlue, 0, 0), 0.5F);
    EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eGreen, 0, 0), 0.1F);
    EXPECT_FLOAT_EQ(signal.At(LxCColorValueFloat::eRed, 0, 0), 1.0F);
}

TEST(StripeSignal, AColourThatIsDarkOnceUnmixedIsUndecodable)
{
    // All green comes from the light of blue, of which half goes to green.
    const CCTImage image(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F, 50.0F, 50.0F);
    DecoderConfig config;
    config.algorithm.SetCameraProjectorCoupling(1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.5F, 1.0F);
    StripeSignal signal;
    signal.Compute(image, image, config);
    EXPECT_TRUE(std::isnan(signal.At(LxCColorValueFloat::eGreen, 0, 0)));
    EXPECT_EQ(signal.At(LxCColorValueFloat::eBlue, 0, 0), 1.0F);
    EXPECT_EQ(signal.At(LxCColorValueFloat::eRed, 0, 0), 1.0F);
}

/// Red at a column and row for a pattern that is black but for a white pixel at column 2 and row 1.
float RedOfADot(const DecoderConfig& config, int column, int row)
{
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 0.0F);
    pattern.GetFloat3Fast(2, 1) = LxCFloat3(100.0F, 100.0F, 100.0F);
    StripeSignal signal;
    signal.Compute(reference, pattern, config);
    return signal.At(LxCColorValueFloat::eRed, column, row);
}

TEST(StripeSignal, IsSmoothedByAGaussianOfThreePixels)
{
    const DecoderConfig config;
    EXPECT_EQ(RedOfADot(config, 2, 1), 0.25F);
    EXPECT_EQ(RedOfADot(config, 1, 1), 0.125F);
    EXPECT_EQ(RedOfADot(config, 3, 1), 0.125F);
    EXPECT_EQ(RedOfADot(config, 2, 2), 0.125F);
    EXPECT_EQ(RedOfADot(config, 3, 2), 0.0625F);
    EXPECT_EQ(RedOfADot(config, 4, 1), 0.0F);
}

TEST(StripeSignal, IsSmoothedAsTheConfigurationTells)
{
    constexpr float kRounding = 1e-6F;
    const DecoderConfig blur = WithSmoothing(CCTImage::eSM_Blur, 3);
    EXPECT_NEAR(RedOfADot(blur, 2, 1), 1.0F / 9.0F, kRounding);
    EXPECT_NEAR(RedOfADot(blur, 3, 2), 1.0F / 9.0F, kRounding);
    const DecoderConfig none = WithSmoothing(CCTImage::eSM_None, 0);
    EXPECT_EQ(RedOfADot(none, 2, 1), 1.0F);
    EXPECT_EQ(RedOfADot(none, 2, 0), 0.0F);
    EXPECT_EQ(RedOfADot(none, 3, 1), 0.0F);
}

/// The ratio of a pair as one image, smoothed as a whole.
CCTImage SmoothedWhole(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    CCTImage ratio(reference.GetWidth(), reference.GetHeight(), CCTImage::eIDT_FLOAT32_3, 0.0F);
    CCTImage smoothed = ratio;
    const auto white = LxCV::ElementsOf<float>(reference);
    const auto striped = LxCV::ElementsOf<float>(pattern);
    const auto ratios = LxCV::ElementsOf<float>(ratio);
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        const bool isDark = white[i] < config.minReference;
        ratios[i] = isDark ? std::numeric_limits<float>::quiet_NaN() : striped[i] / white[i];
    }
    EXPECT_EQ(ratio.Smooth(&smoothed, static_cast<CCTImage::ESmoothingMode>(config.Edges().m_iSmoothingMode),
                           config.Edges().m_iKernelSizeX, config.Edges().m_iKernelSizeY),
              CCTImage::eRC_OK);
    return smoothed;
}

TEST(StripeSignal, IsThatOfTheWholeImageBitForBitWhateverItsHeight)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<float> level(2.0F, 255.0F); // some of them too dark
    constexpr int kColumns = 29;
    const DecoderConfig configs[] = {
        WithSmoothing(CCTImage::eSM_None, 3), WithSmoothing(CCTImage::eSM_Gaussian, 3),
        WithSmoothing(CCTImage::eSM_Gaussian, 11), WithSmoothing(CCTImage::eSM_Blur, 5),
        WithSmoothing(CCTImage::eSM_Blur, 11)};
    StripeSignal signal; // whose buffers serve images of all heights
    for (const int height : {100, 1, 5, 31, 32, 33, 37, 42, 43, 63, 64, 65, 97}) {
        CCTImage reference(kColumns, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
        CCTImage pattern = reference;
        for (CCTImage* const image : {&reference, &pattern}) {
            std::ranges::generate(LxCV::ElementsOf<float>(*image), [&] { return level(random); });
        }
        for (const DecoderConfig& config : configs) {
            const CCTImage whole = SmoothedWhole(reference, pattern, config);
            signal.Compute(reference, pattern, config);
            const auto expected = LxCV::ElementsOf<float>(whole);
            const std::size_t blank =
                kChannels * kColumns * static_cast<std::size_t>(signal.GetNumBlankRows());
            ASSERT_EQ(signal.Values().size(), expected.size());
            for (std::size_t i = blank; i + blank < expected.size(); ++i) {
                const float value = signal.Values()[i];
                ASSERT_TRUE(std::isnan(expected[i]) ? std::isnan(value)
                                                    : std::bit_cast<std::uint32_t>(value) ==
                                                          std::bit_cast<std::uint32_t>(expected[i]))
                    << height << " " << config.Edges().m_iSmoothingMode << " "
                    << config.Edges().m_iKernelSizeY << " " << i;
            }
        }
    }
}

TEST(StripeSignal, IsUndecodableWhereTheKernelReachesFarOverTheUpperOrLowerBorder)
{
    constexpr int kTall = 9;
    const CCTImage image(kWidth, kTall, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    for (const int kernel : {3, 5, 7}) {
        StripeSignal signal;
        signal.Compute(image, image, WithSmoothing(CCTImage::eSM_Gaussian, kernel));
        const int reach = kernel / 2 - 1;
        for (int row = 0; row < kTall; ++row) {
            const float value = signal.At(LxCColorValueFloat::eBlue, 0, row);
            const bool decodable = row >= reach && row < kTall - reach;
            EXPECT_EQ(!std::isnan(value), decodable) << kernel << " " << row;
        }
    }
}

TEST(StripeSignal, RefusesASmoothingThatIsNotKnown)
{
    const CCTImage image(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    const Logging::CCapture log; // each refusal leaves a line
    for (const DecoderConfig& config :
         {WithSmoothing(7, 3), WithSmoothing(-1, 3), WithSmoothing(CCTImage::eSM_Gaussian, 4),
          WithSmoothing(CCTImage::eSM_Blur, 0)}) {
        StripeSignal signal;
        signal.Compute(image, image, DecoderConfig());
        EXPECT_THROW(signal.Compute(image, image, config), std::invalid_argument);
        EXPECT_EQ(signal.GetWidth(), 0);
        EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, 0, 0), std::out_of_range);
        EXPECT_TRUE(signal.Values().empty());
    }
}

TEST(StripeSignal, IsUndecodableInTheDark)
{
    CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    reference.GetFloat3Fast(4, 2) = LxCFloat3(100.0F, 1.0F, 100.0F);
    StripeSignal signal;
    signal.Compute(reference, reference, DecoderConfig());
    for (const int column : {3, 4, 5}) {
        EXPECT_TRUE(std::isnan(signal.At(LxCColorValueFloat::eGreen, column, 2))) << column;
        EXPECT_TRUE(std::isnan(signal.At(LxCColorValueFloat::eGreen, column, 1))) << column;
    }
    EXPECT_EQ(signal.At(LxCColorValueFloat::eGreen, 2, 2), 1.0F);
    EXPECT_EQ(signal.At(LxCColorValueFloat::eBlue, 4, 2), 1.0F);
}

TEST(StripeSignal, IsUndecodableWherePixelsAreNoGreyLevels)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float bad : {kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN(), 1e30F}) {
        const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
        CCTImage pattern(reference);
        pattern.GetFloat3Fast(2, 1) = LxCFloat3(bad, bad, bad);
        StripeSignal signal;
        signal.Compute(reference, pattern, DecoderConfig());
        const auto blue = [&signal](int column) { return signal.At(LxCColorValueFloat::eBlue, column, 1); };
        EXPECT_TRUE(std::isnan(blue(1)) && std::isnan(blue(2)) && std::isnan(blue(3))) << bad;
        EXPECT_EQ(blue(4), 1.0F) << bad;
    }
}

TEST(StripeSignal, PutsEveryRowAndChannelInItsPlace)
{
    constexpr int kTall = 37;
    const CCTImage reference(kWidth, kTall, LxCV::CCTImage::eIDT_FLOAT32_3, 128.0F);
    CCTImage pattern(reference);
    const auto level = [](int channel, int row) { return static_cast<float>(64 * channel + row); };
    for (int row = 0; row < kTall; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            pattern.GetFloat3Fast(column, row) = LxCFloat3(level(0, row), level(1, row), level(2, row));
        }
    }
    StripeSignal signal;
    signal.Compute(reference, pattern, WithSmoothing(CCTImage::eSM_None, 0));
    for (int channel = 0; channel < 3; ++channel) {
        for (int column = 0; column < kWidth; ++column) {
            for (int row = 0; row < kTall; ++row) {
                // Whole numbers over a power of two are exact.
                const float expected = level(channel, row) / 128.0F;
                ASSERT_EQ(signal.At(static_cast<LxCColorValueFloat::EColor>(channel), column, row), expected);
                ASSERT_EQ(signal.Values()[static_cast<std::size_t>((row * kWidth + column) * 3 + channel)],
                          expected);
            }
        }
    }
}

TEST(StripeSignal, HasNoValuesBesideTheImage)
{
    const CCTImage image(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    StripeSignal signal;
    EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, 0, 0), std::out_of_range);
    signal.Compute(image, image, DecoderConfig());
    EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, -1, 0), std::out_of_range);
    EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, kWidth, 0), std::out_of_range);
    EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, 0, -1), std::out_of_range);
    EXPECT_THROW(signal.At(LxCColorValueFloat::eBlue, 0, kHeight), std::out_of_range);
    EXPECT_THROW(signal.At(static_cast<LxCColorValueFloat::EColor>(3), 0, 0), std::out_of_range);
}

TEST(StripeSignal, RefusesImagesThatDoNotFit)
{
    const CCTImage good(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    const CCTImage narrow(kWidth - 1, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    const CCTImage grey(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32, true, nullptr);
    StripeSignal signal;
    EXPECT_THROW(signal.Compute(good, narrow, DecoderConfig()), std::invalid_argument);
    EXPECT_THROW(signal.Compute(grey, grey, DecoderConfig()), std::invalid_argument);
    EXPECT_THROW(signal.Compute(CCTImage(), CCTImage(), DecoderConfig()), std::invalid_argument);
}

TEST(StripeSignal, TakesImagesOfOneColumn)
{
    const CCTImage thin(1, 3, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    StripeSignal signal;
    signal.Compute(thin, thin, DecoderConfig());
    EXPECT_EQ(signal.At(LxCColorValueFloat::eRed, 0, 1), 1.0F);
}

} // namespace
} // namespace decoder
