#include "scanner/decoder/greyscene.h"

#include "tests/scanner/pairdecoding.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCColorValueFloat;
using LxCV::LxCFloat3;

constexpr int kWidth = 5;
constexpr int kHeight = 4;
constexpr float kRounding = 1e-6F; // relative; a few steps of the last digit

DecoderConfig WithoutColours()
{
    DecoderConfig config;
    config.algorithm.GetActiveAlgorithmConfig().m_bUseCompSceneColor = false;
    return config;
}

StripeSignal SignalOf(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    GreyScene scene(config, UnmixingOf(config));
    StripeSignal signal;
    signal.Compute(scene.Of(reference), pattern, config);
    return signal;
}

TEST(GreyScene, IsWantedByThePresetsThatDoNotCompensateTheScenesColours)
{
    DecoderConfig config;
    for (const auto& [preset, isWanted] : {std::pair{LxCV::LxCAlgorithmConfig::eS_Preset0, false},
                                           {LxCV::LxCAlgorithmConfig::eS_Preset1, true},
                                           {LxCV::LxCAlgorithmConfig::eS_Preset2, true},
                                           {LxCV::LxCAlgorithmConfig::eS_Preset3, false}}) {
        config.algorithm.ActivateAlgorithmSettings(preset);
        EXPECT_EQ(GreyScene(config, std::nullopt).IsWanted(), isWanted) << preset;
    }
}

TEST(GreyScene, AllChannelsAreDividedByTheMeanOfTheReference)
{
    // The mean of 30, 60 and 90 is 60: 30 / 60, 60 / 60, 45 / 60.
    const CCTImage reference(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 30.0F, 60.0F, 90.0F);
    const CCTImage pattern(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 30.0F, 60.0F, 45.0F);
    const StripeSignal signal = SignalOf(reference, pattern, WithoutColours());
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            EXPECT_NEAR(signal.At(LxCColorValueFloat::eBlue, column, row), 0.5F, kRounding);
            EXPECT_NEAR(signal.At(LxCColorValueFloat::eGreen, column, row), 1.0F, kRounding);
            EXPECT_NEAR(signal.At(LxCColorValueFloat::eRed, column, row), 0.75F, kRounding);
        }
    }
}

TEST(GreyScene, TheMeanIsThatOfTheUnmixedLight)
{
    // Of light of blue 100, green 80, red 60, whose mean is 80, the pattern lets 50, 20 and 45 through. The sensor's blue
    // takes 7/8 of blue and 1/8 of green; its green 3/4 of green, 1/8 of blue and 1/8 of red; its red 1/2 of red and 1/2 of
    // blue: reference 87.5 + 10, 12.5 + 60 + 7.5, 50 + 30; pattern 43.75 + 2.5, 6.25 + 15 + 5.625, 25 + 22.5
    const CCTImage reference(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 97.5F, 80.0F, 80.0F);
    const CCTImage pattern(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 46.25F, 26.875F, 47.5F);
    DecoderConfig config = WithoutColours();
    config.algorithm.SetCameraProjectorCoupling(0.5F, 0.125F, 0.0F, 0.0F, 0.75F, 0.125F, 0.5F, 0.125F,
                                                0.875F);
    const StripeSignal signal = SignalOf(reference, pattern, config);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eBlue, 2, 2), 50.0F / 80.0F, kRounding);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eGreen, 2, 2), 20.0F / 80.0F, kRounding);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eRed, 2, 2), 45.0F / 80.0F, kRounding);
}

TEST(GreyScene, ACouplingWithoutInverseIsNoCoupling)
{
    const CCTImage reference(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 30.0F, 60.0F, 90.0F);
    DecoderConfig config = WithoutColours();
    config.algorithm.SetCameraProjectorCoupling(0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F);
    const StripeSignal signal = SignalOf(reference, reference, config);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eBlue, 2, 2), 0.5F, kRounding);
    EXPECT_NEAR(signal.At(LxCColorValueFloat::eRed, 2, 2), 1.5F, kRounding);
}

TEST(GreyScene, AColourTooDarkToDivideByDoesNotMakeItsChannelUndecodable)
{
    const CCTImage reference(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 3.0F, 30.0F, 30.0F);
    StripeSignal compensated;
    compensated.Compute(reference, reference, {});
    EXPECT_TRUE(std::isnan(compensated.At(LxCColorValueFloat::eBlue, 2, 2)));
    // The mean is 21.
    EXPECT_NEAR(SignalOf(reference, reference, WithoutColours()).At(LxCColorValueFloat::eBlue, 2, 2),
                3.0F / 21.0F, kRounding);
    // The mean is 11, below the least reference of 12.
    const CCTImage dark(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, 3.0F, 15.0F, 15.0F);
    EXPECT_TRUE(std::isnan(SignalOf(dark, dark, WithoutColours()).At(LxCColorValueFloat::eRed, 2, 2)));
}

TEST(GreyScene, LeavesImagesThatTheSignalRefusesAsTheyAre)
{
    GreyScene scene(WithoutColours(), std::nullopt);
    const CCTImage bytes(kWidth, kHeight, CCTImage::eIDT_BGRU8, true, nullptr);
    const CCTImage hollow(kWidth, kHeight, CCTImage::eIDT_FLOAT32_3, false, nullptr);
    for (const CCTImage* const image : {&bytes, &hollow}) {
        EXPECT_EQ(&scene.Of(*image), image);
    }
}

/// What a plane of one colour measures with and without compensation of its colour.
class ColouredPlane : public testing::Test
{
protected:
    static acceptance::Accuracy Measure(const device::Colour& albedo, bool isCompensated)
    {
        const device::VirtualDevice camera(device::SmallDevice(60, 494));
        const auto scene = device::MakePlane({0.0, 0.0, 33.0}, {0.0, 0.0, -1.0}, albedo);
        device::RenderedPair pair = camera.RenderPair(*scene);
        DecoderConfig config;
        config.algorithm.GetActiveAlgorithmConfig().m_bUseCompSceneColor = isCompensated;
        return scannertest::MeasurePair(camera, *scene, pair, pair.reference, config);
    }
};

TEST_F(ColouredPlane, AWhiteOneMeasuresTheSameEitherWay)
{
    const device::Colour white{0.7, 0.7, 0.7};
    const acceptance::Accuracy with = Measure(white, true);
    const acceptance::Accuracy without = Measure(white, false);
    EXPECT_GT(with.coverage, 0.99);
    EXPECT_GT(without.coverage, 0.99);
    EXPECT_NEAR(without.rmsMm, with.rmsMm, 0.1 * with.rmsMm);
}

TEST_F(ColouredPlane, AColouredOneIsDecodedOnlyWhereItsColourIsCompensated)
{
    // Blue is 0.1 / 0.37 = 0.27 of the mean: its steps of hardly 0.1 a row are below the least gradient of 0.12.
    const device::Colour yellow{0.1, 0.5, 0.5};
    EXPECT_GT(Measure(yellow, true).coverage, 0.97);
    EXPECT_LT(Measure(yellow, false).coverage, 0.9);
}

} // namespace
} // namespace decoder
