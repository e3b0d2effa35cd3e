#include "scanner/decoder/edgewords.h"

#include "cctimage.h"
#include "lxcextremum.h"
#include "scanner/decoder/stripesignal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCExtremum;
using LxCV::LxCSymbol;

constexpr int kWidth = 3;
constexpr int kHeight = 40;

struct Step
{
    int channel; ///< 0 blue, 1 green, 2 red
    double row;
    bool rising;
};

struct Found
{
    double row;
    int symbol;
};

/// The words of each column for a pattern that is the sum of blurred steps of the same height.
std::vector<Found> WordsOf(const std::vector<Step>& steps)
{
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    for (int y = 0; y < kHeight; ++y) {
        for (const Step& step : steps) {
            const double level = 0.5 * std::erfc((step.row - y) / std::sqrt(2.0));
            for (int x = 0; x < kWidth; ++x) {
                auto& pixel = pattern.GetFloat3Fast(x, y);
                const double sign = step.rising ? 1.0 : -1.0;
                pixel.set(step.channel, pixel.get(step.channel) + static_cast<float>(sign * 80.0 * level));
            }
        }
    }
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    CCTImage words(kWidth, kHeight, LxCV::CCTImage::eIDT_INT32, true, nullptr);
    EdgeWordWriter(DecoderConfig()).Write(signal, words);

    std::vector<Found> found;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 1; x < kWidth; ++x) {
            EXPECT_EQ(words.GetInt32PixelFast(x, y), words.GetInt32PixelFast(0, y));
        }
        const LxCExtremum word(static_cast<unsigned int>(words.GetInt32PixelFast(0, y)));
        if (word.HasEntry()) {
            EXPECT_EQ(word.GetLSEdgeIdUntraced(), 0);
            found.push_back({y + static_cast<double>(word.GetSubpixelFloat()),
                             static_cast<int>(word.GetSymbolFromExt().GetValue())});
        }
    }
    return found;
}

TEST(EdgeWordWriter, CombinesStepsOfDifferentChannels)
{
    const auto found = WordsOf({{0, 10.2, true}, {1, 10.4, false}, {2, 25.0, true}});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncBlue + LxCSymbol::m_scaiDecGreen);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncRed);
    constexpr double kTolerance = 1.5 / 64.0; // one rounding of each step and one of the mean, in 1/64 row
    EXPECT_NEAR(found[0].row, 10.3, kTolerance);
    EXPECT_NEAR(found[1].row, 25.0, kTolerance);
}

TEST(EdgeWordWriter, KeepsDistantStepsApart)
{
    const auto found = WordsOf({{0, 10.0, true}, {1, 12.5, true}, {2, 20.0, false}});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncBlue);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(found[2].symbol, LxCSymbol::m_scaiDecRed);
}

TEST(EdgeWordWriter, NeverPutsTwoStepsOfOneChannelIntoAnEdge)
{
    const auto found = WordsOf({{2, 10.0, true}, {2, 14.0, false}, {1, 12.0, true}});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncRed);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(found[2].symbol, LxCSymbol::m_scaiDecRed);
}

TEST(EdgeWordWriter, RefusesAnImageOfAnotherSizeOrType)
{
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    StripeSignal signal;
    signal.Compute(reference, reference, DecoderConfig());
    CCTImage narrow(kWidth - 1, kHeight, LxCV::CCTImage::eIDT_INT32, true, nullptr);
    CCTImage real(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32, true, nullptr);
    EdgeWordWriter writer{DecoderConfig()};
    EXPECT_THROW(writer.Write(signal, narrow), std::invalid_argument);
    EXPECT_THROW(writer.Write(signal, real), std::invalid_argument);
}

} // namespace
} // namespace decoder
