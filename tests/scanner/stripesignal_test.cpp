#include "scanner/decoder/stripesignal.h"

#include "cctimage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCColorValueFloat;
using LxCV::LxCFloat3;

constexpr int kWidth = 6;
constexpr int kHeight = 4;

TEST(StripeSignal, IsTheRatioOfPatternToReference)
{
    CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 200.0F, 100.0F, 50.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F, 10.0F, 50.0F);
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    for (int column = 1; column < kWidth - 1; ++column) {
        for (std::size_t row = 0; row < kHeight; ++row) {
            EXPECT_FLOAT_EQ(signal.Column(LxCColorValueFloat::eBlue, column)[row], 0.5F);
            EXPECT_FLOAT_EQ(signal.Column(LxCColorValueFloat::eGreen, column)[row], 0.1F);
            EXPECT_FLOAT_EQ(signal.Column(LxCColorValueFloat::eRed, column)[row], 1.0F);
        }
    }
}

TEST(StripeSignal, SmoothsAlongTheRowWithBinomialWeights)
{
    CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 0.0F);
    pattern.GetFloat3Fast(2, 1) = LxCFloat3(100.0F, 100.0F, 100.0F);
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    const auto at = [&signal](int column, std::size_t row) {
        return signal.Column(LxCColorValueFloat::eRed, column)[row];
    };
    EXPECT_FLOAT_EQ(at(1, 1), 0.25F);
    EXPECT_FLOAT_EQ(at(2, 1), 0.5F);
    EXPECT_FLOAT_EQ(at(3, 1), 0.25F);
    EXPECT_FLOAT_EQ(at(4, 1), 0.0F);
    EXPECT_FLOAT_EQ(at(2, 0), 0.0F) << "rows are not mixed";
}

TEST(StripeSignal, IsUndecodableAtTheBorderAndInTheDark)
{
    CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    for (int column = 2; column < 5; ++column) {
        reference.GetFloat3Fast(column, 2) = LxCFloat3(100.0F, 1.0F, 100.0F);
    }
    StripeSignal signal;
    signal.Compute(reference, reference, DecoderConfig());
    EXPECT_TRUE(std::isnan(signal.Column(LxCColorValueFloat::eBlue, 0)[1]));
    EXPECT_TRUE(std::isnan(signal.Column(LxCColorValueFloat::eBlue, kWidth - 1)[1]));
    EXPECT_TRUE(std::isnan(signal.Column(LxCColorValueFloat::eGreen, 3)[2]));
    EXPECT_FALSE(std::isnan(signal.Column(LxCColorValueFloat::eBlue, 3)[2]));
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
    EXPECT_TRUE(std::isnan(signal.Column(LxCColorValueFloat::eRed, 0)[1]));
}

} // namespace
} // namespace decoder
